#include "readings/onsets/AttackPlace.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {
namespace {

constexpr std::size_t kBlockSamples = 32;
constexpr std::int64_t kReach = 14; // blocks to either side: 10 ms
constexpr std::int64_t kBlocksBefore = 12;
constexpr std::int64_t kBlocksAfter = 4;
constexpr double kQuietest = 1e-9;  // energy per sample: -90 dB
constexpr double kSteepRise = 31.6; // 15 dB
// A click of one sample rises as steeply in all blocks that have it among those after them: the
// last of them is its own.
constexpr double kAsSteep = 0.9;

} // namespace

void AttackPlace::reset() {
    *this = {};
}

void AttackPlace::add(std::span<const float> samples) {
    for (const float sample : samples) {
        const double difference = double{sample} - mBefore;
        mBefore = sample;
        mEnergy += difference * difference;
        if (++mFilled == kBlockSamples) {
            mEnergies[static_cast<std::size_t>(mFull++) % kBlocks] = mEnergy / kBlockSamples;
            mFilled = 0;
            mEnergy = 0;
        }
    }
}

// Silence comes before the stream.
double AttackPlace::meanOf(std::int64_t firstBlock, std::int64_t endBlock) const {
    double sum = 0;
    for (std::int64_t block = std::max<std::int64_t>(firstBlock, 0); block < endBlock; ++block) {
        sum += mEnergies[static_cast<std::size_t>(block) % kBlocks];
    }
    return sum / static_cast<double>(endBlock - firstBlock) + kQuietest;
}

double AttackPlace::near(double sample) const {
    const auto middle = static_cast<std::int64_t>(std::lround(sample / kBlockSamples));
    double steepest = 0;
    double place = sample;
    const std::int64_t end = std::min(middle + kReach + 1, mFull - kBlocksAfter + 1);
    for (std::int64_t block = std::max<std::int64_t>(middle - kReach, 0); block < end; ++block) {
        const double rise =
            meanOf(block, block + kBlocksAfter) / meanOf(block - kBlocksBefore, block);
        if (rise >= kSteepRise && rise >= kAsSteep * steepest) {
            steepest = std::max(steepest, rise);
            place = static_cast<double>(block) * kBlockSamples + kBlockSamples / 2.0;
        }
    }
    return place;
}

} // namespace qel::readings
