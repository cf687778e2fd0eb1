#include "output/JsonWriter.h"

#include "output/KeyFacts.h"
#include "output/formats/PayloadFormat.h"
#include "output/formats/Texts.h"

#include <nlohmann/json.hpp>

#include <string_view>

namespace qel::output {
namespace {

using Json = nlohmann::ordered_json;

// A path need not be UTF-8, while JSON must be.
std::string Dump(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// The members of an object without its braces, to be continued.
std::string DumpMembers(const Json& object) {
    const std::string text = Dump(object);
    return text.substr(1, text.size() - 2);
}

Json DescribeDecoder(const DecoderFacts& facts) {
    return {{"name", facts.decoder},
            {"library", facts.library},
            {"container", facts.container},
            {"codec", facts.codec},
            {"leading_frames_trimmed", facts.leadingFramesTrimmed},
            {"trailing_frames_trimmed", facts.trailingFramesTrimmed},
            {"damaged_packets", facts.damagedPackets}};
}

// A whole number of samples, or null where a key keeps no frames.
Json SamplesOrNull(std::uint32_t samples) {
    return samples == 0 ? Json(nullptr) : Json(samples);
}

// Null for a key without results frame by frame.
Json ResultsPerFrame(const KeyInfo& info) {
    return HasFrames(info) ? Json(info.resultsPerFrame) : Json(nullptr);
}

// By way of its text: a float itself would show the digits of the nearest double.
Json ShortNumber(float value) {
    return Json::parse(fmt::format("{}", value));
}

Json DescribeKey(const AnalyzedKey& key) {
    Json names = Json::array();
    for (const ValueInfo& value : key.info->values) {
        names.push_back(value.name);
    }
    return {{"delivered", DeliveryText(*key.info)},
            {"sample_rate", key.metaData.sampleRateHz},
            {"frame_size", SamplesOrNull(key.metaData.frameSamples)},
            {"hop", SamplesOrNull(key.metaData.hopSamples)},
            {"results_per_frame", ResultsPerFrame(*key.info)},
            {"layout", FormatOf(*key.info).Layout(*key.info)},
            {"names", names}};
}

bool IsAlike(const AnalyzedKey& one, const AnalyzedKey& other) {
    return one.info == other.info && one.metaData.sampleRateHz == other.metaData.sampleRateHz &&
           one.metaData.frameSamples == other.metaData.frameSamples &&
           one.metaData.hopSamples == other.metaData.hopSamples;
}

} // namespace

// Of what is no path, none.
std::optional<std::filesystem::path> JsonWriter::DirectoryOf(const std::string& path) {
    return path == "-" ? std::nullopt : std::optional(std::filesystem::path(path).parent_path());
}

void JsonWriter::BeginFile(const FileHeader& header) {
    mHeader = header;
    mResults.resize(header.keys.size());
    for (std::size_t i = 0; i < header.keys.size(); ++i) {
        BeginKey(header.keys[i], mResults[i]);
    }
}

// A key of the file before mostly has the same description.
void JsonWriter::BeginKey(const AnalyzedKey& key, KeyResults& results) const {
    if (!IsAlike(results.key, key)) {
        results.description = DumpMembers(DescribeKey(key));
        results.key = key;
    }
    results.spill.Clear();
    results.count = 0;
}

void JsonWriter::DropResults() {
    for (KeyResults& results : mResults) {
        results.spill.Clear();
    }
}

void JsonWriter::Write(std::size_t key, const Result& result) {
    KeyResults& results = mResults[key];
    fmt::memory_buffer& buffer = results.spill.Buffer();
    buffer.append(std::string_view(results.count == 0 ? "\n[" : ",\n["));
    for (std::size_t c = 0; c < result.channels(); ++c) {
        if (c != 0) {
            buffer.push_back(',');
        }
        FormatOf(*result.info()).AppendJson(buffer, result, c, mHeader.minStrength);
    }
    buffer.push_back(']');
    results.spill.MayFlush();
    ++results.count;
}

// The text before an entry of the list of files.
void JsonWriter::BeginEntry() {
    mOutput.Sink().Append(mBegun ? ",\n"
                                 : fmt::format("{{\"qel\":\"{}\",\"files\":[\n", QEL_VERSION));
    mBegun = true;
}

void JsonWriter::WriteKey(std::size_t key) {
    TextSink& sink = mOutput.Sink();
    const KeyResults& results = mResults[key];
    sink.Append(fmt::format("{}\n{}:{{{},\"count\":{},\"values\":[", key == 0 ? "" : ",",
                            JsonText(std::string(results.key.info->key)), results.description,
                            results.count));
    results.spill.CopyTo(sink);
    sink.Append("]}");
}

void JsonWriter::EndFile(const FileSummary& summary) {
    Json parameters = Json::object();
    for (const auto& [name, value] : mHeader.parameters) {
        parameters[name] = ShortNumber(value);
    }
    const double seconds = static_cast<double>(summary.frames) / mHeader.sampleRateHz;
    const Json entry{{"file", mHeader.path},
                     {"sample_rate", mHeader.sampleRateHz},
                     {"channels", mHeader.analyzedChannels},
                     {"file_channels", mHeader.fileChannels},
                     {"mix", mHeader.mix},
                     {"block", mHeader.blockSamples},
                     {"frames", summary.frames},
                     {"duration", seconds},
                     {"decoder", DescribeDecoder(summary.decoder)},
                     {"parameters", parameters},
                     {"min_strength", ShortNumber(mHeader.minStrength)}};
    BeginEntry();
    mOutput.Sink().Append(fmt::format("{{{},\"keys\":{{", DumpMembers(entry)));
    for (std::size_t key = 0; key < mResults.size(); ++key) {
        WriteKey(key);
    }
    mOutput.Sink().Append("}}");
    mOutput.Sink().Flush();
    DropResults();
}

void JsonWriter::FailFile(const std::string& path, const std::string& message) {
    DropResults();
    BeginEntry();
    mOutput.Sink().Append(Dump(Json{{"file", path}, {"error", message}}));
    mOutput.Sink().Flush();
}

void JsonWriter::Finish() {
    if (!mBegun) {
        BeginEntry(); // a document without files is one, too
    }
    mOutput.Sink().Append("\n]}\n");
    mOutput.Commit();
}

} // namespace qel::output
