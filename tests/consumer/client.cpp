// A client in C++20: the RMS of one second of a sine is amplitude / sqrt(2).
#include <QelAudioAnalysis.hpp>

#include <cmath>
#include <cstddef>
#include <exception>
#include <iostream>
#include <numbers>
#include <vector>

namespace {

constexpr unsigned kRateHz = 44100;
constexpr double kFrequencyHz = 441;
constexpr double kAmplitude = 0.5;

// The sine is in single precision, and so is the sum over its 44100 squares: its rounding errors
// wander off by about sqrt(44100) * 2^-24 = 1.3e-5 of the sum.
constexpr double kTolerance = 1e-4;

std::vector<float> sine() {
    std::vector<float> samples(kRateHz);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double phase = 2 * std::numbers::pi * kFrequencyHz * static_cast<double>(i) / kRateHz;
        samples[i] = static_cast<float>(kAmplitude * std::sin(phase));
    }
    return samples;
}

std::vector<double> rmsPerPush(const std::vector<float>& samples) {
    std::vector<double> values;
    qel::Analyzer analyzer({"temporal properties"},
                           {.sampleRateHz = kRateHz, .channels = 1, .maxFrames = kRateHz});
    analyzer.onResult([&](const qel::Result& result) {
        values.push_back(static_cast<double>(result.value("root mean square energy")));
    });
    analyzer.push(samples);
    analyzer.finish();
    return values;
}

} // namespace

int main() {
    try {
        const double expected = kAmplitude / std::numbers::sqrt2;
        const std::vector<double> values = rmsPerPush(sine());
        if (values.size() != 1) {
            std::cerr << "client in C++: " << values.size() << " results for one push\n";
            return 1;
        }
        if (!(std::abs(values[0] - expected) <= kTolerance * expected)) {
            std::cerr << "client in C++: RMS " << values[0] << ", expected " << expected << '\n';
            return 1;
        }
        std::cout << "RMS " << values[0] << '\n';
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "client in C++: " << error.what() << '\n';
        return 1;
    }
}
