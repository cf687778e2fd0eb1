#include "tools/read/ReadOptions.h"

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

// A list, and its option on the command line.
struct ReadingList {
    std::string_view option;
    bool ReadOptions::*isAsked;
};
constexpr ReadingList kLists[] = {
    {"--beats", &ReadOptions::beats},   {"--down-beats", &ReadOptions::downBeats},
    {"--onsets", &ReadOptions::onsets}, {"--key-segments", &ReadOptions::keySegments},
    {"--pitch", &ReadOptions::pitch},
};

Reading RequireReading(const std::string& word) {
    std::string words;
    for (const SummaryReading& summary : kSummary) {
        if (summary.word == word) {
            return summary.reading;
        }
        words += fmt::format("{}{}", words.empty() ? "" : ", ", summary.word);
    }
    for (const ReadingList& list : kLists) {
        if (list.option == "--" + word) {
            throw UsageError(
                fmt::format("--only: \"{}\" is a list; ask for it by {}", word, list.option));
        }
    }
    throw UsageError(
        fmt::format("--only: unknown reading \"{}\"; the readings are {}", word, words));
}

// The options of lists that were given, as on the command line.
std::vector<std::string_view> AskedLists(const ReadOptions& options) {
    std::vector<std::string_view> asked;
    for (const ReadingList& list : kLists) {
        if (options.*list.isAsked) {
            asked.push_back(list.option);
        }
    }
    return asked;
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
    if (options.format == ReadFormat::Labels) {
        return shown; // the list is all
    }
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
    if (options.downBeats) {
        asked.push_back(Reading::Bars);
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
    const std::vector<std::string_view> lists = AskedLists(options);
    const bool isRows = options.format == ReadFormat::Csv || options.format == ReadFormat::Tsv;
    if (isRows && !lists.empty()) {
        throw UsageError(fmt::format("{} has no place in {}, which has one row per file; use "
                                     "--format json, or no --format",
                                     lists.front(),
                                     options.format == ReadFormat::Csv ? "CSV" : "TSV"));
    }
    if (options.format != ReadFormat::Labels) {
        return;
    }
    if (lists.size() != 1 || options.pitch || options.files.size() != 1) {
        throw UsageError("--format labels is for one list of one file; add one of --beats, "
                         "--down-beats, --onsets, --key-segments");
    }
    if (!options.only.empty()) {
        throw UsageError("--only has no place in labels; leave it out");
    }
}

} // namespace qel::tool
