#include "readings/tone/MelCepstrum.h"

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace qel::readings::test {
namespace {

// The definition once more in double precision: the Hann window of the key, without its zeros,
// power, a triangle's area of 1, decibels below the loudest, and the cosine transform by its sum.
std::vector<double> coefficientsOf(const Samples& frame, const TimbreSettings& settings) {
    const std::size_t n = frame.size();
    std::vector<double> power(n / 2);
    for (std::size_t k = 0; k < n / 2; ++k) {
        std::complex<double> sum;
        for (std::size_t i = 0; i < n; ++i) {
            const double angle =
                2 * std::numbers::pi * static_cast<double>(i * k % n) / static_cast<double>(n);
            const double window =
                0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i + 1) /
                                     static_cast<double>(n + 1));
            sum += double{frame[i]} * window * std::polar(1.0, -angle);
        }
        power[k] = std::norm(sum);
    }
    const auto mel = [](double hz) {
        return hz < 1000 ? hz * 3 / 200 : 15 + 27 * std::log(hz / 1000) / std::log(6.4);
    };
    const auto hertz = [](double m) {
        return m < 15 ? m * 200 / 3 : 1000 * std::exp((m - 15) * std::log(6.4) / 27);
    };
    std::vector<double> decibels;
    const double step = mel(settings.fmax) / (settings.n_mels + 1.0);
    for (std::uint32_t band = 0; band < settings.n_mels; ++band) {
        const double left = hertz(step * band);
        const double top = hertz(step * (band + 1));
        const double right = hertz(step * (band + 2));
        double sum = 0;
        for (std::size_t k = 0; k < power.size(); ++k) {
            const double hz = static_cast<double>(k) * kRateHz / static_cast<double>(n);
            const double weight =
                std::min((hz - left) / (top - left), (right - hz) / (right - top));
            sum += std::max(weight, 0.0) * 2 / (right - left) * power[k];
        }
        decibels.push_back(10 * std::log10(std::max(sum, 1e-10)));
    }
    std::vector<double> coefficients;
    for (std::uint32_t c = 0; c < settings.n_mfcc; ++c) {
        double sum = 0;
        for (std::uint32_t band = 0; band < settings.n_mels; ++band) {
            sum += decibels[band] * std::cos(std::numbers::pi * c * (band + 0.5) / settings.n_mels);
        }
        coefficients.push_back(sum * std::sqrt((c == 0 ? 1.0 : 2.0) / settings.n_mels));
    }
    return coefficients;
}

Timbre timbreOf(const Samples& samples, const TimbreSettings& settings) {
    const std::vector<Reading> wanted{Reading::Timbre};
    Reader reader(wanted, {.sampleRateHz = kRateHz}, settings);
    reader.push(std::span<const float>(samples));
    return *reader.finish().timbre;
}

TEST(MelCepstrumTest, IsAsDefined) {
    const Samples music = sum(tone(220, 0.2), noise(0.2, 0.05f));
    const TimbreSettings settings{.n_mfcc = 20, .fmax = 16000, .top_db = 1000};
    const Timbre timbre = timbreOf(music, settings);
    ASSERT_EQ(timbre.coefficients, 20u);
    ASSERT_GE(timbre.values.size(), 40u);
    for (std::size_t frame = 0; frame < 2; ++frame) {
        const auto first = music.begin() + static_cast<std::ptrdiff_t>(frame * 2048);
        const auto expected = coefficientsOf(Samples(first, first + 4096), settings);
        for (std::size_t c = 0; c < 20; ++c) {
            // A ten-thousandth of the greatest coefficient.
            EXPECT_NEAR(timbre.values[frame * 20 + c], expected[c], 1e-4 * std::abs(expected[0]));
        }
    }
}

// The decibels of the bands of one spectrum, from as many coefficients as bands: the transform is
// orthonormal, so that its transpose undoes it.
std::vector<double> decibelsOf(const Samples& magnitudes, TimbreSettings settings, double binHz) {
    settings.n_mfcc = settings.n_mels;
    MelCepstrum cepstrum(settings, magnitudes.size(), binHz);
    cepstrum.add(magnitudes, 0.5f);
    const Timbre timbre = cepstrum.finish(1, 1);
    std::vector<double> decibels(settings.n_mels);
    for (std::uint32_t band = 0; band < settings.n_mels; ++band) {
        for (std::uint32_t c = 0; c < settings.n_mels; ++c) {
            decibels[band] += timbre.values[c] * std::sqrt((c == 0 ? 1.0 : 2.0) / settings.n_mels) *
                              std::cos(std::numbers::pi * c * (band + 0.5) / settings.n_mels);
        }
    }
    return decibels;
}

