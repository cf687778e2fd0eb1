// The life of a client that asks for one key, and goes on when memory runs out.
#pragma once

#include "tests/trust/Client.h"

#include <cstddef>
#include <string>

namespace qel::trust {

class KeyLife {
public:
    enum Outcome : int { kAllDelivered, kRanOut, kUndocumentedStatus, kOtherResults };

    // Makes the audio, and calls nothing of the library's but what makes lists.
    KeyLife(const std::string& key, double rateHz, UInt32 channels, std::size_t frames);

    // New, Initialize, the stream with its end, Reset, the stream again, Dispose; of everything
    // that is delivered a representation. Whether memory ran out, and what the first stream
    // delivered. Once for each life.
    Outcome Run(Digests& results);

private:
    template <class Call>
    void Try(const Call& call);
    void LiveOneStream(Client& client);
    static void Represent(Client& client, CFStringRef key, UInt32 count,
                          QelAudioAnalysisBlock* blocks, void* life);

    const test::CFOwner<CFMutableArrayRef> mKeys;
    const test::StreamSetup mSetup;
    const test::Audio mAudio;
    Outcome mOutcome = kAllDelivered;
};

} // namespace qel::trust
