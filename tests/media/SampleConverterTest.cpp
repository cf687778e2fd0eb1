// Every sample format that a decoder may give, and what its full scale becomes.

#include "media/SampleConverter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <new>
#include <vector>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/samplefmt.h>
}

namespace qel::media {
namespace {

// A frame of two channels.
template <class Sample>
AvHandle<AVFrame> FrameOf(AVSampleFormat format, const std::vector<Sample>& first,
                          const std::vector<Sample>& second) {
    AvHandle<AVFrame> frame(av_frame_alloc());
    frame->format = format;
    frame->sample_rate = 44100;
    frame->nb_samples = static_cast<int>(first.size());
    av_channel_layout_default(&frame->ch_layout, 2);
    EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    for (std::size_t i = 0; i < first.size(); ++i) {
        const Sample samples[] = {first[i], second[i]};
        for (std::size_t c = 0; c < 2; ++c) {
            std::uint8_t* plane = frame->extended_data[planar ? c : 0];
            std::memcpy(plane + sizeof(Sample) * (planar ? i : 2 * i + c), &samples[c],
                        sizeof(Sample));
        }
    }
    return frame;
}

std::vector<float> Held(const SampleConverter& converter, std::size_t channel) {
    return {converter.Channel(channel), converter.Channel(channel) + converter.Count()};
}

// Minus full scale, nothing, a half and a quarter: exact in every format.
const std::vector<float> kFirst = {-1.0f, 0.0f, 0.5f, -0.25f};
const std::vector<float> kSecond = {0.25f, -0.5f, 0.0f, -1.0f};

// The samples of an integer format: full scale is 2 to the power of its bits, but for the sign.
template <class Sample>
std::vector<Sample> Scaled(const std::vector<float>& samples, double fullScale, double middle = 0) {
    std::vector<Sample> scaled;
    for (const float sample : samples) {
        scaled.push_back(static_cast<Sample>(static_cast<double>(sample) * fullScale + middle));
    }
    return scaled;
}

template <class Sample>
void ExpectConverted(AVSampleFormat interleaved, AVSampleFormat planar, double fullScale,
                     double middle = 0) {
    for (const AVSampleFormat format : {interleaved, planar}) {
        SCOPED_TRACE(av_get_sample_fmt_name(format));
        const auto frame = FrameOf(format, Scaled<Sample>(kFirst, fullScale, middle),
                                   Scaled<Sample>(kSecond, fullScale, middle));
        SampleConverter converter;
        converter.Convert(*frame, 0, 4);
        EXPECT_EQ(Held(converter, 0), kFirst);
        EXPECT_EQ(Held(converter, 1), kSecond);
    }
}

TEST(SampleConverterTest, FullScaleOfEveryFormatIsOne) {
    ExpectConverted<std::uint8_t>(AV_SAMPLE_FMT_U8, AV_SAMPLE_FMT_U8P, 0x1p7, 0x1p7);
    ExpectConverted<std::int16_t>(AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P, 0x1p15);
    ExpectConverted<std::int32_t>(AV_SAMPLE_FMT_S32, AV_SAMPLE_FMT_S32P, 0x1p31);
    ExpectConverted<float>(AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_FLTP, 1);
    ExpectConverted<double>(AV_SAMPLE_FMT_DBL, AV_SAMPLE_FMT_DBLP, 1);
}

TEST(SampleConverterTest, FloatsBeyondFullScaleStayAsTheyAre) {
    const std::vector<float> loud = {1.5f, -7.0f};
    SampleConverter converter;
    converter.Convert(*FrameOf(AV_SAMPLE_FMT_FLTP, loud, loud), 0, 2);
    EXPECT_EQ(Held(converter, 1), loud);
}

TEST(SampleConverterTest, APartOfAFrameIsTakenFromItsPlace) {
    for (const AVSampleFormat format : {AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_FLTP}) {
        SampleConverter converter;
        converter.Convert(*FrameOf(format, kFirst, kSecond), 1, 2);
        EXPECT_EQ(Held(converter, 0), (std::vector<float>{0.0f, 0.5f}));
        EXPECT_EQ(Held(converter, 1), (std::vector<float>{-0.5f, 0.0f}));
        converter.Convert(*FrameOf(format, kFirst, kSecond), 4, 0);
        EXPECT_EQ(converter.Count(), 0u);
    }
}

TEST(SampleConverterTest, AnotherFormatInTheMiddleIsFollowed) {
    SampleConverter converter;
    converter.Convert(*FrameOf(AV_SAMPLE_FMT_FLTP, kFirst, kSecond), 0, 4);
    converter.Convert(*FrameOf(AV_SAMPLE_FMT_S16, Scaled<std::int16_t>(kSecond, 0x1p15),
                               Scaled<std::int16_t>(kFirst, 0x1p15)),
                      0, 4);
    EXPECT_EQ(Held(converter, 0), kSecond);
    EXPECT_EQ(Held(converter, 1), kFirst);
}

TEST(SampleConverterTest, MemoryThatIsOutIsNoFaultOfTheFormat) {
    const AvHandle<AVFrame> frame = FrameOf(AV_SAMPLE_FMT_FLTP, kFirst, kSecond);
    SampleConverter converter;
    av_max_alloc(1); // what FFmpeg may take at once
    EXPECT_THROW(converter.Convert(*frame, 0, 4), std::bad_alloc);
    av_max_alloc(std::numeric_limits<int>::max());
}

} // namespace
} // namespace qel::media
