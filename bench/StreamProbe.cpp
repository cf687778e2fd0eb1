// Measures one stream in a process of its own: what only the first analyzer of a process pays for,
// what the process held at most, and how often it allocated.
//
//   qel_stream_probe MINUTES KEY...
//   qel_stream_probe --growth MINUTES KEY...
//
// prints an object of JSON. The stream is MINUTES times one minute of music in bars of four. With
// --growth it runs beside as many streams of one minute, minute by minute in turns, so that
// whatever slows the machine down slows both.

#include "bench/AllocationCounter.h"
#include "bench/BareAnalyzer.h"
#include "bench/BenchAudio.h"
#include "bench/CPUTime.h"
#include "bench/ResidentMemory.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <malloc.h>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qel::bench {

namespace {

// Until then buffers may grow to the size that they keep.
constexpr std::size_t kWarmBlocks = 64;
constexpr int kResets = 5;
constexpr std::size_t kBlocksBetweenResets = 16;

// Returns the allocations per block once the stream runs.
double RunStream(BareAnalyzer& analyzer, std::span<const float> minute, std::size_t minutes) {
    const std::size_t warm = kWarmBlocks * kBlockSamples;
    analyzer.Push(minute.first(warm));
    const std::size_t before = AllocationCounter::Count();
    analyzer.Push(minute.subspan(warm));
    for (std::size_t more = 1; more < minutes; ++more) {
        analyzer.Push(minute);
    }
    const std::size_t allocations = AllocationCounter::Count() - before;
    analyzer.Finish();
    const std::size_t blocks = minutes * minute.size() / kBlockSamples - kWarmBlocks;
    return static_cast<double>(allocations) / static_cast<double>(blocks);
}

double LeastResetSeconds(BareAnalyzer& analyzer, std::span<const float> minute) {
    double least = SecondsOf([&] { analyzer.Reset(); });
    for (int i = 1; i < kResets; ++i) {
        analyzer.Push(minute.first(kBlocksBetweenResets * kBlockSamples));
        least = std::min(least, SecondsOf([&] { analyzer.Reset(); }));
    }
    return least;
}

void Probe(std::size_t minutes, const std::vector<std::string>& keys) {
    const std::vector<float>& minute = MinuteInFour();
    const std::size_t residentBefore = PeakResidentBytes();
    BareAnalyzer analyzer(keys);
    const double initialize = SecondsOf([&] { analyzer.Initialize(minutes * minute.size()); });
    double allocations = 0.0;
    const double stream = SecondsOf([&] { allocations = RunStream(analyzer, minute, minutes); });
    if (analyzer.Results() == 0) {
        throw std::runtime_error("no results");
    }
    if (AllocationCounter::Count() == 0) {
        throw std::runtime_error("the allocations of the library are not counted");
    }
    const std::size_t resident = PeakResidentBytes() - residentBefore;
    std::printf("{\"initializeSeconds\": %.9f, \"resetSeconds\": %.9f, \"streamSeconds\": %.9f, "
                "\"allocationsPerBlock\": %.6f, \"residentBytes\": %zu}\n",
                initialize, LeastResetSeconds(analyzer, minute), stream, allocations, resident);
}

void ProbeGrowth(std::size_t minutes, const std::vector<std::string>& keys) {
    // Memory that was given back is not given out again, so that every stream touches its own.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    const std::vector<float>& minute = MinuteInFour();
    BareAnalyzer whole(keys);
    whole.Initialize(minutes * minute.size());
    double wholeSeconds = 0.0;
    double partsSeconds = 0.0;
    for (std::size_t done = 1; done <= minutes; ++done) {
        wholeSeconds += SecondsOf([&] {
            whole.Push(minute);
            if (done == minutes) {
                whole.Finish();
            }
        });
        BareAnalyzer part(keys);
        part.Initialize(minute.size());
        partsSeconds += SecondsOf([&] {
            part.Push(minute);
            part.Finish();
        });
        if (part.Results() == 0) {
            throw std::runtime_error("no results");
        }
    }
    if (whole.Results() == 0) {
        throw std::runtime_error("no results");
    }
    std::printf("{\"wholeSeconds\": %.9f, \"partsSeconds\": %.9f}\n", wholeSeconds, partsSeconds);
}

} // namespace

} // namespace qel::bench

int main(int argc, char** argv) {
    const bool growth = argc > 1 && std::string_view(argv[1]) == "--growth";
    char** const words = argv + (growth ? 2 : 1);
    if (argv + argc - words < 2 || std::atoi(words[0]) < 1) {
        std::fprintf(stderr, "usage: qel_stream_probe [--growth] MINUTES KEY...\n");
        return 2;
    }
    try {
        const auto minutes = static_cast<std::size_t>(std::atoi(words[0]));
        const std::vector<std::string> keys(words + 1, argv + argc);
        if (growth) {
            qel::bench::ProbeGrowth(minutes, keys);
        } else {
            qel::bench::Probe(minutes, keys);
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qel_stream_probe: %s\n", error.what());
        return 1;
    }
}
