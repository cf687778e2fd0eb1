#include "media/AudioDecoder.h"

#include "media/MediaFormats.h"

extern "C" {
#include <libavutil/intreadwrite.h>
#include <libavutil/log.h>
}

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>
#include <vector>

namespace qel::media {
namespace {

// A lossless decoder yields the stated length to the sample. For the others an encoder may have
// counted a frame that carries no audio.
bool IsLossless(AVCodecID codec) {
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec);
    const int props = descriptor != nullptr ? descriptor->props : 0;
    // WavPack is the one codec for music that is both, and its lossy blocks have checksums as well.
    // In DTS only an extension is lossless, without which the rest can be played.
    return (props & AV_CODEC_PROP_LOSSLESS) != 0 &&
           ((props & AV_CODEC_PROP_LOSSY) == 0 || codec == AV_CODEC_ID_WAVPACK);
}

// The state is libcodec2's: one generator of random numbers for all decoders, which nothing sets
// back.
std::atomic<bool> gIsProcessSpent = false;

AvHandle<AVCodecContext> OpenCodec(const AVStream& stream) {
    const AVCodec* codec = MediaFormats::FindDecoder(stream.codecpar->codec_id);
    if (codec == nullptr) {
        throw Error(Fault::NotAudio, fmt::format("no decoder for its audio ({})",
                                                 avcodec_get_name(stream.codecpar->codec_id)));
    }
    AvHandle<AVCodecContext> context(avcodec_alloc_context3(codec));
    if (!context) {
        throw std::bad_alloc();
    }
    if (avcodec_parameters_to_context(context.get(), stream.codecpar) < 0) {
        throw Error(Fault::Damaged, "its audio stream is damaged");
    }
    context->pkt_timebase = stream.time_base;
    // One thread: frames come out in the same steps in every run, and little memory is held.
    context->thread_count = 1;
    // The decoder reports what is to be skipped and leaves the cutting to FrameTrimmer, which
    // counts.
    context->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
    // A lossless frame has a checksum, and is either right or damaged.
    if (IsLossless(stream.codecpar->codec_id)) {
        context->err_recognition |= AV_EF_CRCCHECK | AV_EF_EXPLODE;
    }
    if (avcodec_open2(context.get(), codec, nullptr) < 0) {
        throw Error(Fault::NotAudio, fmt::format("its audio ({}) cannot be decoded", codec->name));
    }
    if (codec->id == AV_CODEC_ID_CODEC2) {
        gIsProcessSpent = true;
    }
    return context;
}

// "1 packet", "2 packets"
std::string Packets(const char* name, std::int64_t count) {
    return fmt::format("{} {}{}", count, name, count == 1 ? "" : "s");
}

std::int64_t FrameDuration(const AVFrame& frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
    return frame.duration;
#else
    return frame.pkt_duration;
#endif
}

} // namespace

AudioDecoder::AudioDecoder(const std::string& path, Cancellation cancellation)
    : mFile(path, std::move(cancellation)), mCodec(OpenCodec(mFile.Stream())),
      mPacket(av_packet_alloc()), mFrame(av_frame_alloc()) {
    if (!mPacket || !mFrame) {
        throw std::bad_alloc();
    }
    const AVCodecParameters& parameters = *mFile.Stream().codecpar;
    mIsLossless = IsLossless(parameters.codec_id);
    mCountsSamples = mIsLossless || mFile.TimesCountSamples();
    mPackets.emplace(parameters.codec_id);
    if (parameters.codec_id == AV_CODEC_ID_FLAC) {
        mFlac.emplace(mFile.OwnFlacHeader());
    }
    if (mFile.HasPacketTimes() && parameters.sample_rate > 0) {
        mClock.emplace(mFile.Stream().time_base, parameters.sample_rate);
    }
    if (!DecodeFrame()) {
        throw Error(Fault::NotAudio, "holds no audio that can be decoded");
    }
}

