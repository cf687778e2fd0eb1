// What the tests of the sound check share.
#pragma once

#include "loudness/soundcheck/NormalizationData.h"
#include "support/audio/CAStreamBasicDescription.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <vector>

namespace qel::test {

constexpr UInt32 kStep = 32768;

inline core::CAStreamBasicDescription InterleavedFloat(double rateHz, UInt32 channels) {
    core::CAStreamBasicDescription format;
    format.mSampleRate = rateHz;
    format.SetCanonical(channels, true);
    return format;
}

inline core::CAStreamBasicDescription Interleaved16Bit(double rateHz, UInt32 channels) {
    core::CAStreamBasicDescription format;
    format.mSampleRate = rateHz;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = UInt32{kAudioFormatFlagIsSignedInteger} |
                          UInt32{kAudioFormatFlagsNativeEndian} | UInt32{kAudioFormatFlagIsPacked};
    format.mBitsPerChannel = 16;
    format.mChannelsPerFrame = channels;
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = 2 * channels;
    format.mBytesPerPacket = 2 * channels;
    return format;
}

// Uniform noise whose level changes from excerpt to excerpt, so that each has an energy and a peak
// of its own. All samples are whole multiples of 1 / 32768.
inline std::vector<float> RoughNoise(std::size_t samples, std::uint32_t seed) {
    std::vector<float> noise(samples);
    std::uint32_t state = seed;
    for (std::size_t i = 0; i < samples; ++i) {
        state = state * 1664525u + 1013904223u;
        const auto level = static_cast<std::int32_t>(1 + (i / 1024 * 7) % 13);
        const auto value = static_cast<std::int32_t>(state >> 17) - 16384; // -16384 to 16383
        noise[i] = static_cast<float>(value * level / 8) / 32768.0f;
    }
    return noise;
}

inline AudioBufferList ListOf(const void* data, std::size_t bytes, UInt32 channels) {
    AudioBufferList list;
    list.mNumberBuffers = 1;
    list.mBuffers[0] = {channels, static_cast<UInt32>(bytes), const_cast<void*>(data)};
    return list;
}

// The time of the n-th step, in whole milliseconds, rounded.
inline UInt32 MillisecondsOfStep(std::size_t n, double rateHz) {
    return static_cast<UInt32>(std::lround(static_cast<double>(n) * kStep / rateHz * 1000.0));
}

// Every figure of one channel; equal means equal to the last bit.
struct Figures {
    float maxEnergy, energySum;
    UInt32 maxEnergyTime, energyCount, peakTime, averageLoudness, maxLoudness;
    SInt32 peak, peakLevel;

    bool operator==(const Figures&) const = default;
};

inline Figures FiguresOf(const core::NormalizationData& data, std::size_t c) {
    return {data.maxEnergy[c],   data.energySum[c], data.maxEnergyTime[c],
            data.energyCount[c], data.peakTime[c],  data.averageLoudness[c],
            data.maxLoudness[c], data.peak[c],      data.peakLevel[c]};
}

inline std::array<Figures, 2> FiguresOf(const core::NormalizationData& data) {
    return {FiguresOf(data, 0), FiguresOf(data, 1)};
}

inline void PrintTo(const Figures& f, std::ostream* out) {
    *out << "{max " << f.maxEnergy << " at " << f.maxEnergyTime << ", sum " << f.energySum << " of "
         << f.energyCount << ", peak " << f.peak << " at " << f.peakTime << ", results "
         << f.averageLoudness << ' ' << f.maxLoudness << ' ' << f.peakLevel << '}';
}

} // namespace qel::test
