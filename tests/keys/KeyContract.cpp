#include "tests/keys/KeyContract.h"

#include "tests/keys/KeyChecks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <iterator>

namespace qel::test {
namespace {

// Three seconds of frames of 1024 samples, at 44100 Hz: with tempo, beats and meter.
constexpr std::size_t kThreeSeconds = 257;
constexpr std::size_t kThreeSecondsOfBeats = 1026;

// The parameter "Genre Hint", which a search without success turns, stays turned.
constexpr Ending kNoTempo = {-1, false};
// The number is delivered all the same, as 0.
constexpr Ending kNoMeter = {-3, true};
constexpr Ending kNoDownBeats = {-3, false};

} // namespace

const std::vector<KeyContract>& AllContracts() {
    static const std::vector<KeyContract> contracts = {
        {.key = "temporal properties",
         .checkSilence = AreZero,
         .checkConstant = AreTemporalOfHalf,
         .cuts = Cuts::Each,
         .tellsFrames = false,
         .framesBack = kForever},
        {.key = "generic spectrum properties",
         .checkSilence = AreGenericOfSilence,
         .checkConstant = HaveGreatestMagnitudeAtZeroHertz},
        {.key = "spectrum histogram properties",
         .checkSilence = AreHistogramsOfOneClass,
         .checkConstant = AreAlike},
        // Figures that need more peaks than there are repeat those of the frame before. Music has
        // enough of them in every frame.
        {.key = "spectrum peak properties", .checkSilence = AreZero, .checkConstant = AreAlike},
        {.key = "spectrum flux properties",
         .checkSilence = AreZero,
         .checkConstant = AreZeroAfterTheFirst,
         .framesBack = 1},
        {.key = "phase properties",
         .checkSilence = ArePhasesOfSilence,
         .checkConstant = AreAlikeAfterThree,
         .framesBack = 2},
        {.key = "mel frequency cepstral coefficients",
         .checkSilence = AreOneUnitVector,
         .checkConstant = AreOneUnitVector},
        // The list of peaks is one for all channels: one without a peak repeats the winner of the
        // channel before.
        {.key = "tempo",
         .checkSilence = AreLowestTempi,
         .checkConstant = AreTempi,
         .channelsApart = false,
         .framesBack = kForever,
         .soundFrames = kThreeSeconds},
        {.key = "dominant key", .checkSilence = AreCMajor, .checkConstant = AreCMajor},
        {.key = "fundamental frequency",
         .checkSilence = AreZero,
         .checkConstant = AreZero,
         .framesBack = kForever},
        {.key = "inharmonicity",
         .checkSilence = AreZero,
         .checkConstant = AreZero,
         .framesBack = kForever},
        {.key = "spectrum", .checkSilence = AreZero, .checkConstant = AreHannSpectraOfHalf},
        {.key = "cepstrum", .checkSilence = AreCepstraOfSilence, .checkConstant = AreAlike},
        {.key = "mel spectrum", .checkSilence = AreZero, .checkConstant = AreMelSpectraOfHalf},
        {.key = "gamma tome spectrum",
         .checkSilence = AreZero,
         .checkConstant = AreGammaEnergiesOfHalf},
        {.key = "constant q spectrum", .checkSilence = AreZero, .checkConstant = AreAlike},
        {.key = "pitch class profile", .checkSilence = AreNoNumbers, .checkConstant = AreNoNumbers},
        {.key = "pitch class porofile key correlation",
         .checkSilence = AreZero,
         .checkConstant = AreZero},
        {.key = "pitch class profile tonal centroid",
         .checkSilence = AreNoNumbers,
         .checkConstant = AreNoNumbers},
        {.key = "harmonic pitch class profile", .checkSilence = AreZero, .checkConstant = AreAlike},
        {.key = "partials",
         .checkSilence = AreEmpty,
         .checkConstant = AreEmpty,
         .framesBack = kForever},
        // Nothing divided by nothing.
        {.key = "instantaneous frequency", .checkSilence = AreNoNumbers, .checkConstant = AreAlike},
        {.key = "global tempo",
         .checkSilence = AreNone,
         .checkConstant = AreGlobalTempiOrNone,
         .resetForgetsFailures = false,
         .soundFrames = kThreeSecondsOfBeats,
         .withoutSound = kNoTempo,
         .withoutNumbers = kNoTempo},
        // The number of a channel comes from the sum of it and of the channels before.
        {.key = "global number of beats per bar",
         .checkSilence = AreNoMeter,
         .checkConstant = AreMetersOrNone,
         .channelsApart = false,
         .soundFrames = kThreeSecondsOfBeats,
         .withoutSound = kNoMeter,
         .withoutMeter = kNoMeter,
         .withoutNumbers = kNoMeter},
        {.key = "global key", .checkSilence = AreCMajor, .checkConstant = AreCMajor},
        // The filters run on from one channel's block into the next one's.
        {.key = "onset data",
         .checkSilence = AreEmpty,
         .checkConstant = BeginWithAnOnset,
         .cuts = Cuts::OneChannel,
         .channelsApart = false,
         .equalChannelsAreMono = false,
         .tellsFrames = false,
         .soundFrames = kThreeSeconds},
        {.key = "beat data",
         .checkSilence = AreNone,
         .checkConstant = AreBeatsOrNone,
         .resetForgetsFailures = false,
         .soundFrames = kThreeSecondsOfBeats,
         .withoutSound = kNoTempo,
         .withoutNumbers = kNoTempo},
        {.key = "down beat data",
         .checkSilence = AreNone,
         .checkConstant = AreBeatsOrNone,
         .channelsApart = false,
         .resetForgetsFailures = false,
         .soundFrames = kThreeSecondsOfBeats,
         .withoutSound = kNoTempo,
         .withoutMeter = kNoDownBeats,
         .withoutNumbers = kNoTempo},
        // The samples that were counted outlive a reset.
        {.key = "audio range",
         .checkSilence = AreRangesOfSilence,
         .checkConstant = AreRangesOfHalf,
         .cuts = Cuts::HalfFrames,
         .resetForgets = false,
         .tellsFrames = false,
         .soundFrames = 100},
        {.key = "reasigned spectrum",
         .checkSilence = AreZero,
         .checkConstant = AreFinite,
         .keepsAllFrames = false,
         .soundFrames = 100}};
    return contracts;
}

const KeyContract& ContractOf(const KeyInfo& key) {
    static const KeyContract none = {
        .key = "", .checkSilence = AreUnstated, .checkConstant = AreUnstated};
    const auto found = std::ranges::find(AllContracts(), key.key, &KeyContract::key);
    if (found == AllContracts().end()) {
        ADD_FAILURE() << "tests/keys/KeyContract.cpp has no contract for \"" << key.key << '"';
        return none;
    }
    return *found;
}

std::string KeyParameter::Name() const {
    std::string name;
    bool upper = true;
    for (const char character : key->key) {
        if (character != ' ') {
            name += upper ? static_cast<char>(std::toupper(character)) : character;
        }
        upper = character == ' ';
    }
    return name;
}

std::ostream& operator<<(std::ostream& out, const KeyParameter& parameter) {
    return out << parameter.key->key;
}

std::vector<KeyParameter> AllKeyParameters() {
    std::vector<KeyParameter> parameters;
    for (const KeyInfo& key : kKeys) {
        parameters.push_back({&key});
    }
    return parameters;
}

} // namespace qel::test
