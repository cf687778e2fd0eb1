#include "tests/rhythm/beats/BeatRun.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numbers>
#include <random>

namespace qel::test {
namespace {

template <class Value>
void Append(std::vector<std::byte>& bytes, const Value& value) {
    bytes.resize(bytes.size() + sizeof value);
    std::memcpy(bytes.data() + bytes.size() - sizeof value, &value, sizeof value);
}

void AppendEvents(std::vector<std::byte>& bytes, const std::vector<std::vector<Event>>& lists) {
    for (const std::vector<Event>& list : lists) {
        Append(bytes, list.size());
        for (const Event& event : list) {
            Append(bytes, event.timeSeconds);
            Append(bytes, event.strength);
        }
    }
}

template <class Value>
Value Payload(const QelAudioAnalysisBlock& block) {
    Value value{};
    EXPECT_EQ(sizeof value, block.mDataByteSize);
    if (block.mDataByteSize == sizeof value) {
        std::memcpy(&value, block.mData, sizeof value);
    }
    return value;
}

std::vector<Event> Events(const QelAudioAnalysisBlock& block) {
    const auto list = Payload<QelAudioAnalysisEventList>(block);
    std::vector<Event> events;
    for (UInt32 i = 0; i < list.mCount; ++i) {
        events.push_back({list.mEvents[i].mTime, list.mEvents[i].mStrength});
    }
    return events;
}

} // namespace

std::vector<std::byte> BeatResults::Bytes() const {
    std::vector<std::byte> bytes;
    Append(bytes, status);
    for (const std::string& key : order) {
        Append(bytes, std::hash<std::string>{}(key));
    }
    for (const std::array<float, 3>& channel : tempi) {
        Append(bytes, channel);
    }
    AppendEvents(bytes, beats);
    for (const UInt32 meter : meters) {
        Append(bytes, meter);
    }
    AppendEvents(bytes, downBeats);
    return bytes;
}

BeatRun::BeatRun(const std::vector<std::string>& keys, const StreamSetup& setup)
    : mAnalyzer(keys, setup) {
    mAnalyzer.onDelivery = [this, channels = setup.channels](QelAudioAnalysisRef, CFStringRef name,
                                                             UInt32 count,
                                                             QelAudioAnalysisBlock* blocks) {
        const std::string key = ToText(name);
        EXPECT_EQ(channels, count) << key;
        mCurrent.order.push_back(key);
        for (UInt32 c = 0; c < count; ++c) {
            if (key == kTempoKey) {
                mCurrent.tempi.push_back(Payload<std::array<float, 3>>(blocks[c]));
            } else if (key == kBeatKey) {
                mCurrent.beats.push_back(Events(blocks[c]));
            } else if (key == kMeterKey) {
                mCurrent.meters.push_back(Payload<UInt32>(blocks[c]));
            } else if (key == kDownBeatKey) {
                mCurrent.downBeats.push_back(Events(blocks[c]));
            } else {
                ADD_FAILURE() << "an unexpected key: " << key;
            }
        }
    };
}

void BeatRun::Push(const Audio& audio, UInt32 blockFrames) {
    mAnalyzer.PushInBlocks(audio, blockFrames);
}

BeatResults BeatRun::Process(UInt8 flush) {
    return Take(mAnalyzer.Process(flush));
}

BeatResults BeatRun::ProcessWithProgress(int stopAt, UInt8 flush) {
    mStopAt = stopAt;
    return Take(QelAudioAnalysisProcess(mAnalyzer.Handle(), flush, Report, this));
}

int BeatRun::Report(void* unused, float percent, void* refCon) {
    EXPECT_EQ(nullptr, unused);
    auto* self = static_cast<BeatRun*>(refCon);
    const auto index = static_cast<int>(self->mCurrent.progress.size());
    self->mCurrent.progress.push_back(percent);
    return index == self->mStopAt ? 1 : 0;
}

BeatResults BeatRun::Take(SInt32 status) {
    BeatResults results = std::move(mCurrent);
    results.status = status;
    mCurrent = BeatResults{};
    return results;
}

SInt32 BeatRun::SetGenreHint(float value) {
    const CFOwner<CFStringRef> name = MakeString("Genre Hint");
    return QelAudioAnalysisSetParameter(mAnalyzer.Handle(), name.Get(), value);
}

float BeatRun::GenreHint() {
    const CFOwner<CFStringRef> name = MakeString("Genre Hint");
    float value = -1.0f;
    EXPECT_EQ(0, QelAudioAnalysisGetParameter(mAnalyzer.Handle(), name.Get(), &value));
    return value;
}

BeatResults Analyze(const Audio& audio, double rateHz, const std::vector<std::string>& keys,
                    float genreHint) {
    BeatRun run(keys, {rateHz, static_cast<UInt32>(audio.size()), 4096,
                       static_cast<SInt64>(audio[0].size())});
    EXPECT_EQ(0, run.SetGenreHint(genreHint));
    run.Push(audio);
    return run.Process();
}

std::vector<float> DrumTrack(double rateHz, const Drums& drums) {
    constexpr double kStrokeDecaySeconds = 0.012;
    constexpr double kBassDecaySeconds = 0.08;
    constexpr double kStrokeSeconds = 0.3;
    constexpr double kBassHz = 70.0;
    std::mt19937 generator(17);
    const auto noise = [&] { return static_cast<double>(generator()) / 2147483648.0 - 1.0; };
    std::vector<float> samples(static_cast<std::size_t>(drums.seconds * rateHz));
    for (float& sample : samples) {
        sample = static_cast<float>(drums.floor * noise());
    }
    for (int stroke = 0;; ++stroke) {
        const double start = kFirstStrokeSeconds + stroke * 60.0 / drums.bpm;
        const auto first = static_cast<std::size_t>(std::llround(start * rateHz));
        if (first >= samples.size()) {
            return samples;
        }
        const bool isAccent = stroke % drums.meter == 0;
        const double amplitude = stroke == drums.loudest ? 0.7 : isAccent ? 0.5 : 0.2;
        const auto length = static_cast<std::size_t>(kStrokeSeconds * rateHz);
        for (std::size_t i = 0; i < length && first + i < samples.size(); ++i) {
            const double t = static_cast<double>(i) / rateHz;
            double value = amplitude * std::exp(-t / kStrokeDecaySeconds) * noise();
            if (isAccent) {
                value += 0.4 * amplitude * std::exp(-t / kBassDecaySeconds) *
                         std::sin(2.0 * std::numbers::pi * kBassHz * t);
            }
            samples[first + i] += static_cast<float>(value);
        }
    }
}

} // namespace qel::test
