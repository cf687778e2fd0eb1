#include "tools/selftest/SelfTestSignal.h"

#include <array>

namespace qel::selftest {
namespace {

constexpr int kFullScaleBits = 23;

// An arch of a parabola up and one down per turn of a phase of 2^32: like a sine, with odd
// harmonics 29 dB below it and lower. From -2^14 to 2^14.
std::int32_t Wave(std::uint32_t phase) {
    const auto place = static_cast<std::int32_t>((phase >> 16) & 0x7FFF);
    const std::int32_t arch = (place * (0x8000 - place)) >> 14;
    return phase >> 31 != 0 ? -arch : arch;
}

// What phases advance by per sample.
std::uint32_t PhaseStep(std::uint32_t milliHertz, std::uint32_t rateHz) {
    return static_cast<std::uint32_t>((std::uint64_t{milliHertz} << 32) /
                                      (std::uint64_t{rateHz} * 1000));
}

// Numbers from -2^15 to 2^15 - 1 by a linear congruence.
class Noise {
public:
    explicit Noise(std::uint32_t seed) : mState(seed) {}

    std::int32_t Next() {
        mState = mState * 1664525 + 1013904223;
        return static_cast<std::int32_t>(mState >> 16) - 0x8000;
    }

private:
    std::uint32_t mState;
};

// Three notes at a time, a second each of C, F, G and C major. Equally tempered, in thousandths of
// hertz.
class Chords {
public:
    explicit Chords(std::uint32_t rateHz) : mRateHz(rateHz) {}

    std::int32_t Next() {
        if (mPlace % mRateHz == 0) {
            Change(mPlace / mRateHz % kChords.size());
        }
        ++mPlace;
        std::int32_t sum = 0;
        for (std::size_t note = 0; note < mPhases.size(); ++note) {
            mPhases[note] += mSteps[note];
            sum += Wave(mPhases[note]);
        }
        return sum;
    }

private:
    using Chord = std::array<std::uint32_t, 3>;
    static constexpr std::array<Chord, 4> kChords{{{261626, 329628, 391995},
                                                   {261626, 349228, 440000},
                                                   {246942, 293665, 391995},
                                                   {261626, 329628, 523251}}};

    void Change(std::size_t chord) {
        for (std::size_t note = 0; note < mSteps.size(); ++note) {
            mSteps[note] = PhaseStep(kChords[chord][note], mRateHz);
        }
    }

    std::uint32_t mRateHz;
    std::uint32_t mPlace = 0;
    Chord mSteps{};
    Chord mPhases{};
};

// Noise that dies away; every half second it is struck anew, every fourth time loud.
class Strokes {
public:
    Strokes(std::uint32_t rateHz, std::uint32_t seed) : mPeriod(rateHz / 2), mNoise(seed) {}

    std::int32_t Next() {
        constexpr std::int32_t kLoud = 60000;
        constexpr std::int32_t kSoft = 25000;
        if (mPlace % mPeriod == 0) {
            mLevel = mPlace / mPeriod % 4 == 0 ? kLoud : kSoft;
        } else if (mPlace % (mPeriod / 128) == 0) {
            mLevel -= mLevel / 8;
        }
        ++mPlace;
        return mNoise.Next() * (mLevel / 256);
    }

private:
    std::uint32_t mPeriod;
    std::uint32_t mPlace = 0;
    std::int32_t mLevel = 0;
    Noise mNoise;
};

std::vector<float> MakeChannel(SignalSize size, std::uint32_t channel) {
    Chords chords(size.rateHz);
    Strokes strokes(size.rateHz, channel + 1);
    Noise whisper(channel + 100);
    const std::int32_t chordLevel = channel == 0 ? 32 : 24;
    std::vector<float> samples(size.frames);
    for (float& sample : samples) {
        const std::int32_t sum =
            chords.Next() * chordLevel + strokes.Next() / 2 + whisper.Next() / 64;
        sample = static_cast<float>(sum) / static_cast<float>(1 << kFullScaleBits);
    }
    return samples;
}

} // namespace

std::vector<std::vector<float>> MakeSignal(SignalSize size) {
    return {MakeChannel(size, 0), MakeChannel(size, 1)};
}

} // namespace qel::selftest
