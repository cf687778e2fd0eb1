// One stream of audio and how it is pushed, for as many clients as there may be.
#pragma once

#include "tests/trust/Client.h"

#include <cstddef>
#include <vector>

namespace qel::trust {

struct Stream {
    // `frames` of MusicWithStrokes, whose length is declared, in pushes of these sizes in turn.
    Stream(double rateHz, UInt32 channels, std::size_t frames, std::vector<UInt32> pushSizes);

    test::StreamSetup setup;
    test::Audio audio;
    std::vector<UInt32> pushSizes;

    // Pushes all of it from frame 0 on, then ends the stream; what that delivered.
    Digests Run(Client& client) const;
    // Pushes the frames from 0 to before `frames`.
    void Push(Client& client, std::size_t frames) const;
};

} // namespace qel::trust
