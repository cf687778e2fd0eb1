#include "tests/trust/KeyLife.h"

#include "tests/harness/TestSignals.h"

#include <algorithm>
#include <initializer_list>
#include <new>
#include <vector>

namespace qel::trust {
namespace {

constexpr UInt32 kPush = 4096;

} // namespace

KeyLife::KeyLife(const std::string& key, double rateHz, UInt32 channels, std::size_t frames)
    : mKeys(MakeKeyList(key == "global key" ? std::vector<std::string>{"dominant key", key}
                                            : std::vector<std::string>{key})),
      mSetup{.rateHz = rateHz,
             .channels = channels,
             .maxFrames = kPush,
             .streamLength = static_cast<SInt64>(frames)},
      mAudio(test::MusicWithStrokes(rateHz, channels, frames)) {}

KeyLife::Outcome KeyLife::Run(Digests& results) {
    Client client(mKeys.Get(), mSetup);
    client.OnCallback(Represent, this);
    Try([&] { return client.New(); });
    if (client.Handle() == nullptr) {
        return mOutcome;
    }
    Try([&] { return client.Initialize(); });
    LiveOneStream(client);
    results = client.Results();
    Try([&] { return client.Reset(); });
    LiveOneStream(client);
    Try([&] { return client.Dispose(); });
    return mOutcome;
}

template <class Call>
void KeyLife::Try(const Call& call) {
    try {
        const SInt32 status = call();
        const std::initializer_list<SInt32> documented{0, kAudioAnalysisErr_NotEnoughData, -1, -3,
                                                       kAudioAnalysisErr_NotInitialized};
        if (std::ranges::find(documented, status) == documented.end()) {
            mOutcome = kUndocumentedStatus;
        }
    } catch (const std::bad_alloc&) {
        mOutcome = std::max(mOutcome, kRanOut);
    }
}

void KeyLife::LiveOneStream(Client& client) {
    const std::size_t frames = mAudio.front().size();
    for (std::size_t at = 0; at < frames; at += kPush) {
        const auto count = static_cast<UInt32>(std::min<std::size_t>(kPush, frames - at));
        Try([&] { return client.Push(mAudio, at, count); });
    }
    Try([&] { return client.Process(1); });
}

void KeyLife::Represent(Client& client, CFStringRef key, UInt32 count,
                        QelAudioAnalysisBlock* blocks, void* life) {
    if (key == nullptr) {
        return;
    }
    try {
        if (const auto list = QelAudioAnalysisCreateCFRepresentation(
                client.Handle(), kCFAllocatorDefault, key, count, blocks)) {
            CFRelease(list);
        }
    } catch (const std::bad_alloc&) {
        auto& outcome = static_cast<KeyLife*>(life)->mOutcome;
        outcome = std::max(outcome, kRanOut);
    }
}

} // namespace qel::trust
