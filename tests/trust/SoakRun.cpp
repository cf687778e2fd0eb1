#include "tests/trust/SoakRun.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <malloc.h>
#include <string_view>
#include <unistd.h>

namespace qel::trust {
namespace {

constexpr UInt32 kPush = 4096;
constexpr double kSampleEverySeconds = 600;
constexpr double kTailSeconds = 30;
constexpr double kMebibyte = 1048576.0;

// Keys whose frames depend on nothing but their samples.
constexpr std::array kWithoutMemory = {
    "generic spectrum properties",
    "spectrum histogram properties",
    "spectrum peak properties",
    "mel frequency cepstral coefficients",
    "spectrum",
    "cepstrum",
    "mel spectrum",
    "constant q spectrum",
    "pitch class profile",
    "pitch class porofile key correlation",
    "pitch class profile tonal centroid",
    "harmonic pitch class profile",
    "instantaneous frequency",
};

bool IsWithoutMemory(const KeyInfo& key) {
    return std::ranges::find(kWithoutMemory, key.key) != kWithoutMemory.end();
}

std::size_t ResidentBytes() {
    std::ifstream statm("/proc/self/statm");
    std::size_t all = 0;
    std::size_t resident = 0;
    statm >> all >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// What the heap has given out, without what it keeps for the next request.
std::size_t HeldBytes() {
    const auto heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

std::uint64_t WholePushes(double samples) {
    return static_cast<std::uint64_t>(samples) / kPush * kPush;
}

test::StreamSetup SetupOf(const SoakPlan& plan, std::uint64_t length) {
    return {.rateHz = plan.rateHz,
            .channels = 1,
            .maxFrames = kPush,
            .streamLength = static_cast<SInt64>(length)};
}

std::uint64_t FramesIn(const KeyInfo& key, std::uint64_t samples) {
    return samples >= key.frameSamples ? (samples - key.frameSamples) / key.hopSamples + 1 : 0;
}

} // namespace

SoakRun::SoakRun(const SoakPlan& plan)
    : mPlan(plan), mAudio(plan.rateHz), mLength(WholePushes(plan.seconds * plan.rateHz)),
      // A multiple of every hop, and of two pushes.
      mTailStart(WholePushes(std::max(plan.seconds - kTailSeconds, 0.0) * plan.rateHz) / 8192 *
                 8192),
      mKeys(MakeKeyList(plan.keys)), mClient(mKeys.Get(), SetupOf(plan, mLength)),
      mEvents(std::size(kKeys)) {
    // Room from the start: what grows between the library's vectors would keep the heap from giving
    // pages back.
    constexpr double kMostEventsPerSecond = 20;
    for (std::size_t i = 0; i < mEvents.size(); ++i) {
        if (kKeys[i].payload == PayloadKind::Events) {
            mEvents[i].reserve(static_cast<std::size_t>(kMostEventsPerSecond * plan.seconds) + 1);
        }
    }
    mClient.OnCallback(Look, this);
}

bool SoakRun::Run() {
    Expect(mClient.New() == 0, "New");
    Expect(mClient.Initialize() == 0, "Initialize");
    // Else the window of onsets would grow to minutes.
    QelAudioAnalysisSetParameter(mClient.Handle(), kQelAnalysisParameter_OnsetSensitivity, 100);
    PushAll();
    CheckMemory();
    const SInt32 status = mClient.Process(1);
    // Too little is left for a meter if the stream goes on for seconds only after a stretch.
    constexpr double kLeastSeconds = 10;
    const bool lacksMeter = mPlan.deliversStretches && RestSeconds() < kLeastSeconds;
    Expect(status == (lacksMeter ? -3 : 0), "Process: " + std::to_string(status));
    CheckTail();
    CheckEvents();
    std::printf("%s: %.2f hours at %.0f Hz, %llu samples, %s\n", mPlan.name.c_str(),
                mPlan.seconds / 3600, mPlan.rateHz, static_cast<unsigned long long>(mLength),
                mFine ? "all checks passed" : "FAILED");
    std::fflush(stdout);
    return mFine;
}

void SoakRun::PushAll() {
    std::vector<float> block(kPush);
    const float* const channel = block.data();
    const std::uint64_t sampleEvery = StretchSamples();
    for (; mPushed < mLength; mPushed += kPush) {
        mAudio.Fill(mPushed, block);
        const SInt32 status = mClient.Push(&channel, kPush);
        if (status != 0) {
            Expect(false, "push at " + std::to_string(mPushed) + ": " + std::to_string(status));
            return;
        }
        CheckCalls();
        if ((mPushed + kPush) % sampleEvery == 0) {
            SampleMemory();
            if (mPlan.deliversStretches) {
                mClient.Process(0);
            }
        }
    }
    SampleMemory();
}

std::uint64_t SoakRun::StretchSamples() const {
    return WholePushes(kSampleEverySeconds * mPlan.rateHz);
}

double SoakRun::RestSeconds() const {
    return static_cast<double>(mLength % StretchSamples()) / mPlan.rateHz;
}

void SoakRun::SampleMemory() {
    mResident.push_back(ResidentBytes());
    mHeld.push_back(HeldBytes());
}

// Every frame that is complete has been delivered, and no other: no gap, and none twice.
void SoakRun::CheckCalls() {
    const std::uint64_t samples = mPushed + kPush;
    for (std::size_t i = 0; i < std::size(kKeys); ++i) {
        const KeyInfo& key = kKeys[i];
        const std::uint64_t calls = mClient.Results()[i].Calls();
        if (calls == 0 || !mFine) {
            continue;
        }
        if (key.delivery == Delivery::PerFrame) {
            const std::uint64_t wanted = FramesIn(key, samples) * key.resultsPerFrame;
            Expect(calls == wanted, std::string(key.key) + ": " + std::to_string(calls) +
                                        " frames at sample " + std::to_string(samples) +
                                        " and not " + std::to_string(wanted));
        } else if (key.delivery == Delivery::PerPush) {
            Expect(calls == samples / kPush, "a push without a delivery");
        }
    }
}

void SoakRun::CheckMemory() {
    // Stores that grow are given more than they have touched yet, and where Process is called in
    // between, the heap keeps pages that it needed for a while: there one of the two tells nothing.
    const bool holds = mPlan.heldBytesPerSecond > 0;
    constexpr double kSlackResident = 2 * kMebibyte; // the heap's own pages come and go
    constexpr double kSlackHeld = kMebibyte;
    CheckGrowth("resident", mResident, kSlackResident, !mPlan.deliversStretches);
    CheckGrowth("held", mHeld, kSlackHeld, !holds);
}

void SoakRun::CheckGrowth(const char* what, const std::vector<std::size_t>& samples,
                          double slackBytes, bool tells) {
    std::printf("%s: %s MiB every ten minutes:", mPlan.name.c_str(), what);
    for (const std::size_t bytes : samples) {
        std::printf(" %.1f", static_cast<double>(bytes) / kMebibyte);
    }
    std::printf("\n");
    const std::size_t first = samples.size() / 3;
    if (first == 0 || !tells) {
        return; // too short, or not to be judged by
    }
    // From there on, when everything that is made late has been made.
    const double grown = static_cast<double>(samples.back()) - static_cast<double>(samples[first]);
    const double seconds = mPlan.seconds - static_cast<double>(first + 1) * kSampleEverySeconds;
    const double expected = mPlan.heldBytesPerSecond * seconds;
    std::printf("%s: %s grew by %.2f MiB, of which %.2f are of the stream\n", mPlan.name.c_str(),
                what, grown / kMebibyte, expected / kMebibyte);
    Expect(grown <= 1.05 * expected + slackBytes, "more memory than the stream takes");
    Expect(grown >= 0.95 * expected - slackBytes, "less memory than the stream takes");
}

// The end of the stream by a fresh analyzer: the same bytes.
void SoakRun::CheckTail() {
    Client fresh(mKeys.Get(), SetupOf(mPlan, mLength - mTailStart));
    Expect(fresh.New() == 0 && fresh.Initialize() == 0, "a second analyzer");
    std::vector<float> block(kPush);
    const float* const channel = block.data();
    for (std::uint64_t at = mTailStart; at < mLength; at += kPush) {
        mAudio.Fill(at, block);
        fresh.Push(&channel, kPush);
    }
    int compared = 0;
    for (std::size_t i = 0; i < std::size(kKeys); ++i) {
        if (IsWithoutMemory(kKeys[i]) && mTail[i].Calls() != 0) {
            ++compared;
            Expect(mTail[i] == fresh.Results()[i],
                   "another end of the stream by a fresh analyzer: " + std::string(kKeys[i].key));
        }
    }
    std::printf("%s: the last %.0f s of %d keys by a fresh analyzer\n", mPlan.name.c_str(),
                kTailSeconds, compared);
}

void SoakRun::CheckEvents() {
    for (std::size_t i = 0; i < std::size(kKeys); ++i) {
        const std::string key(kKeys[i].key);
        const std::vector<QelAudioAnalysisEvent>& events = mEvents[i];
        if (events.empty()) {
            continue;
        }
        std::printf("%s: %zu of %s, the last at %.6f s\n", mPlan.name.c_str(), events.size(),
                    key.c_str(), events.back().mTime);
        CheckTimes(key, events);
        if (mPlan.deliversStretches) {
            continue; // each stretch stands up to 1023 samples earlier than the one before, as
                      // meant
        }
        if (key == "onset data") {
            CheckStrokes(key, events, 0.0, 0.015);
        } else if (key == "beat data") {
            // The distance that docs/keys.md tells, for beats half a second apart.
            const double lead = 0.05 * 0.5 + 864 / mPlan.rateHz + 7.6e-8 * mPlan.rateHz * 0.25;
            CheckStrokes(key, events, lead, 0.02);
        }
    }
}

// Strictly ascending, and whole samples to the end: no time has been rounded to a float.
void SoakRun::CheckTimes(const std::string& key, const std::vector<QelAudioAnalysisEvent>& events) {
    double before = -1;
    double worst = 0;
    bool ascending = true;
    for (const QelAudioAnalysisEvent& event : events) {
        ascending = ascending && event.mTime > before;
        before = event.mTime;
        const double samples = event.mTime * mPlan.rateHz;
        worst = std::max(worst, std::abs(samples - std::round(samples)));
    }
    Expect(ascending, key + " do not ascend");
    // A time of 2^15 seconds has steps of 2^-37 in double precision: 1.4e-6 samples at 192000 Hz.
    Expect(worst < 1e-5, key + " are off the grid of samples by " + std::to_string(worst));
}

// The share of strokes with an event in front of them by `lead`, in the first and the last quarter.
void SoakRun::CheckStrokes(const std::string& key, const std::vector<QelAudioAnalysisEvent>& events,
                           double leadSeconds, double toleranceSeconds) {
    const double period = static_cast<double>(mAudio.StrokePeriodSamples()) / mPlan.rateHz;
    const auto strokes = static_cast<std::int64_t>(mPlan.seconds / period);
    std::array<int, 4> met{};
    for (std::int64_t stroke = 0; stroke < strokes; ++stroke) {
        const double at = static_cast<double>(stroke) * period - leadSeconds;
        const auto next = std::ranges::lower_bound(events, at - toleranceSeconds, {},
                                                   &QelAudioAnalysisEvent::mTime);
        if (next != events.end() && next->mTime <= at + toleranceSeconds) {
            ++met[static_cast<std::size_t>(stroke * 4 / strokes)];
        }
    }
    const double quarter = static_cast<double>(strokes) / 4;
    std::printf("%s: strokes met by %s, by quarters: %.3f %.3f %.3f %.3f\n", mPlan.name.c_str(),
                key.c_str(), met[0] / quarter, met[1] / quarter, met[2] / quarter,
                met[3] / quarter);
    Expect(*std::ranges::min_element(met) > 0.9 * quarter, key + " leave the strokes");
}

std::uint64_t SoakRun::FirstTailCall(std::size_t key) const {
    return mTailStart / kKeys[key].hopSamples * kKeys[key].resultsPerFrame;
}

void SoakRun::Look(Client&, CFStringRef key, UInt32 count, QelAudioAnalysisBlock* blocks,
                   void* context) {
    if (key == nullptr) {
        return;
    }
    const std::string text = test::ToText(key);
    const auto info = std::ranges::find(kKeys, std::string_view(text), &KeyInfo::key);
    static_cast<SoakRun*>(context)->Receive(key, static_cast<std::size_t>(info - std::begin(kKeys)),
                                            count, blocks);
}

void SoakRun::Receive(CFStringRef name, std::size_t key, UInt32 count,
                      const QelAudioAnalysisBlock* blocks) {
    const std::uint64_t call = mClient.Results()[key].Calls();
    const KeyInfo& info = kKeys[key];
    if (IsWithoutMemory(info) && call >= FirstTailCall(key)) {
        mTail.Add(1, name, count, blocks);
    } else if (info.payload == PayloadKind::Events) {
        const auto& list = *static_cast<const QelAudioAnalysisEventList*>(blocks[0].mData);
        mEvents[key].insert(mEvents[key].end(), list.mEvents, list.mEvents + list.mCount);
    } else if (info.payload == PayloadKind::Partials) {
        const auto& list = *static_cast<const PartialList*>(blocks[0].mData);
        for (UInt32 i = 0; i < list.mCount; ++i) {
            Expect(list.mPartials[i].mTime == static_cast<double>(call), "the frame of a partial");
        }
    }
}

void SoakRun::Expect(bool holds, const std::string& what) {
    if (!holds && mFine) {
        std::printf("%s: FAILED: %s\n", mPlan.name.c_str(), what.c_str());
        mFine = false;
    }
}

} // namespace qel::trust
