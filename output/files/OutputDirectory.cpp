#include "output/files/OutputDirectory.h"

#include "output/files/Interrupt.h"
#include "output/files/OutputError.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace qel::output {
namespace {

constexpr mode_t kModeOfNewDirectories = 0777; // less the umask
constexpr int kMostAttempts = 1000;

} // namespace

OutputDirectory::OutputDirectory(const std::filesystem::path& path)
    : mPath(path.empty() ? "." : path) {
    // Another process may take a directory away between two steps, when it had made it for nothing.
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        if (MakeMissing() && Lock()) {
            return;
        }
    }
    Refuse(ENOENT); // it is removed every time, or is a link to nothing
}

void OutputDirectory::Refuse(int error) const {
    throw OutputError(
        fmt::format("{}: cannot make this directory: {}", mPath.string(), std::strerror(error)));
}

// False if the directory above it has gone.
bool OutputDirectory::MakeOne(const std::filesystem::path& path) {
    const Interrupt::Hold hold;
    if (mkdir(path.c_str(), kModeOfNewDirectories) == 0) {
        mMade.push_back({path, {Remnants::Entry::Kind::Directory, path.string()}});
        return true;
    }
    if (errno != EEXIST && errno != ENOENT) {
        Refuse(errno);
    }
    return errno == EEXIST;
}

// False if a directory has gone meanwhile.
bool OutputDirectory::MakeMissing() {
    std::vector<std::filesystem::path> missing;
    std::error_code error;
    for (std::filesystem::path at = mPath;
         !at.empty() && !std::filesystem::exists(at, error) && at != at.root_path();
         at = at.parent_path()) {
        if (at.has_filename()) {
            missing.push_back(at);
        }
    }
    for (auto at = missing.rbegin(); at != missing.rend(); ++at) {
        if (!MakeOne(*at)) {
            return false;
        }
    }
    const std::filesystem::file_status status = std::filesystem::status(mPath, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_directory(status)) {
        Refuse(ENOTDIR);
    }
    return std::filesystem::is_directory(status);
}

// Shared locks say that the directory is in use; whoever wants to take it away needs the only one.
// False if that has just happened. Where a file system or a permission stands against locks, there
// are none.
bool OutputDirectory::Lock() {
    mDescriptor = open(mPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (mDescriptor < 0) {
        return errno != ENOENT;
    }
    const bool isRefused = flock(mDescriptor, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    struct stat mine {};
    struct stat now {};
    if (!isRefused && fstat(mDescriptor, &mine) == 0 && stat(mPath.c_str(), &now) == 0 &&
        mine.st_dev == now.st_dev && mine.st_ino == now.st_ino) {
        return true;
    }
    close(std::exchange(mDescriptor, -1));
    return false;
}

OutputDirectory::~OutputDirectory() {
    const bool isInUse = mDescriptor >= 0 && !mMade.empty() &&
                         flock(mDescriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    if (!isInUse) {
        for (; !mMade.empty(); mMade.pop_back()) {
            rmdir(mMade.back().path.c_str()); // fails where something has come into it
        }
    }
    if (mDescriptor >= 0) {
        close(mDescriptor);
    }
}

} // namespace qel::output
