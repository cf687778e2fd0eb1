#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace qel::media {

// Holds packets of MPEG audio (layers I to III), AC-3, E-AC-3 and AAC in ADTS against the length
// that the header of each frame states. Their decoders make up for what a frame lacks, and parsers
// silently put the bytes between two frames into a packet.
class PacketFrames {
public:
    explicit PacketFrames(AVCodecID codec) : mCodec(codec) {}

    // Takes the next packet. True if it ends inside of a frame, or if it follows a packet that has
    // other bytes than zeros after its frames. Such bytes after the last frame of all are a tag.
    //
    // A packet that does not begin with a frame is not judged: its decoder refuses it, or it holds
    // frames without headers, as MP4 does.
    bool IsDamaged(std::span<const std::uint8_t> packet);

private:
    std::optional<std::size_t> FrameLength(std::span<const std::uint8_t> bytes) const;

    AVCodecID mCodec;
    bool mHasRest = false; // of the packet before
};

} // namespace qel::media
