#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// The most likely beats in a curve of beat activity: a hidden Markov model whose states are the
// places between two beats at each of the tempi from 50 to 215 BPM, and in which the tempo may
// change from beat to beat. After Krebs, Boeck and Widmer, An efficient state-space model for joint
// tempo and meter tracking, ISMIR, 2015, and Boeck, Krebs and Widmer, A multi-model approach to
// beat tracking considering heterogeneous music styles, ISMIR, 2014.
//
// Costs about 4000 additions per frame and keeps 1 byte per tempo and frame, some 80, while it
// runs; less for a part of the tempi.
class BeatPath {
public:
    // Of the interval from beat to beat: what counts as the beat.
    static constexpr double kBeatShare = 1.0 / 12;

    explicit BeatPath(double framesPerSecond, double lowestBpm = 50, double highestBpm = 215);

    // The frames of the beats, ascending. `activity` is 0 to 1.
    std::vector<std::size_t> find(std::span<const float> activity) const;

private:
    struct Sources { // the tempi that one can be reached from at less than the greatest cost
        std::size_t first;
        std::size_t end;
    };

    void makeChanges();

    std::vector<std::size_t> mIntervals; // frames from beat to beat
    std::vector<double> mLogChange;      // to tempo by from tempo
    std::vector<Sources> mSources;       // by to tempo
};

} // namespace qel::readings
