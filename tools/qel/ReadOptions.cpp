#include "tools/qel/ReadOptions.h"

#include "tools/qel/KeyList.h"
#include "tools/qel/ToolError.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace qel::tool {
namespace {

using readings::Reading;

constexpr std::array kSummary{
    SummaryReading{"tempo", Reading::Tempo},
    SummaryReading{"bars", Reading::Bars},
    SummaryReading{"key", Reading::Key},
    SummaryReading{"loudness", Reading::Loudness},
    SummaryReading{"bandwidth", Reading::Bandwidth},
};

Reading RequireReading(const std::string& word) {
    std::string words;
    for (const SummaryReading& summary : kSummary) {
        if (summary.word == word) {
            return summary.reading;
        }
        words += fmt::format("{}{}", words.empty() ? "" : ", ", summary.word);
    }
    throw UsageError(
        fmt::format("--only: unknown reading \"{}\"; the readings are {}", word, words));
}

// The options of lists that were given, as on the command line.
std::string_view FirstList(const ReadOptions& options) {
    return options.beats         ? "--beats"
           : options.onsets      ? "--onsets"
           : options.keySegments ? "--key-segments"
           : options.pitch       ? "--pitch"
                                 : "";
}

} // namespace

std::span<const SummaryReading> SummaryReadings() {
    return kSummary;
}

std::vector<Reading> ShownReadings(const ReadOptions& options) {
    std::vector<Reading> named;
    for (const std::string& word : SplitList(options.only)) {
        named.push_back(RequireReading(word));
    }
    std::vector<Reading> shown;
    for (const SummaryReading& summary : kSummary) {
        if (options.only.empty() || std::ranges::find(named, summary.reading) != named.end()) {
            shown.push_back(summary.reading);
        }
    }
    return shown;
}

std::vector<Reading> AskedReadings(const ReadOptions& options) {
    std::vector<Reading> asked = ShownReadings(options);
    if (options.beats) { // and their positions in the bar
        asked.insert(asked.end(), {Reading::Beats, Reading::Bars});
    }
    if (options.onsets) {
        asked.push_back(Reading::Onsets);
    }
    if (options.keySegments) {
        asked.push_back(Reading::Key);
    }
    if (options.pitch) {
        asked.push_back(Reading::Pitch);
    }
    std::ranges::sort(asked);
    asked.erase(std::unique(asked.begin(), asked.end()), asked.end());
    return asked;
}

void RequireListsFit(const ReadOptions& options) {
    const bool isRows = options.format == ReadFormat::Csv || options.format == ReadFormat::Tsv;
    if (isRows && !FirstList(options).empty()) {
        throw UsageError(fmt::format("{} has no place in {}, which has one row per file; use "
                                     "--format json, or no --format",
                                     FirstList(options),
                                     options.format == ReadFormat::Csv ? "CSV" : "TSV"));
    }
}

} // namespace qel::tool
