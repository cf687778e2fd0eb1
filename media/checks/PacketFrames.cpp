#include "media/checks/PacketFrames.h"

#include <algorithm>
#include <array>
#include <utility>

extern "C" {
#include <libavcodec/ac3_parser.h>
#include <libavcodec/defs.h>
}

namespace qel::media {
namespace {

using Bytes = std::span<const std::uint8_t>;

// kbit/s by the four bits of a header, for MPEG-1 and for the lower sample rates of MPEG-2 and 2.5.
constexpr int kLayer1[] = {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448};
constexpr int kLayer2[] = {32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384};
constexpr int kLayer3[] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
constexpr int kLowLayer1[] = {32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256};
constexpr int kLowOthers[] = {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};

const int* RatesOf(bool isLow, int layer) {
    if (isLow) {
        return layer == 1 ? kLowLayer1 : kLowOthers;
    }
    return layer == 1 ? kLayer1 : layer == 2 ? kLayer2 : kLayer3;
}

// The four bytes of a header: eleven ones, two bits of the version, two of the layer, one of a
// checksum; four of the bit rate, two of the sample rate, one that adds a slot.
std::optional<std::size_t> MpegAudioLength(Bytes bytes) {
    constexpr std::size_t kHeaderBytes = 4;
    constexpr int kSampleRatesHz[] = {44100, 48000, 32000};
    if (bytes.size() < kHeaderBytes || bytes[0] != 0xFF || (bytes[1] & 0xE0) != 0xE0) {
        return std::nullopt;
    }
    const int version = bytes[1] >> 3 & 3; // 3 for MPEG-1, 2 for MPEG-2, 0 for MPEG-2.5
    const int layer = 4 - (bytes[1] >> 1 & 3);
    const int bitRate = bytes[2] >> 4;
    const int sampleRate = bytes[2] >> 2 & 3;
    if (version == 1 || layer == 4 || bitRate == 0 || bitRate == 15 || sampleRate == 3) {
        return std::nullopt; // no header, or of a free bit rate, which states no length
    }
    const int halvings = version == 3 ? 0 : version == 2 ? 1 : 2;
    const int rateHz = kSampleRatesHz[sampleRate] >> halvings;
    const int bitsPerSecond = 1000 * RatesOf(version != 3, layer)[bitRate - 1];
    const int padding = bytes[2] >> 1 & 1;
    const int slotBytes = layer == 1 ? 4 : 1;
    const int samples = layer == 1 ? 384 : layer == 3 && version != 3 ? 576 : 1152;
    const int slots = samples / 8 / slotBytes * bitsPerSecond / rateHz + padding;
    return static_cast<std::size_t>(slots * slotBytes);
}

std::optional<std::size_t> Ac3Length(Bytes bytes) {
    constexpr std::size_t kHeaderBytes = 7;
    if (bytes.size() < kHeaderBytes || bytes[0] != 0x0B || bytes[1] != 0x77) {
        return std::nullopt;
    }
    // The parser looks at no size, and may read further than there are bytes.
    constexpr std::size_t kMostBytes = 64;
    std::array<std::uint8_t, kMostBytes + AV_INPUT_BUFFER_PADDING_SIZE> header{};
    const std::size_t count = std::min(bytes.size(), kMostBytes);
    std::copy_n(bytes.begin(), count, header.begin());
    std::uint8_t version = 0;
    std::uint16_t length = 0;
    const bool isHeader =
        av_ac3_parse_header(header.data(), count, &version, &length) >= 0 && length > 0;
    return isHeader ? std::optional<std::size_t>(length) : std::nullopt;
}

// Twelve ones, a bit of the version and two zeros stand first; the length has 13 bits from the last
// two of byte 3 on.
std::optional<std::size_t> AdtsLength(Bytes bytes) {
    constexpr std::size_t kHeaderBytes = 7;
    if (bytes.size() < kHeaderBytes || bytes[0] != 0xFF || (bytes[1] & 0xF6) != 0xF0) {
        return std::nullopt;
    }
    const std::size_t length = static_cast<std::size_t>(bytes[3] & 3) << 11 |
                               static_cast<std::size_t>(bytes[4]) << 3 | bytes[5] >> 5;
    return length >= kHeaderBytes ? std::optional(length) : std::nullopt;
}

} // namespace

std::optional<std::size_t> PacketFrames::FrameLength(Bytes bytes) const {
    switch (mCodec) {
    case AV_CODEC_ID_MP1:
    case AV_CODEC_ID_MP2:
    case AV_CODEC_ID_MP3:
        return MpegAudioLength(bytes);
    case AV_CODEC_ID_AC3:
    case AV_CODEC_ID_EAC3:
        return Ac3Length(bytes);
    case AV_CODEC_ID_AAC:
        return AdtsLength(bytes);
    default:
        return std::nullopt;
    }
}

bool PacketFrames::IsDamaged(Bytes packet) {
    const bool hadRest = std::exchange(mHasRest, false);
    Bytes rest = packet;
    while (const auto length = FrameLength(rest)) {
        if (*length > rest.size()) {
            return true;
        }
        rest = rest.subspan(*length);
    }
    const bool beginsWithFrame = rest.size() < packet.size();
    mHasRest = beginsWithFrame &&
               std::any_of(rest.begin(), rest.end(), [](std::uint8_t byte) { return byte != 0; });
    return hadRest && beginsWithFrame;
}

} // namespace qel::media
