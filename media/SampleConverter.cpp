#include "media/SampleConverter.h"

#include "media/OutOfMemory.h"

#include <QelMedia.hpp>

extern "C" {
#include <libavutil/samplefmt.h>
}

namespace qel::media {
namespace {

constexpr int kMostChannels = 64; // of libswresample

} // namespace

void SampleConverter::Prepare(const AVFrame& frame) {
    const int channels = frame.ch_layout.nb_channels;
    if (mContext && frame.format == mFormat && channels == mChannels) {
        return;
    }
    if (channels > kMostChannels) {
        throw Error(Fault::NotAudio, "has " + std::to_string(channels) + " channels; at most " +
                                         std::to_string(kMostChannels) + " can be read");
    }
    // The same layout stands on both sides, so that the channels pass through in their order. The
    // file's own layout is not used: a file may state none, or one that makes no sense.
    AVChannelLayout layout{};
    layout.order = AV_CHANNEL_ORDER_UNSPEC;
    layout.nb_channels = channels;
    SwrContext* context = nullptr;
    int status = swr_alloc_set_opts2(&context, &layout, AV_SAMPLE_FMT_FLTP, frame.sample_rate,
                                     &layout, static_cast<AVSampleFormat>(frame.format),
                                     frame.sample_rate, 0, nullptr);
    mContext.reset(context);
    status = status < 0 ? status : swr_init(context);
    ThrowIfOutOfMemory(status);
    if (status < 0) {
        throw Error(Fault::NotAudio, "its sample format cannot be converted");
    }
    mFormat = frame.format;
    mChannels = channels;
    mPlanes.resize(static_cast<std::size_t>(channels));
    mOut.resize(mPlanes.size());
}

void SampleConverter::Convert(const AVFrame& frame, std::size_t first, std::size_t count) {
    Prepare(frame);
    mCount = count;
    if (count == 0) {
        return;
    }
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    const auto sampleBytes = static_cast<std::size_t>(av_get_bytes_per_sample(format));
    const std::size_t offset = first * sampleBytes * (planar ? 1 : mPlanes.size());
    mIn.assign(planar ? mPlanes.size() : 1, nullptr);
    for (std::size_t i = 0; i < mIn.size(); ++i) {
        mIn[i] = frame.extended_data[i] + offset;
    }
    for (std::size_t c = 0; c < mPlanes.size(); ++c) {
        mPlanes[c].resize(count);
        mOut[c] = reinterpret_cast<std::uint8_t*>(mPlanes[c].data());
    }
    const int made = swr_convert(mContext.get(), mOut.data(), static_cast<int>(count), mIn.data(),
                                 static_cast<int>(count));
    ThrowIfOutOfMemory(made);
    if (made != static_cast<int>(count)) {
        throw Error(Fault::NotAudio, "its samples cannot be converted");
    }
}

} // namespace qel::media
