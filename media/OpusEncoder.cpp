// The encoder that clients see, over FFmpeg's: samples to 48000 Hz, in frames of 20 ms, into a file
// in memory.

#include "media/ffmpeg/AvHandles.h"

#include <QelMedia.hpp>

#include <algorithm>
#include <new>
#include <utility>

namespace qel::media {
namespace {

constexpr int kOpusRateHz = 48000;

const AVCodec* FindEncoder() {
    return avcodec_find_encoder_by_name("libopus");
}

void Require(bool good, const char* what) {
    if (!good) {
        throw Error(Fault::Unreadable, std::string("cannot be coded as Opus: ") + what);
    }
}

// A file of one stream that is written to memory.
class MemoryFile {
public:
    MemoryFile() {
        AVFormatContext* context = nullptr;
        Require(avformat_alloc_output_context2(&context, nullptr, "ogg", nullptr) >= 0,
                "FFmpeg has no Ogg");
        mContext.reset(context);
        Require(avio_open_dyn_buf(&mContext->pb) >= 0, "no memory");
    }
    ~MemoryFile() { Bytes(); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void Begin(const AVCodecContext& encoder) {
        AVStream* stream = avformat_new_stream(mContext.get(), nullptr);
        Require(stream != nullptr &&
                    avcodec_parameters_from_context(stream->codecpar, &encoder) >= 0,
                "no memory");
        stream->time_base = encoder.time_base;
        mClock = encoder.time_base;
        mContext->flags |= AVFMT_FLAG_BITEXACT; // else a random serial number
        Require(avformat_write_header(mContext.get(), nullptr) >= 0, "no header");
    }

    void Write(AVPacket& packet) {
        av_packet_rescale_ts(&packet, mClock, mContext->streams[0]->time_base);
        Require(av_write_frame(mContext.get(), &packet) >= 0, "no packet");
    }

    void End() { Require(av_write_trailer(mContext.get()) >= 0, "no end"); }

    // Everything that was written; the file is closed.
    std::string Bytes() {
        if (mContext->pb == nullptr) {
            return "";
        }
        std::uint8_t* bytes = nullptr;
        const int size = avio_close_dyn_buf(std::exchange(mContext->pb, nullptr), &bytes);
        std::string text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
        av_free(bytes);
        return text;
    }

private:
    struct Freer {
        void operator()(AVFormatContext* context) const { avformat_free_context(context); }
    };

    std::unique_ptr<AVFormatContext, Freer> mContext;
    AVRational mClock{1, kOpusRateHz};
};

} // namespace

struct OpusEncoder::Inside {
    Inside(int sampleRateHz, int channels, int bitsPerSecond)
        : encoder(avcodec_alloc_context3(FindEncoder())), frame(av_frame_alloc()),
          packet(av_packet_alloc()) {
        Require(FindEncoder() != nullptr, "FFmpeg was built without libopus");
        if (!encoder || !frame || !packet) {
            throw std::bad_alloc();
        }
        av_channel_layout_default(&encoder->ch_layout, channels);
        encoder->sample_rate = kOpusRateHz;
        encoder->sample_fmt = AV_SAMPLE_FMT_FLT;
        encoder->bit_rate = bitsPerSecond;
        encoder->time_base = {1, kOpusRateHz};
        encoder->flags |= AV_CODEC_FLAG_BITEXACT;
        Require(avcodec_open2(encoder.get(), FindEncoder(), nullptr) >= 0, "no encoder");
        SwrContext* context = nullptr;
        Require(swr_alloc_set_opts2(&context, &encoder->ch_layout, AV_SAMPLE_FMT_FLT, kOpusRateHz,
                                    &encoder->ch_layout, AV_SAMPLE_FMT_FLTP, sampleRateHz, 0,
                                    nullptr) >= 0 &&
                    swr_init(context) >= 0,
                "its rate cannot be converted");
        converter.reset(context);
        file.Begin(*encoder);
    }

    // Converts samples, or at the end what the converter holds back, and codes full frames.
    void Convert(const float* const* channels, std::size_t frames) {
        const auto in = static_cast<int>(frames);
        const auto width = static_cast<std::size_t>(encoder->ch_layout.nb_channels);
        const int most = swr_get_out_samples(converter.get(), in);
        const std::size_t before = waiting.size();
        waiting.resize(before + static_cast<std::size_t>(std::max(most, 0)) * width);
        auto* out = reinterpret_cast<std::uint8_t*>(waiting.data() + before);
        const int got = swr_convert(converter.get(), &out, most,
                                    const_cast<const std::uint8_t**>(
                                        reinterpret_cast<const std::uint8_t* const*>(channels)),
                                    in);
        Require(got >= 0, "its rate cannot be converted");
        waiting.resize(before + static_cast<std::size_t>(got) * width);
        const std::size_t whole = static_cast<std::size_t>(encoder->frame_size) * width;
        std::size_t at = 0;
        for (; waiting.size() - at >= whole; at += whole) {
            Code(waiting.data() + at, encoder->frame_size);
        }
        waiting.erase(waiting.begin(), waiting.begin() + static_cast<std::ptrdiff_t>(at));
    }

    void Code(const float* samples, int count) {
        frame->nb_samples = count;
        frame->format = AV_SAMPLE_FMT_FLT;
        frame->sample_rate = kOpusRateHz;
        Require(av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout) >= 0 &&
                    av_frame_get_buffer(frame.get(), 0) >= 0,
                "no memory");
        std::copy_n(samples, count * encoder->ch_layout.nb_channels,
                    reinterpret_cast<float*>(frame->data[0]));
        frame->pts = coded;
        coded += count;
        Send(frame.get());
        av_frame_unref(frame.get());
    }

    // A null frame ends the stream.
    void Send(const AVFrame* next) {
        Require(avcodec_send_frame(encoder.get(), next) >= 0, "no frame");
        while (avcodec_receive_packet(encoder.get(), packet.get()) >= 0) {
            file.Write(*packet);
            av_packet_unref(packet.get());
        }
    }

    AvHandle<AVCodecContext> encoder;
    AvHandle<AVFrame> frame;
    AvHandle<AVPacket> packet;
    AvHandle<SwrContext> converter;
    MemoryFile file;
    std::vector<float> waiting; // interleaved, less than a frame
    std::int64_t coded = 0;
};

bool OpusEncoder::isAvailable() noexcept {
    return FindEncoder() != nullptr;
}

OpusEncoder::OpusEncoder(int sampleRateHz, std::size_t channels, int bitsPerSecond) {
    if (channels < 1 || channels > 2 || sampleRateHz <= 0) {
        throw std::invalid_argument("qel::media::OpusEncoder: 1 or 2 channels, a rate above 0");
    }
    mInside = std::make_unique<Inside>(sampleRateHz, static_cast<int>(channels), bitsPerSecond);
}

OpusEncoder::~OpusEncoder() = default;
OpusEncoder::OpusEncoder(OpusEncoder&& other) noexcept = default;
OpusEncoder& OpusEncoder::operator=(OpusEncoder&& other) noexcept = default;

void OpusEncoder::write(std::span<const float* const> channels, std::size_t frames) {
    mInside->Convert(channels.data(), frames);
}

std::string OpusEncoder::finish() {
    mInside->Convert(nullptr, 0);
    const auto width = static_cast<std::size_t>(mInside->encoder->ch_layout.nb_channels);
    if (!mInside->waiting.empty()) {
        mInside->Code(mInside->waiting.data(), static_cast<int>(mInside->waiting.size() / width));
    }
    mInside->Send(nullptr);
    mInside->file.End();
    return mInside->file.Bytes();
}

} // namespace qel::media
