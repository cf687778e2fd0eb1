// Measures an analysis by the C++ client, for the comparison with the Python package: CPU seconds
// with the results dropped, and with all of them kept in vectors.
//
//   qel_kept_probe ROUNDS FILE KEY...
//
// FILE holds native 32-bit floats, mono at 44.1 kHz. Prints an object of JSON with the least
// seconds of all rounds. The two ways take turns.

#include "bench/BenchAudio.h"

#include <QelAudioAnalysis/BlockAnalyzer.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace qel::bench {
namespace {

struct Kept {
    std::vector<double> times;
    std::vector<float> numbers;
    std::vector<Partial> partials;
    std::vector<std::size_t> partialCounts;
    std::vector<std::string> names;
};

std::vector<float> SamplesOf(const char* path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::vector<float> samples(static_cast<std::size_t>(file.tellg()) / sizeof(float));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(samples.data()),
              static_cast<std::streamsize>(samples.size() * sizeof(float)));
    if (!file || samples.empty()) {
        throw std::runtime_error(std::string(path) + " has no samples");
    }
    return samples;
}

void Keep(Kept& kept, const Result& result) {
    kept.times.push_back(result.timeSeconds());
    switch (result.info()->payload) {
    case PayloadKind::Partials: {
        const std::vector<Partial> partials = result.partials();
        kept.partials.insert(kept.partials.end(), partials.begin(), partials.end());
        kept.partialCounts.push_back(partials.size());
        break;
    }
    case PayloadKind::Name:
        kept.names.push_back(result.name());
        break;
    default: {
        const std::span<const float> numbers = result.floats();
        kept.numbers.insert(kept.numbers.end(), numbers.begin(), numbers.end());
    }
    }
}

// Memory for all frames of the stream, which it is known to have.
std::map<const KeyInfo*, Kept> Reserved(const BlockAnalyzer& analyzer,
                                        const std::vector<std::string>& keys, std::size_t samples) {
    std::map<const KeyInfo*, Kept> results;
    for (const std::string& key : keys) {
        const KeyInfo* info = findKey(keyNamed(key));
        const std::size_t frames =
            samples / analyzer.metaData(key).hopSamples * info->resultsPerFrame + 1;
        Kept& kept = results[info];
        kept.times.reserve(frames);
        if (info->payload != PayloadKind::Partials && info->payload != PayloadKind::Name) {
            kept.numbers.reserve(frames * info->payloadBytes / sizeof(float));
        }
    }
    return results;
}

// One analysis. Returns CPU seconds, those of the setup included.
double Run(const std::vector<float>& samples, const std::vector<std::string>& keys, bool isKept) {
    const std::clock_t start = std::clock();
    BlockAnalyzer analyzer(keys, {},
                           {.sampleRateHz = kSampleRateHz,
                            .channels = 1,
                            .maxFrames = kBlockSamples,
                            .lengthFrames = static_cast<UInt32>(samples.size())});
    auto results =
        isKept ? Reserved(analyzer, keys, samples.size()) : std::map<const KeyInfo*, Kept>();
    std::size_t count = 0;
    analyzer.onResult([&](const Result& result) {
        ++count;
        if (isKept) {
            Keep(results.at(result.info()), result);
        }
    });
    for (std::size_t at = 0; at < samples.size(); at += kBlockSamples) {
        const float* channel = samples.data() + at;
        analyzer.push({&channel, 1}, std::min(kBlockSamples, samples.size() - at));
    }
    analyzer.finish();
    if (count == 0) {
        throw std::runtime_error("no results");
    }
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

void Probe(int rounds, const char* path, const std::vector<std::string>& keys) {
    const std::vector<float> samples = SamplesOf(path);
    double dropped = std::numeric_limits<double>::infinity();
    double kept = dropped;
    for (int i = 0; i < rounds; ++i) {
        dropped = std::min(dropped, Run(samples, keys, false));
        kept = std::min(kept, Run(samples, keys, true));
    }
    std::printf("{\"dropped\": %.6f, \"kept\": %.6f}\n", dropped, kept);
}

} // namespace
} // namespace qel::bench

int main(int argc, char** argv) {
    if (argc < 4 || std::atoi(argv[1]) < 1) {
        std::fprintf(stderr, "usage: qel_kept_probe ROUNDS FILE KEY...\n");
        return 2;
    }
    try {
        qel::bench::Probe(std::atoi(argv[1]), argv[2],
                          std::vector<std::string>(argv + 3, argv + argc));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qel_kept_probe: %s\n", error.what());
        return 1;
    }
}
