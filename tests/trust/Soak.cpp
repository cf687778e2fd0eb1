// Hours of audio through every key that takes a stream without end. Prints figures; fails if a
// check does.
//
//   qel_soak [HOURS [RUN]]     6 hours if none are given; RUN is the name of the one run wanted
//
// Each run is a process of its own, so that its memory can be told.

#include "tests/trust/SharedMemory.h"
#include "tests/trust/SoakRun.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace qel::trust {
namespace {

// All but those that keep the stream.
std::vector<std::string> KeysOfFrames() {
    std::vector<std::string> keys;
    for (const KeyInfo& key : kKeys) {
        if (key.delivery == Delivery::PerFrame || key.delivery == Delivery::PerPush ||
            key.key == "audio range") {
            keys.emplace_back(key.key);
        }
    }
    return keys;
}

std::vector<SoakPlan> Plans(double hours) {
    constexpr double kRateHz = 44100;
    constexpr double kHighRateHz = 192000;
    constexpr double kFloat = sizeof(float);
    // The meter keeps 100 values per second beside a value per frame.
    constexpr double kBeatsHeld = (kRateHz / 128 + 100) * kFloat;
    const double seconds = 3600 * hours;
    const std::vector<std::string> beats = {"global tempo", "beat data",
                                            "global number of beats per bar", "down beat data"};
    return {
        {.name = "frames", .keys = KeysOfFrames(), .rateHz = kRateHz, .seconds = seconds},
        {.name = "beats by stretches",
         .keys = beats,
         .rateHz = kRateHz,
         .seconds = seconds,
         .deliversStretches = true,
         .heldBytesPerSecond = 0},
        {.name = "beats",
         .keys = beats,
         .rateHz = kRateHz,
         .seconds = seconds,
         .heldBytesPerSecond = kBeatsHeld},
        {.name = "global key",
         .keys = {"dominant key", "global key"},
         .rateHz = kRateHz,
         .seconds = seconds,
         .heldBytesPerSecond = kRateHz / 512 * kFloat},
        {.name = "onsets",
         .keys = {"onset data"},
         .rateHz = kRateHz,
         .seconds = seconds,
         .heldBytesPerSecond = kRateHz * kFloat},
        // A little longer than the rest: six hours of it are 2^32 samples and more.
        {.name = "positions beyond 32 bits",
         .keys = {"temporal properties", "spectrum", "spectrum flux properties", "mel spectrum",
                  "cepstrum", "beat data", "audio range"},
         .rateHz = kHighRateHz,
         .seconds = 1.05 * seconds,
         .heldBytesPerSecond = kHighRateHz / 128 * kFloat},
    };
}

} // namespace
} // namespace qel::trust

int main(int count, char** arguments) {
    using namespace qel::trust;
    const double hours = count > 1 ? std::atof(arguments[1]) : 6.0;
    if (!(hours > 0)) {
        std::fprintf(stderr, "usage: qel_soak [HOURS [RUN]]\n");
        return 2;
    }
    bool fine = true;
    for (const SoakPlan& plan : Plans(hours)) {
        if (count > 2 && plan.name != arguments[2]) {
            continue;
        }
        SharedMemory<bool> passed;
        const bool ended = RunInChild([&] { *passed = SoakRun(plan).Run(); });
        if (!ended) {
            std::printf("%s: FAILED: it crashed\n", plan.name.c_str());
        }
        fine = fine && ended && *passed;
    }
    return fine ? 0 : 1;
}