// By the formula of the triangle: at 0 to 1000 Hz the bands are equally spaced in Hz.
TEST(MelCepstrumTest, EachBinCountsInTheTwoBandsAroundIt) {
    constexpr double kBinHz = 10;
    const TimbreSettings settings{.n_mels = 9, .fmax = 1000, .top_db = 1000};
    for (const std::size_t bin : {1u, 9u, 10u, 11u, 15u, 20u, 47u, 88u, 89u, 90u, 91u, 99u}) {
        Samples magnitudes(101, 0.0f);
        magnitudes[bin] = 200; // 100 by the scale
        const std::vector<double> decibels = decibelsOf(magnitudes, settings, kBinHz);
        const double hz = static_cast<double>(bin) * kBinHz;
        for (std::uint32_t band = 0; band < 9; ++band) {
            const double distance = std::abs(hz - 100.0 * (band + 1));
            const double power = std::max(0.0, 1 - distance / 100) * 2 / 200 * 100 * 100;
            // 33 units in the last place of the greatest coefficient, -300.
            EXPECT_NEAR(decibels[band], 10 * std::log10(std::max(power, 1e-10)), 1e-3)
                << "bin " << bin << ", band " << band;
        }
    }
}

TEST(MelCepstrumTest, TheLastBinCountsWhereTheHighestBandHasItInside) {
    Samples magnitudes(64, 0.0f);
    magnitudes[63] = 200;
    // One band from 0 to 640 Hz, of which bin 63, at 630 Hz, is on the fall.
    const TimbreSettings settings{.n_mels = 1, .fmax = 640, .top_db = 1000};
    const std::vector<double> decibels = decibelsOf(magnitudes, settings, 10);
    EXPECT_NEAR(decibels[0], 10 * std::log10(10.0 / 320 * 2 / 640 * 1e4), 1e-4);
}

TEST(MelCepstrumTest, BandsWithoutABinAreAtTheFloor) {
    const TimbreSettings settings{.n_mels = 512, .fmax = 1000, .top_db = 1000};
    const std::vector<double> decibels = decibelsOf(Samples(101, 2.0f), settings, 10);
    // The bands are 1.95 Hz apart and reach as far to each side, the bins are 10 Hz apart.
    for (std::uint32_t band = 0; band < 512; ++band) {
        const double hz = 1000.0 / 513 * (band + 1);
        const double distance = std::abs(hz - 10 * std::round(hz / 10)) * 513 / 1000;
        const double power = std::max(0.0, 1 - distance) * 513 / 1000;
        EXPECT_NEAR(decibels[band], 10 * std::log10(std::max(power, 1e-10)), 0.01) << band;
    }
}

TEST(MelCepstrumTest, TheLimitCountsFromTheLoudestOfTheStream) {
    const Samples loudThenSilent = joined({noise(1, 0.5f), silence(1)});
    const Timbre limited = timbreOf(loudThenSilent, {.top_db = 80});
    const Timbre free =
        timbreOf(loudThenSilent, {.top_db = std::numeric_limits<double>::infinity()});
    const std::size_t last = limited.values.size() - limited.coefficients;
    // All bands at -100 dB without a limit: coefficient 0 is -100 times the root of their number.
    EXPECT_NEAR(free.values[last], -100 * std::sqrt(40.0), 0.01);
    EXPECT_GT(limited.values[last], free.values[last] + 100);
}

TEST(MelCepstrumTest, AGainMovesTheFirstCoefficientAlone) {
    const TimbreSettings settings{.top_db = 1000};
    const Timbre quiet = timbreOf(noise(0.2, 0.02f), settings);
    const Timbre loud = timbreOf(noise(0.2, 0.2f), settings);
    EXPECT_NEAR(loud.values[0] - quiet.values[0], 20 * std::sqrt(40.0), 0.01);
    for (std::size_t c = 1; c < 13; ++c) {
        EXPECT_NEAR(loud.values[c], quiet.values[c], 0.01);
    }
}

TEST(MelCepstrumTest, SettingsOutOfRangeAreRefused) {
    for (const TimbreSettings& settings :
         {TimbreSettings{.n_mfcc = 0}, TimbreSettings{.n_mfcc = 41}, TimbreSettings{.n_mels = 0},
          TimbreSettings{.fmin = -1}, TimbreSettings{.fmin = 9000, .fmax = 8000},
          TimbreSettings{.lifter = -1}, TimbreSettings{.lifter = 1e-320},
          TimbreSettings{.fmax = 22051},
          TimbreSettings{.fmin = 1000, .fmax = std::nextafter(1000, 2000)},
          TimbreSettings{.lifter = std::numeric_limits<double>::infinity()},
          TimbreSettings{.fmax = std::numeric_limits<double>::infinity()},
          TimbreSettings{.fmax = std::nan("")}}) {
        EXPECT_THROW(timbreOf({}, settings), std::invalid_argument);
    }
}

} // namespace
} // namespace qel::readings::test
