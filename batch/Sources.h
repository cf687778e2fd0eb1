#pragma once

#include <dirent.h>
#include <functional>
#include <string>
#include <vector>

namespace qel::batch {

// Finds the files of a run.
//
//   - A directory means the files below it whose names match one of the patterns. Links to
//     directories are not followed there, so that no way leads in a circle.
//   - Any other name means itself, whether the file exists or not.
//   - A source that does not exist and has *, ? or [ is a pattern of paths (glob(3)).
class Sources {
public:
    // Receives a path, the absolute path by which it is known again, and why it is there for its
    // error alone; empty: it is a file.
    using Take = std::function<void(const std::string& path, const std::string& identity,
                                    const std::string& fault)>;

    // matches: patterns of names (fnmatch(3)); none: the usual ends of names of audio files.
    Sources(const std::vector<std::string>& matches, Take take)
        : mMatches(matches), mTake(std::move(take)) {}

    // Whether a source of the command line matches anything.
    static bool IsAnything(const std::string& source);

    // Whether a source has a character of patterns.
    static bool IsPattern(const std::string& source) {
        return source.find_first_of("*?[") != std::string::npos;
    }

    // Throws output::OutputError if there is no list of that name that can be read. Reads nothing:
    // what a pipe holds can be read only once.
    static void RequireList(const std::string& list);

    // Adds the files of a source of the command line. Throws output::Interrupt::Requested, as
    // AddList does.
    void AddSource(const std::string& source);

    // Adds the names in a list, "-" for standard input: lines, or texts that end with a byte of 0.
    // Throws output::OutputError if the list cannot be read, or a line has a byte of 0.
    void AddList(const std::string& list, bool isNullSeparated);

private:
    void AddPath(const std::string& path);
    void AddDirectory(const std::string& path);
    void AddEntry(const std::string& directory, const std::string& identity, const dirent& entry);
    static std::vector<std::string> PathsOf(const std::string& source);
    std::string IdentityOf(const std::string& path);
    bool IsMatch(const std::string& name) const;

    std::vector<std::string> mMatches;
    Take mTake;
    std::vector<std::string> mDirectories; // still to be listed
    std::string mParent = "\n";            // of the last file that was named, as it was written
    std::string mParentIdentity;           // its absolute path
};

} // namespace qel::batch
