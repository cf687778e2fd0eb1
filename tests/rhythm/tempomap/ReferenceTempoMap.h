// The running tempo once more, written plainly from its definition alone and in double precision:
// one delay line per comb, direct sums, peaks by plain comparison. Tests hold the library to it.
//
// The library works in single precision, and a tempo is the outcome of comparisons. Where two
// values lie closer than rounding can move them, either outcome is right: each step therefore gives
// every tempo that it may have, nearly always one.
#pragma once

#include "tests/rhythm/tempomap/ReferenceAccents.h"

#include <cstdint>
#include <set>

namespace qel::test {

// By how much rounding may move the mean energy of a comb, as a share of it: low-pass and combs
// have their poles next to 1. This computation in single precision strays by up to 4e-5.
inline constexpr double kCombEnergyError = 1e-4;

struct TempoSettings {
    std::uint32_t complexity = 0; // 2^(7 + complexity) lags
    float minBPM = 20.0f;
    float maxBPM = 280.0f;
};

// One tempo of one channel.
struct TempoStep {
    float tempoBPM = 0.0f;             // by the comparisons as they come out here
    std::set<float> possibleBPM;       // by all that rounding may make of them
    std::vector<std::size_t> peakLags; // accent values; none where the curve has no peak
};

// The leaky energy and the bank of combs of one accent band.
class CombBank {
public:
    explicit CombBank(std::size_t lagCount);

    // Takes one accent. Adds the normalised energies to `salience`, and the energies over the leaky
    // energy, which is what rounding scales with, to `ratios`.
    void Step(double accent, std::vector<double>& salience, std::vector<double>& ratios);

private:
    struct Comb {
        std::vector<double> outputs; // the last ones, as many as the lag
        double feedback = 0.0;
        double feedforward = 0.0;
        double energyNorm = 0.0;
    };
    std::vector<Comb> mCombs;
    double mLeakyEnergy = 0.0;
    std::size_t mTime = 0; // accent values so far
};

class ReferenceTempoMap {
public:
    explicit ReferenceTempoMap(std::size_t channels, const TempoSettings& settings = {});

    void SetRange(float minBPM, float maxBPM);

    // One accent value of every channel; one result per channel.
    std::vector<TempoStep> Step(const std::vector<AccentBands>& accents);

private:
    TempoStep FindTempo(std::vector<double> salience, const std::vector<double>& ratios);

    TempoSettings mSettings;
    std::size_t mLagCount;
    std::vector<std::vector<CombBank>> mBanks; // by channel and accent band
    // Required by the contract: the last winner of all channels, which a curve without peaks
    // repeats.
    std::size_t mWinner = 0; // lag, 0 before any
    std::set<std::size_t> mPossibleWinners = {0};
};

// Steps of a whole stretch of audio, by channel; two per frame.
std::vector<std::vector<TempoStep>> ReferenceTempi(const std::vector<std::vector<float>>& audio,
                                                   const TempoSettings& settings = {});

} // namespace qel::test
