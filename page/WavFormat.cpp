#include "page/WavFormat.h"

#include <algorithm>
#include <cmath>

namespace qel::page {
namespace {

constexpr std::uint32_t kSampleBytes = 2;

std::string LittleEndian(std::uint64_t number, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(number >> (8 * i) & 0xFFu);
    }
    return text;
}

} // namespace

std::string WavHeader(int sampleRateHz, std::size_t channels, std::uint64_t sampleBytes) {
    constexpr std::uint64_t kHeaderAfterSize = 36;
    const std::uint64_t frameBytes = channels * kSampleBytes;
    return "RIFF" + LittleEndian(kHeaderAfterSize + sampleBytes, 4) + "WAVEfmt " +
           LittleEndian(16, 4) + LittleEndian(1, 2) + LittleEndian(channels, 2) +
           LittleEndian(static_cast<std::uint64_t>(sampleRateHz), 4) +
           LittleEndian(static_cast<std::uint64_t>(sampleRateHz) * frameBytes, 4) +
           LittleEndian(frameBytes, 2) + LittleEndian(8 * kSampleBytes, 2) + "data" +
           LittleEndian(sampleBytes, 4);
}

std::string WavSamples(std::span<const float* const> channels, std::size_t frames) {
    std::string bytes;
    bytes.reserve(frames * channels.size() * kSampleBytes);
    for (std::size_t i = 0; i < frames; ++i) {
        for (const float* channel : channels) {
            const float usable = std::isnan(channel[i]) ? 0 : std::clamp(channel[i], -1.0f, 1.0f);
            const auto coded = static_cast<std::int16_t>(std::lround(usable * 32767));
            const auto bits = static_cast<std::uint16_t>(coded);
            bytes += static_cast<char>(bits & 0xFFu);
            bytes += static_cast<char>(bits >> 8u);
        }
    }
    return bytes;
}

} // namespace qel::page
