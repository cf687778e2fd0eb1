// The measurement of loudness re-computed in double precision: a window of its own, a plain
// transform, the critical bands by whole-number arithmetic, sums, gate and maxima by the plainest
// loops, and where in a stream the excerpts lie that are looked at.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::test {

constexpr std::size_t kExcerptFrames = 1024;
// Frames that one excerpt stands for.
constexpr std::size_t kStepFrames = 32768;
// Only excerpts above it enter the average.
constexpr double kSilenceGate = 5e9;
// Figures are in units of this energy.
constexpr double kLoudnessUnit = 1e9;

// Nominal frequency and upper edge of the critical bands.
struct BandEdges {
    unsigned nominalHz, upperHz;
};
inline constexpr std::array<BandEdges, 25> kBandTable{
    {{50, 100},    {150, 200},   {250, 300},     {350, 400},     {450, 510},
     {570, 630},   {700, 770},   {840, 920},     {1000, 1080},   {1175, 1270},
     {1370, 1480}, {1600, 1720}, {1850, 2000},   {2150, 2320},   {2500, 2700},
     {2900, 3150}, {3400, 3700}, {4000, 4400},   {4800, 5300},   {5800, 6400},
     {7000, 7700}, {8500, 9500}, {10500, 12000}, {13500, 15500}, {19500, 22050}}};

struct ReferenceBand {
    unsigned startBin, endBin; // the end is exclusive
    double weight;
};

// The inverse, as a power, of the threshold of hearing.
double HearingWeight(double frequencyHz);
std::vector<ReferenceBand> ReferenceBands(unsigned rateHz);

// A raised cosine of height 32768, half a sample off.
double ExcerptWindow(std::size_t i);

// Squared moduli of bins 0 to 512 of the windowed excerpt; `stride` samples from one to the next.
std::vector<double> WindowedPower(const float* samples, std::size_t stride);
// The weighted sum of the bands. Bin 0 stands for both ends of the spectrum, 0 and 512.
double WeightedEnergy(std::span<const double> power, unsigned rateHz);

struct ReferenceFigures {
    double maxEnergy = 0, energySum = 0;
    std::uint32_t maxEnergyTime = 0, energyCount = 0, peakTime = 0;
    std::int32_t peak = 0;
    // Before they are cut to whole numbers.
    double averageLoudness = 0, maxLoudness = 0;
    std::size_t excerpts = 0;
    // How near the decisions were: the least distance of an excerpt from the gate, and of the
    // second greatest excerpt from the greatest, as shares.
    double gateMargin = 1, maxMargin = 1;
};

class ReferenceLoudness {
public:
    ReferenceLoudness(unsigned rateHz, unsigned channels)
        : mRateHz(rateHz), mChannels(channels), mFigures(channels), mEnergies(channels) {}

    // The next excerpt, interleaved.
    void AddExcerpt(const float* samples, std::uint32_t timeMilliseconds);
    // One run of whole steps, as one call gets it.
    void AddRun(const float* samples, std::size_t frames);
    // A whole interleaved stream, cut into runs.
    void AddStream(std::span<const float> samples, std::span<const std::size_t> runs);

    ReferenceFigures Figures(unsigned channel) const;

private:
    unsigned mRateHz, mChannels;
    std::size_t mFramesProcessed = 0;
    std::vector<ReferenceFigures> mFigures;
    std::vector<std::vector<double>> mEnergies;
};

// How a stream that arrives in pushes is cut into runs of whole steps: a step that began in an
// earlier push is a run, then all whole steps of the push together. What doesn't fill a step at the
// end is in none.
std::vector<std::size_t> RunsOfPushes(std::span<const std::size_t> pushes);
// The same if audio is converted, at most one step at a time.
std::vector<std::size_t> RunsOfConvertedPushes(std::span<const std::size_t> pushes);

// `actual` is what `value` is cut to, as far as single precision can tell.
bool IsTruncated(std::uint32_t actual, double value);

} // namespace qel::test
