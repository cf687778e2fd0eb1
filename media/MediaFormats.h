#pragma once

#include "media/ffmpeg/AvHandles.h"

#include <string>

namespace qel::media {

// Which of FFmpeg's containers and codecs are read: those that hold audio. Everything else that the
// installed library knows (images, playlists, scripts, subtitles, streams of a network, devices,
// video) cannot be reached by any file, whatever its bytes or its name say.
class MediaFormats {
public:
    // Names for AVFormatContext's format_whitelist, codec_whitelist and protocol_whitelist, with
    // commas between them.
    static const std::string& Containers();
    static const std::string& Decoders();
    static const std::string& Protocols();

    static bool IsContainer(const AVInputFormat& format);

    // The first of the library's decoders for a codec that is among them; null if there is none.
    static const AVCodec* FindDecoder(AVCodecID codec);
};

} // namespace qel::media