std::size_t AudioDecoder::Read(std::span<float* const> planes, std::size_t capacity) {
    std::size_t filled = 0;
    while (filled < capacity) {
        if (mPosition == mSamples.Count() && !DecodeFrame()) {
            CheckEnd();
            break;
        }
        const std::size_t count = std::min(capacity - filled, mSamples.Count() - mPosition);
        for (std::size_t c = 0; c < mChannels; ++c) {
            std::copy_n(mSamples.Channel(c) + mPosition, count, planes[c] + filled);
        }
        mPosition += count;
        filled += count;
    }
    return filled;
}

std::int64_t AudioDecoder::CountFrames(const std::string& path, Cancellation cancellation) {
    constexpr std::size_t kBlockSamples = 4096;
    AudioDecoder decoder(path, cancellation);
    std::vector<float> block(kBlockSamples);
    const std::vector<float*> planes(decoder.Channels(), block.data());
    std::int64_t frames = 0;
    while (const std::size_t count = decoder.Read(planes, kBlockSamples)) {
        cancellation.Check();
        frames += static_cast<std::int64_t>(count);
    }
    return frames;
}

// Decodes until a frame with something to keep has come. False at the end.
bool AudioDecoder::DecodeFrame() {
    while (ReceiveFrame()) {
        AcceptFormat();
        const std::int64_t tail = TailOfFrame();
        if (mFlac) {
            mFlac->AddFrame(*mFrame);
        }
        mDecodedFrames += mFrame->nb_samples;
        mPacketFrames += mCountsSamples ? mFrame->nb_samples : 0;
        mYieldedFrames += mFrame->nb_samples;
        mLongestFrame = std::max<std::int64_t>(mLongestFrame, mFrame->nb_samples);
        const FrameTrimmer::Kept kept = mTrimmer.Trim(mFrame->nb_samples, tail);
        mSamples.Convert(*mFrame, static_cast<std::size_t>(kept.first),
                         static_cast<std::size_t>(kept.count));
        mPosition = 0;
        av_frame_unref(mFrame.get());
        if (kept.count > 0) {
            return true;
        }
    }
    return false;
}

bool AudioDecoder::ReceiveFrame() {
    for (;;) {
        const int status = avcodec_receive_frame(mCodec.get(), mFrame.get());
        if (status >= 0) {
            return true;
        }
        if (status == AVERROR(EAGAIN)) {
            FeedPacket();
            continue;
        }
        if (status == AVERROR_EOF || mDraining) {
            return false;
        }
        CountDamage();
    }
}

void AudioDecoder::FeedPacket() {
    CheckYield();
    if (!mFile.ReadPacket(*mPacket)) {
        if (mFile.ReadFailed()) {
            CountDamage();
        }
        mDraining = true;
        avcodec_send_packet(mCodec.get(), nullptr);
        return;
    }
    CheckTime();
    if (mFlac) {
        mFlac->AddPacket({mPacket->data, static_cast<std::size_t>(mPacket->size)});
    }
    // A packet without bytes carries news for a player and no audio.
    const bool isRefused =
        mPacket->size > 0 && avcodec_send_packet(mCodec.get(), mPacket.get()) < 0;
    const bool lacksBytes =
        mPackets->IsDamaged({mPacket->data, static_cast<std::size_t>(mPacket->size)});
    const bool isDamaged = isRefused || lacksBytes || mFile.IsDamaged(*mPacket);
    if (isDamaged) {
        CountDamage();
    }
    mDueFrames = isDamaged || mDecodedFrames == 0 ? 0 : mFile.LeastFrames(*mPacket, mRateHz);
    av_packet_unref(mPacket.get());
}

// A decoder may take a packet and make nothing, or too little of it: one that was erased.
void AudioDecoder::CheckYield() {
    if (mYieldedFrames < mDueFrames) {
        CountDamage();
    }
    mYieldedFrames = 0;
    mDueFrames = 0;
}

