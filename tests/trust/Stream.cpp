#include "tests/trust/Stream.h"

#include "tests/harness/TestSignals.h"

#include <algorithm>
#include <utility>

namespace qel::trust {

Stream::Stream(double rateHz, UInt32 channels, std::size_t frames, std::vector<UInt32> sizes)
    : setup{.rateHz = rateHz,
            .channels = channels,
            .maxFrames = 4096,
            .streamLength = static_cast<SInt64>(frames)},
      audio(test::MusicWithStrokes(rateHz, channels, frames)), pushSizes(std::move(sizes)) {}

Digests Stream::Run(Client& client) const {
    client.Forget();
    Push(client, audio.front().size());
    client.Process(1);
    return client.Results();
}

void Stream::Push(Client& client, std::size_t frames) const {
    for (std::size_t at = 0, turn = 0; at < frames; ++turn) {
        const std::size_t size = pushSizes[turn % pushSizes.size()];
        const std::size_t count = std::min(size, frames - at);
        client.Push(audio, at, static_cast<UInt32>(count));
        at += count;
    }
}

} // namespace qel::trust
