#include "batch/workers/Worker.h"

#include "batch/dataset/FileStamp.h"
#include "batch/workers/MemoryReserve.h"
#include "output/arrays/NpzFile.h"
#include "output/files/AtomicFile.h"
#include "output/files/Interrupt.h"
#include "output/files/OutputError.h"
#include "output/files/Sha256.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace qel::batch {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kReadBytes = 64 * 1024;
constexpr mode_t kModeOfNewDirectories = 0777; // less the umask
constexpr std::size_t kFolderDigits = 2;       // of a digest: 256 folders of arrays

void SetError(Row& row, const char* status, const std::string& reason) {
    row["status"] = status;
    row["error"] = reason;
}

// The SHA-256 of a file in hexadecimal digits; empty if it cannot be read.
std::string HashOf(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "re"),
                                                               std::fclose);
    if (!file) {
        return "";
    }
    output::Sha256Sum sum;
    std::vector<char> buffer(kReadBytes);
    for (std::size_t count = 1; count > 0;) {
        output::Interrupt::Check();
        count = std::fread(buffer.data(), 1, buffer.size(), file.get());
        sum.Add({buffer.data(), count});
    }
    return std::ferror(file.get()) != 0 ? "" : output::Hexadecimal(sum.Digest());
}

// What is known of a file before it is analyzed.
Row StampedRow(const std::string& path) {
    const FileStamp stamp = FileStamp::Of(path);
    return {{"path", path}, {"size", stamp.Size()}, {"modified_ns", stamp.ModifiedNs()}};
}

// The same of a row with results.
Row RowWithoutResults(const Row& row) {
    Row kept;
    for (const char* name : {"path", "size", "modified_ns", "hash", "seconds"}) {
        if (row.contains(name)) {
            kept[name] = row.at(name);
        }
    }
    return kept;
}

bool IsChanged(const Row& row) {
    const FileStamp now = FileStamp::Of(TextOf(row, "path"));
    return now.Size() != row.at("size") || now.ModifiedNs() != row.at("modified_ns");
}

std::string Pack(const Row& row) {
    const std::vector<std::uint8_t> packed = Row::to_msgpack(row);
    return Records::Framed({reinterpret_cast<const char*>(packed.data()), packed.size()});
}

} // namespace

std::string Worker::Packed(const Task& task) {
    return Pack({{"path", task.path},
                 {"hash", task.hash},
                 {"tries", task.tries},
                 {"pass", task.pass},
                 {"row", task.row}});
}

std::optional<Task> Worker::Receive() {
    std::array<char, 4096> buffer{};
    for (;;) {
        if (const auto record = mRecords.Next()) {
            const Row task = Row::from_msgpack(record->begin(), record->end());
            return Task{.path = TextOf(task, "path"),
                        .hash = TextOf(task, "hash"),
                        .tries = task.at("tries").get<int>(),
                        .pass = task.at("pass").get<std::size_t>(),
                        .row = task.at("row")};
        }
        output::Interrupt::Check();
        const ssize_t count = read(mTasks, buffer.data(), buffer.size());
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return std::nullopt;
        }
        mRecords.Feed({buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0});
    }
}

void Worker::Send(const Row& answer) const {
    const std::string framed = Pack(answer);
    for (std::size_t done = 0; done < framed.size();) {
        const ssize_t written = write(mAnswers, framed.data() + done, framed.size() - done);
        if (written < 0 && errno != EINTR) {
            _exit(0); // the driver is gone
        }
        output::Interrupt::Check();
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
}

void Worker::Run() {
    MemoryReserve::Take();
    while (const std::optional<Task> task = Receive()) {
        WorkOn(*task);
    }
}

// Memory can run out anywhere, also while another fault is told.
void Worker::WorkOn(const Task& task) {
    const Clock::time_point begin = Clock::now();
    Row row = task.pass == 0 ? StampedRow(task.path) : RowWithoutResults(task.row);
    const double before = row.value("seconds", 0.0); // of the worker that did the earlier passes
    const auto send = [&](const char* name, Row& told, const Row& beside) {
        told["tries"] = task.tries;
        told["seconds"] = before + std::chrono::duration<double>(Clock::now() - begin).count();
        Row answer = beside;
        answer[name] = told;
        Send(answer);
    };
    try {
        if (task.pass == 0 && mSetup.hashes && Hash(task, row)) {
            Send({{"same", true}});
            return;
        }
        const std::size_t done = Analyze(task, row);
        if (done < mSetup.work.passes.size()) {
            send("rest", row, {{"pass", done}});
            return;
        }
        if (IsOk(row) && IsChanged(row)) {
            SetError(row, status::kChanged, "was changed while it was read");
        }
        send("row", row, {{"spent", mSetup.work.isProcessSpent()}});
    } catch (const output::OutputError& error) {
        Send({{"failure", error.what()}});
    } catch (const std::bad_alloc&) {
        MemoryReserve::Release(); // the driver ends this worker
        Row lost = RowWithoutResults(row);
        SetError(lost, status::kMemory, MemoryText(mSetup.limits));
        send("row", lost, Row::object());
    }
}

// Whether the content is the one that is known already.
bool Worker::Hash(const Task& task, Row& row) {
    const std::string hash = HashOf(task.path);
    if (hash.empty()) {
        return false;
    }
    row["hash"] = hash;
    Send({{"hash", hash}}); // for the row of a worker that does not come back
    return hash == task.hash;
}

// Fills the row. Returns how many passes are done: all of them, unless the rest needs a new worker.
std::size_t Worker::Analyze(const Task& task, Row& row) const {
    const FileWork& work = mSetup.work;
    try {
        Row result = task.pass == 0 ? row : task.row; // of a file with an error nothing is kept
        std::vector<output::Array> arrays;
        std::size_t pass = task.pass;
        do {
            work.passes[pass](task.path, result, arrays);
            ++pass;
        } while (pass < work.passes.size() && !work.isProcessSpent());
        result["status"] = status::kOk;
        if (!arrays.empty()) {
            WriteArrays(arrays, result);
        }
        row = std::move(result);
        return pass;
    } catch (const FileFault& fault) {
        if (!MemoryReserve::IsMoreThere()) {
            throw std::bad_alloc();
        }
        SetError(row, fault.Status().c_str(), fault.what());
    } catch (const std::length_error& error) {
        SetError(row, status::kRefused, error.what());
    }
    return work.passes.size();
}

// The name depends on what is in the file and on the path it is about. Whoever else writes that
// file, an earlier run that was given up for instance, writes the same bytes.
void Worker::WriteArrays(const std::vector<output::Array>& arrays, Row& row) const {
    const output::NpzFile file(arrays);
    const std::string digest = file.Digest(TextOf(row, "path"));
    const std::string folder = "arrays/" + digest.substr(0, kFolderDigits);
    const std::string directory = mSetup.dataset + '/' + folder;
    if (mkdir(directory.c_str(), kModeOfNewDirectories) != 0 && errno != EEXIST) {
        throw output::OutputError(
            fmt::format("{}: cannot make this directory: {}", directory, std::strerror(errno)));
    }
    const std::string name = folder + '/' + digest + ".npz";
    output::AtomicFile target(mSetup.dataset + '/' + name);
    target.Sink().Append(file.Bytes());
    target.Commit();
    row["arrays"] = name;
    row["arrays_bytes"] = file.Bytes().size();
}

} // namespace qel::batch
