#include "tests/rhythm/tempomap/ReferenceAccents.h"

#include "tests/harness/DoubleTransform.h"
#include "tests/rhythm/tempomap/FrozenModuli.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace qel::test {
namespace {

// Bands below this one are narrower than a bin, so that their responses are measured ones.
constexpr std::size_t kFirstRuledBand = std::tuple_size_v<decltype(kFrozenModuli)>;

GammaTable MakeResponses() {
    GammaTable table{};
    for (std::size_t band = 0; band < kNumGammaBands; ++band) {
        const double centre = GammaCentre(band);
        const double bandwidth = 0.1104 * (centre + 1.3356);
        const auto lobe = [&](double distance) {
            return std::pow(1.0 + std::pow(distance / bandwidth, 2.0), -2.0);
        };
        for (std::size_t k = 0; k < kNumGammaBins; ++k) {
            const auto bin = static_cast<double>(k);
            table[band][k] = 1.30 * (lobe(bin - centre) + lobe(bin - (512.0 - centre)));
        }
        if (band < kFirstRuledBand) {
            for (const FrozenModulus& entry : kFrozenModuli[band]) {
                table[band][entry.column] = entry.modulus;
            }
        }
    }
    return table;
}

std::array<double, kAccentFrameSize> MakeWindow() {
    std::array<double, kAccentFrameSize> window{};
    for (std::size_t i = 0; i < kAccentFrameSize; ++i) {
        window[i] = static_cast<float>(
            0.5 * (1.0 - std::cos(2.0 * std::numbers::pi * static_cast<double>(i + 1) /
                                  static_cast<double>(kAccentFrameSize + 1))));
    }
    return window;
}

GammaBands EnergiesOf(std::span<const float> frame) {
    static const std::array<double, kAccentFrameSize> window = MakeWindow();
    std::vector<std::complex<double>> values(kAccentFrameSize);
    for (std::size_t i = 0; i < kAccentFrameSize; ++i) {
        values[i] = static_cast<double>(frame[i]) * window[i];
    }
    testing::Transform(values);
    // Bin 0 is the mean alone: the Nyquist term counts nowhere.
    std::array<double, kNumGammaBins> magnitudes{};
    for (std::size_t k = 0; k < kNumGammaBins; ++k) {
        magnitudes[k] = std::abs(values[k]) / static_cast<double>(kAccentFrameSize);
    }
    GammaBands energies{};
    for (std::size_t band = 0; band < kNumGammaBands; ++band) {
        for (std::size_t k = 0; k < kNumGammaBins; ++k) {
            energies[band] += std::pow(magnitudes[k] * GammaResponses()[band][k], 2.0);
        }
    }
    return energies;
}

double Compressed(double energy) {
    constexpr double kMuLawFactor = 10000.0;
    return std::log(1.0 + energy * kMuLawFactor) / std::log(1.0 + kMuLawFactor);
}

// Low-pass at 10 Hz for 172 values per second, in the direct form: a sum over past inputs and past
// outputs.
class LowPass {
public:
    double Step(double input) {
        std::rotate(mInputs.rbegin(), mInputs.rbegin() + 1, mInputs.rend());
        mInputs[0] = input;
        double output = 0.0;
        for (std::size_t i = 0; i <= kOrder; ++i) {
            output += kNumerator[i] * mInputs[i];
        }
        for (std::size_t i = 1; i <= kOrder; ++i) {
            output -= kDenominator[i] * mOutputs[i - 1];
        }
        std::rotate(mOutputs.rbegin(), mOutputs.rbegin() + 1, mOutputs.rend());
        mOutputs[0] = output;
        return output;
    }

private:
    static constexpr std::size_t kOrder = 6;
    // Single-precision values: so narrow a filter takes notice of the coefficients' eighth digit.
    static constexpr std::array<float, kOrder + 1> kDenominator = {1.0f,
                                                                   -4.59006929397583f,
                                                                   8.910345077514648f,
                                                                   -9.341909408569336f,
                                                                   5.569976329803467f,
                                                                   -1.7884533405303955f,
                                                                   0.24135898053646088f};
    static constexpr std::array<float, kOrder + 1> kNumerator = {
        1.951035847014282e-05f,  0.00011706214718287811f, 0.0002926553715951741f,
        0.00039020716212689877f, 0.0002926553715951741f,  0.00011706214718287811f,
        1.951035847014282e-05f};

    std::array<double, kOrder + 1> mInputs{};
    std::array<double, kOrder> mOutputs{};
};

class AccentBand {
public:
    double Step(double compressed) {
        constexpr double kBlend = 0.8;
        constexpr double kDifferenceFactor = 17.2 * kBlend;
        const double current = mLowPass.Step(compressed);
        const double rise = std::max(0.0, current - mPrevious);
        mPrevious = current;
        return (1.0 - kBlend) * current + kDifferenceFactor * rise;
    }

private:
    LowPass mLowPass;
    double mPrevious = 0.0;
};

} // namespace

std::size_t NumAccentFrames(std::size_t samples) {
    return samples < kAccentFrameSize ? 0 : (samples - kAccentFrameSize) / kAccentHopSize + 1;
}

const GammaTable& GammaResponses() {
    static const GammaTable table = MakeResponses();
    return table;
}

double GammaCentre(std::size_t band) {
    return 1.6146 * std::pow(1.1275, static_cast<double>(band)) - 1.3356;
}

std::vector<GammaBands> GammaEnergies(std::span<const float> samples) {
    std::vector<GammaBands> energies;
    for (std::size_t frame = 0; frame < NumAccentFrames(samples.size()); ++frame) {
        energies.push_back(EnergiesOf(samples.subspan(frame * kAccentHopSize, kAccentFrameSize)));
    }
    return energies;
}

std::vector<AccentBands> Accents(const std::vector<GammaBands>& energies) {
    // Required by the contract: of each group of nine bands the last one alone counts.
    constexpr std::array<std::size_t, kNumAccentBands> kPicked = {8, 17, 26, 35};
    std::array<AccentBand, kNumAccentBands> bands;
    std::vector<AccentBands> accents;
    for (const GammaBands& row : energies) {
        AccentBands first{};
        AccentBands second{};
        for (std::size_t b = 0; b < kNumAccentBands; ++b) {
            first[b] = bands[b].Step(Compressed(row[kPicked[b]]));
            // A zero after each value doubles the rate; nothing makes up for the halved level.
            second[b] = bands[b].Step(0.0);
        }
        accents.push_back(first);
        accents.push_back(second);
    }
    return accents;
}

} // namespace qel::test
