#include "tools/read/ReadingText.h"

#include "output/formats/Texts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace qel::tool {
namespace {

using readings::Answers;
using readings::Reading;

// Where encoders of MP3 cut the sound off at a bit rate. docs/output.md has this table.
struct CoderCutoff {
    double cutoffHz;
    const char* coder;
};
constexpr CoderCutoff kCoderCutoffs[] = {
    {16000, "an MP3 at 128 kbit/s"},
    {19000, "an MP3 at 192 kbit/s"},
    {20000, "an MP3 at 256 kbit/s or more"},
};
constexpr double kCutoffToleranceHz = 300;

std::string LengthText(double seconds) {
    const auto whole = static_cast<long long>(std::llround(seconds));
    return whole < 3600 ? fmt::format("{}:{:02}", whole / 60, whole % 60)
                        : fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

// In percent, and never 100: the strength is an estimate.
int Percent(float strength) {
    return std::min(static_cast<int>(std::lround(100 * strength)), 99);
}

std::string TempoText(const readings::Tempo& tempo) {
    if (tempo.bpm <= 0) {
        return "none found";
    }
    if (!tempo.isSteady) {
        return fmt::format("no steady tempo (about {:.0f} BPM)", tempo.bpm);
    }
    const std::string text =
        fmt::format("{:.2f} BPM, steady ({} %)", tempo.bpm, Percent(tempo.strength));
    return tempo.alternativeBpm > 0 ? fmt::format("{}; or {:.2f} BPM", text, tempo.alternativeBpm)
                                    : text;
}

std::string BarsText(const readings::Bars& bars) {
    if (bars.beatsPerBar == 0) {
        return "none found";
    }
    const char* const doubt = bars.strength < 0.5f ? "not clear: perhaps " : "";
    return fmt::format("{}{} beats per bar ({} %)", doubt, bars.beatsPerBar,
                       Percent(bars.strength));
}

std::string KeyText(const readings::KeyAnswer& key) {
    if (key.strength <= 0) {
        return "none found";
    }
    const char* const doubt = key.strength < 0.5f ? "not clear: perhaps " : "";
    return fmt::format("{}{} ({} %); or {}", doubt, key.main.name(), Percent(key.strength),
                       key.runnerUp.name());
}

std::string LoudnessText(const readings::Loudness& loudness) {
    std::string text = loudness.integratedLufs
                           ? fmt::format("{:.1f} LUFS", *loudness.integratedLufs)
                           : std::string("not measurable");
    if (loudness.rangeLu) {
        text += fmt::format(", range {:.1f} LU", *loudness.rangeLu);
    }
    if (loudness.truePeakDbtp) {
        text += fmt::format(", true peak {:.1f} dBTP", *loudness.truePeakDbtp);
    }
    return text;
}

std::string BandwidthText(const readings::Bandwidth& bandwidth) {
    if (!bandwidth.cutoffHz) {
        return "no cutoff found";
    }
    std::string text = fmt::format("up to {:.1f} kHz", *bandwidth.cutoffHz / 1000);
    for (const CoderCutoff& row : kCoderCutoffs) {
        if (std::abs(*bandwidth.cutoffHz - row.cutoffHz) <= kCutoffToleranceHz) {
            return fmt::format("{}, like {}", text, row.coder);
        }
    }
    return text;
}

std::string Line(const char* name, const std::string& text) {
    return fmt::format("  {:<10} {}\n", name, text);
}

std::string SummaryLine(Reading reading, const Answers& answers) {
    switch (reading) {
    case Reading::Tempo:
        return Line("tempo", TempoText(*answers.tempo));
    case Reading::Bars:
        return Line("bars", BarsText(*answers.bars));
    case Reading::Key:
        return Line("key", KeyText(*answers.key));
    case Reading::Loudness:
        return Line("loudness", LoudnessText(*answers.loudness));
    default:
        return Line("bandwidth", BandwidthText(*answers.bandwidth));
    }
}

std::string ListText(const char* heading, const std::string& lines) {
    return fmt::format("  {}\n{}", heading, lines.empty() ? "    none found\n" : lines);
}

std::string BeatList(const Answers& answers) {
    std::string lines;
    for (const readings::Beat& beat : answers.beats->beats) {
        lines += beat.position > 0 ? fmt::format("    {:.6f} {}\n", beat.seconds, beat.position)
                                   : fmt::format("    {:.6f}\n", beat.seconds);
    }
    return ListText("beats: seconds, position in the bar", lines);
}

std::string DownBeatList(const Answers& answers) {
    std::string lines;
    for (const double seconds : answers.bars->downBeatSeconds) {
        lines += fmt::format("    {:.6f}\n", seconds);
    }
    return ListText("down beats: seconds", lines);
}

std::string OnsetList(const Answers& answers) {
    std::string lines;
    for (const readings::Onset& onset : *answers.onsets) {
        lines += fmt::format("    {:.6f} {:.3f}\n", onset.seconds, onset.strength);
    }
    return ListText("onsets: seconds, strength", lines);
}

std::string KeySegmentList(const Answers& answers) {
    std::string lines;
    for (const readings::KeySegment& segment : answers.key->segments) {
        lines += fmt::format("    {:.6f} {:.6f} {}\n", segment.beginSeconds, segment.endSeconds,
                             segment.key.name());
    }
    return ListText("keys: begin and end in seconds", lines);
}

// Frames without a voice have no line.
std::string PitchList(const Answers& answers) {
    std::string lines;
    for (const readings::Pitch& pitch : *answers.pitch) {
        if (pitch.isVoiced()) {
            lines += fmt::format("    {:.6f} {:.2f} {} {:+.0f}\n", pitch.seconds, pitch.frequencyHz,
                                 pitch.note(), pitch.cents());
        }
    }
    return ListText("pitch: seconds, Hz, MIDI note, cents", lines);
}

} // namespace

std::string ReadingText::Entry(const FileReadings& file, bool isFirst) const {
    if (!file.error.empty()) {
        return "";
    }
    std::string text = isFirst ? "" : "\n";
    text += output::PrintableText(file.path) + '\n';
    text += Line("length", LengthText(file.answers.seconds));
    for (const Reading reading : mShown) {
        text += SummaryLine(reading, file.answers);
    }
    text += mOptions.beats ? BeatList(file.answers) : "";
    text += mOptions.downBeats ? DownBeatList(file.answers) : "";
    text += mOptions.onsets ? OnsetList(file.answers) : "";
    text += mOptions.keySegments ? KeySegmentList(file.answers) : "";
    text += mOptions.pitch ? PitchList(file.answers) : "";
    return text;
}

} // namespace qel::tool
