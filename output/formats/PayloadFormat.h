#pragma once

#include <QelAudioAnalysis/Result.hpp>

#include <fmt/format.h>

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace qel::output {

// What the rows of a table of CSV have in common.
struct CsvRows {
    float minStrength = 0; // weaker events are left out
    std::string_view end;  // what every row closes with, its line feed included
};

// What is said about payloads of one kind, and how they are written: everything that the commands
// and writers need to know of a kind. The kinds are the rows of one table, in PayloadFormat.cpp.
class PayloadFormat {
public:
    // How many numbers there are where the audio decides it.
    static constexpr std::size_t kAnyNumber = std::numeric_limits<std::size_t>::max();

    // What a row of the table has.
    struct Row {
        std::string (*summary)(const KeyInfo&);
        std::string_view (*layout)(const KeyInfo&);
        std::size_t (*numbers)(const KeyInfo&);
        std::vector<std::string> (*columns)(const KeyInfo&);
        void (*appendJson)(fmt::memory_buffer&, const Result&, std::size_t channel,
                           float minStrength);
        void (*appendCsv)(fmt::memory_buffer&, const Result&, std::size_t channel, const CsvRows&);
        bool hasRowPerEntry;
    };

    explicit constexpr PayloadFormat(const Row& row) : mRow(row) {}

    // What a result has for a channel, in a few words: "512 pairs".
    std::string Summary(const KeyInfo& info) const { return mRow.summary(info); }

    // How a channel is written in JSON: "numbers" or "names", one for each of KeyInfo::values, or
    // "arrays", likewise.
    std::string_view Layout(const KeyInfo& info) const { return mRow.layout(info); }

    // Numbers that a result has for a channel, or kAnyNumber.
    std::size_t Numbers(const KeyInfo& info) const { return mRow.numbers(info); }

    // A channel of a result as JSON. Weak events are left out.
    void AppendJson(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                    float minStrength) const {
        mRow.appendJson(buffer, result, channel, minStrength);
    }

    // Names of the columns of CSV: those of one channel after the time.
    std::vector<std::string> Columns(const KeyInfo& info) const { return mRow.columns(info); }

    // Whether payloads are lists of which every entry has a row in CSV. Else every result has one,
    // with its channels side by side.
    bool HasRowPerEntry() const { return mRow.hasRowPerEntry; }

    // What a channel adds to CSV: its fields, each after a comma, or whole rows with their ends if
    // there is one per entry.
    void AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                   const CsvRows& rows) const {
        mRow.appendCsv(buffer, result, channel, rows);
    }

private:
    Row mRow;
};

// The format of a key's payload.
const PayloadFormat& FormatOf(const KeyInfo& info);

} // namespace qel::output
