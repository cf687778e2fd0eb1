// The beat generator from the inside: its stores filled and read directly, so that a stream of many
// minutes need not be made sample by sample.
#pragma once

#include "rhythm/beats/AABeatFunctionGenerator.h"
#include "tests/harness/TestAnalyzer.h"
#include "tests/rhythm/beats/BeatRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace qel::core {

class AABeatFunctionGeneratorTestAccess {
public:
    // Appends to the stored detection function, one vector per channel.
    static void AppendFunction(AABeatFunctionGenerator& generator, const test::Audio& function) {
        const auto frames = static_cast<UInt32>(function.at(0).size());
        test::BufferList list(function, 0, frames);
        generator.mFunctionStore->Append(*list.Get(), frames);
        generator.mFunctionTime.mSampleTime += frames;
    }

    static test::Audio Function(AABeatFunctionGenerator& generator, std::size_t channels) {
        return Everything(*generator.mFunctionStore, channels);
    }
    // Only where the meter is wanted.
    static std::vector<std::vector<float>> MeterSignals(AABeatFunctionGenerator& generator) {
        return generator.mMeterAudio->Signals();
    }
    // Of a channel, in the order of finding. A process that succeeds leaves none.
    static std::vector<double> StoredBeatTimes(const AABeatFunctionGenerator& generator,
                                               std::size_t channel) {
        return generator.mBeatList.at(channel).times;
    }
    static bool KeepsMeterAudio(const AABeatFunctionGenerator& generator) {
        return generator.mMeterAudio != nullptr;
    }

    // Down beats of one channel whose beats, in the order of finding, have the given strengths and
    // as times their places in that order, counted down from the end.
    static void FindDownBeats(AABeatFunctionGenerator& generator,
                              const std::vector<float>& strengths, UInt32 meter) {
        Events beats;
        for (std::size_t i = 0; i < strengths.size(); ++i) {
            beats.times.push_back(static_cast<double>(strengths.size() - 1 - i));
        }
        beats.strengths = strengths;
        generator.mBeatList = {beats};
        generator.mMeterList = {meter};
        EXPECT_EQ(0, generator.FindDownBeats());
    }

private:
    static test::Audio Everything(const FrameStore& store, std::size_t channels) {
        test::Audio values(channels, std::vector<float>(store.Frames()));
        for (std::size_t c = 0; c < channels; ++c) {
            store.Copy(static_cast<UInt32>(c), 0, store.Frames(), values[c].data());
        }
        return values;
    }
};

} // namespace qel::core

namespace qel::test {

class BeatGeneratorTest : public testing::Test {
protected:
    using Access = core::AABeatFunctionGeneratorTestAccess;

    void Make(UInt32 channels, const std::vector<std::string>& keys, UInt32 streamLength = 0) {
        mGenerator = std::make_unique<core::AABeatFunctionGenerator>(
            channels, 44100.0, 1024, 128, 4096, streamLength, Receive, this);
        CFOwner<CFMutableArrayRef> array(
            CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
        for (const std::string& key : keys) {
            CFArrayAppendValue(array.Get(), MakeString(key).Get());
        }
        EXPECT_EQ(0, mGenerator->SetComputeProperty(array.Get()));
        EXPECT_EQ(0, mGenerator->ReadyAnalysis());
    }

    void Push(const Audio& audio) {
        for (std::size_t at = 0; at < audio[0].size(); at += 4096) {
            const auto count =
                static_cast<UInt32>(std::min<std::size_t>(4096, audio[0].size() - at));
            BufferList list(audio, at, count);
            ASSERT_EQ(0, mGenerator->PushAudio(list.Get(), count));
        }
    }

    std::unique_ptr<core::AABeatFunctionGenerator> mGenerator;
    std::vector<std::array<float, 3>> mTempi;
    std::vector<std::vector<Event>> mEvents; // beats or down beats, by delivery and channel
    std::vector<float> mProgress;

    static int Report(void*, float percent, void* refCon) {
        static_cast<BeatGeneratorTest*>(refCon)->mProgress.push_back(percent);
        return 0;
    }

private:
    static void Receive(void* unused, CFStringRef key, UInt32 count, QelAudioAnalysisBlock* blocks,
                        void* refCon) {
        EXPECT_EQ(nullptr, unused);
        auto* self = static_cast<BeatGeneratorTest*>(refCon);
        for (UInt32 c = 0; c < count; ++c) {
            if (ToText(key) == kTempoKey) {
                const auto* values = static_cast<const float*>(blocks[c].mData);
                self->mTempi.push_back({values[0], values[1], values[2]});
            } else if (ToText(key) == kBeatKey || ToText(key) == kDownBeatKey) {
                const auto* list = static_cast<const QelAudioAnalysisEventList*>(blocks[c].mData);
                std::vector<Event>& events = self->mEvents.emplace_back();
                for (UInt32 i = 0; i < list->mCount; ++i) {
                    events.push_back({list->mEvents[i].mTime, list->mEvents[i].mStrength});
                }
            }
        }
    }
};

} // namespace qel::test
