// Times every key alone, and all together, on one fixed minute of audio through the exported
// functions, beside the floor of its frames in the same run, and the keys about a whole stream on
// three minutes. The ratio is the figure to quote.

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <QelAudioAnalysis.hpp>
#include <benchmark/benchmark.h>

#include "bench/BenchAudio.h"
#include "bench/BenchFloor.h"
#include "bench/ScalarGammatone.h"

namespace qel::bench {
namespace {

constexpr std::size_t kBlockSamples = 4096;
// "temporal properties" keeps no frames of its own, yet its group's frames are transformed.
constexpr unsigned kDescriptorFrame = 1024;
constexpr unsigned kDescriptorHop = 512;
// The constant-Q spectrum's kernels are longer than its frames, which are filled up with zeros. The
// figure is that of 44.1 kHz.
constexpr unsigned kConstantQTransform = 32768;
constexpr const char* kGammatoneFloor = "floor of onsets";
constexpr const char* kAllKeys = "all keys at once";

// All that is worked out at the end of a stream, on one as long as a song: part of that work does
// not grow like the frames do.
constexpr const char* kSongKeys = "tempo, beats and meter, three minutes";
constexpr const char* kSongFloor = "floor of three minutes";
constexpr unsigned kBeatFrame = 1024;
constexpr unsigned kBeatHop = 128;

const std::vector<std::string>& BeatKeys() {
    static const std::vector<std::string> keys = {
        "global tempo", "beat data", "global number of beats per bar", "down beat data"};
    return keys;
}

// Everything that the frames of one chroma processor give.
constexpr const char* kChromaGroup = "all keys of pitch classes";

const std::vector<std::string>& ChromaKeys() {
    static const std::vector<std::string> keys = {
        "pitch class profile", "pitch class porofile key correlation",
        "pitch class profile tonal centroid", "dominant key", "global key"};
    return keys;
}

const std::vector<float>& Song() {
    static const std::vector<float> audio = SongInFour();
    return audio;
}

// Whole blocks, as some keys take nothing else.
const std::vector<float>& Audio() {
    static const std::vector<float> audio = [] {
        std::vector<float> minute = MinuteOfMusic();
        minute.resize(minute.size() - minute.size() % kBlockSamples);
        return minute;
    }();
    return audio;
}

void Analyze(Analyzer& analyzer, std::span<const float> audio) {
    for (std::size_t start = 0; start < audio.size(); start += kBlockSamples)
        analyzer.push(audio.subspan(start, std::min(kBlockSamples, audio.size() - start)));
    analyzer.finish();
}

void BenchKeys(benchmark::State& state, const std::vector<std::string>& keys,
               const std::vector<float>& audio) {
    Analyzer analyzer(keys, StreamSetup{.sampleRateHz = kSampleRateHz,
                                        .maxFrames = kBlockSamples,
                                        .lengthFrames = static_cast<std::uint32_t>(audio.size())});
    double seen = 0.0;
    analyzer.onResult([&](const Result& result) { seen += result.timeSeconds(); });
    for (auto _ : state) {
        Analyze(analyzer, audio);
        state.PauseTiming();
        analyzer.reset();
        state.ResumeTiming();
    }
    benchmark::DoNotOptimize(seen);
}

void BenchFloor(benchmark::State& state, unsigned frame, unsigned hop, unsigned transform,
                const std::vector<float>& audio) {
    BareTransforms transforms(frame, hop, transform);
    for (auto _ : state)
        benchmark::DoNotOptimize(transforms.Run(audio));
}

void BenchGammatone(benchmark::State& state) {
    ScalarGammatone bank(kSampleRateHz);
    for (auto _ : state)
        benchmark::DoNotOptimize(bank.Run(Audio()));
}

unsigned FrameOf(const KeyInfo& row) {
    return row.frameSamples != 0 ? row.frameSamples : kDescriptorFrame;
}

unsigned HopOf(const KeyInfo& row) {
    return row.hopSamples != 0 ? row.hopSamples : kDescriptorHop;
}

unsigned TransformOf(const KeyInfo& row) {
    const bool isConstantQ =
        row.key == "constant q spectrum" || row.key == "harmonic pitch class profile";
    return isConstantQ ? kConstantQTransform : FrameOf(row);
}

// A frame of the reassigned spectrum is transformed under three windows.
double TransformsPerFrame(const KeyInfo& row) {
    return row.key == "reasigned spectrum" ? 3.0 : 1.0;
}

// Onsets have no frames: their floor is the bank that the samples run through.
bool IsOnsets(const KeyInfo& row) {
    return row.key == "onset data";
}

std::string FloorName(const KeyInfo& row) {
    if (IsOnsets(row))
        return kGammatoneFloor;
    return "floor " + std::to_string(FrameOf(row)) + "/" + std::to_string(HopOf(row)) + "/" +
           std::to_string(TransformOf(row));
}

// Keeps the least CPU time of each bench's repetitions and prints the table of ratios.
class TableReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration)
                continue;
            const double seconds = run.cpu_accumulated_time / static_cast<double>(run.iterations);
            const auto [place, isNew] = mSeconds.emplace(run.run_name.function_name, seconds);
            if (!isNew)
                place->second = std::min(place->second, seconds);
        }
    }

    void Finalize() override {
        std::printf("CPU seconds per minute of 44.1 kHz mono audio, and as a multiple of the bare "
                    "transforms of the same frames;\nonsets as one of their filters in a "
                    "plain scalar loop\n\n");
        std::printf("%-38s %10s %10s %8s\n", "key", "seconds", "floor", "ratio");
        double all = 0.0;
        std::map<std::string, double> floors;
        for (const KeyInfo& row : kKeys) {
            const double floor = TransformsPerFrame(row) * mSeconds[FloorName(row)];
            floors[FloorName(row)] = floor;
            PrintRow(std::string(row.key), floor);
        }
        for (const auto& [name, seconds] : floors)
            all += seconds;
        PrintRow(kChromaGroup, mSeconds[FloorName(*findKey(ChromaKeys().front()))]);
        PrintRow(kAllKeys, all);
        PrintRow(kSongKeys, mSeconds[kSongFloor]);
    }

