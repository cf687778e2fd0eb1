#pragma once

#include "output/files/Remnants.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <sys/types.h>

namespace qel::output {

// A new file that gets its name when it is complete. It has no name at all until then where the
// file system can make such files, so that not even a killed program leaves it behind; elsewhere
// it has a short hidden one in the directory it will stand in.
//
// The functions return 0 or what errno says.
class TemporaryFile {
public:
    enum class Kind { NamelessIfPossible, Named };

    TemporaryFile() = default;
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    // Makes the file, for writing. The descriptor is the caller's to close, after KeepOpen.
    // mode is subject to the umask.
    int Open(const std::filesystem::path& directory, mode_t mode, int& descriptor,
             Kind kind = Kind::NamelessIfPossible);

    // Keeps a file without a name, which would be gone when the caller closes the descriptor.
    int KeepOpen(int descriptor);

    // Gives the file its name, unless something of that name exists: EEXIST.
    int Publish(const std::filesystem::path& target);

    // Gives the file its name, and replaces a file of that name.
    int Replace(const std::filesystem::path& target);

private:
    int OpenNameless(mode_t mode, int& descriptor) const;
    int MakeName(const std::function<int(const char*)>& make);
    int Link(const char* target) const;
    int MoveWithoutReplacing(const char* target) const;
    void ForgetName();

    std::filesystem::path mDirectory;
    std::filesystem::path mName; // empty: none
    std::optional<Remnants::Entry> mRemnant;
    int mKept = -1; // descriptor of a file without a name
};

} // namespace qel::output
