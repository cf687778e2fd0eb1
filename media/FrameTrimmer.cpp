#include "media/FrameTrimmer.h"

#include <algorithm>

namespace qel::media {

FrameTrimmer::Kept FrameTrimmer::Trim(std::int64_t frames, std::int64_t tailFrames) {
    const std::int64_t head = std::clamp<std::int64_t>(mPendingLeading, 0, frames);
    mPendingLeading -= head;
    mLeading += head;

    std::int64_t tail = std::clamp<std::int64_t>(tailFrames, 0, frames - head);
    if (mEnd.has_value()) {
        const std::int64_t room = std::max<std::int64_t>(*mEnd - mKept, 0);
        tail = std::max(tail, frames - head - room);
    }
    mTrailing += tail;

    const Kept kept{head, frames - head - tail};
    mKept += kept.count;
    return kept;
}

} // namespace qel::media
