// One analyzer over hours of audio, with what can be checked while it runs.
#pragma once

#include "tests/trust/Client.h"
#include "tests/trust/SoakAudio.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qel::trust {

// What a run is made of.
struct SoakPlan {
    std::string name;
    std::vector<std::string> keys;
    double rateHz = 44100;
    double seconds = 0;
    // Process without flush every ten minutes, so that the keys about rhythm deliver stretch by
    // stretch.
    bool deliversStretches = false;
    // What the keys hold of the stream, in bytes per second of it; 0: nothing.
    double heldBytesPerSecond = 0;
};

class SoakRun {
public:
    explicit SoakRun(const SoakPlan& plan);

    // Runs it to its end and prints figures. False if a check failed, which it prints too.
    bool Run();

private:
    static void Look(Client& client, CFStringRef key, UInt32 count, QelAudioAnalysisBlock* blocks,
                     void* context);
    void Receive(CFStringRef name, std::size_t key, UInt32 count,
                 const QelAudioAnalysisBlock* blocks);
    void PushAll();
    void CheckCalls();
    void SampleMemory();
    void CheckMemory();
    // `tells`: whether it is judged, or only printed.
    void CheckGrowth(const char* what, const std::vector<std::size_t>& samples, double slackBytes,
                     bool tells);
    std::uint64_t StretchSamples() const;
    // What the stream is longer than whole stretches.
    double RestSeconds() const;
    void CheckTail();
    void CheckEvents();
    void CheckTimes(const std::string& key, const std::vector<QelAudioAnalysisEvent>& events);
    void CheckStrokes(const std::string& key, const std::vector<QelAudioAnalysisEvent>& events,
                      double leadSeconds, double toleranceSeconds);
    // The number of the first call of a per-frame key about frames from mTailStart on.
    std::uint64_t FirstTailCall(std::size_t key) const;
    void Expect(bool holds, const std::string& what);

    const SoakPlan mPlan;
    const SoakAudio mAudio;
    const std::uint64_t mLength; // samples, whole pushes
    const std::uint64_t mTailStart;
    test::CFOwner<CFMutableArrayRef> mKeys;
    Client mClient;
    Digests mTail;
    std::vector<std::vector<QelAudioAnalysisEvent>> mEvents; // by key
    std::vector<std::size_t> mResident;                      // bytes, every ten minutes
    std::vector<std::size_t> mHeld;                          // bytes of the heap, likewise
    std::uint64_t mPushed = 0;
    bool mFine = true;
};

} // namespace qel::trust
