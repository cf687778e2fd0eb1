#include "output/files/AtomicFile.h"

#include "output/files/FileIdentities.h"
#include "output/files/Interrupt.h"
#include "output/files/OutputError.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace qel::output {
namespace {

constexpr mode_t kModeOfNewFiles = 0666; // less the umask
constexpr mode_t kPrivateMode = 0600;
constexpr mode_t kPermissions = 07777;
constexpr mode_t kSetIds = 06000;
constexpr int kMostLinks = 40; // as the kernel follows

[[noreturn]] void Refuse(const std::string& path, int error) {
    throw OutputError(fmt::format("{}: cannot write: {}", path, std::strerror(error)));
}

// A pipe with a name waits here for its reader.
int OpenInPlace(const std::string& path) {
    for (;;) {
        const int descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor >= 0) {
            return descriptor;
        }
        if (errno != EINTR) {
            Refuse(path, errno);
        }
        Interrupt::Check();
    }
}

// What a link points at in the end, be it there or not: a link stays a link.
std::filesystem::path FollowLinks(const std::string& path) {
    std::filesystem::path at = path;
    for (int links = 0; links < kMostLinks; ++links) {
        std::error_code error;
        const std::filesystem::path next = std::filesystem::read_symlink(at, error);
        if (error) {
            return at; // no link
        }
        at = next.is_absolute() ? next : at.parent_path() / next;
    }
    Refuse(path, ELOOP);
}

} // namespace

AtomicFile::AtomicFile(const std::string& path, Existing existing)
    : mPath(path), mExisting(existing) {
    std::error_code ignored;
    const std::filesystem::file_status status = std::filesystem::status(path, ignored);
    const bool isRegular = std::filesystem::is_regular_file(status);
    if (path == "-") {
        mSink.emplace(STDOUT_FILENO, "standard output");
    } else if (isRegular && FileIdentities({path}).HasDescriptor(STDOUT_FILENO)) {
        mSink.emplace(STDOUT_FILENO, path); // /dev/stdout, and a file that the shell made for it
    } else if (std::filesystem::is_directory(status)) {
        Refuse(path, EISDIR);
    } else if (std::filesystem::exists(status) && !isRegular) {
        mSink.emplace(OpenInPlace(path), path);
    } else if (isRegular && existing == Existing::Refuse) {
        throw OutputExists(path);
    } else {
        Open(FollowLinks(path));
    }
}

// In place of a file that others may not read, others cannot read the incomplete file either.
void AtomicFile::Open(const std::filesystem::path& path) {
    if (!path.has_filename()) {
        Refuse(mPath, EISDIR);
    }
    std::error_code ignored;
    const bool isNew = !std::filesystem::exists(path, ignored);
    int descriptor = -1;
    const int error =
        mTemporary.Open(path.parent_path(), isNew ? kModeOfNewFiles : kPrivateMode, descriptor);
    if (error != 0) {
        Refuse(mPath, error);
    }
    mSink.emplace(descriptor, mPath);
    mTarget = path;
}

// The owner first, as a change of it clears bits of the mode. A program that runs under an id of
// another owner would be a danger.
void AtomicFile::TakeOverPermissions() const {
    struct stat old {};
    if (stat(mTarget.c_str(), &old) != 0) {
        return;
    }
    const int descriptor = mSink->Descriptor();
    const bool isOwned = fchown(descriptor, old.st_uid, old.st_gid) == 0;
    if (!isOwned) { // the group alone is allowed to its members
        [[maybe_unused]] const int tried = fchown(descriptor, static_cast<uid_t>(-1), old.st_gid);
    }
    const mode_t mode = old.st_mode & kPermissions;
    if (fchmod(descriptor, isOwned ? mode : mode & ~kSetIds) != 0) {
        Refuse(mPath, errno);
    }
}

void AtomicFile::Commit() {
    Close();
    Publish();
}

void AtomicFile::Close() {
    if (!mTarget.empty()) {
        mSink->Flush();
        if (mExisting == Existing::Replace) {
            TakeOverPermissions();
        }
        const int error = mTemporary.KeepOpen(mSink->Descriptor());
        if (error != 0) {
            Refuse(mPath, error);
        }
    }
    mSink->Close();
}

void AtomicFile::Publish() {
    if (mTarget.empty()) {
        return;
    }
    const bool mayReplace = mExisting == Existing::Replace;
    const int error = mayReplace ? mTemporary.Replace(mTarget) : mTemporary.Publish(mTarget);
    if (error == EEXIST) {
        throw OutputExists(mPath);
    }
    if (error != 0) {
        Refuse(mPath, error);
    }
    mPublished = true;
}

void AtomicFile::Withdraw() {
    if (mPublished && mExisting == Existing::Refuse) {
        unlink(mTarget.c_str());
    }
}

} // namespace qel::output
