#pragma once

#include <cstddef>
#include <string>

namespace qel::output {

// What the program has made in the file system and would leave behind if it ended now: files under
// temporary names, and directories that nothing has come into yet. A signal handler removes them
// where there is no time for destructors.
class Remnants {
public:
    // One of them, as long as this object lives. To be made while signals are held
    // (Interrupt::Hold), along with the file or directory itself.
    class Entry {
    public:
        enum class Kind { File, Directory };

        Entry(Kind kind, const std::string& path);
        ~Entry();
        Entry(Entry&& other) noexcept;
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

    private:
        Kind mKind;
        std::size_t mSlot;
    };

    // Removes all files, and all directories that are empty. Safe in a signal handler.
    static void Remove() noexcept;
};

} // namespace qel::output
