// A file that stands in memory alone, for code that takes paths.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qel::fuzz {

class MemoryFile {
public:
    explicit MemoryFile(std::span<const std::uint8_t> bytes = {}) : mFile(memfd_create("fuzz", 0)) {
        if (mFile < 0) {
            throw std::runtime_error("no file in memory");
        }
        std::size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t count = write(mFile, bytes.data() + done, bytes.size() - done);
            if (count <= 0) {
                close(mFile);
                throw std::runtime_error("no file in memory");
            }
            done += static_cast<std::size_t>(count);
        }
    }
    ~MemoryFile() { close(mFile); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    int Descriptor() const { return mFile; }
    std::string Path() const { return "/proc/self/fd/" + std::to_string(mFile); }

    // All that stands in it.
    std::string Text() const {
        struct stat info {};
        fstat(mFile, &info);
        std::string text(static_cast<std::size_t>(info.st_size), '\0');
        const ssize_t count = pread(mFile, text.data(), text.size(), 0);
        text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return text;
    }

private:
    int mFile;
};

} // namespace qel::fuzz
