#include "bench/KeyBenches.h"

#include "bench/BareAnalyzer.h"
#include "bench/BareTransforms.h"
#include "bench/BenchAudio.h"
#include "bench/KeyFloor.h"
#include "bench/RegisterBench.h"
#include "bench/ScalarGammatone.h"

#include <QelAudioAnalysis.hpp>

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace qel::bench {

namespace {

using Keys = std::vector<std::string>;
using Floors = std::map<std::string, KeyFloor>;

// The results about a whole stream take work that does not grow like the frames do, so that they
// are timed on a stream as long as a song too.
constexpr unsigned kSongMinutes = 3;
constexpr const char* kSongFloor = ", three minutes";

const Keys kChromaKeys = {"pitch class profile", "pitch class porofile key correlation",
                          "pitch class profile tonal centroid", "dominant key", "global key"};
const Keys kTempoKeys = {"global tempo", "beat data"};
const Keys kBeatKeys = {"global tempo", "beat data", "global number of beats per bar",
                        "down beat data"};

const std::vector<float>& Audio(unsigned minutes) {
    return minutes == 1 ? MinuteOfMusic() : MinuteInFour();
}

void BenchKeys(benchmark::State& state, const Keys& keys, unsigned minutes) {
    const std::vector<float>& audio = Audio(minutes);
    BareAnalyzer analyzer(keys);
    analyzer.Initialize(minutes * audio.size());
    for ([[maybe_unused]] auto _ : state) {
        for (unsigned minute = 0; minute < minutes; ++minute) {
            analyzer.Push(audio);
        }
        analyzer.Finish();
        state.PauseTiming();
        analyzer.Reset();
        state.ResumeTiming();
    }
    if (analyzer.Results() == 0) {
        state.SkipWithError("no results");
    }
}

void BenchFloor(benchmark::State& state, const KeyFloor& floor, unsigned minutes) {
    BareTransforms transforms(floor.frameSamples, floor.hopSamples, floor.transformSamples);
    for ([[maybe_unused]] auto _ : state) {
        for (unsigned run = 0; run < minutes * floor.windows; ++run) {
            benchmark::DoNotOptimize(transforms.Run(Audio(minutes)));
        }
    }
}

void BenchFilters(benchmark::State& state) {
    ScalarGammatone bank(kSampleRateHz);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(bank.Run(Audio(1)));
    }
}

void RegisterKeys(const std::string& name, const Keys& keys, unsigned minutes = 1) {
    Floors floors;
    for (const std::string& key : keys) {
        const KeyFloor floor = KeyFloor::Of(*findKey(key));
        floors.emplace(floor.Name(), floor);
    }
    std::string label;
    for (const auto& [floor, _] : floors) {
        label += (label.empty() ? "" : " + ") + floor + (minutes > 1 ? kSongFloor : "");
    }
    RegisterBench(name, label, minutes,
                  [=](benchmark::State& state) { BenchKeys(state, keys, minutes); });
}

void RegisterFloor(const KeyFloor& floor, unsigned minutes = 1) {
    RegisterBench(floor.Name() + (minutes > 1 ? kSongFloor : ""), "", minutes,
                  [=](benchmark::State& state) { BenchFloor(state, floor, minutes); });
}

} // namespace

void RegisterKeyBenches() {
    Keys all;
    Floors floors;
    for (const KeyInfo& row : kKeys) {
        const std::string key(row.key);
        const KeyFloor floor = KeyFloor::Of(row);
        all.push_back(key);
        floors.emplace(floor.Name(), floor);
        RegisterKeys("key/" + key, {key});
    }
    for (const auto& [name, floor] : floors) {
        if (floor.frameSamples != 0) {
            RegisterFloor(floor);
        } else {
            RegisterBench(name, "", 1, BenchFilters);
        }
    }
    RegisterKeys("group/all keys", all);
    RegisterKeys("group/pitch classes and keys", kChromaKeys);
    RegisterKeys("group/tempo and beats", kTempoKeys);
    RegisterKeys("group/tempo, beats and meter, three minutes", kBeatKeys, kSongMinutes);
    RegisterFloor(KeyFloor::Of(*findKey("beat data")), kSongMinutes);
}

} // namespace qel::bench
