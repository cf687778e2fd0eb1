#include "batch/dataset/FileList.h"

#include "batch/Refusal.h"
#include "output/files/AtomicFile.h"
#include "output/files/Sha256.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace qel::batch {
namespace {

constexpr std::int64_t kOffsetBytes = 8;
constexpr std::string_view kMark = "qel list 1"; // the number of the layout
constexpr std::size_t kDigestDigits = 64;
// "MARK FILES SETTINGS DIGEST\n", numbers with 19 digits.
constexpr std::size_t kNumberDigits = 19;
constexpr std::size_t kLastLine = kMark.size() + 2 * (1 + kNumberDigits) + 1 + kDigestDigits + 1;

// The settings that decide the list.
constexpr std::array<const char*, 4> kOfSources{"sources", "--files-from", "--null", "--match"};

std::string LowByteFirst(std::int64_t number) {
    std::string bytes;
    for (int at = 0; at < kOffsetBytes; ++at) {
        bytes += static_cast<char>(static_cast<std::uint64_t>(number) >> (8 * at) & 0xFF);
    }
    return bytes;
}

std::string EntryOf(const ListedFile& file) {
    return file.path + '\0' + file.fault + '\0';
}

// Something of the user's is not replaced.
void RequireRoom(const std::string& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0 || (S_ISREG(status.st_mode) && status.st_size == 0)) {
        return;
    }
    try {
        const FileList earlier(file);
    } catch (const Refusal&) {
        throw Refusal(fmt::format("{}: exists, and is no list of files; name another file", file));
    }
}

} // namespace

std::int64_t FileList::Write(const std::string& file, const Settings& settings, FoundFiles& found) {
    RequireRoom(file);
    output::AtomicFile target(file);
    const std::string head = settings.Text();
    target.Sink().Append(head);
    output::Sha256Sum sum;
    std::int64_t files = 0;
    found.ForEach([&](const ListedFile& each) {
        target.Sink().Append(EntryOf(each));
        sum.Add(each.path + '\0');
        ++files;
    });
    auto offset = static_cast<std::int64_t>(head.size());
    found.ForEach([&](const ListedFile& each) { // again: memory does not grow with the files
        target.Sink().Append(LowByteFirst(offset));
        offset += static_cast<std::int64_t>(EntryOf(each).size());
    });
    target.Sink().Append(LowByteFirst(offset));
    target.Sink().Append(fmt::format("{} {:019} {:019} {}\n", kMark, files, head.size(),
                                     output::Hexadecimal(sum.Digest())));
    target.Commit();
    return files;
}

FileList::FileList(const std::string& file)
    : mName(file), mDescriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (mDescriptor < 0) {
        Refuse(std::strerror(errno));
    }
    try {
        ReadLastLine();
    } catch (...) {
        close(mDescriptor);
        throw;
    }
}

FileList::~FileList() {
    close(mDescriptor);
}

void FileList::Refuse(const std::string& reason) const {
    throw Refusal(fmt::format("{}: cannot read this list of files: {}; make it with --list-only",
                              mName, reason));
}

void FileList::ReadLastLine() {
    struct stat status {};
    if (fstat(mDescriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size < static_cast<off_t>(kLastLine)) {
        Refuse("it has another form");
    }
    const std::int64_t lineAt = status.st_size - static_cast<std::int64_t>(kLastLine);
    std::istringstream line(Bytes(lineAt, kLastLine));
    std::string mark(kMark.size(), '\0');
    std::int64_t settings = 0;
    line.read(mark.data(), static_cast<std::streamsize>(mark.size()));
    if (!(line >> mFiles >> settings >> mDigest) || mark != kMark ||
        mDigest.size() != kDigestDigits || mFiles < 0 || mFiles > lineAt / kOffsetBytes ||
        settings < 0 || settings > lineAt) {
        Refuse("it has another form, or its end is missing");
    }
    mOffsets = lineAt - (mFiles + 1) * kOffsetBytes;
    if (mOffsets < settings || Number(mOffsets) != settings ||
        Number(mOffsets + mFiles * kOffsetBytes) != mOffsets) {
        Refuse("it is damaged");
    }
    mSettings = Settings::Parse(Bytes(0, static_cast<std::size_t>(settings)));
}

std::string FileList::Bytes(std::int64_t offset, std::size_t count) const {
    std::string bytes(count, '\0');
    for (std::size_t done = 0; done < count;) {
        const ssize_t got = pread(mDescriptor, bytes.data() + done, count - done,
                                  offset + static_cast<std::int64_t>(done));
        if (got == 0 || (got < 0 && errno != EINTR)) {
            Refuse(got == 0 ? "it ends early" : std::strerror(errno));
        }
        done += got < 0 ? 0 : static_cast<std::size_t>(got);
    }
    return bytes;
}

std::int64_t FileList::Number(std::int64_t offset) const {
    std::uint64_t number = 0;
    const std::string bytes = Bytes(offset, kOffsetBytes);
    for (std::size_t at = bytes.size(); at-- > 0;) {
        number = number << 8 | static_cast<unsigned char>(bytes[at]);
    }
    return static_cast<std::int64_t>(number);
}

ListedFile FileList::At(std::int64_t position) const {
    const std::int64_t begin = Number(mOffsets + position * kOffsetBytes);
    const std::int64_t end = Number(mOffsets + (position + 1) * kOffsetBytes);
    if (begin < 0 || end < begin || end > mOffsets) {
        Refuse("it is damaged");
    }
    const std::string entry = Bytes(begin, static_cast<std::size_t>(end - begin));
    const std::size_t middle = entry.find('\0');
    if (middle == std::string::npos || entry.find('\0', middle + 1) != entry.size() - 1) {
        Refuse("it is damaged");
    }
    return {entry.substr(0, middle), entry.substr(middle + 1, entry.size() - middle - 2)};
}

void FileList::RequireSources(const Settings& settings) const {
    for (const char* const name : kOfSources) {
        const std::string mine = mSettings.Value(name);
        const std::string its = settings.Value(name);
        if (mine != its) {
            throw Refusal(
                fmt::format("{}: was made with {} \"{}\", not \"{}\"; repeat its sources, "
                            "or make the list again with --list-only",
                            mName, name, mine, its));
        }
    }
}

} // namespace qel::batch
