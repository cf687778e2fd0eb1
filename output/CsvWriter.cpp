#include "output/CsvWriter.h"

#include "output/formats/Numbers.h"
#include "output/formats/PayloadFormat.h"
#include "output/formats/Texts.h"

namespace qel::output {
namespace {

std::string HeaderRow(const KeyInfo& info, std::size_t channels) {
    const PayloadFormat& format = FormatOf(info);
    std::string row = "time";
    const std::string end = ",file\n";
    if (format.HasRowPerEntry()) {
        // Entries have rows of their own, so that channels cannot share rows.
        row += channels == 1 ? "" : ",channel";
        for (const std::string& name : format.Columns(info)) {
            row += ',' + CsvText(name);
        }
        return row + end;
    }
    for (std::size_t c = 0; c < channels; ++c) {
        for (const std::string& name : format.Columns(info)) {
            row += ',' + CsvText(channels == 1 ? name : fmt::format("{}_ch{}", name, c));
        }
    }
    return row + end;
}

} // namespace

void CsvWriter::BeginFile(const FileHeader& header) {
    mMinStrength = header.minStrength;
    mRowEnd = ',' + CsvText(header.path) + '\n';
    mFiles.Begin(header.path);
    for (std::size_t key = 0; key < header.keys.size(); ++key) {
        const KeyInfo& info = *header.keys[key].info;
        mFiles.Add(ResultFiles::KeyName(info.key) + ".csv");
        mFiles.Sink(key).Append(HeaderRow(info, header.analyzedChannels));
    }
}

void CsvWriter::Write(std::size_t key, const Result& result) {
    const PayloadFormat& format = FormatOf(*result.info());
    TextSink& sink = mFiles.Sink(key);
    fmt::memory_buffer& buffer = sink.Buffer();
    if (!format.HasRowPerEntry()) {
        AppendCsvNumber(buffer, result.timeSeconds());
    }
    for (std::size_t c = 0; c < result.channels(); ++c) {
        format.AppendCsv(buffer, result, c, {mMinStrength, mRowEnd});
    }
    if (!format.HasRowPerEntry()) {
        buffer.append(mRowEnd);
    }
    sink.MayFlush();
}

void CsvWriter::EndFile(const FileSummary&) {
    mFiles.Commit();
}

void CsvWriter::FailFile(const std::string&, const std::string&) {
    mFiles.Drop();
}

} // namespace qel::output
