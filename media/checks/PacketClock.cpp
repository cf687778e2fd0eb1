#include "media/checks/PacketClock.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace qel::media {

std::int64_t PacketClock::Advance(const AVPacket& packet, std::int64_t previousFrames) {
    const AVRational frame{1, mRateHz};
    constexpr std::int64_t kLatest = std::int64_t{1}
                                     << 62; // beyond, a number is no time but damage
    std::optional<std::int64_t> time;
    if (packet.pts != AV_NOPTS_VALUE) {
        const std::int64_t frames = av_rescale_q(packet.pts, mTimeBase, frame);
        if (std::abs(frames / 2) < kLatest / 2) {
            time = frames;
        }
    }
    mLongestFrames = std::max(mLongestFrames, previousFrames);
    const std::optional<std::int64_t> before = std::exchange(mTime, time);
    if (!time || !before || previousFrames <= 0) {
        return 0;
    }
    const std::int64_t tick = av_rescale_q_rnd(1, mTimeBase, frame, AV_ROUND_UP);
    const std::int64_t offset = *time - *before - previousFrames;
    return std::abs(offset) > mLongestFrames / 2 + 2 * tick ? offset : 0;
}

} // namespace qel::media
