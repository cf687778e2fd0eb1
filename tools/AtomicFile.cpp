#include "tools/AtomicFile.h"

#include "tools/Interrupt.h"
#include "tools/ToolError.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace qel::tool {
namespace {

[[noreturn]] void Refuse(const std::string& path, int error) {
    throw OutputError(fmt::format("{}: cannot write: {}", path, std::strerror(error)));
}

// mkostemp makes files that only their owner can read; a result gets what any new file would get.
mode_t ModeOfNewFiles() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
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

} // namespace

AtomicFile::AtomicFile(const std::string& path) : mPath(path) {
    if (path == "-") {
        mSink.emplace(STDOUT_FILENO, "standard output");
        return;
    }
    std::error_code ignored;
    const std::filesystem::file_status status = std::filesystem::status(path, ignored);
    if (std::filesystem::is_directory(status)) {
        Refuse(path, EISDIR);
    }
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        mSink.emplace(OpenInPlace(path), path);
        return;
    }
    // A link stays a link: what it points at is replaced.
    mTarget = std::filesystem::weakly_canonical(path, ignored);
    if (mTarget.empty()) {
        mTarget = path;
    }
    OpenTemporary();
}

void AtomicFile::OpenTemporary() {
    std::string name =
        (mTarget.parent_path() / fmt::format(".{}.XXXXXX", mTarget.filename().string())).string();
    const int descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0) {
        Refuse(mPath, errno);
    }
    mTemporary = name;
    mSink.emplace(descriptor, mPath);
    if (fchmod(descriptor, ModeOfNewFiles()) != 0) {
        const int error = errno;
        unlink(mTemporary.c_str());
        Refuse(mPath, error);
    }
}

AtomicFile::~AtomicFile() {
    if (!mTemporary.empty()) {
        unlink(mTemporary.c_str());
    }
}

void AtomicFile::Commit() {
    mSink->Close();
    if (mTemporary.empty()) {
        return;
    }
    if (std::rename(mTemporary.c_str(), mTarget.c_str()) != 0) {
        Refuse(mPath, errno);
    }
    mTemporary.clear();
}

} // namespace qel::tool
