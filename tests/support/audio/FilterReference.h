// The resampling filter written plainly in double precision, after its definition as one prototype
// at the rate L * input rate, with the standard library's Bessel function.
#pragma once

#include "support/audio/SRCFilter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>
#include <vector>

namespace qel::core {

struct FilterReference {
    SInt64 up;
    SInt64 down;
    SInt64 taps;   // per branch
    SInt64 length; // of the prototype
    SInt64 wholeDelay;
    SInt64 polyphaseDelay;
    bool highPass;
    double cyclesPerSample;
    double alpha;

    FilterReference(SInt64 up_, SInt64 down_, const KaiserBesselFilterParameters& parameters)
        : up(up_), down(down_), taps(parameters.filterLength),
          length(up * taps - 1 + up * taps % 2), wholeDelay((length - 1 + down) / (2 * down)),
          polyphaseDelay((length - 1) / 2 - down * wholeDelay),
          highPass(parameters.filterType == 1),
          cyclesPerSample(parameters.cutoff / 2.0 / static_cast<double>(up)),
          alpha(parameters.alpha) {}

    // The low-pass prototype without gain.
    double Prototype(SInt64 i) const {
        if (i < 0 || i >= length) {
            return 0.0;
        }
        const double t = static_cast<double>(i - (length - 1) / 2);
        if (t == 0.0) {
            return 2.0 * cyclesPerSample;
        }
        const double place = 2.0 * t / static_cast<double>(length - 1);
        return std::sin(2.0 * std::numbers::pi * cyclesPerSample * t) / (std::numbers::pi * t) *
               std::cyl_bessel_i(0.0, alpha * std::sqrt(1.0 - place * place)) /
               std::cyl_bessel_i(0.0, alpha);
    }

    // Coefficient n of a branch, which stands reversed in time.
    double Branch(SInt64 phase, SInt64 n) const {
        const double gain = 0.99 * static_cast<double>(up) * (highPass ? -1.0 : 1.0);
        const SInt64 k = taps - 1 - n;
        const SInt64 centre = (length - 1) / 2;
        const double impulse = highPass && phase == centre % up && k == centre / up ? 1.0 : 0.0;
        return gain * (Prototype(polyphaseDelay + phase + k * up) - impulse);
    }

    // Output j stands at sample j * M of the rate L * input rate. As many as begin within x.
    std::vector<double> Run(const std::vector<float>& x) const {
        std::vector<std::vector<double>> branches(static_cast<std::size_t>(up));
        for (SInt64 p = 0; p < up; ++p) {
            for (SInt64 n = 0; n < taps; ++n) {
                branches[static_cast<std::size_t>(p)].push_back(Branch(p, n));
            }
        }
        std::vector<double> y;
        for (SInt64 at = 0; at / up < static_cast<SInt64>(x.size()); at += down) {
            double sum = 0.0;
            for (SInt64 n = 0; n < taps; ++n) {
                const SInt64 m = at / up - (taps - 1) + n;
                if (m >= 0) {
                    sum += static_cast<double>(x[static_cast<std::size_t>(m)]) *
                           branches[static_cast<std::size_t>(at % up)][static_cast<std::size_t>(n)];
                }
            }
            y.push_back(sum);
        }
        return y;
    }
};

inline std::vector<float> FilterTestNoise(std::size_t frames, unsigned int seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
    std::vector<float> noise(frames);
    std::generate(noise.begin(), noise.end(), [&] { return uniform(random); });
    return noise;
}

} // namespace qel::core
