#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qel::media {

// How much of the audio FFmpeg searches for another codec, where a header says 16-bit samples: 32
// packets of 4096 bytes.
inline constexpr std::size_t kSearchedBytes = std::size_t{32} * 4096;

// Whether bytes that a header calls 16-bit samples may be the frames of a codec: DTS, AC-3, MPEG
// audio, AAC, TrueHD, or one of them after IEC 61937. They are if a sync word of these is the
// first that is not silence, a long sync word is anywhere, or a short one is there more often than
// in any music. False means that FFmpeg's search, which takes 20 times as long as the rest of
// opening a short file, finds nothing.
bool MayHoldFrames(std::span<const std::uint8_t> bytes);

} // namespace qel::media
