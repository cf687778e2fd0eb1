#pragma once

#include <QelMedia.hpp>

#include <string>
#include <string_view>

namespace qel::page {

// The sound of a song as a browser plays it: the bytes of its file where browsers know the format,
// else coded anew.
class AudioCopy {
public:
    // Files above this are coded anew, so that pages can be opened: 128 MiB.
    static constexpr std::uintmax_t kMostBytes = 134217728;

    // Throws media::Error, SongError where the file cannot be read, and Interrupt::Requested.
    AudioCopy(const std::string& path, const media::Report& report);

    // "audio/ogg".
    const std::string& Type() const { return mType; }
    std::string_view Bytes() const { return mBytes; }
    bool IsCoded() const { return mIsCoded; }

private:
    std::string mType;
    std::string mBytes;
    bool mIsCoded = false;
};

} // namespace qel::page
