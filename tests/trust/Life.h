// The whole life of an analyzer as a list of steps, so that any of them can be disturbed.
#pragma once

#include "tests/trust/Client.h"

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace qel::trust {

// One call of an exported function (or a few of one kind) by a client.
struct Step {
    std::string name;
    std::function<SInt32(Client&)> call;
};

// What came out of steps: their statuses, and what was delivered.
struct Outcome {
    std::array<SInt32, 64> statuses{};
    Digests results;
    bool operator==(const Outcome&) const = default;
};

class Life {
public:
    // Three seconds of stereo music at 8000 Hz: enough for every key to deliver, and cheap enough
    // to be lived thousands of times. The declared length is shorter than the audio, so that the
    // stores of whole streams have to grow.
    Life();

    const test::StreamSetup& Setup() const { return mSetup; }
    // New; questions; Initialize; parameters; Reset; pushes; Process with and without flush;
    // Reset; a shorter second stream; Dispose.
    const std::vector<Step>& Steps() const { return mSteps; }
    // The step of that name.
    std::size_t Find(const std::string& name) const;

    // Makes the client go through the steps from `first` to before `last`.
    Outcome Run(Client& client, std::size_t first, std::size_t last) const;
    // One whole stream: from Initialize to the end of the first.
    Outcome RunFromInitialize(Client& client) const;

private:
    void AddPushes(std::size_t frames);

    test::StreamSetup mSetup;
    test::Audio mAudio;
    std::vector<Step> mSteps;
};

} // namespace qel::trust
