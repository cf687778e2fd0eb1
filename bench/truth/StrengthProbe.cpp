// Prints the onset strength that beats are placed on, for bench/truth/fit_place.py.
//
// Standard input has recordings, one after the other: the number of samples (int32) and the samples
// (float, one channel, 44.1 kHz). Each gives a line of JSON: the onset strength of each frame.

#include "bench/truth/Probe.h"
#include "readings/rhythm/BandLevels.h"
#include "readings/rhythm/OnsetStrength.h"
#include "readings/rhythm/SoundingParts.h"
#include "readings/stream/KeyStream.h"

#include <cstdio>
#include <span>
#include <vector>

namespace {

using namespace qel::readings;
using namespace qel::bench;

void analyze(const std::vector<float>& samples) {
    BandLevels levels(kProbeRateHz);
    KeyStream keys({"spectrum"}, kProbeRateHz, samples.size(),
                   [&](const qel::Result& result) { levels.add(result.floats()); });
    keys.add(samples);
    keys.end();
    const float level = levelOf(levels.amplitudes());
    if (level > 0) {
        printNumbers<float>(OnsetStrength(levels, level, {0, levels.frames()}).all());
    } else {
        printNumbers<float>({});
    }
    std::printf("\n");
}

} // namespace

int main() {
    return probeRecordings(analyze);
}
