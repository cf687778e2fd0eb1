// Prints the figures that the rhythm of recordings is judged by, for bench/truth/fit_rhythm.py.
//
// Standard input has recordings, one after the other: the number of true beats (int32), their times
// in seconds (double), the number of samples (int32) and the samples (float, one channel, 44.1
// kHz). Each gives a line of JSON:
//
//     {EVIDENCE, "readings": [{"ratio", "beats": seconds, "figures", "steadiness", EVIDENCE}]}
//
// EVIDENCE is that of BarFinder: "features", by feature and beat, "repetition", by layer and lag,
// and "thirds". The first one is for the true beats, where there are two or more. Without a path of
// beats there is no reading.

#include "bench/truth/Probe.h"
#include "readings/rhythm/BandLevels.h"
#include "readings/rhythm/BeatFinder.h"
#include "readings/rhythm/BeatLevel.h"
#include "readings/rhythm/Harmony.h"
#include "readings/rhythm/OnsetStrength.h"
#include "readings/rhythm/SoundingParts.h"
#include "readings/rhythm/Steadiness.h"
#include "readings/stream/KeyStream.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <span>
#include <vector>

namespace {

using namespace qel::readings;
using namespace qel::bench;

constexpr double kFramesPerSecond = kProbeRateHz / 512;

void print(std::span<const double> numbers) {
    const char* before = "[";
    for (const double number : numbers) {
        std::printf("%s%.6g", before, number);
        before = ",";
    }
    std::printf("%s", numbers.empty() ? "[]" : "]");
}

template <std::size_t kCount, class Numbers>
void printTable(const std::array<Numbers, kCount>& table) {
    const char* before = "[";
    for (const Numbers& each : table) {
        std::printf("%s", before);
        print(each);
        before = ",";
    }
    std::printf("]");
}

void print(const BarFinder::Evidence& evidence) {
    std::printf("\"features\":");
    printTable(evidence.features);
    std::printf(",\"repetition\":");
    printTable(evidence.repetition);
    std::printf(",\"thirds\":%.6g,\"variety\":%.6g", evidence.thirds, evidence.variety);
}

void printReading(const BeatFinder& finder, const BeatTimes& path,
                  const BeatLevel::Candidate& reading) {
    std::printf("{\"ratio\":%zu,\"beats\":", reading.ratio);
    print(reading.beats);
    std::printf(",\"figures\":");
    print(reading.figures);
    std::printf(",\"steadiness\":");
    print(steadinessFigures(finder.activity(), path, reading.beats, kFramesPerSecond));
    std::printf(",");
    print(finder.bars().evidenceOf(reading.beats));
    std::printf("}");
}

void analyze(const std::vector<double>& beats, const std::vector<float>& samples) {
    BandLevels levels(kProbeRateHz);
    Harmony harmony(kProbeRateHz);
    KeyStream keys({"spectrum", "mel spectrum"}, kProbeRateHz, samples.size(),
                   [&](const qel::Result& result) {
                       if (result.key() == "spectrum") {
                           levels.add(result.floats());
                       } else {
                           harmony.add(result.floats());
                       }
                   });
    keys.add(samples);
    keys.end();
    const float level = levelOf(levels.amplitudes());
    if (level <= 0) {
        std::printf("{\"readings\":[]}\n");
        return;
    }
    const OnsetStrength strength(levels, level, {0, levels.frames()});
    harmony.finish(kUsualLevel / level, 0);
    const BeatFinder finder(strength, harmony, kFramesPerSecond);
    const BeatTimes path = finder.path();
    std::printf("{");
    if (beats.size() >= 2) {
        print(finder.bars().evidenceOf(beats));
        std::printf(",");
    }
    std::printf("\"readings\":[");
    const char* before = "";
    for (const auto& reading :
         BeatLevel(finder.activity(), finder.bars(), kFramesPerSecond).candidatesOf(path)) {
        std::printf("%s", before);
        printReading(finder, path, reading);
        before = ",";
    }
    std::printf("]}\n");
}

} // namespace

int main() {
    std::vector<double> beats;
    std::vector<float> samples;
    while (readNumbers(beats) && readNumbers(samples)) {
        analyze(beats, samples);
        std::fflush(stdout); // the script waits for the line
    }
    return 0;
}
