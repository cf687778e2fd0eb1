#include "tools/batch/BatchWork.h"

#include "output/arrays/ArrayWriter.h"
#include "output/files/Interrupt.h"
#include "tools/qel/FileAnalyzer.h"
#include "tools/qel/ToolError.h"
#include "tools/read/FileReadings.h"
#include "tools/read/ReadingFields.h"

#include <QelAudioAnalysis/Error.hpp>
#include <QelMedia.hpp>

#include <fmt/format.h>

#include <memory>

namespace qel::tool {
namespace {

// Fields of "qel read" that are columns of the table of files, or its errors.
constexpr const char* kFileFields[] = {"path", "error", "length_seconds", "sample_rate_hz",
                                       "channels"};

const char* StatusOf(media::Fault fault) {
    switch (fault) {
    case media::Fault::Unreadable:
        return batch::status::kUnreadable;
    case media::Fault::NotAudio:
        return batch::status::kNotAudio;
    default:
        return batch::status::kDamaged;
    }
}

// What both passes know of a file. The later one has the last word, which is the same.
void DescribeFile(batch::Row& row, const output::DecoderFacts& decoder, double seconds, int rateHz,
                  std::size_t channels) {
    row["format"] = decoder.container;
    row["codec"] = decoder.codec;
    row["decoder"] = fmt::format("{}, {}", decoder.decoder, decoder.library);
    row["duration_seconds"] = seconds;
    row["sample_rate_hz"] = rateHz;
    row["channels"] = channels;
}

// A line for each warning that the earlier pass has not told.
void AddWarnings(batch::Row& row, const std::vector<std::string>& warnings) {
    std::string lines = batch::TextOf(row, "warnings");
    for (const std::string& warning : warnings) {
        if (('\n' + lines + '\n').find('\n' + warning + '\n') == std::string::npos) {
            lines += (lines.empty() ? "" : "\n") + warning;
        }
    }
    if (!lines.empty()) {
        row["warnings"] = lines;
    }
}

void AddKeys(FileAnalyzer& analyzer, const std::string& path, batch::Row& row,
             std::vector<output::Array>& arrays) {
    ProgressBar none(-1, false);
    output::ArrayWriter writer;
    AddWarnings(row, analyzer.Analyze(path, writer, none));
    const output::FileHeader& header = writer.Header();
    DescribeFile(row, writer.Summary().decoder,
                 static_cast<double>(writer.Summary().frames) / header.sampleRateHz,
                 header.sampleRateHz, header.fileChannels);
    arrays = writer.Take();
}

batch::Row ReadingsOf(const FileReadings& file, const std::vector<readings::Reading>& shown) {
    batch::Row fields = FieldsOf(file, shown);
    for (const char* name : kFileFields) {
        fields.erase(name);
    }
    return fields;
}

void AddReadings(const std::vector<readings::Reading>& shown, const std::string& path,
                 batch::Row& row) {
    ProgressBar none(-1, false);
    const FileReadings file = ReadOneFile(path, shown, none);
    DescribeFile(row, file.decoder, file.answers.seconds, file.sampleRateHz, file.channels);
    row["readings"] = ReadingsOf(file, shown);
    AddWarnings(row, file.warnings);
}

// Faults of the media and of the analysis as the batch tells them.
batch::FilePass Told(const batch::FilePass& pass) {
    return [pass](const std::string& path, batch::Row& row, std::vector<output::Array>& arrays) {
        try {
            pass(path, row, arrays);
        } catch (const media::Error& error) {
            output::Interrupt::Check();
            throw batch::FileFault(StatusOf(error.fault()), error.what());
        } catch (const ToolError& error) {
            throw batch::FileFault(batch::status::kRefused, error.what());
        } catch (const Error& error) {
            throw batch::FileFault(batch::status::kRefused, error.what());
        }
    };
}

} // namespace

batch::FileWork BatchWork::Work() const {
    batch::FileWork work;
    if (!plan.keys.empty()) {
        // Shared by the copies of the pass.
        const auto analyzer = std::make_shared<FileAnalyzer>(plan);
        work.passes.push_back(Told([analyzer](const std::string& path, batch::Row& row,
                                              std::vector<output::Array>& arrays) {
            AddKeys(*analyzer, path, row, arrays);
        }));
    }
    if (!shown.empty()) {
        work.passes.push_back(
            Told([shown = shown](const std::string& path, batch::Row& row,
                                 std::vector<output::Array>&) { AddReadings(shown, path, row); }));
    }
    work.isProcessSpent = media::isProcessSpent;
    return work;
}

std::vector<std::string> BatchWork::ReadingColumns() const {
    FileReadings nothing;
    nothing.error = "nothing was read";
    std::vector<std::string> names;
    const batch::Row columns = ReadingsOf(nothing, shown);
    for (const auto& column : columns.items()) {
        names.push_back(column.key());
    }
    return names;
}

} // namespace qel::tool
