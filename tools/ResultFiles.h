#pragma once

#include "tools/AtomicFile.h"
#include "tools/FileIdentities.h"

#include <cstddef>
#include <deque>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace qel::tool {

// The output files that one file of audio gets below a directory: they get their names together,
// when all of them are complete. Directories are made when they are needed, and taken away again if
// nothing came into them.
class ResultFiles {
public:
    // output is a directory, or "-" for standard output. inputs are the files of audio, which no
    // output may replace.
    explicit ResultFiles(std::string output, const std::vector<std::string>& inputs = {})
        : mOutput(std::move(output)), mInputs(inputs) {}
    ~ResultFiles() { Drop(); }
    ResultFiles(const ResultFiles&) = delete;
    ResultFiles& operator=(const ResultFiles&) = delete;

    // Opens one more file, at a path below the directory; with "-", standard output whatever the
    // path. Throws OutputError.
    void Add(const std::filesystem::path& path);

    // The file that was opened as number index, counting from 0.
    TextSink& Sink(std::size_t index) { return mFiles[index].Sink(); }

    // Completes all files, and forgets them. Throws OutputError or ClosedPipe.
    void Commit();

    // Drops all files that were not completed, and the directories made for nothing.
    void Drop();

    // Names of several inputs that can stand side by side in a directory: their own, with "-2" and
    // so on behind those that were taken already. Capitals make no difference, for file systems
    // where they do not.
    static std::vector<std::string> UniqueNames(const std::vector<std::string>& files);

    // Directories of inputs whose outputs are named after keys: none for one input alone, else the
    // names above.
    static std::vector<std::string> Directories(const std::vector<std::string>& files);

    // "generic spectrum properties" becomes "generic-spectrum-properties".
    static std::string KeyName(std::string_view key);

    // What stands behind the name of a file about one channel: "-ch1", or nothing where there is
    // but one.
    static std::string ChannelSuffix(std::size_t channel, std::size_t channels);

private:
    void MakeDirectory(const std::filesystem::path& directory);

    std::string mOutput;
    FileIdentities mInputs;
    std::vector<std::filesystem::path> mMade;
    std::deque<AtomicFile> mFiles;
};

} // namespace qel::tool
