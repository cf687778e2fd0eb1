#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace qel::readings {

// Places an attack to less than a millisecond where the sound rises steeply: between two blocks of
// 32 samples. Blocks count by the energy of the differences of samples, which the decay of low
// notes hardly touches.
//
// Remembers the last 8192 samples.
class AttackPlace {
public:
    void add(std::span<const float> samples);
    void reset();

    // The sample of the steepest rise within 10 ms around `sample`, if it is steep; else `sample`.
    double near(double sample) const;

private:
    static constexpr std::size_t kBlocks = 256;

    double meanOf(std::int64_t firstBlock, std::int64_t endBlock) const;

    std::array<double, kBlocks> mEnergies{}; // of the last blocks, by their number modulo kBlocks
    std::int64_t mFull = 0;                  // so many blocks are complete
    std::size_t mFilled = 0;                 // samples of the next one
    double mEnergy = 0;                      // of these
    float mBefore = 0;                       // the last sample
};

} // namespace qel::readings
