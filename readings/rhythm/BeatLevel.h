#pragma once

#include "readings/rhythm/BarFinder.h"
#include "readings/rhythm/BeatActivity.h"
#include "readings/rhythm/BeatTimes.h"

#include <array>
#include <cstddef>
#include <vector>

namespace qel::readings {

// Chooses the level of the beat. The path (BeatPath) often runs at half, double, three times, 2/3
// or 3/2 of the tempo of the beat, or between the beats. So several readings of it are
// compared by a few figures of each: the tempo, how much begins and how the harmony changes on the
// beats and between them, how periodic both are, and how well bars fit.
class BeatLevel {
public:
    static constexpr std::size_t kFigures = 16;

    struct Candidate {
        std::size_t ratio; // of its tempo to that of the path, as a row of the table of ratios
        BeatTimes beats;
        std::array<double, kFigures> figures{};
        double score = 0;
    };

    struct Choice {
        BeatTimes beats; // empty: no reading is long enough
        double alternativeBpm = 0;
        double logOdds = 0;     // of its tempo against all others, by the figures alone
        std::size_t rivals = 0; // readings at other tempi that it was compared with
    };

    BeatLevel(const BeatActivity& activity, const BarFinder& bars, double framesPerSecond)
        : mActivity(activity), mBars(bars), mFramesPerSecond(framesPerSecond) {}

    Choice choose(const BeatTimes& path) const;

    // The readings of a path that are compared, with their figures and scores.
    std::vector<Candidate> candidatesOf(const BeatTimes& path) const;

    // The mean of the greatest values of a curve around these times.
    double meanAt(const std::vector<float>& curve, const BeatTimes& times) const;

private:
    static std::vector<Candidate> readingsOf(const BeatTimes& path);
    std::array<double, kFigures> figuresOf(const BeatTimes& beats) const;

    const BeatActivity& mActivity;
    const BarFinder& mBars;
    const double mFramesPerSecond;
};

} // namespace qel::readings
