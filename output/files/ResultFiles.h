#pragma once

#include "output/files/AtomicFile.h"
#include "output/files/FileIdentities.h"
#include "output/files/OutputDirectory.h"

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qel::output {

// The output files that one input gets, in a directory of its own (OutputName) below that of
// --output. They get their names together, when all of them are complete. Directories are made when
// they are needed, and taken away again if nothing came into them.
class ResultFiles {
public:
    // output is a directory, or "-" for standard output. inputs are the files of audio, which no
    // output may replace.
    explicit ResultFiles(std::string output, const std::vector<std::string>& inputs = {},
                         Existing existing = Existing::Refuse)
        : mOutput(std::move(output)), mInputs(inputs), mExisting(existing) {}
    ResultFiles(const ResultFiles&) = delete;
    ResultFiles& operator=(const ResultFiles&) = delete;

    // Begins the files of an input. Throws OutputError.
    void Begin(const std::string& input);

    // Opens one more file in the directory of the input; with "-", standard output whatever the
    // name. Throws OutputError, or OutputExists if a file exists that must be kept.
    void Add(const std::string& name);

    // The file that was opened as number index, counting from 0.
    TextSink& Sink(std::size_t index) { return mFiles[index].Sink(); }

    // Completes all files, and forgets them. Throws OutputError, ClosedPipe,
    // Interrupt::Requested, or OutputExists if a file has appeared meanwhile and is to stay; then
    // none of the new files is there.
    void Commit();

    // Drops all files that were not completed, and the directories made for nothing.
    void Drop();

    // "generic spectrum properties" becomes "generic-spectrum-properties".
    static std::string KeyName(std::string_view key);

    // The suffix of the name of a file about one channel: "-ch1", or nothing where there is
    // but one.
    static std::string ChannelSuffix(std::size_t channel, std::size_t channels);

private:
    void Publish();

    std::string mOutput;
    FileIdentities mInputs;
    Existing mExisting;
    std::filesystem::path mPath;               // directory of the input
    std::optional<OutputDirectory> mDirectory; // outlives the files
    std::deque<AtomicFile> mFiles;
};

} // namespace qel::output
