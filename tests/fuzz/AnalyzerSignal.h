#pragma once

#include "tests/fuzz/ByteProgram.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>

namespace qel::fuzz {

// Audio of a chosen kind, which goes on from push to push.
class Signal {
public:
    explicit Signal(ByteProgram& program) { Choose(program); }

    void Choose(ByteProgram& program) {
        constexpr float kLevels[] = {0.5f, 1.0f, 1e-4f, 1e6f, 1e-40f, 1e38f, 3.0f};
        mKind = program.Below(7);
        mLevel = program.Seldom(4) ? program.OneOf(kLevels) : 0.5f;
        mPeriod = 2 + program.Below(400);
        mOddValue = program.Seldom(4) ? program.Float() : 0.0f;
        mOddSpacing = program.Seldom(4) ? 1 + program.Word() : 0;
    }

    // Whether all samples from now on, until another choice, are at most 1e6.
    bool IsPlain() const {
        return mLevel <= 1e6f && (mOddSpacing == 0 || std::abs(mOddValue) <= 1e6f);
    }

    void Fill(float* samples, std::size_t frames, std::uint32_t channel, double rateHz) {
        for (std::size_t i = 0; i < frames; ++i) {
            const std::uint64_t t = mTime + i;
            const bool isOdd = mOddSpacing != 0 && t % mOddSpacing == 0;
            samples[i] = isOdd ? mOddValue : mLevel * At(t, channel, rateHz);
        }
    }
    void Advance(std::size_t frames) { mTime += frames; }

private:
    float At(std::uint64_t t, std::uint32_t channel, double rateHz) {
        const double phase = 2.0 * std::numbers::pi * static_cast<double>(t) / mPeriod;
        switch (mKind) {
        case 0:
            return static_cast<float>(std::sin(phase * (1 + channel)));
        case 1:
            mNoise = mNoise * 1664525 + 1013904223;
            return static_cast<float>(static_cast<std::int32_t>(mNoise)) * 0x1p-31F;
        case 2: // a chord
            return static_cast<float>(std::sin(phase) + std::sin(1.26 * phase) +
                                      std::sin(1.5 * phase)) /
                   3.0f;
        case 3: { // clicks, two in a second at rates of audio
            const bool isRate = rateHz >= 100.0 && rateHz <= 1e6;
            const auto spacing = isRate ? static_cast<std::uint64_t>(rateHz / 2.0) : mPeriod;
            return t % spacing < 30 ? (t % 2 != 0 ? 1.0f : -1.0f) : 0.0f;
        }
        case 4:
            return 1.0f;
        case 5: // an impulse per period
            return t % mPeriod == channel % mPeriod ? 1.0f : 0.0f;
        default:
            return 0.0f;
        }
    }

    std::uint32_t mKind = 0;
    float mLevel = 0.5f;
    std::uint32_t mPeriod = 2;
    float mOddValue = 0.0f;
    std::uint32_t mOddSpacing = 0;
    std::uint64_t mTime = 0;
    std::uint32_t mNoise = 1;
};

} // namespace qel::fuzz
