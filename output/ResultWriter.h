#pragma once

#include <QelAudioAnalysis/Analyzer.hpp>
#include <QelAudioAnalysis/KeyInfo.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qel::output {

// A key that is analyzed, and what the library says about it for this stream.
struct AnalyzedKey {
    const KeyInfo* info = nullptr;
    KeyMetaData metaData;
};

// A parameter of the analysis and its value.
using Parameter = std::pair<std::string, float>;

// What is known of a file before it is analyzed.
struct FileHeader {
    std::string path;
    int sampleRateHz = 0;
    std::size_t fileChannels = 0;
    std::size_t analyzedChannels = 0;
    std::string mix; // "mono" or "keep": whether channels were mixed
    std::uint32_t blockSamples = 0;
    std::vector<Parameter> parameters;
    float minStrength = 0; // weaker events are not written
    std::vector<AnalyzedKey> keys;
};

// What decoded a file, and what of it was not music.
struct DecoderFacts {
    std::string container;
    std::string codec;
    std::string decoder;
    std::string library;
    std::int64_t leadingFramesTrimmed = 0;
    std::int64_t trailingFramesTrimmed = 0;
    std::int64_t damagedPackets = 0;
};

// What is known of a file after it was analyzed.
struct FileSummary {
    std::int64_t frames = 0;
    DecoderFacts decoder;
    std::string missing; // which whole-stream results there are none of, and why; empty: none miss
};

// Receives results as they come, file after file:
//
//     per file: BeginFile, Write..., EndFile    or    [BeginFile, Write...,] FailFile
//     at the end: Finish
//
// A file's results show in the output from EndFile on; the exception is CSV on standard output,
// which shows at once. Every member may throw OutputError; the writer is then only to be destroyed,
// which removes what is incomplete.
class ResultWriter {
public:
    virtual ~ResultWriter() = default;

    virtual void BeginFile(const FileHeader& header) = 0;

    // A result of header.keys[key]. The result's memory is not needed afterwards.
    virtual void Write(std::size_t key, const Result& result) = 0;

    virtual void EndFile(const FileSummary& summary) = 0;

    // Drops what came of the file. message says why, in one line.
    virtual void FailFile(const std::string& path, const std::string& message) = 0;

    virtual void Finish() = 0;
};

} // namespace qel::output
