#pragma once

#include "output/files/Remnants.h"

#include <deque>
#include <filesystem>

namespace qel::output {

// A directory that outputs are to come into. It is made if it is not there, with those above it,
// and what was made is taken away at the end if nothing has come into it.
//
// Several processes may use one directory at once: as long as one of them has an object of this
// class for it, no other takes it away.
class OutputDirectory {
public:
    // An empty path is the current directory. Throws OutputError.
    explicit OutputDirectory(const std::filesystem::path& path);
    ~OutputDirectory();
    OutputDirectory(const OutputDirectory&) = delete;
    OutputDirectory& operator=(const OutputDirectory&) = delete;

private:
    struct Made {
        std::filesystem::path path;
        Remnants::Entry remnant;
    };

    [[noreturn]] void Refuse(int error) const;
    bool MakeOne(const std::filesystem::path& path);
    bool MakeMissing();
    bool Lock();

    std::filesystem::path mPath;
    std::deque<Made> mMade; // from the top down
    int mDescriptor = -1;   // holds the lock; -1 where there is none to be had
};

} // namespace qel::output