// A packet that was lost on the way here is one that is damaged.
void AudioDecoder::CheckTime() {
    if (!mClock) {
        return;
    }
    const std::int64_t offset = mClock->Advance(*mPacket, mPacketFrames);
    if (offset > 0 || (offset < 0 && mIsLossless)) {
        CountDamage();
    }
    const AVStream& stream = mFile.Stream();
    // What came of a lossless packet is counted as it comes; a lossy decoder may be ahead or
    // behind.
    mPacketFrames = mCountsSamples ? 0
                                   : av_rescale_q(mPacket->duration, stream.time_base,
                                                  AVRational{1, stream.codecpar->sample_rate});
}

void AudioDecoder::CountDamage() {
    if (mDamagedPackets++ == 0) {
        mFramesBeforeDamage = mDecodedFrames;
    }
}

void AudioDecoder::AcceptFormat() {
    const auto channels = static_cast<std::size_t>(mFrame->ch_layout.nb_channels);
    if (mRateHz == 0) {
        mRateHz = mFrame->sample_rate;
        mChannels = channels;
        if (mRateHz <= 0 || mChannels == 0) {
            throw Error(Fault::Damaged, "its audio states no sample rate or no channels");
        }
        mPresentedFrames = mFile.PresentedFrames(mRateHz);
        const auto end = mPresentedFrames ? mPresentedFrames : mFile.StatedEnd(mRateHz);
        if (end) {
            mTrimmer.SetEnd(*end);
        }
        return;
    }
    if (mFrame->sample_rate != mRateHz) {
        throw Error(Fault::Damaged,
                    fmt::format("its sample rate changes from {} to {} Hz after {} frames", mRateHz,
                                mFrame->sample_rate, mTrimmer.KeptFrames()));
    }
    if (channels != mChannels) {
        throw Error(Fault::Damaged, fmt::format("its channels change from {} to {} after {} frames",
                                                mChannels, channels, mTrimmer.KeptFrames()));
    }
}

// Takes what the frame says of skipping: tells the trimmer of samples to drop in front, and returns
// how many to drop at the end.
std::int64_t AudioDecoder::TailOfFrame() {
    // Two 32-bit little-endian counts stand first in the side data: front, end.
    constexpr std::size_t kSkipBytes = 8;
    std::int64_t tail = 0;
    const AVFrameSideData* skip = av_frame_get_side_data(mFrame.get(), AV_FRAME_DATA_SKIP_SAMPLES);
    if (skip != nullptr && skip->size >= kSkipBytes) {
        mTrimmer.AddLeading(AV_RL32(skip->data));
        tail = AV_RL32(skip->data + 4);
    }
    if (tail > 0 && mFile.Stream().codecpar->codec_id == AV_CODEC_ID_VORBIS) {
        // In a stream of a single page, FFmpeg dates the first packet as if it gave samples, which
        // it never does in Vorbis, and then counts that many as padding. The page's own count of
        // samples stands against that.
        const auto declared = mFile.DeclaredFrames(mRateHz);
        const std::int64_t beyond =
            mDecodedFrames + mFrame->nb_samples - declared.value_or(mDecodedFrames);
        if (declared && beyond >= 0 && beyond < tail) {
            tail = beyond;
        }
    }
    const std::int64_t duration = FrameDuration(*mFrame);
    if (mFile.PacketDurationsTrim() && !mPresentedFrames && duration > 0) {
        const std::int64_t lasting =
            av_rescale_q(duration, mFile.Stream().time_base, AVRational{1, mRateHz});
        if (lasting >= 0) { // below 0 the duration did not fit into the numbers
            tail = std::max(tail, mFrame->nb_samples - lasting);
        }
    }
    return tail;
}

void AudioDecoder::CheckEnd() {
    if (mIsAtEnd) {
        return;
    }
    mIsAtEnd = true;
    mDamagedPackets += mFile.LostPackets();
    mMayBeCut = mFile.LacksEndMark();
    CheckLength();
    if (mIsLossless) {
        CheckLossless();
    }
}

