#include "output/files/TemporaryFile.h"

#include "output/files/Interrupt.h"

#include <fmt/format.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

namespace qel::output {
namespace {

// The way to a file without a name, for those who may not link descriptors themselves.
std::string PathOf(int descriptor) {
    return fmt::format("/proc/self/fd/{}", descriptor);
}

// Short whatever the name of the target, which may have the 255 bytes that there are. The process
// tells it apart from those of others, the number from those of this process.
std::string NextName() {
    static std::atomic<unsigned int> sNumber{0};
    return fmt::format(".qel-{}-{}", getpid(), sNumber++);
}

int ErrorOf(int result) {
    return result < 0 ? errno : 0;
}

} // namespace

TemporaryFile::~TemporaryFile() {
    if (mKept >= 0) {
        close(mKept);
    }
    if (!mName.empty()) {
        unlink(mName.c_str());
    }
}

// Without /proc there would be no way to give it a name.
int TemporaryFile::OpenNameless(mode_t mode, int& descriptor) const {
    descriptor = open(mDirectory.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
    if (descriptor < 0) {
        return errno;
    }
    if (access(PathOf(descriptor).c_str(), F_OK) != 0) {
        const int error = errno;
        close(std::exchange(descriptor, -1));
        return error;
    }
    return 0;
}

int TemporaryFile::Open(const std::filesystem::path& directory, mode_t mode, int& descriptor,
                        Kind kind) {
    mDirectory = directory.empty() ? "." : directory;
    if (kind == Kind::NamelessIfPossible && OpenNameless(mode, descriptor) == 0) {
        return 0;
    }
    // Reports whatever is wrong with the place.
    return MakeName([&](const char* name) {
        descriptor = open(name, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, mode);
        return ErrorOf(descriptor);
    });
}

// Makes something under a temporary name that is not taken. Signals wait, so that no handler finds
// the file without its entry among the remnants.
int TemporaryFile::MakeName(const std::function<int(const char*)>& make) {
    const Interrupt::Hold hold;
    for (;;) {
        std::filesystem::path name = mDirectory / NextName();
        const int error = make(name.c_str());
        if (error == EEXIST) {
            continue;
        }
        if (error == 0) {
            mRemnant.emplace(Remnants::Entry::Kind::File, name.string());
            mName = std::move(name);
        }
        return error;
    }
}

int TemporaryFile::KeepOpen(int descriptor) {
    if (!mName.empty()) {
        return 0;
    }
    mKept = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    return ErrorOf(mKept);
}

int TemporaryFile::Link(const char* target) const {
    return ErrorOf(linkat(AT_FDCWD, PathOf(mKept).c_str(), AT_FDCWD, target, AT_SYMLINK_FOLLOW));
}

// Some file systems know a rename that replaces nothing, others know hard links.
int TemporaryFile::MoveWithoutReplacing(const char* target) const {
    const int error =
        ErrorOf(renameat2(AT_FDCWD, mName.c_str(), AT_FDCWD, target, RENAME_NOREPLACE));
    if (error != EINVAL && error != ENOSYS) {
        return error;
    }
    const int linkError = ErrorOf(link(mName.c_str(), target));
    if (linkError == 0) {
        unlink(mName.c_str());
    }
    return linkError;
}

void TemporaryFile::ForgetName() {
    mName.clear();
    mRemnant.reset();
}

int TemporaryFile::Publish(const std::filesystem::path& target) {
    if (mName.empty()) {
        return Link(target.c_str());
    }
    const Interrupt::Hold hold;
    const int error = MoveWithoutReplacing(target.c_str());
    if (error == 0) {
        ForgetName();
    }
    return error;
}

// A link never replaces, and a rename needs a name: a file without one gets a temporary name for
// the moment between the two calls, and only where something is to be replaced.
int TemporaryFile::Replace(const std::filesystem::path& target) {
    const Interrupt::Hold hold;
    if (mName.empty()) {
        int error = Link(target.c_str());
        if (error == EEXIST) {
            error = MakeName([this](const char* name) { return Link(name); });
        }
        if (error != 0 || mName.empty()) {
            return error;
        }
    }
    const int error = ErrorOf(std::rename(mName.c_str(), target.c_str()));
    if (error == 0) {
        ForgetName();
    }
    return error;
}

} // namespace qel::output
