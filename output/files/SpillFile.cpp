#include "output/files/SpillFile.h"

#include "output/files/OutputError.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace qel::output {
namespace {

std::filesystem::path TemporaryDirectory() {
    std::error_code error;
    std::filesystem::path directory = std::filesystem::temp_directory_path(error);
    if (error) {
        throw OutputError(fmt::format("no directory for temporary files: {}", error.message()));
    }
    return directory;
}

void OpenNameless(const std::filesystem::path& directory, std::optional<TextSink>& file) {
    std::string name = (directory / "qel.XXXXXX").string();
    const int descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0) {
        throw OutputError(fmt::format("{}: cannot make a temporary file: {}", directory.string(),
                                      std::strerror(errno)));
    }
    unlink(name.c_str());
    file.emplace(descriptor, fmt::format("temporary file in {}", directory.string()));
}

} // namespace

SpillFile::SpillFile() : mDirectory(TemporaryDirectory()) {}

void SpillFile::Spill() {
    if (!mFile) {
        OpenNameless(mDirectory, mFile);
    }
    mFile->Write({mHeld.data(), mHeld.size()});
    mHeld.clear();
}

void SpillFile::Clear() {
    mFile.reset();
    mHeld.clear();
}

void SpillFile::CopyTo(TextSink& sink) const {
    if (mFile) {
        CopyFileTo(sink);
    }
    sink.Append({mHeld.data(), mHeld.size()});
}

void SpillFile::CopyFileTo(TextSink& sink) const {
    std::array<char, 64 * 1024> chunk{};
    off_t position = 0;
    for (;;) {
        const ssize_t count = pread(mFile->Descriptor(), chunk.data(), chunk.size(), position);
        if (count == 0) {
            return;
        }
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw OutputError(
                fmt::format("cannot read a temporary file: {}", std::strerror(errno)));
        }
        sink.Append({chunk.data(), static_cast<std::size_t>(count)});
        position += count;
    }
}

} // namespace qel::output
