#include "readings/stream/KeyStream.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace qel::readings {

KeyStream::KeyStream(std::vector<std::string_view> keys, double sampleRateHz,
                     std::uint64_t lengthFrames, Take take)
    : mKeys(std::move(keys)), mSampleRateHz(sampleRateHz), mLengthFrames(lengthFrames),
      mTake(std::move(take)) {
    reset();
}

double KeyStream::hopSeconds(std::string_view key) const {
    return findKey(key)->hopSamples / mSampleRateHz;
}

void KeyStream::reset() {
    mBlocks.clear();
    mEnds = false;
    if (mKeys.empty()) {
        return;
    }
    const std::uint64_t length =
        std::min<std::uint64_t>(mLengthFrames, std::numeric_limits<std::uint32_t>::max());
    mAnalyzer.emplace(mKeys, StreamSetup{.sampleRateHz = mSampleRateHz,
                                         .channels = 1,
                                         .maxFrames = MonoBlocks::kFrames,
                                         .lengthFrames = static_cast<std::uint32_t>(length)});
    mAnalyzer->onResult([this](const Result& result) {
        if (!mEnds || result.info()->delivery == Delivery::AtEnd) {
            mTake(result);
        }
    });
}

void KeyStream::add(std::span<const float> samples) {
    if (!mAnalyzer) {
        return;
    }
    const float* const channel = samples.data();
    mBlocks.add({&channel, 1}, samples.size(),
                [this](std::span<const float> block) { mAnalyzer->push(block); });
}

// The samples of an incomplete block are followed by silence, as "audio range" takes no shorter
// push. Frames that this completes do not count: the silence would be heard as an end.
void KeyStream::end() {
    if (!mAnalyzer) {
        return;
    }
    if (!mBlocks.rest().empty()) {
        std::array<float, MonoBlocks::kFrames> last{};
        std::ranges::copy(mBlocks.rest(), last.begin());
        mEnds = true;
        mAnalyzer->push(std::span<const float>(last));
    }
    mAnalyzer->finish();
}

} // namespace qel::readings
