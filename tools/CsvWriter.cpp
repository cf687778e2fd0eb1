#include "tools/CsvWriter.h"

#include "tools/Numbers.h"
#include "tools/Strength.h"

#include <filesystem>
#include <iterator>

namespace qel::tool {
namespace {

// A name with a comma, a quote or a line break stands in quotes, with its quotes doubled.
std::string Quoted(const std::string& name) {
    if (name.find_first_of(",\"\r\n") == std::string::npos) {
        return name;
    }
    std::string quoted = "\"";
    for (const char c : name) {
        quoted.append(c == '"' ? 2 : 1, c);
    }
    return quoted + '"';
}

// Names of the columns of one channel. Pairs are numbered: real_0, imag_0, real_1, ... and so are
// the places of a vector.
std::vector<std::string> ColumnNames(const KeyInfo& info) {
    std::vector<std::string> names;
    if (info.payload == PayloadKind::ComplexPairs) {
        const std::size_t pairs = info.payloadBytes / (2 * sizeof(float));
        for (std::size_t k = 0; k < pairs; ++k) {
            names.push_back(fmt::format("real_{}", k));
            names.push_back(fmt::format("imag_{}", k));
        }
        return names;
    }
    if (info.payload == PayloadKind::Vector) {
        for (std::size_t k = 0; k < info.payloadBytes / sizeof(float); ++k) {
            names.push_back(fmt::format("{}_{}", info.values.front().name, k));
        }
        return names;
    }
    for (const ValueInfo& value : info.values) {
        names.emplace_back(value.name);
    }
    return names;
}

// Every event has a row of its own and a time of its own, so that channels cannot share rows.
std::string EventHeaderRow(const KeyInfo& info, std::size_t channels) {
    return fmt::format("time{},{}\n", channels == 1 ? "" : ",channel",
                       Quoted(std::string(info.values.back().name)));
}

std::string HeaderRow(const KeyInfo& info, std::size_t channels) {
    if (info.payload == PayloadKind::Events) {
        return EventHeaderRow(info, channels);
    }
    const std::vector<std::string> names = ColumnNames(info);
    std::string row = "time";
    for (std::size_t c = 0; c < channels; ++c) {
        for (const std::string& name : names) {
            row += ',';
            row += Quoted(channels == 1 ? name : fmt::format("{}_ch{}", name, c));
        }
    }
    return row + '\n';
}

void AppendEvents(TextSink& sink, const Result& result, float minStrength) {
    for (std::size_t c = 0; c < result.channels(); ++c) {
        for (const Event& event : StrongEvents(result, c, minStrength)) {
            fmt::memory_buffer& buffer = sink.Buffer();
            AppendCsvNumber(buffer, event.timeSeconds);
            if (result.channels() > 1) {
                fmt::format_to(std::back_inserter(buffer), ",{}", c);
            }
            buffer.push_back(',');
            AppendCsvNumber(buffer, event.strength);
            buffer.push_back('\n');
            sink.MayFlush();
        }
    }
}

// The numbers of a channel, each behind a comma.
void AppendChannel(fmt::memory_buffer& buffer, const Result& result, std::size_t channel) {
    if (result.info()->payload == PayloadKind::Count) {
        fmt::format_to(std::back_inserter(buffer), ",{}", result.count(channel));
        return;
    }
    if (result.info()->payload == PayloadKind::Name) {
        fmt::format_to(std::back_inserter(buffer), ",{}", Quoted(result.name(channel)));
        return;
    }
    for (const float value : result.floats(channel)) {
        buffer.push_back(',');
        AppendCsvNumber(buffer, value);
    }
}

} // namespace

void CsvWriter::BeginFile(const FileHeader& header) {
    mMinStrength = header.minStrength;
    const std::filesystem::path directory = mDirectories.at(header.index);
    for (std::size_t key = 0; key < header.keys.size(); ++key) {
        const KeyInfo& info = *header.keys[key].info;
        mFiles.Add(directory / (ResultFiles::KeyName(info.key) + ".csv"));
        mFiles.Sink(key).Append(HeaderRow(info, header.analyzedChannels));
    }
}

void CsvWriter::Write(std::size_t key, const Result& result) {
    TextSink& sink = mFiles.Sink(key);
    if (result.info()->payload == PayloadKind::Events) {
        AppendEvents(sink, result, mMinStrength);
        return;
    }
    fmt::memory_buffer& buffer = sink.Buffer();
    AppendCsvNumber(buffer, result.timeSeconds());
    for (std::size_t c = 0; c < result.channels(); ++c) {
        AppendChannel(buffer, result, c);
    }
    buffer.push_back('\n');
    sink.MayFlush();
}

void CsvWriter::EndFile(const FileSummary&) {
    mFiles.Commit();
}

void CsvWriter::FailFile(const std::string&, const std::string&) {
    mFiles.Drop();
}

} // namespace qel::tool
