#include "tests/readings/Signals.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <random>

namespace qel::readings::test {
namespace {

std::size_t samplesOf(double seconds, double rateHz) {
    return static_cast<std::size_t>(std::lround(seconds * rateHz));
}

} // namespace

Samples decaying(Samples sound, double decaySeconds, double rateHz) {
    for (std::size_t i = 0; i < sound.size(); ++i) {
        const double age = static_cast<double>(i) / rateHz;
        sound[i] *= static_cast<float>(std::exp(-age / decaySeconds));
    }
    return sound;
}

Samples silence(double seconds, double rateHz) {
    return Samples(samplesOf(seconds, rateHz));
}

Samples sine(double hz, double seconds, float amplitude, double rateHz) {
    Samples samples(samplesOf(seconds, rateHz));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double phase = std::fmod(hz * static_cast<double>(i) / rateHz, 1.0);
        samples[i] = amplitude * static_cast<float>(std::sin(2 * std::numbers::pi * phase));
    }
    return samples;
}

Samples noise(double seconds, float amplitude, double rateHz) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> uniform(-amplitude, amplitude);
    Samples samples(samplesOf(seconds, rateHz));
    std::ranges::generate(samples, [&] { return uniform(random); });
    return samples;
}

Samples tone(double hz, double seconds, float amplitude, double rateHz) {
    Samples samples = silence(seconds, rateHz);
    for (int harmonic = 1; harmonic <= 8 && harmonic * hz < rateHz / 2; ++harmonic) {
        samples = sum(samples, sine(harmonic * hz, seconds,
                                    amplitude / static_cast<float>(harmonic), rateHz));
    }
    return samples;
}

Samples struck(const Samples& sound, const std::vector<double>& times, double seconds,
               double rateHz) {
    Samples samples = silence(seconds, rateHz);
    for (const double time : times) {
        const std::size_t first = samplesOf(time, rateHz);
        for (std::size_t i = 0; i < sound.size() && first + i < samples.size(); ++i) {
            samples[first + i] += sound[i];
        }
    }
    return samples;
}

Samples strokes(const std::vector<double>& times, double seconds, double rateHz) {
    constexpr double kDecaySeconds = 0.02;
    return struck(decaying(noise(5 * kDecaySeconds, 0.7f, rateHz), kDecaySeconds, rateHz), times,
                  seconds, rateHz);
}

Samples kicks(const std::vector<double>& times, double seconds) {
    return struck(decaying(sine(55, 0.3, 0.8f), 0.08), times, seconds);
}

Samples snares(const std::vector<double>& times, double seconds) {
    return struck(decaying(sum(noise(0.2, 0.4f), sine(200, 0.2, 0.3f)), 0.05), times, seconds);
}

Samples hats(const std::vector<double>& times, double seconds) {
    Samples hiss = noise(0.12, 0.2f);
    std::adjacent_difference(hiss.begin(), hiss.end(), hiss.begin()); // without bass
    return struck(decaying(hiss, 0.03), times, seconds);
}

std::vector<double> times(double first, double distance, double end) {
    std::vector<double> all;
    for (double time = first; time < end;
         time = first + distance * static_cast<double>(all.size())) {
        all.push_back(time);
    }
    return all;
}

Samples joined(const std::vector<Samples>& parts) {
    Samples all;
    for (const Samples& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Samples sum(const Samples& a, const Samples& b) {
    Samples both = a;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        both[i] += b[i];
    }
    return both;
}

Answers read(std::initializer_list<Reading> readings, const Samples& samples, double rateHz) {
    Reader reader(readings, {.sampleRateHz = rateHz, .lengthFrames = samples.size()});
    reader.push(std::span<const float>(samples));
    return reader.finish();
}

std::vector<Onset> onsetsOf(const Samples& samples) {
    return *read({Reading::Onsets}, samples).onsets;
}

std::vector<Pitch> pitchesOf(const Samples& samples) {
    return *read({Reading::Pitch}, samples).pitch;
}

} // namespace qel::readings::test
