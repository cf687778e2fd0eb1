#pragma once

#include "output/EventCollector.h"
#include "output/RegionCollector.h"
#include "output/ResultWriter.h"
#include "output/files/ResultFiles.h"

#include <string>
#include <vector>

namespace qel::output {

// Writes a label track per key and channel: one line per event or region, with its start and end in
// seconds (the same for an event, which is a moment) and a text; docs/output.md says which. A file
// of audio gets its label tracks under their names together, when all of it was analyzed.
class LabelWriter : public ResultWriter {
public:
    // output is a directory, made when it is needed, or "-" for standard output, which only one
    // key of one file of one channel can go to. files are those of the command line, which no
    // output may replace.
    LabelWriter(const std::string& output, const std::vector<std::string>& files,
                Existing existing = Existing::Refuse)
        : mFiles(output, files, existing) {}

    void BeginFile(const FileHeader& header) override;
    void Write(std::size_t key, const Result& result) override;
    void EndFile(const FileSummary& summary) override;
    void FailFile(const std::string& path, const std::string& message) override;
    void Finish() override {}

private:
    void WriteEvents(TextSink& sink, std::string_view key, std::size_t channel) const;
    void WriteTrack(TextSink& sink, const KeyInfo& info, std::size_t channel) const;

    ResultFiles mFiles;
    FileHeader mHeader;
    EventCollector mEvents;
    RegionCollector mRegions;
};

} // namespace qel::output
