#include "batch/dataset/Part.h"

#include "batch/dataset/Records.h"
#include "output/files/OutputError.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace qel::batch {
namespace {

constexpr mode_t kModeOfNewFiles = 0666; // less the umask
constexpr std::size_t kReadBytes = 64 * 1024;

} // namespace

Part::Part(std::string dataset, std::string directory, std::string attempt)
    : mDataset(std::move(dataset)), mName(directory + '/' + attempt), mPath(mName + kOpen),
      mDescriptor(open(mPath.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_APPEND | O_CLOEXEC,
                       kModeOfNewFiles)) {
    if (mDescriptor < 0) {
        Fail();
    }
}

Part::~Part() {
    if (mDescriptor >= 0) {
        close(mDescriptor);
    }
}

void Part::Fail() const {
    throw output::OutputError(fmt::format("{}: cannot write: {}", mDataset, std::strerror(errno)));
}

void Part::Begin(const std::string& path) {
    Write({{"begun", path}});
}

void Part::Add(const Row& row) {
    Write(row);
}

// One call as a rule. What a full disk cuts off is no record.
void Part::Write(const Row& record) {
    const std::vector<std::uint8_t> packed = Row::to_msgpack(record);
    const std::string framed =
        Records::Framed({reinterpret_cast<const char*>(packed.data()), packed.size()});
    for (std::size_t done = 0; done < framed.size();) {
        const ssize_t written = write(mDescriptor, framed.data() + done, framed.size() - done);
        if (written < 0 && errno != EINTR) {
            Fail();
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
}

void Part::Close() {
    if (fsync(mDescriptor) != 0 || close(std::exchange(mDescriptor, -1)) != 0) {
        Fail();
    }
    const std::string whole = mName + kWhole;
    if (std::rename(mPath.c_str(), whole.c_str()) == 0) {
        mPath = whole;
    } else if (errno != ENOENT) {
        Fail();
    }
}

void Part::Read(const std::string& path, const std::function<void(const Row&)>& take) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return;
    }
    Records records;
    std::vector<char> buffer(kReadBytes);
    for (;;) {
        const ssize_t count = read(descriptor, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0 || records.IsDamaged()) {
            break;
        }
        records.Feed({buffer.data(), static_cast<std::size_t>(count)});
        while (const auto record = records.Next()) {
            const Row row = Row::from_msgpack(record->begin(), record->end(), true, false);
            if (row.is_object()) {
                take(row);
            }
        }
    }
    close(descriptor);
}

} // namespace qel::batch
