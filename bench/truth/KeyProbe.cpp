// Prints the figures that the strength of a key is made of, for bench/truth/fit_key.py.
//
// Standard input has streams, one after the other: the number of samples (int32) and the samples
// (float, one channel, 44.1 kHz). Each gives a line of JSON:
//
//     {"key": 0 to 23, "correlation", "figures": [of keyFigures()]}
//
// Keys 0 to 11 are major, 12 to 23 minor, from C upwards. Without a correlation above 0, as in
// silence, there are no figures.

#include "bench/truth/Probe.h"
#include "readings/stream/KeyStream.h"
#include "readings/tone/KeyFinder.h"
#include "readings/tone/KeyStrength.h"

#include <array>
#include <cstdio>
#include <span>
#include <vector>

namespace {

using namespace qel::readings;
using namespace qel::bench;

void analyze(const std::vector<float>& samples) {
    KeyFinder finder(kProbeRateHz);
    KeyStream keys({"mel spectrum"}, kProbeRateHz, samples.size(),
                   [&](const qel::Result& result) { finder.add(result.floats()); });
    keys.add(samples);
    keys.end();
    const KeyFinder::Finding finding = finder.find();
    std::printf("{\"key\":%zu,\"correlation\":%.9g,\"figures\":", finding.main,
                finding.evidence.correlation);
    if (finding.evidence.correlation > 0) {
        printNumbers<double>(keyFigures(finding.evidence));
    } else {
        printNumbers<double>({});
    }
    std::printf("}\n");
}

} // namespace

int main() {
    return probeRecordings(analyze);
}
