#pragma once

#include "media/ffmpeg/AvHandles.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

extern "C" {
#include <libavutil/md5.h>
#include <libavutil/mem.h>
}

namespace qel::media {

// Holds what was decoded of a FLAC stream against what the stream itself says of it: every frame
// carries its number, and the header may carry the MD5 sum of all samples. libavcodec looks at the
// checksum of each frame alone, and a frame that it did not find leaves no trace there.
class FlacCheck {
public:
    // streamInfo is the header's block STREAMINFO of 34 bytes; without it, or where it has no sum,
    // only frames are counted.
    explicit FlacCheck(std::span<const std::uint8_t> streamInfo);

    // A packet, in front of the frames that are decoded from it.
    void AddPacket(std::span<const std::uint8_t> packet);
    void AddFrame(const AVFrame& frame);

    // Whether the numbers of all frames followed one another. They may start anew at 0, where
    // streams were put together.
    bool IsContinuous() const { return mIsContinuous; }

    // Whether the samples have another sum than the header says. To be asked once, at the end.
    bool SumDiffers();

private:
    struct Free {
        void operator()(AVMD5* sum) const { av_free(sum); }
    };

    std::unique_ptr<AVMD5, Free> mSum; // null where the header has none
    std::array<std::uint8_t, 16> mStated{};
    int mBits = 0;
    std::vector<std::uint8_t> mBytes;
    std::optional<std::uint64_t> mExpected; // number of the next frame
    bool mCountsSamples = false;            // frames of any size are numbered by samples
    bool mIsContinuous = true;
};

} // namespace qel::media
