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
#include <fmt/ranges.h>

#include <algorithm>

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

std::vector<std::string> AddKeys(const AnalysisPlan& plan, const std::string& path, batch::Row& row,
                                 std::vector<output::Array>& arrays) {
    ProgressBar none(-1, false);
    output::ArrayWriter writer;
    std::vector<std::string> warnings = AnalyzeFile(plan, path, writer, none);
    const output::FileHeader& header = writer.Header();
    DescribeFile(row, writer.Summary().decoder,
                 static_cast<double>(writer.Summary().frames) / header.sampleRateHz,
                 header.sampleRateHz, header.fileChannels);
    arrays = writer.Take();
    return warnings;
}

batch::Row ReadingsOf(const FileReadings& file, const std::vector<readings::Reading>& shown) {
    batch::Row fields = FieldsOf(file, shown);
    for (const char* name : kFileFields) {
        fields.erase(name);
    }
    return fields;
}

std::vector<std::string> AddReadings(const std::vector<readings::Reading>& shown,
                                     const std::string& path, batch::Row& row) {
    ProgressBar none(-1, false);
    const FileReadings file = ReadOneFile(path, shown, none);
    DescribeFile(row, file.decoder, file.answers.seconds, file.sampleRateHz, file.channels);
    row["readings"] = ReadingsOf(file, shown);
    return file.warnings;
}

void Work(const BatchWork& work, const std::string& path, batch::Row& row,
          std::vector<output::Array>& arrays) {
    std::vector<std::string> warnings;
    if (!work.plan.keys.empty()) {
        warnings = AddKeys(work.plan, path, row, arrays);
    }
    if (!work.shown.empty()) {
        for (const std::string& warning : AddReadings(work.shown, path, row)) {
            if (std::ranges::find(warnings, warning) == warnings.end()) {
                warnings.push_back(warning);
            }
        }
    }
    if (!warnings.empty()) {
        row["warnings"] = fmt::format("{}", fmt::join(warnings, "\n"));
    }
}

} // namespace

void BatchWork::operator()(const std::string& path, batch::Row& row,
                           std::vector<output::Array>& arrays) const {
    batch::Row results = row; // of a file with an error nothing is kept
    try {
        Work(*this, path, results, arrays);
    } catch (const media::Error& error) {
        output::Interrupt::Check();
        throw batch::FileFault(StatusOf(error.fault()), error.what());
    } catch (const ToolError& error) {
        throw batch::FileFault(batch::status::kRefused, error.what());
    } catch (const Error& error) {
        throw batch::FileFault(batch::status::kRefused, error.what());
    }
    row = std::move(results);
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
