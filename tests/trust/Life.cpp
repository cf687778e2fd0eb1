#include "tests/trust/Life.h"

#include "tests/harness/TestSignals.h"

#include <algorithm>
#include <iterator>

namespace qel::trust {
namespace {

constexpr double kRateHz = 8000;
constexpr UInt32 kChannels = 2;
constexpr std::size_t kFrames = 24576;
constexpr std::size_t kFramesAgain = 20480;
constexpr SInt64 kDeclaredFrames = 16000;

} // namespace

Life::Life()
    : mSetup{.rateHz = kRateHz,
             .channels = kChannels,
             .maxFrames = 4096,
             .streamLength = kDeclaredFrames},
      mAudio(test::MusicWithStrokes(kRateHz, kChannels, kFrames)) {
    mSteps.push_back({"New", [](Client& client) { return client.New(); }});
    mSteps.push_back(
        {"Properties before Initialize", [](Client& client) { return client.AskProperties(); }});
    mSteps.push_back({"Initialize", [](Client& client) { return client.Initialize(); }});
    mSteps.push_back({"Properties", [](Client& client) { return client.AskProperties(); }});
    mSteps.push_back({"Parameters", [](Client& client) { return client.SetParameters(); }});
    mSteps.push_back({"Reset to new parameters", [](Client& client) { return client.Reset(); }});
    AddPushes(kFrames);
    mSteps.push_back({"Process", [](Client& client) { return client.Process(0); }});
    mSteps.push_back({"Process with flush", [](Client& client) { return client.Process(1); }});
    mSteps.push_back({"Reset", [](Client& client) { return client.Reset(); }});
    AddPushes(kFramesAgain);
    mSteps.push_back(
        {"Process with flush again", [](Client& client) { return client.Process(1); }});
    mSteps.push_back({"Dispose", [](Client& client) { return client.Dispose(); }});
}

void Life::AddPushes(std::size_t frames) {
    // Mostly multiples of 512, which "audio range" takes; the others it refuses.
    const std::size_t sizes[] = {512, 4096, 1000, 2048, 3072, 1};
    for (std::size_t at = 0, turn = 0; at < frames; ++turn) {
        const std::size_t count = std::min(sizes[turn % std::size(sizes)], frames - at);
        mSteps.push_back({"Push of " + std::to_string(count) + " at " + std::to_string(at),
                          [this, at, count](Client& client) {
                              return client.Push(mAudio, at, static_cast<UInt32>(count));
                          }});
        at += count;
    }
}

std::size_t Life::Find(const std::string& name) const {
    const auto step = std::ranges::find(mSteps, name, &Step::name);
    return static_cast<std::size_t>(step - mSteps.begin());
}

Outcome Life::Run(Client& client, std::size_t first, std::size_t last) const {
    client.Forget();
    Outcome outcome;
    for (std::size_t step = first; step < last; ++step) {
        outcome.statuses.at(step) = mSteps[step].call(client);
    }
    outcome.results = client.Results();
    return outcome;
}

Outcome Life::RunFromInitialize(Client& client) const {
    return Run(client, Find("Initialize"), Find("Reset"));
}

} // namespace qel::trust
