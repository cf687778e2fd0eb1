#pragma once

#include "output/EventCollector.h"
#include "output/ResultWriter.h"
#include "output/files/ResultFiles.h"

#include <string>
#include <vector>

namespace qel::output {

// Writes a beat annotation per file of audio and channel: one line per beat, with its time in
// seconds and, where it is known, its position in the bar; docs/output.md describes the form. It
// works from "beat data", and from "down beat data" and the number of beats per bar where they are
// delivered.
class BeatWriter : public ResultWriter {
public:
    // output is a directory, made when it is needed, or "-" for standard output, which only one
    // file of one channel can go to. files are those of the command line, which no output may
    // replace.
    BeatWriter(const std::string& output, const std::vector<std::string>& files,
               Existing existing = Existing::Refuse)
        : mFiles(output, files, existing) {}

    void BeginFile(const FileHeader& header) override;
    void Write(std::size_t key, const Result& result) override;
    void EndFile(const FileSummary& summary) override;
    void FailFile(const std::string& path, const std::string& message) override;
    void Finish() override {}

private:
    void WriteChannel(TextSink& sink, std::size_t channel) const;

    ResultFiles mFiles;
    FileHeader mHeader;
    EventCollector mEvents;
};

} // namespace qel::output
