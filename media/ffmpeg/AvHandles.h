#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
}

namespace qel::media {

// One deleter for every kind of FFmpeg object that the decoder owns.
struct AvDeleter {
    void operator()(AVIOContext* file) const { avio_closep(&file); }
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(SwrContext* context) const { swr_free(&context); }
};

template <typename T>
using AvHandle = std::unique_ptr<T, AvDeleter>;

} // namespace qel::media
