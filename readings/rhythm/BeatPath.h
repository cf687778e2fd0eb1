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
// Costs about 7000 additions per frame and keeps 1 byte per tempo and frame, some 80, while it
// runs.
class BeatPath {
public:
    explicit BeatPath(double framesPerSecond);

    // The frames of the beats, ascending. `activity` is 0 to 1.
    std::vector<std::size_t> find(std::span<const float> activity) const;

private:
    std::vector<std::size_t> mIntervals; // frames from beat to beat
    std::vector<double> mLogChange;      // from tempo by to tempo
};

} // namespace qel::readings
