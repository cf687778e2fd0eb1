// Features of a recording, frame by frame, in C++.
//
//     features_cpp [samples.raw]
//
// The file holds 32-bit floats of one channel at 44100 Hz. Without a file the program analyzes one
// second of a sine that it makes. It prints one line of comma-separated values per frame.
#include <QelAudioAnalysis.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iostream>
#include <numbers>
#include <span>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kBlock = 4096;

// One second with a period of 64 samples, 689.0625 Hz: the middle of bin 16 of the spectrum.
std::vector<float> makeSine() {
    std::vector<float> samples(44100);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double turns = (static_cast<double>(i) + 0.5) / 64;
        samples[i] = static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * turns));
    }
    return samples;
}

std::vector<float> readFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<float> samples;
    for (float sample; file.read(reinterpret_cast<char*>(&sample), sizeof sample);) {
        samples.push_back(sample);
    }
    return samples;
}

void printFrame(const qel::Result& result) {
    std::cout << result.timeSeconds();
    for (const char* name : {"spectrum maximum frequency", "spectrum rolloff", "spectrum flatness",
                             "spectrum crest factor"}) {
        std::cout << ',' << result.value(name);
    }
    std::cout << '\n';
}

} // namespace

int main(int argc, char** argv) try {
    const std::vector<float> samples = argc > 1 ? readFile(argv[1]) : makeSine();
    std::cout << "seconds,strongest Hz,rolloff Hz,flatness,crest\n";

    qel::Analyzer analyzer({"generic spectrum properties"},
                           {.sampleRateHz = 44100, .maxFrames = kBlock});
    analyzer.onResult(printFrame);
    for (std::span<const float> rest = samples; !rest.empty();) {
        const std::size_t count = std::min(kBlock, rest.size());
        analyzer.push(rest.first(count));
        rest = rest.subspan(count);
    }
    analyzer.finish();
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
