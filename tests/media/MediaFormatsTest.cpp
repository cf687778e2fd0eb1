// Which of FFmpeg's containers and codecs a file can reach.

#include "media/MediaFormats.h"

#include "media/AudioDecoder.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"
#include "tests/media/FaultOf.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace qel::media {
namespace {

using namespace test;

std::set<std::string> Split(const std::string& names) {
    std::set<std::string> set;
    std::istringstream stream(names);
    for (std::string name; std::getline(stream, name, ',');) {
        EXPECT_TRUE(set.insert(name).second) << name << " is listed twice";
    }
    return set;
}

TEST(MediaFormatsTest, EveryContainerOfTheListIsThereAndNoOtherIsReached) {
    std::set<std::string> listed = Split(MediaFormats::Containers());
    void* place = nullptr;
    while (const AVInputFormat* format = av_demuxer_iterate(&place)) {
        bool isListed = false;
        for (const std::string& name : Split(format->name)) {
            isListed = listed.erase(name) > 0 || isListed;
        }
        EXPECT_EQ(MediaFormats::IsContainer(*format), isListed) << format->name;
    }
    EXPECT_EQ(listed, std::set<std::string>()) << "these are no containers of the library";
}

TEST(MediaFormatsTest, NoContainerOfTheListReadsOtherFilesOrTheNetwork) {
    for (const char* name : {"concat",
                             "hls",
                             "dash",
                             "image2",
                             "lavfi",
                             "sdp",
                             "rtsp",
                             "rtp",
                             "sap",
                             "tty",
                             "ffmetadata",
                             "imf",
                             "webm_dash_manifest",
                             "srt",
                             "webvtt",
                             "libgme",
                             "libopenmpt",
                             "gif",
                             "rawvideo",
                             "avs",
                             "vapoursynth"}) {
        EXPECT_FALSE(Split(MediaFormats::Containers()).contains(name)) << name;
    }
    EXPECT_EQ(MediaFormats::Protocols(), "file");
}

TEST(MediaFormatsTest, EveryDecoderOfTheListIsThereAndForAudio) {
    for (const std::string& name : Split(MediaFormats::Decoders())) {
        const AVCodec* codec = avcodec_find_decoder_by_name(name.c_str());
        ASSERT_NE(codec, nullptr) << name;
        EXPECT_EQ(codec->type, AVMEDIA_TYPE_AUDIO) << name;
        const AVCodec* found = MediaFormats::FindDecoder(codec->id);
        ASSERT_NE(found, nullptr) << name;
        EXPECT_EQ(found->id, codec->id);
    }
}

TEST(MediaFormatsTest, ADecoderIsTheOneThatTheLibraryWouldChoose) {
    for (const std::string& name : Split(MediaFormats::Decoders())) {
        const AVCodecID id = avcodec_find_decoder_by_name(name.c_str())->id;
        EXPECT_STREQ(MediaFormats::FindDecoder(id)->name, avcodec_find_decoder(id)->name);
    }
}

TEST(MediaFormatsTest, NoVideoOrSubtitleHasADecoder) {
    for (const AVCodecID id : {AV_CODEC_ID_H264, AV_CODEC_ID_MJPEG, AV_CODEC_ID_PNG,
                               AV_CODEC_ID_SUBRIP, AV_CODEC_ID_ASS, AV_CODEC_ID_ANSI}) {
        EXPECT_EQ(MediaFormats::FindDecoder(id), nullptr) << avcodec_get_name(id);
    }
}

TEST(MediaFormatsTest, WhatIsNotListedIsRefusedInOneClearLine) {
    const TempDirectory directory;
    struct Other {
        const char* format;
        std::string content;
    };
    const std::string pixels(64, '\0');
    const std::vector<Other> others{
        {"concat", "ffconcat version 1.0\nfile other.wav\n"},
        {"hls", "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:1\n#EXTINF:0.1,\nother.aac\n"},
        {"sdp", "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\n"
                "m=audio 5004 RTP/AVP 0\n"},
        {"srt", "1\n00:00:01,000 --> 00:00:02,000\nHello\n\n2\n00:00:03,000 --> 00:00:04,000\n"
                "World\n"},
        {"webvtt", "WEBVTT\n\n00:01.000 --> 00:02.000\nHello\n"},
        {"ffmetadata", ";FFMETADATA1\ntitle=x\n"},
        {"gif", "GIF89a" + std::string("\x08\0\x08\0", 4) + pixels},
        {"yuv4mpegpipe", "YUV4MPEG2 W2 H2 F25:1\nFRAME\n" + pixels},
    };
    for (const Other& other : others) {
        const std::string path = directory.File("song.wav");
        WriteFile(path, other.content);
        EXPECT_EQ(FaultOf(path), "is not an audio file (its format is \"" +
                                     std::string(other.format) + "\"), or is damaged");
    }
}

TEST(MediaFormatsTest, APictureHoldsNoAudio) {
    const TempDirectory directory;
    WriteFile(directory.File("song.wav"), "\x89PNG\r\n\x1A\n" + std::string(64, '\0'));
    EXPECT_EQ(FaultOf(directory.File("song.wav")), "holds no audio stream");
}

// The name of a file, which some demuxers go by, chooses nothing.
TEST(MediaFormatsTest, ANameChoosesNoFormat) {
    const TempDirectory directory;
    for (const char* name : {"text.ans", "text.txt", "image%03d.jpg", "list.m3u8", "sound.s16le",
                             "sine=f=440", "raw.rgb"}) {
        WriteFile(directory.File(name), "This is text of no format at all, as one can read.\n");
        EXPECT_EQ(FaultOf(directory.File(name)), "is not an audio file, or is damaged or truncated")
            << name;
        WriteWav(directory.File(name), 44100, {Sine(500, 100, 0.5)});
        EXPECT_EQ(FaultOf(directory.File(name)), "no fault") << name;
    }
}

} // namespace
} // namespace qel::media
