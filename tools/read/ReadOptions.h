#pragma once

#include <QelReadings.hpp>

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qel::tool {

enum class ReadFormat { Text, Json, Csv, Tsv, Labels };

// The command line of "qel read", before it is checked.
struct ReadOptions {
    std::vector<std::string> files;
    std::vector<std::string> only; // comma-separated lists of words
    std::string output = "-";
    ReadFormat format = ReadFormat::Text;
    bool beats = false;
    bool downBeats = false;
    bool onsets = false;
    bool keySegments = false;
    bool pitch = false;
    bool quiet = false;
    bool overwrite = false;
};

// A reading that is told in one line or a few fields, and its word on the command line.
struct SummaryReading {
    std::string_view word;
    readings::Reading reading;
};
std::span<const SummaryReading> SummaryReadings();

// The summary readings that are to be shown, in the order of SummaryReadings. Throws UsageError for
// a word that is none of theirs.
std::vector<readings::Reading> ShownReadings(const ReadOptions& options);

// What the library has to be asked for: those to be shown, and those of the lists.
std::vector<readings::Reading> AskedReadings(const ReadOptions& options);

// A list has no place in a row, and labels are one list of times of one file. Throws UsageError for
// other requests.
void RequireListsFit(const ReadOptions& options);

} // namespace qel::tool
