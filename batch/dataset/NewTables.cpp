#include "batch/dataset/NewTables.h"

#include "output/files/OutputError.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace qel::batch {
namespace {

constexpr mode_t kModeOfNewFiles = 0666; // less the umask
constexpr const char* kTables = ".sqlite";
constexpr const char* kLock = ".lock";

bool Exists(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

// Whether a process holds the lock, or may hold it.
bool IsHeld(int lock) {
    return lock < 0 ? errno != ENOENT : flock(lock, LOCK_EX | LOCK_NB) != 0;
}

} // namespace

NewTables::NewTables(std::string parts, std::string attempt)
    : mTables(parts + '/' + attempt + kTables), mLock(parts + '/' + attempt + kLock) {
    do {
        Lock();
    } while (!Exists(mDescriptor)); // another run has removed it before it was locked
}

// A file system without locks keeps the tables of a killed run until a run has come to its end.
void NewTables::Lock() {
    if (mDescriptor >= 0) {
        close(std::exchange(mDescriptor, -1));
    }
    mDescriptor = open(mLock.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, kModeOfNewFiles);
    if (mDescriptor < 0) {
        throw output::OutputError(
            fmt::format("{}: cannot make this file: {}", mLock, std::strerror(errno)));
    }
    while (flock(mDescriptor, LOCK_EX) != 0 && errno == EINTR) {
    }
}

NewTables::~NewTables() {
    unlink(mTables.c_str());
    unlink(mLock.c_str());
    close(mDescriptor);
}

void NewTables::RemoveLeft(const std::string& parts, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        const bool isTables = name.ends_with(kTables);
        if (!isTables && !name.ends_with(kLock)) {
            continue;
        }
        const std::string stem = parts + '/' + name.substr(0, name.rfind('.'));
        const int lock = open((stem + kLock).c_str(), O_RDWR | O_CLOEXEC);
        if (!IsHeld(lock)) {
            unlink((stem + kTables).c_str());
            unlink((stem + kLock).c_str());
        }
        if (lock >= 0) {
            close(lock);
        }
    }
}

} // namespace qel::batch
