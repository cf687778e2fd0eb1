#pragma once

#include <cstdint>
#include <optional>

namespace qel::media {

// Decides which samples of each decoded frame belong to the audio, and counts those that do not:
// the encoder's delay at the start and its padding at the end.
class FrameTrimmer {
public:
    // The samples [first, first + count) of a frame are kept.
    struct Kept {
        std::int64_t first = 0;
        std::int64_t count = 0;
    };

    // Drops `frames` more samples before the next ones.
    void AddLeading(std::int64_t frames) { mPendingLeading += frames; }

    // Keeps at most this many samples in total.
    void SetEnd(std::int64_t frames) { mEnd = frames; }

    // Returns what is kept of a frame whose last tailFrames samples are padding.
    Kept Trim(std::int64_t frames, std::int64_t tailFrames);

    std::int64_t LeadingFrames() const { return mLeading; }
    std::int64_t TrailingFrames() const { return mTrailing; }
    std::int64_t KeptFrames() const { return mKept; }

private:
    std::optional<std::int64_t> mEnd;
    std::int64_t mPendingLeading = 0;
    std::int64_t mLeading = 0;
    std::int64_t mTrailing = 0;
    std::int64_t mKept = 0;
};

} // namespace qel::media
