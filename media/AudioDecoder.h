#pragma once

#include "media/Cancellation.h"
#include "media/FrameTrimmer.h"
#include "media/MediaFile.h"
#include "media/SampleConverter.h"
#include "media/checks/FlacCheck.h"
#include "media/checks/PacketClock.h"
#include "media/checks/PacketFrames.h"

#include <QelMedia.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qel::media {

// Decodes an audio file as a stream, block by block, at the file's own sample rate, aligned to the
// sample: sample 0 is the first sample of the audio that was encoded.
//
// The first frame that comes out of the decoder sets the sample rate and the channels. A later
// change of the rate or of the number of channels is an error; the sample format may change.
//
// In lossless audio, damage is an error, and so is an end before the stated length. In lossy audio,
// a damaged packet is skipped and counted.
class AudioDecoder {
public:
    // Opens a file and decodes its first frame. Throws Error, with the reason but without the
    // file's name, if there is no audio.
    explicit AudioDecoder(const std::string& path, Cancellation cancellation = Cancellation());

    AudioDecoder(const AudioDecoder&) = delete;
    AudioDecoder& operator=(const AudioDecoder&) = delete;

    int SampleRateHz() const { return mRateHz; }
    std::size_t Channels() const { return mChannels; }

    // Length that the file states, in frames; 0 if it states none. It may include the encoder's
    // delay and padding: use it for a progress bar or as a hint, not as the length.
    std::int64_t ExpectedFrames() const { return mFile.DeclaredFrames(mRateHz).value_or(0); }

    // Fills one buffer per channel with up to capacity samples and returns how many. Fewer than
    // capacity only at the end; 0 ever after. Throws Error for a change of rate or channels,
    // and at the end for a file that was cut, or whose lossless audio is damaged.
    std::size_t Read(std::span<float* const> planes, std::size_t capacity);

    // Length of a file in frames, found by decoding all of it. Throws Error as the constructor
    // and Read do.
    static std::int64_t CountFrames(const std::string& path,
                                    Cancellation cancellation = Cancellation());

    // Final once Read has returned 0.
    media::Report Report() const;

    // Names and versions of FFmpeg's libraries, that of the decoders first.
    static std::vector<std::string> LibraryVersions();

    // Whether this process has opened a decoder whose state is that of the process.
    static bool IsProcessSpent();

    // Keeps that library from writing to standard error, in the whole process.
    static void SilenceLibrary();

private:
    bool DecodeFrame();
    bool ReceiveFrame();
    void FeedPacket();
    void AcceptFormat();
    std::int64_t TailOfFrame();
    void CheckTime();
    void CheckYield();
    void CountDamage();
    void CheckEnd();
    void CheckLength() const;
    void CheckLossless();

    MediaFile mFile;
    AvHandle<AVCodecContext> mCodec;
    AvHandle<AVPacket> mPacket;
    AvHandle<AVFrame> mFrame;
    FrameTrimmer mTrimmer;
    SampleConverter mSamples;
    std::size_t mPosition = 0; // samples of mSamples that were read already
    std::size_t mChannels = 0;
    int mRateHz = 0;
    std::int64_t mLongestFrame = 0;
    std::int64_t mDecodedFrames = 0; // before trimming
    std::optional<std::int64_t> mPresentedFrames;
    std::optional<FlacCheck> mFlac;
    std::optional<PacketClock> mClock;
    std::optional<PacketFrames> mPackets;
    std::int64_t mPacketFrames = 0;  // how much audio the packet at hand held
    std::int64_t mDueFrames = 0;     // how much must come out of it
    std::int64_t mYieldedFrames = 0; // how much did
    std::int64_t mDamagedPackets = 0;
    std::int64_t mFramesBeforeDamage = 0;
    bool mIsLossless = false;
    bool mCountsSamples = false; // for the clock, in place of the durations of packets
    bool mMayBeCut = false;
    bool mDraining = false;
    bool mIsAtEnd = false;
};

} // namespace qel::media