private:
    void PrintRow(const std::string& key, double floorSeconds) {
        const double seconds = mSeconds[key];
        std::printf("%-38s %10.5f %10.5f %8.3f\n", key.c_str(), seconds, floorSeconds,
                    seconds / floorSeconds);
    }

    std::map<std::string, double> mSeconds;
};

void Register(const std::string& name, auto bench) {
    benchmark::RegisterBenchmark(name.c_str(), bench)
        ->Unit(benchmark::kMillisecond)
        ->Repetitions(3);
}

void RegisterAll() {
    std::vector<std::string> all;
    std::map<std::string, const KeyInfo*> floors;
    for (const KeyInfo& row : kKeys) {
        const std::string key(row.key);
        all.push_back(key);
        floors.emplace(FloorName(row), &row);
        Register(key, [key](benchmark::State& state) { BenchKeys(state, {key}, Audio()); });
    }
    for (const auto& [name, row] : floors) {
        if (IsOnsets(*row)) {
            Register(name, BenchGammatone);
            continue;
        }
        Register(name, [row = row](benchmark::State& state) {
            BenchFloor(state, FrameOf(*row), HopOf(*row), TransformOf(*row), Audio());
        });
    }
    Register(kAllKeys, [all](benchmark::State& state) { BenchKeys(state, all, Audio()); });
    Register(kChromaGroup,
             [](benchmark::State& state) { BenchKeys(state, ChromaKeys(), Audio()); });
    Register(kSongKeys, [](benchmark::State& state) { BenchKeys(state, BeatKeys(), Song()); });
    Register(kSongFloor, [](benchmark::State& state) {
        BenchFloor(state, kBeatFrame, kBeatHop, kBeatFrame, Song());
    });
}

} // namespace
} // namespace qel::bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    qel::bench::RegisterAll();
    qel::bench::TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
