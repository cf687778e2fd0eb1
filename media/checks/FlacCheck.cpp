#include "media/checks/FlacCheck.h"

#include <algorithm>
#include <new>

namespace qel::media {
namespace {

constexpr std::size_t kStreamInfoBytes = 34;
constexpr std::size_t kBitsPosition =
    12; // the last bit there and the four next are the bits less 1
constexpr std::size_t kSumPosition = 18;

// The number in a frame's header is at byte 4, coded like a character of UTF-8 with up to seven
// bytes. Empty for anything else.
std::optional<std::uint64_t> FrameNumber(std::span<const std::uint8_t> packet) {
    constexpr std::size_t kPosition = 4;
    if (packet.size() <= kPosition || packet[0] != 0xFF || (packet[1] & 0xFE) != 0xF8) {
        return std::nullopt;
    }
    const std::uint32_t first = packet[kPosition];
    if (first < 0x80) {
        return first;
    }
    std::uint32_t mark = 0x80;
    std::size_t length = 0;
    for (; (first & mark) != 0 && mark != 1; mark >>= 1) {
        ++length;
    }
    if (length < 2 || packet.size() < kPosition + length) {
        return std::nullopt;
    }
    std::uint64_t number = first & (mark - 1);
    for (std::size_t i = 1; i < length; ++i) {
        number = number << 6 | (packet[kPosition + i] & 0x3F);
    }
    return number;
}

} // namespace

FlacCheck::FlacCheck(std::span<const std::uint8_t> streamInfo) {
    if (streamInfo.size() < kStreamInfoBytes) {
        return;
    }
    std::copy_n(streamInfo.begin() + kSumPosition, mStated.size(), mStated.begin());
    if (std::all_of(mStated.begin(), mStated.end(), [](std::uint8_t byte) { return byte == 0; })) {
        return; // the encoder could not go back to write it
    }
    mBits = ((streamInfo[kBitsPosition] & 1) << 4 | streamInfo[kBitsPosition + 1] >> 4) + 1;
    mSum.reset(av_md5_alloc());
    if (!mSum) {
        throw std::bad_alloc();
    }
    av_md5_init(mSum.get());
}

void FlacCheck::AddPacket(std::span<const std::uint8_t> packet) {
    const auto number = FrameNumber(packet);
    if (!number) {
        return;
    }
    mCountsSamples = (packet[1] & 1) != 0;
    if (mExpected && *number != *mExpected && *number != 0) {
        mIsContinuous = false;
    }
    mExpected = number;
}

void FlacCheck::AddFrame(const AVFrame& frame) {
    const auto samples = static_cast<std::uint64_t>(frame.nb_samples);
    if (mExpected) {
        *mExpected += mCountsSamples ? samples : 1;
    }
    if (!mSum) {
        return;
    }
    const auto channels = static_cast<std::uint64_t>(frame.ch_layout.nb_channels);
    const std::size_t sampleBytes = static_cast<std::size_t>(mBits + 7) / 8;
    mBytes.clear();
    // The decoder puts samples of fewer bits to the top of 16 or 32.
    const auto append = [&](std::int32_t top, int width) {
        const auto value = static_cast<std::uint32_t>(top >> std::max(width - mBits, 0));
        for (std::size_t byte = 0; byte < sampleBytes; ++byte) {
            mBytes.push_back(static_cast<std::uint8_t>(value >> (8 * byte)));
        }
    };
    for (std::uint64_t i = 0; i < samples * channels; ++i) {
        if (frame.format == AV_SAMPLE_FMT_S16) {
            append(reinterpret_cast<const std::int16_t*>(frame.data[0])[i], 16);
        } else if (frame.format == AV_SAMPLE_FMT_S32) {
            append(reinterpret_cast<const std::int32_t*>(frame.data[0])[i], 32);
        } else { // another decoder than FFmpeg's own, whose samples are not known here
            mSum.reset();
            return;
        }
    }
    av_md5_update(mSum.get(), mBytes.data(), mBytes.size());
}

bool FlacCheck::SumDiffers() {
    if (!mSum) {
        return false;
    }
    std::array<std::uint8_t, 16> sum{};
    av_md5_final(mSum.get(), sum.data());
    mSum.reset();
    return sum != mStated;
}

} // namespace qel::media
