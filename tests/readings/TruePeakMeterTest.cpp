// The meter and libebur128, which gets every sample.

#include "readings/TruePeakMeter.h"

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <numbers>
#include <random>

namespace qel::readings::test {
namespace {

struct Destroy {
    void operator()(ebur128_state* state) const { ebur128_destroy(&state); }
};
using State = std::unique_ptr<ebur128_state, Destroy>;

State stateOf(std::uint32_t channels, double rateHz) {
    return State(
        ebur128_init(channels, static_cast<unsigned long>(rateHz), EBUR128_MODE_TRUE_PEAK));
}

double peakOfLibrary(const Samples& interleaved, std::uint32_t channels, double rateHz) {
    const State state = stateOf(channels, rateHz);
    ebur128_add_frames_float(state.get(), interleaved.data(), interleaved.size() / channels);
    double greatest = 0;
    for (std::uint32_t c = 0; c < channels; ++c) {
        double peak = 0;
        ebur128_true_peak(state.get(), c, &peak);
        greatest = std::max(greatest, peak);
    }
    return greatest;
}

// In pieces of random lengths of up to `mostFrames`.
void addInPieces(TruePeakMeter& meter, const Samples& interleaved, std::uint32_t channels,
                 std::size_t mostFrames, std::mt19937& random) {
    std::uniform_int_distribution<std::size_t> length(1, mostFrames);
    for (std::size_t first = 0; first < interleaved.size();) {
        const std::size_t count = std::min(length(random) * channels, interleaved.size() - first);
        meter.add(std::span(interleaved).subspan(first, count));
        first += count;
    }
    meter.end();
}

void expectPeakOfLibrary(const Samples& interleaved, std::uint32_t channels, double rateHz) {
    std::mt19937 random(3);
    const double expected = peakOfLibrary(interleaved, channels, rateHz);
    TruePeakMeter meter(channels, rateHz);
    for (const std::size_t mostFrames : {std::size_t{1}, std::size_t{100}, interleaved.size()}) {
        meter.reset();
        addInPieces(meter, interleaved, channels, mostFrames, random);
        EXPECT_EQ(meter.truePeak(), expected)
            << channels << " channels at " << rateHz << " Hz, pieces of " << mostFrames;
    }
}

constexpr double kRates[] = {8000, 22050, 44100, 48000, 95999, 96000, 176400, 191999, 192000};

// `valueOf(frame, channel)`.
template <class ValueOf>
Samples interleaved(std::size_t frames, std::uint32_t channels, ValueOf valueOf) {
    Samples samples;
    for (std::size_t i = 0; i < frames; ++i) {
        for (std::uint32_t c = 0; c < channels; ++c) {
            samples.push_back(valueOf(i, c));
        }
    }
    return samples;
}

// What swells and falls, so that the peak rises in many places and lies still between them.
Samples swellingNoise(std::size_t frames, std::uint32_t channels, unsigned int seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> value(-1, 1);
    return interleaved(frames, channels, [&](std::size_t i, std::uint32_t c) {
        const double phase = static_cast<double>(i) / (90.0 + c);
        const double level = static_cast<double>(i) / static_cast<double>(frames);
        return value(random) * static_cast<float>(level * std::abs(std::sin(phase)));
    });
}

TEST(TruePeakMeterTest, NoiseHasThePeakThatTheLibraryFindsInAllOfIt) {
    for (const double rateHz : kRates) {
        for (const std::uint32_t channels : {1u, 2u, 3u, 8u}) {
            for (unsigned int seed = 0; seed < 5; ++seed) {
                expectPeakOfLibrary(swellingNoise(3001, channels, seed), channels, rateHz);
            }
        }
    }
}

// Values between the samples rise by a tenth of the estimate's error from period to period, so that
// every block counts.
TEST(TruePeakMeterTest, APeakThatRisesSlowlyIsFollowedToItsEnd) {
    for (const double rateHz : kRates) {
        expectPeakOfLibrary(interleaved(6000, 2,
                                        [](std::size_t i, std::uint32_t c) {
                                            const double angle =
                                                std::numbers::pi / 2 * static_cast<double>(i) +
                                                std::numbers::pi / 4 + 0.01 * c;
                                            const double level = 1 + 1e-6 * static_cast<double>(i);
                                            return static_cast<float>(level * std::sin(angle));
                                        }),
                            2, rateHz);
    }
}

TEST(TruePeakMeterTest, SquaresOfFullScaleHaveThePeakOfTheLibrary) {
    for (const double rateHz : kRates) {
        for (const std::size_t half : {1u, 2u, 3u, 7u, 31u, 64u, 100u}) {
            expectPeakOfLibrary(interleaved(2000, 2,
                                            [half](std::size_t i, std::uint32_t c) {
                                                return (i / half + c) % 2 == 0 ? 1.0f : -1.0f;
                                            }),
                                2, rateHz);
        }
    }
}

// A pulse of 24 samples after silence, at each place of two blocks and their seam.
TEST(TruePeakMeterTest, APulseHasThePeakOfTheLibraryWhereverItLies) {
    for (const double rateHz : {44100.0, 96000.0}) {
        for (std::size_t place = 0; place < 130; ++place) {
            expectPeakOfLibrary(interleaved(place + 24, 1,
                                            [place](std::size_t i, std::uint32_t) {
                                                const float sign = i % 3 == 0 ? -1.0f : 1.0f;
                                                return i < place ? 0.0f : sign * 0.7f;
                                            }),
                                1, rateHz);
        }
    }
}

TEST(TruePeakMeterTest, SilenceAndStreamsWithoutSamplesHaveAPeakOf0) {
    for (const double rateHz : kRates) {
        TruePeakMeter meter(2, rateHz);
        meter.end();
        EXPECT_EQ(meter.truePeak(), 0.0);
        meter.add(Samples(5000, 0.0f));
        meter.end();
        EXPECT_EQ(meter.truePeak(), 0.0);
        EXPECT_EQ(meter.samplePeak(), 0.0);
    }
}

TEST(TruePeakMeterTest, TheLeastAndTheGreatestAmplitudesHaveThePeakOfTheLibrary) {
    for (const float amplitude : {1e-45f, 1e-38f, 1e-20f, 1e6f}) {
        for (const double rateHz : kRates) {
            Samples samples = swellingNoise(2000, 2, 1);
            for (float& sample : samples) {
                sample *= amplitude;
            }
            expectPeakOfLibrary(samples, 2, rateHz);
        }
    }
}

TEST(TruePeakMeterTest, ALoudStreamLeavesNothingToTheNextOne) {
    TruePeakMeter meter(1, 48000);
    meter.add(Samples(1000, 1.0f));
    meter.reset();
    const Samples quiet = swellingNoise(1000, 1, 2);
    meter.add(quiet);
    meter.end();
    EXPECT_EQ(meter.truePeak(), peakOfLibrary(quiet, 1, 48000));
}

TEST(TruePeakMeterTest, TheInterpolatorGetsFewFramesOfEvenNoise) {
    TruePeakMeter meter(1, 44100);
    const Samples samples = noise(20, 0.9f);
    meter.add(samples);
    meter.end();
    EXPECT_GT(meter.interpolatedFrames(), 0u);
    EXPECT_LT(meter.interpolatedFrames(), samples.size() / 100);
}

// The greatest value of the library after these samples of magnitude 1.
double gainOf(const Samples& signs, double rateHz) {
    const State state = stateOf(1, rateHz);
    ebur128_add_frames_float(state.get(), signs.data(), signs.size());
    double peak = 0;
    ebur128_prev_true_peak(state.get(), 0, &peak);
    return peak;
}

// The sum of the magnitudes of a phase's coefficients is what it makes of the signs of these. No
// sign can then be turned for a greater value; other signs than these have one that can.
TEST(TruePeakMeterTest, NoValueIsGreaterThanTheMostGainTimesTheSamples) {
    std::mt19937 random(1);
    double greatest = 0;
    for (const double rateHz : {44100.0, 96000.0}) {
        for (int start = 0; start < 20; ++start) {
            Samples signs(32);
            for (float& sign : signs) {
                sign = random() % 2 == 0 ? 1.0f : -1.0f;
            }
            for (double before = 0, now = gainOf(signs, rateHz); now > before;) {
                before = now;
                for (float& sign : signs) {
                    sign = -sign;
                    const double turned = gainOf(signs, rateHz);
                    sign = turned > now ? sign : -sign;
                    now = std::max(now, turned);
                }
            }
            greatest = std::max(greatest, gainOf(signs, rateHz));
        }
    }
    EXPECT_LT(greatest, TruePeakMeter::kMostGain);
    EXPECT_GT(greatest, 0.99 * TruePeakMeter::kMostGain);
}

// What the loudness reading tells is the library's peak of the samples that count.
TEST(TruePeakMeterTest, TheLoudnessReadingHasThePeakOfTheLibrary) {
    Samples samples = swellingNoise(9000, 1, 4);
    samples[4000] = std::numeric_limits<float>::quiet_NaN();
    samples[5000] = std::numeric_limits<float>::infinity();
    samples[6000] = 1e9f;
    const auto readPeak = [](const Samples& of) {
        return *read({Reading::Loudness}, of).loudness->truePeakDbtp;
    };
    Samples usable = samples;
    usable[4000] = 0;
    usable[5000] = 0;
    usable[6000] = 1e6f;
    EXPECT_EQ(readPeak(samples), 20 * std::log10(peakOfLibrary(usable, 1, kRateHz)));
    usable[6000] = 0.1f;
    EXPECT_EQ(readPeak(usable), 20 * std::log10(peakOfLibrary(usable, 1, kRateHz)));
}

} // namespace
} // namespace qel::readings::test
