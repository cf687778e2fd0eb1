#include "tools/read/ReadingLabels.h"

#include <fmt/format.h>

#include <string_view>

namespace qel::tool {
namespace {

using readings::Answers;

std::string Label(double beginSeconds, double endSeconds, std::string_view text) {
    return fmt::format("{:.6f}\t{:.6f}\t{}\n", beginSeconds, endSeconds, text);
}

std::string Label(double seconds, std::string_view text) {
    return Label(seconds, seconds, text);
}

// With the position in the bar, where it is known.
std::string BeatLabels(const Answers& answers) {
    std::string labels;
    for (const readings::Beat& beat : answers.beats->beats) {
        labels += Label(beat.seconds, beat.position > 0 ? fmt::to_string(beat.position) : "");
    }
    return labels;
}

// With the number of the bar.
std::string DownBeatLabels(const Answers& answers) {
    std::string labels;
    int bar = 0;
    for (const double seconds : answers.bars->downBeatSeconds) {
        labels += Label(seconds, fmt::to_string(++bar));
    }
    return labels;
}

std::string OnsetLabels(const Answers& answers) {
    std::string labels;
    for (const readings::Onset& onset : *answers.onsets) {
        labels += Label(onset.seconds, fmt::format("{:.3f}", onset.strength));
    }
    return labels;
}

std::string KeyLabels(const Answers& answers) {
    std::string labels;
    for (const readings::KeySegment& segment : answers.key->segments) {
        labels += Label(segment.beginSeconds, segment.endSeconds, segment.key.name());
    }
    return labels;
}

} // namespace

std::string ReadingLabels::Entry(const FileReadings& file, bool) const {
    if (!file.error.empty()) {
        return "";
    }
    return mOptions.beats       ? BeatLabels(file.answers)
           : mOptions.downBeats ? DownBeatLabels(file.answers)
           : mOptions.onsets    ? OnsetLabels(file.answers)
                                : KeyLabels(file.answers);
}

} // namespace qel::tool
