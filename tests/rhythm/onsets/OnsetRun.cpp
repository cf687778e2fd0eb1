#include "tests/rhythm/onsets/OnsetRun.h"

#include <gtest/gtest.h>

#include <cstring>

namespace qel::test {
namespace {

std::vector<Event> Events(const QelAudioAnalysisBlock& block) {
    QelAudioAnalysisEventList list{};
    EXPECT_EQ(16u, block.mDataByteSize);
    if (block.mDataByteSize == sizeof list) {
        std::memcpy(&list, block.mData, sizeof list);
    }
    std::vector<Event> events;
    for (UInt32 i = 0; i < list.mCount; ++i) {
        events.push_back({list.mEvents[i].mTime, list.mEvents[i].mStrength});
    }
    return events;
}

template <class Value>
void Append(std::vector<std::byte>& bytes, const Value& value) {
    bytes.resize(bytes.size() + sizeof value);
    std::memcpy(bytes.data() + bytes.size() - sizeof value, &value, sizeof value);
}

} // namespace

std::vector<std::byte> OnsetResults::Bytes() const {
    std::vector<std::byte> bytes;
    Append(bytes, status);
    Append(bytes, deliveries);
    for (const std::vector<Event>& list : onsets) {
        Append(bytes, list.size());
        for (const Event& onset : list) {
            Append(bytes, onset.timeSeconds);
            Append(bytes, onset.strength);
        }
    }
    return bytes;
}

OnsetRun::OnsetRun(const StreamSetup& setup) : mAnalyzer({kOnsetKey}, setup) {
    mAnalyzer.onDelivery = [this, channels = setup.channels](QelAudioAnalysisRef, CFStringRef name,
                                                             UInt32 count,
                                                             QelAudioAnalysisBlock* blocks) {
        EXPECT_EQ(kOnsetKey, ToText(name));
        EXPECT_EQ(channels, count);
        ++mCurrent.deliveries;
        for (UInt32 c = 0; c < count; ++c) {
            mCurrent.onsets.push_back(Events(blocks[c]));
        }
    };
}

void OnsetRun::Push(const Audio& audio, UInt32 blockFrames) {
    mAnalyzer.PushInBlocks(audio, blockFrames);
}

OnsetResults OnsetRun::Process(UInt8 flush) {
    return Take(mAnalyzer.Process(flush));
}

OnsetResults OnsetRun::ProcessWithProgress(int stopAt, UInt8 flush) {
    mStopAt = stopAt;
    return Take(QelAudioAnalysisProcess(mAnalyzer.Handle(), flush, Report, this));
}

int OnsetRun::Report(void* unused, float percent, void* refCon) {
    EXPECT_EQ(nullptr, unused);
    auto* self = static_cast<OnsetRun*>(refCon);
    const auto index = static_cast<int>(self->mCurrent.progress.size());
    self->mCurrent.progress.push_back(percent);
    return index == self->mStopAt ? 1 : 0;
}

OnsetResults OnsetRun::Take(SInt32 status) {
    OnsetResults results = std::move(mCurrent);
    results.status = status;
    mCurrent = OnsetResults{};
    return results;
}

SInt32 OnsetRun::SetSensitivity(float value) {
    const CFOwner<CFStringRef> name = MakeString("Onset Sensitivity");
    return QelAudioAnalysisSetParameter(mAnalyzer.Handle(), name.Get(), value);
}

float OnsetRun::Sensitivity() {
    const CFOwner<CFStringRef> name = MakeString("Onset Sensitivity");
    float value = -1.0f;
    EXPECT_EQ(0, QelAudioAnalysisGetParameter(mAnalyzer.Handle(), name.Get(), &value));
    return value;
}

OnsetResults AnalyzeOnsets(const Audio& audio, double rateHz, UInt32 blockFrames,
                           float sensitivity) {
    OnsetRun run({rateHz, static_cast<UInt32>(audio.size()), static_cast<UInt32>(kFlushFrames),
                  static_cast<SInt64>(audio.at(0).size())});
    EXPECT_EQ(0, run.SetSensitivity(sensitivity));
    run.Push(audio, blockFrames);
    return run.Process();
}

} // namespace qel::test
