// Times every push of a stream.
//
//   qel_push_probe BLOCK RUNS declared|unknown KEY...
//   qel_push_probe --live BLOCK RUNS declared|unknown KEY...
//
// prints an object of JSON. The stream is three minutes of music in bars of four, pushed in blocks
// of BLOCK samples, its length declared or not. With --live it is 30 minutes at 48 kHz, and every
// five of them have times of their own too. It runs RUNS times, each time through an analyzer
// of its own and memory of its own, and the time of a push is the least of all runs: what a push
// costs by itself comes again at the same place of the stream, and what else the machine does does
// not. A short stream goes before, for what only the first analyzer of a process pays for.

#include "bench/BareAnalyzer.h"
#include "bench/BenchAudio.h"
#include "bench/KeyFloor.h"

#include <QelAudioAnalysis.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <limits>
#include <malloc.h>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qel::bench {

namespace {

constexpr double kSeconds = 180;
constexpr double kLiveSeconds = 1800;
constexpr double kLiveRateHz = 48000;
constexpr std::size_t kLiveParts = 6;
constexpr std::size_t kWarmPushes = 1000;
constexpr int kMmapThresholdBytes = 1 << 17;

using Clock = std::chrono::steady_clock;
using Times = std::vector<double>; // seconds

struct Plan {
    std::vector<std::string> keys;
    std::size_t blockSamples;
    bool isDeclared;
    bool isLive;

    double RateHz() const { return isLive ? kLiveRateHz : kSampleRateHz; }
    std::size_t Pushes() const {
        return static_cast<std::size_t>((isLive ? kLiveSeconds : kSeconds) * RateHz()) /
               blockSamples;
    }
};

// Keeps of each push the lesser one of `times` and its time in this run.
void RunStream(const Plan& plan, Times& times) {
    const std::vector<float>& minute = MinuteInFour();
    const std::size_t blocks = minute.size() / plan.blockSamples;
    BareAnalyzer analyzer(plan.keys, plan.blockSamples);
    analyzer.Initialize(plan.isDeclared ? times.size() * plan.blockSamples : 0, plan.RateHz());
    for (std::size_t push = 0; push < times.size(); ++push) {
        const std::span<const float> block =
            std::span(minute).subspan(push % blocks * plan.blockSamples, plan.blockSamples);
        const Clock::time_point start = Clock::now();
        analyzer.Push(block);
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        times[push] = std::min(times[push], seconds);
    }
}

Times NoTimes(std::size_t pushes) {
    return Times(pushes, std::numeric_limits<double>::infinity());
}

std::size_t FramesAfter(const KeyFloor& key, std::size_t samples) {
    return samples < key.frameSamples ? 0 : (samples - key.frameSamples) / key.hopSamples + 1;
}

// The times of the pushes that complete a frame of one of the keys; all, where one has no frames.
Times OfFrames(const Plan& plan, const Times& times) {
    Times of;
    for (std::size_t push = 0; push < times.size(); ++push) {
        const auto completes = [&](const std::string& name) {
            const KeyFloor key = KeyFloor::Of(*findKey(name));
            const std::size_t before = push * plan.blockSamples;
            return key.hopSamples == 0 ||
                   FramesAfter(key, before + plan.blockSamples) > FramesAfter(key, before);
        };
        if (std::any_of(plan.keys.begin(), plan.keys.end(), completes)) {
            of.push_back(times[push]);
        }
    }
    return of;
}

double Quantile(Times times, double share) {
    std::sort(times.begin(), times.end());
    return times[static_cast<std::size_t>(share * static_cast<double>(times.size() - 1))];
}

// The times of all pushes, with which an object begins.
void PrintTimes(const Times& times) {
    const auto worst = std::max_element(times.begin(), times.end());
    std::printf("{\"medianSeconds\": %.9f, \"p9999Seconds\": %.9f, \"worstSeconds\": %.9f, "
                "\"worstPush\": %td",
                Quantile(times, 0.5), Quantile(times, 0.9999), *worst, worst - times.begin());
}

void PrintParts(const Times& times) {
    const std::size_t pushes = times.size() / kLiveParts;
    for (std::size_t part = 0; part < kLiveParts; ++part) {
        std::printf(part == 0 ? ", \"parts\": [" : "}, ");
        const auto first = times.begin() + static_cast<std::ptrdiff_t>(part * pushes);
        PrintTimes({first, first + static_cast<std::ptrdiff_t>(pushes)});
    }
    std::printf("}]");
}

void Probe(const Plan& plan, int runs) {
    // Memory that was given back is not given out again, so that every stream touches its own.
    mallopt(M_MMAP_THRESHOLD, kMmapThresholdBytes);
    Times warm = NoTimes(kWarmPushes);
    RunStream(plan, warm);
    Times times = NoTimes(plan.Pushes());
    for (int run = 0; run < runs; ++run) {
        RunStream(plan, times);
    }
    PrintTimes(times);
    std::printf(", \"frameSeconds\": %.9f", Quantile(OfFrames(plan, times), 0.5));
    if (plan.isLive) {
        PrintParts(times);
    }
    std::puts("}");
}

} // namespace

} // namespace qel::bench

int main(int argc, char** argv) {
    const bool isLive = argc > 1 && std::string_view(argv[1]) == "--live";
    const std::span<char* const> words(argv + (isLive ? 2 : 1), argv + argc);
    const bool isWhole = words.size() > 3;
    const int block = isWhole ? std::atoi(words[0]) : 0;
    const int runs = isWhole ? std::atoi(words[1]) : 0;
    const std::string_view length = isWhole ? words[2] : "";
    if (block < 1 || runs < 1 || (length != "declared" && length != "unknown")) {
        std::fprintf(stderr, "usage: qel_push_probe [--live] BLOCK RUNS declared|unknown KEY...\n");
        return 2;
    }
    try {
        const std::vector<std::string> keys(words.begin() + 3, words.end());
        for (const std::string& key : keys) {
            if (qel::findKey(key) == nullptr) {
                throw std::runtime_error("there is no key '" + key + "'");
            }
        }
        qel::bench::Probe({keys, static_cast<std::size_t>(block), length == "declared", isLive},
                          runs);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qel_push_probe: %s\n", error.what());
        return 1;
    }
}