void AudioDecoder::CheckLength() const {
    const auto declared = mFile.DeclaredFrames(mRateHz);
    const std::int64_t slack = mIsLossless ? mFile.DeclaredSlack(mRateHz) : 2 * mLongestFrame;
    if (declared.has_value() && mDecodedFrames + slack < *declared) {
        throw Error(Fault::Damaged,
                    fmt::format("is {}: it states {} frames, and {} could be decoded",
                                mDamagedPackets > 0 ? "damaged" : "truncated", *declared,
                                mDecodedFrames));
    }
    if (mFile.EndsEarly()) {
        throw Error(Fault::Damaged,
                    fmt::format("is truncated: it was cut after {} frames", mDecodedFrames));
    }
    if (const auto stated = mFile.MissedDuration(mDecodedFrames, mRateHz, slack)) {
        throw Error(Fault::Damaged,
                    fmt::format("is {}: it states {:.3f} s, and {:.3f} s could be decoded",
                                mDamagedPackets > 0 ? "damaged" : "truncated", *stated,
                                static_cast<double>(mDecodedFrames) / mRateHz));
    }
}

void AudioDecoder::CheckLossless() {
    // Where all came that is stated, what cannot be decoded is no audio: a tag after the end.
    const auto declared = mFile.DeclaredFrames(mRateHz);
    if (mDamagedPackets > 0 && !(declared && mFramesBeforeDamage >= *declared)) {
        throw Error(Fault::Damaged, fmt::format("is damaged: {} of its lossless audio "
                                                "{} missing or cannot be decoded",
                                                Packets("packet", mDamagedPackets),
                                                mDamagedPackets == 1 ? "is" : "are"));
    }
    if (mFlac && !mFlac->IsContinuous()) {
        throw Error(Fault::Damaged,
                    "is damaged: the numbers of its FLAC frames do not follow one another");
    }
    if (mFlac && mFlac->SumDiffers()) {
        throw Error(Fault::Damaged,
                    "is damaged: its samples do not have the MD5 sum that it states");
    }
}

Report AudioDecoder::Report() const {
    media::Report report;
    report.container = mFile.ContainerName();
    report.codec = avcodec_get_name(mFile.Stream().codecpar->codec_id);
    report.decoder = mCodec->codec->name;
    report.library = LibraryVersions().front();
    report.leadingFramesTrimmed = mTrimmer.LeadingFrames();
    report.trailingFramesTrimmed = mTrimmer.TrailingFrames();
    report.damagedPackets = mDamagedPackets;
    report.title = mFile.Tag("title");
    report.artist = mFile.Tag("artist");
    report.album = mFile.Tag("album");
    if (mDamagedPackets > 0) {
        report.warnings.push_back(
            {fmt::format("{} {} left out", Packets("damaged packet", mDamagedPackets),
                         mDamagedPackets == 1 ? "was" : "were"),
             mDamagedPackets});
    }
    if (mMayBeCut) {
        report.warnings.push_back(
            {"its end is not marked as the end, so that it may have been cut", 1});
    }
    return report;
}

bool AudioDecoder::IsProcessSpent() {
    return gIsProcessSpent;
}

void AudioDecoder::SilenceLibrary() {
    av_log_set_level(AV_LOG_QUIET);
}

std::vector<std::string> AudioDecoder::LibraryVersions() {
    const auto text = [](const char* name, unsigned int version) {
        return fmt::format("{} {}.{}.{}", name, AV_VERSION_MAJOR(version),
                           AV_VERSION_MINOR(version), AV_VERSION_MICRO(version));
    };
    return {text("libavcodec", avcodec_version()), text("libavformat", avformat_version()),
            text("libswresample", swresample_version()), text("libavutil", avutil_version())};
}

} // namespace qel::media
