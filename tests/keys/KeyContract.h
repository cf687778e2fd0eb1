// What holds for a key beside its row of the table: where it differs from the rules that hold for
// all keys, and what it says of audio without a sound.
#pragma once

#include "tests/keys/KeyRun.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace qel::test {

// How the results depend on the cut into pushes.
enum class Cuts {
    Any,        // not at all
    OneChannel, // not at all, of one channel
    HalfFrames, // not at all, but pushes must be multiples of KeyInfo::pushMultiple
    Each        // every push has a result of its own
};

// The results of one channel of a stream, which a check looks at. The number of results follows
// from the table and is checked before.
using ChannelCheck = void (*)(const KeyResults& results, std::size_t channel);

// For keys that are delivered at the end: the status, and whether there is a result at all.
struct Ending {
    SInt32 status = 0;
    bool delivers = true;
};

// Results that never forget what was before.
inline constexpr std::size_t kForever = static_cast<std::size_t>(-1);

struct KeyContract {
    std::string_view key;
    ChannelCheck checkSilence;  // of 2 channels of zeros
    ChannelCheck checkConstant; // of samples of 0.5
    Cuts cuts = Cuts::Any;
    bool channelsApart = true; // the results of a channel do not depend on other channels
    bool equalChannelsAreMono = true;
    bool resetForgets = true;
    bool resetForgetsFailures = true;
    bool keepsAllFrames = true;   // whatever the declared length
    bool tellsFrames = true;      // meta data have frame and hop
    std::size_t framesBack = 0;   // frames before its own that a result depends on
    std::size_t soundFrames = 12; // analysis frames in the sound that the tests use, at least
    Ending withoutSound = {};     // of silence, and of no audio
    Ending withoutMeter = {};     // of a sound in which there is something, but no meter
    Ending withoutNumbers = {};   // of audio with a NaN or an infinity
};

// The contract of a key of the table. Fails the test, and gives an empty one, if there is none.
const KeyContract& ContractOf(const KeyInfo& key);
const std::vector<KeyContract>& AllContracts();

// A row of the table as a parameter of a test.
struct KeyParameter {
    const KeyInfo* key;
    std::string Name() const; // letters alone
};
std::ostream& operator<<(std::ostream& out, const KeyParameter& parameter);
std::vector<KeyParameter> AllKeyParameters();

} // namespace qel::test
