#include "tools/JsonWriter.h"

#include "tools/KeyList.h"
#include "tools/Numbers.h"
#include "tools/Strength.h"

#include <nlohmann/json.hpp>

#include <iterator>
#include <string_view>
#include <vector>

namespace qel::tool {
namespace {

using Json = nlohmann::ordered_json;

// A path need not be UTF-8, while JSON must be.
std::string Dump(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// The members of an object without its braces, to go on behind them.
std::string DumpMembers(const Json& object) {
    const std::string text = Dump(object);
    return text.substr(1, text.size() - 2);
}

void AppendNumbers(fmt::memory_buffer& buffer, std::span<const float> values, std::size_t first,
                   std::size_t step) {
    buffer.push_back('[');
    for (std::size_t i = first; i < values.size(); i += step) {
        if (i != first) {
            buffer.push_back(',');
        }
        AppendJsonNumber(buffer, values[i]);
    }
    buffer.push_back(']');
}

// The member of every record, in one array.
template <typename Record, typename Number>
void AppendEach(fmt::memory_buffer& buffer, const std::vector<Record>& records,
                Number Record::*member) {
    buffer.push_back('[');
    for (const Record& record : records) {
        if (&record != records.data()) {
            buffer.push_back(',');
        }
        AppendJsonNumber(buffer, record.*member);
    }
    buffer.push_back(']');
}

void AppendPairs(fmt::memory_buffer& buffer, std::span<const float> values) {
    buffer.push_back('[');
    AppendNumbers(buffer, values, 0, 2);
    buffer.push_back(',');
    AppendNumbers(buffer, values, 1, 2);
    buffer.push_back(']');
}

void AppendEvents(fmt::memory_buffer& buffer, const std::vector<Event>& events) {
    buffer.push_back('[');
    AppendEach(buffer, events, &Event::timeSeconds);
    buffer.push_back(',');
    AppendEach(buffer, events, &Event::strength);
    buffer.push_back(']');
}

void AppendPartials(fmt::memory_buffer& buffer, const std::vector<Partial>& partials) {
    buffer.push_back('[');
    AppendEach(buffer, partials, &Partial::bin);
    buffer.push_back(',');
    AppendEach(buffer, partials, &Partial::frequencyHz);
    buffer.push_back(',');
    AppendEach(buffer, partials, &Partial::magnitude);
    buffer.push_back(',');
    AppendEach(buffer, partials, &Partial::phaseRadians);
    buffer.push_back(',');
    AppendEach(buffer, partials, &Partial::timeFrames);
    buffer.push_back(']');
}

// One channel of one result: a number per name, or an array per name.
void AppendChannel(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                   float minStrength) {
    switch (result.info()->payload) {
    case PayloadKind::ComplexPairs:
        AppendPairs(buffer, result.floats(channel));
        break;
    case PayloadKind::Events:
        AppendEvents(buffer, StrongEvents(result, channel, minStrength));
        break;
    case PayloadKind::Partials:
        AppendPartials(buffer, result.partials(channel));
        break;
    case PayloadKind::Vector:
        buffer.push_back('[');
        AppendNumbers(buffer, result.floats(channel), 0, 1);
        buffer.push_back(']');
        break;
    case PayloadKind::Count:
        fmt::format_to(std::back_inserter(buffer), "[{}]", result.count(channel));
        break;
    case PayloadKind::Name:
        fmt::format_to(std::back_inserter(buffer), "[{}]", Dump(Json(result.name(channel))));
        break;
    default:
        AppendNumbers(buffer, result.floats(channel), 0, 1);
        break;
    }
}

Json DescribeDecoder(const DecoderReport& report) {
    return {{"name", report.decoder},
            {"library", report.library},
            {"container", report.container},
            {"codec", report.codec},
            {"leading_frames_trimmed", report.leadingTrimmed},
            {"trailing_frames_trimmed", report.trailingTrimmed},
            {"damaged_packets", report.damagedPackets}};
}

// A whole number of samples, or null where a key keeps no frames.
Json SamplesOrNull(std::uint32_t samples) {
    return samples == 0 ? Json(nullptr) : Json(samples);
}

// By way of its text: a float as it stands would show the digits of the nearest double.
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
            {"layout", LayoutText(*key.info)},
            {"names", names}};
}

} // namespace

void JsonWriter::BeginFile(const FileHeader& header) {
    mHeader = header;
    mResults.clear();
    for (std::size_t i = 0; i < header.keys.size(); ++i) {
        mResults.emplace_back();
    }
}

void JsonWriter::Write(std::size_t key, const Result& result) {
    KeyResults& results = mResults[key];
    TextSink& sink = results.spill.Sink();
    fmt::memory_buffer& buffer = sink.Buffer();
    buffer.append(std::string_view(results.count == 0 ? "\n[" : ",\n["));
    for (std::size_t c = 0; c < result.channels(); ++c) {
        if (c != 0) {
            buffer.push_back(',');
        }
        AppendChannel(buffer, result, c, mHeader.minStrength);
    }
    buffer.push_back(']');
    sink.MayFlush();
    ++results.count;
}

// What stands before an entry of the list of files.
void JsonWriter::BeginEntry() {
    mOutput.Sink().Append(mBegun ? ",\n"
                                 : fmt::format("{{\"qel\":\"{}\",\"files\":[\n", QEL_VERSION));
    mBegun = true;
}

void JsonWriter::WriteKey(std::size_t key) {
    TextSink& sink = mOutput.Sink();
    const AnalyzedKey& analyzed = mHeader.keys[key];
    Json description = DescribeKey(analyzed);
    description["count"] = mResults[key].count;
    sink.Append(fmt::format("{}\n{}:{{{},\"values\":[", key == 0 ? "" : ",",
                            Dump(analyzed.info->key), DumpMembers(description)));
    mResults[key].spill.CopyTo(sink);
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
                     {"mix", mHeader.mix == ChannelMix::Mono ? "mono" : "keep"},
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
    mResults.clear();
}

void JsonWriter::FailFile(const std::string& path, const std::string& message) {
    mResults.clear();
    BeginEntry();
    mOutput.Sink().Append(Dump(Json{{"file", path}, {"error", message}}));
    mOutput.Sink().Flush();
}

void JsonWriter::Finish() {
    mOutput.Sink().Append("\n]}\n");
    mOutput.Commit();
}

} // namespace qel::tool
