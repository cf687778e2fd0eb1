#include "readings/rhythm/RhythmReader.h"

#include "readings/rhythm/BarFinder.h"
#include "readings/rhythm/BeatFinder.h"
#include "readings/rhythm/OnsetStrength.h"
#include "readings/rhythm/Pauses.h"
#include "readings/rhythm/TempoFit.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace qel::readings {
namespace {

constexpr double kHopSamples = 512;
constexpr double kPauseSeconds = 2; // beats of slow music are less apart
// Frames before and after what sounds: an onset has a frame before it.
constexpr std::size_t kMarginFrames = 4;
constexpr std::size_t kFramesPerMelFrame = 4;

// From the begin of the stream to that of the frames that are looked at.
struct Shift {
    double seconds;

    void apply(RhythmReader::Answer& answer) const {
        for (Beat& beat : answer.beats.beats) {
            beat.seconds += seconds;
        }
        for (double& downBeat : answer.bars.downBeatSeconds) {
            downBeat += seconds;
        }
        if (answer.beats.grid) {
            answer.beats.grid->firstBeatSeconds += seconds;
        }
    }
};

// The position of beat `i` in its bar, from 1 on.
int positionOf(std::size_t i, const BarFinder::Result& bars) {
    if (bars.beatsPerBar == 0) {
        return 0;
    }
    const auto length = static_cast<std::size_t>(bars.beatsPerBar);
    return static_cast<int>((i + length - bars.phase) % length) + 1;
}

Bars barsOf(const BarFinder::Result& found, const BeatFinder::Result& beats) {
    Bars bars;
    bars.beatsPerBar = found.beatsPerBar;
    if (found.beatsPerBar > 0) {
        bars.strength = barStrength(found, beats);
        for (std::size_t i = found.phase; i < beats.seconds.size();
             i += static_cast<std::size_t>(found.beatsPerBar)) {
            bars.downBeatSeconds.push_back(beats.seconds[i]);
        }
    }
    return bars;
}

} // namespace

RhythmReader::RhythmReader(double sampleRateHz)
    : mFramesPerSecond(sampleRateHz / kHopSamples), mLevels(sampleRateHz), mHarmony(sampleRateHz) {}

void RhythmReader::reset() {
    mLevels.reset();
    mHarmony.reset();
}

FrameRange RhythmReader::sounding(const std::vector<FrameRange>& parts) const {
    const std::size_t first = parts.front().first - std::min(parts.front().first, kMarginFrames);
    return {first / kFramesPerMelFrame * kFramesPerMelFrame,
            std::min(parts.back().end + kMarginFrames, mLevels.frames())};
}

RhythmReader::Answer RhythmReader::finish(bool withBars) {
    const auto pause = static_cast<std::size_t>(std::lround(kPauseSeconds * mFramesPerSecond));
    const std::vector<FrameRange> parts = soundingParts(mLevels.amplitudes(), pause);
    if (parts.empty()) {
        return {};
    }
    const FrameRange frames = sounding(parts);
    std::vector<TimeRange> times;
    times.reserve(parts.size());
    for (const FrameRange& part : parts) { // a frame lasts two hops
        times.push_back({static_cast<double>(part.first - frames.first) / mFramesPerSecond,
                         static_cast<double>(part.end + 1 - frames.first) / mFramesPerSecond});
    }
    const float level = levelOf(mLevels.amplitudes());
    const OnsetStrength strength(mLevels, level, frames);
    mHarmony.finish(kUsualLevel / level, frames.first);

    const BeatFinder::Result found = BeatFinder(strength, mHarmony, mFramesPerSecond).find(times);
    const std::optional<Grid> grid = fitGrid(found.seconds, found.bpm);
    Answer answer;
    answer.tempo = tempoOf(found, grid);
    BarFinder::Result bars;
    if (withBars && answer.tempo.isSteady) {
        bars = BarFinder(strength, mHarmony, mFramesPerSecond).find(found.seconds);
        answer.bars = barsOf(bars, found);
    }
    for (std::size_t i = 0; i < found.seconds.size(); ++i) {
        answer.beats.beats.push_back({found.seconds[i], found.strengths[i], positionOf(i, bars)});
    }
    if (answer.tempo.isSteady) {
        answer.beats.grid = grid;
    }
    Shift{static_cast<double>(frames.first) / mFramesPerSecond}.apply(answer);
    return answer;
}

} // namespace qel::readings
