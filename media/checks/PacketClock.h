#pragma once

#include "media/ffmpeg/AvHandles.h"

#include <cstdint>
#include <optional>

namespace qel::media {

// Compares the times of packets with the audio that came out of them, and so finds audio that is
// missing from the middle of a stream: a packet that was lost leaves no other trace.
class PacketClock {
public:
    // timeBase is the length of a tick in seconds.
    PacketClock(AVRational timeBase, int rateHz) : mTimeBase(timeBase), mRateHz(rateHz) {}

    // Takes the next packet. previousFrames is how much audio the one before it held. Returns by
    // how many frames its time is off the end of that audio: above 0 for audio that is missing,
    // below 0 for a time that goes back; 0 as long as it is within the accuracy of such times.
    //
    // That accuracy is two ticks, as both times are rounded, and half of the longest packet so far,
    // for recordings whose times were taken from a clock, and for Vorbis in Matroska: there times
    // are off by that much where short packets follow long ones. A lost long packet is more.
    std::int64_t Advance(const AVPacket& packet, std::int64_t previousFrames);

private:
    AVRational mTimeBase;
    int mRateHz;
    std::optional<std::int64_t> mTime; // of the packet before, in frames
    std::int64_t mLongestFrames = 0;   // of the packets so far
};

} // namespace qel::media
