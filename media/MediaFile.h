#pragma once

#include "media/Cancellation.h"
#include "media/ffmpeg/AvHandles.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace qel::media {

// A file on disk and its best audio stream, read packet by packet.
//
// The path is always a local file: names that look like addresses are not followed. No other file
// is opened, whatever this one says: playlists and scripts that name others hold no audio. What can
// be read at all is listed in MediaFormats.
class MediaFile {
public:
    // Opens the file and chooses the stream that FFmpeg considers the best audio (the default
    // stream first, then the highest bit rate). Throws Error for a path that cannot be read, is
    // no regular file, is empty, or holds no audio; and if it is cancelled.
    MediaFile(const std::string& path, Cancellation cancellation);
    MediaFile(const MediaFile&) = delete;
    MediaFile& operator=(const MediaFile&) = delete;

    // Reads the next packet of the stream. False at the end; also false after a read error; the
    // declared length then shows that the file is truncated. Throws Error if it is
    // cancelled.
    bool ReadPacket(AVPacket& packet);

    // Whether the packets ended with an error and not with the file.
    bool ReadFailed() const { return mReadFailed; }

    const AVStream& Stream() const { return *mStream; }

    // Short name of the container, as FFmpeg has it ("wav", "ogg", "mov").
    std::string ContainerName() const;

    // The tag of that name, of the file or of its audio stream; empty if there is none.
    std::string Tag(const char* name) const;

    // Length that the container states, in frames at rateHz and before trimming; empty when it
    // states none, or when FFmpeg had to estimate it from the bit rate.
    std::optional<std::int64_t> DeclaredFrames(int rateHz) const;

    // By how much that length may be too large for a stream that is decoded to the sample: it is
    // counted on a clock that may be coarser than the sample rate, and in a CAF by packets, of
    // which the last one may be shorter than the others.
    std::int64_t DeclaredSlack(int rateHz) const;

    // Length after trimming where the container states it separately: from the gapless comment of
    // an M4A file, or from the clock of its track. Empty elsewhere.
    std::optional<std::int64_t> PresentedFrames(int rateHz) const;

    // The duration in seconds that the container states for its one stream, if the packets did not
    // reach it: neither by their times nor by the frames that came out of them, with slackFrames to
    // spare. Empty if nothing is missing, and if DeclaredFrames shows it already.
    std::optional<double> MissedDuration(std::int64_t decodedFrames, int rateHz,
                                         std::int64_t slackFrames) const;

    // Whether each packet carries a time of its own, and the times of one stream go on without a
    // jump.
    bool HasPacketTimes() const;

    // Whether the time between two packets is what the decoder yields for the first one, so that
    // samples can be compared with it. Other decoders may be ahead or late.
    bool TimesCountSamples() const;

    // How many frames must come out of this packet at once: what the container states where that
    // is exact, 1 for codecs that keep nothing back, 0 for others.
    std::int64_t LeastFrames(const AVPacket& packet, int rateHz) const;

    // Whether the container knows this packet to be damaged or cut short.
    bool IsDamaged(const AVPacket& packet) const;

    // The header of a FLAC file; empty for a FLAC stream in another container, where the header may
    // be that of a longer stream which this one was cut from.
    std::span<const std::uint8_t> OwnFlacHeader() const;

    // How many packets of the container were lost, where FFmpeg skips damage silently.
    std::int64_t LostPackets() const;

    // Whether the container shows that the file was cut and FFmpeg does not detect it.
    bool EndsEarly() const;

    // Whether the mark at the end of the stream is missing, which every closed file has: the file
    // was cut, or it is the recording of a broadcast.
    bool LacksEndMark() const;

    // The end of the samples that the header of a file without packets states, in frames. FFmpeg
    // takes the bytes after it for samples too. Empty for other files.
    std::optional<std::int64_t> StatedEnd(int rateHz) const;

    // Whether a packet may last shorter than the frame decoded from it, which is how the MP4 family
    // states where the last frame's audio ends.
    bool PacketDurationsTrim() const { return ContainerName() == "mov"; }

private:
    std::optional<std::int64_t> GaplessCommentFrames() const;
    bool IsOnlyStream() const;

    std::string mPath;
    Cancellation mCancellation;  // which the file asks
    AvHandle<AVIOContext> mFile; // must outlive the context, which reads from it
    AvHandle<AVFormatContext> mContext;
    AVStream* mStream = nullptr;
    std::int64_t mEndTime = 0; // latest end of a packet, in ticks of the stream
    std::int64_t mPackets = 0;
    std::int64_t mSoxSamples = 0; // of all channels, as its header states
    bool mReadFailed = false;
};

} // namespace qel::media
