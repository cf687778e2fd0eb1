#include "tools/CsvWriter.h"

#include "tools/Numbers.h"
#include "tools/ToolError.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>
#include <string_view>
#include <system_error>

namespace qel::tool {
namespace {

std::string Lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

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

void AppendEvents(TextSink& sink, const Result& result) {
    for (std::size_t c = 0; c < result.channels(); ++c) {
        for (const Event& event : result.events(c)) {
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
    for (const float value : result.floats(channel)) {
        buffer.push_back(',');
        AppendCsvNumber(buffer, value);
    }
}

} // namespace

CsvWriter::CsvWriter(const std::string& output, const std::vector<std::string>& files)
    : mOutput(output) {
    mDirectories = files.size() > 1 ? DirectoryNames(files) : std::vector<std::string>(1);
}

std::vector<std::string> CsvWriter::DirectoryNames(const std::vector<std::string>& files) {
    std::vector<std::string> names;
    std::set<std::string> taken;
    for (const std::string& file : files) {
        std::string base = std::filesystem::path(file).filename().string();
        if (base.empty() || base == "." || base == "..") {
            base = "file";
        }
        std::string name = base;
        for (int i = 2; !taken.insert(Lowered(name)).second; ++i) {
            name = fmt::format("{}-{}", base, i);
        }
        names.push_back(name);
    }
    return names;
}

std::string CsvWriter::FileName(std::string_view key) {
    std::string name(key);
    std::replace(name.begin(), name.end(), ' ', '-');
    return name + ".csv";
}

void CsvWriter::BeginFile(const FileHeader& header) {
    mKeys = header.keys;
    mFiles.clear();
    const std::filesystem::path directory =
        mOutput == "-" ? std::filesystem::path()
                       : std::filesystem::path(mOutput) / mDirectories.at(header.index);
    if (mOutput != "-") {
        MakeDirectory(directory);
    }
    for (const AnalyzedKey& key : mKeys) {
        mFiles.emplace_back(mOutput == "-" ? mOutput
                                           : (directory / FileName(key.info->key)).string());
        mFiles.back().Sink().Append(HeaderRow(*key.info, header.analyzedChannels));
    }
}

// Remembers which directories it made, parents included, to take them away if they stay empty.
void CsvWriter::MakeDirectory(const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> missing;
    std::error_code error;
    for (std::filesystem::path at = directory;
         !at.empty() && !std::filesystem::exists(at, error) && at != at.root_path();
         at = at.parent_path()) {
        if (at.has_filename()) {
            missing.push_back(at);
        }
    }
    for (auto at = missing.rbegin(); at != missing.rend(); ++at) {
        std::filesystem::create_directory(*at, error);
        if (error) {
            break;
        }
        mMade.push_back(*at);
    }
    if (!std::filesystem::is_directory(directory, error)) {
        throw OutputError(fmt::format("{}: cannot make this directory", directory.string()));
    }
}

void CsvWriter::RemoveMadeDirectories() {
    mFiles.clear();
    std::error_code notEmpty;
    for (auto at = mMade.rbegin(); at != mMade.rend(); ++at) {
        std::filesystem::remove(*at, notEmpty);
    }
    mMade.clear();
}

void CsvWriter::Write(std::size_t key, const Result& result) {
    TextSink& sink = mFiles[key].Sink();
    if (result.info()->payload == PayloadKind::Events) {
        AppendEvents(sink, result);
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
    for (AtomicFile& file : mFiles) {
        file.Commit();
    }
    mFiles.clear();
}

void CsvWriter::FailFile(const std::string&, const std::string&) {
    RemoveMadeDirectories();
}

} // namespace qel::tool
