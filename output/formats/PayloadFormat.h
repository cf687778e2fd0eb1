#pragma once

#include <QelAudioAnalysis/Result.hpp>

#include <cstddef>
#include <fmt/format.h>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace qel::tool {

// What the rows of a table of CSV have in common.
struct CsvRows {
    float minStrength = 0; // weaker events are left out
    std::string_view end;  // what every row closes with, its line feed included
};

// What the tool says about payloads of one kind, and how it writes them: everything that the
// commands and writers need to know of a kind. A new kind is a class of its own and a line in
// FormatOf.
class PayloadFormat {
public:
    // How many numbers there are where the audio decides it.
    static constexpr std::size_t kAnyNumber = std::numeric_limits<std::size_t>::max();

    virtual ~PayloadFormat() = default;

    // What a result has for a channel, in a few words: "512 pairs".
    virtual std::string Summary(const KeyInfo& info) const = 0;

    // What stands for a channel in JSON: "numbers" or "names", one for each of KeyInfo::values, or
    // "arrays", likewise.
    virtual std::string_view Layout(const KeyInfo& info) const = 0;

    // Numbers that a result has for a channel, or kAnyNumber.
    virtual std::size_t Numbers(const KeyInfo& info) const = 0;

    // What stands for a channel of a result in JSON. Weak events are left out.
    virtual void AppendJson(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                            float minStrength) const = 0;

    // Names of the columns of CSV: those of one channel behind the time.
    virtual std::vector<std::string> Columns(const KeyInfo& info) const = 0;

    // Whether payloads are lists of which every entry has a row in CSV. Else every result has one,
    // with its channels side by side.
    virtual bool HasRowPerEntry() const { return false; }

    // What a channel adds to CSV: its fields, each behind a comma, or whole rows with their ends if
    // there is one per entry.
    virtual void AppendCsv(fmt::memory_buffer& buffer, const Result& result, std::size_t channel,
                           const CsvRows& rows) const = 0;
};

// The format of a key's payload.
const PayloadFormat& FormatOf(const KeyInfo& info);

} // namespace qel::tool
