#include "engine/slots/AnalyzerSlots.h"

#include "descriptors/AABagOfPropertiesGenerator.h"
#include "loudness/range/AARangeMeter.h"
#include "loudness/soundcheck/AABreloSoundCheckGenerator.h"
#include "pitch/AAChromaPropertiesGenerator.h"
#include "pitch/AAConstantQPropertiesGenerator.h"
#include "refinement/AAIFFTGenerator.h"
#include "refinement/AAReassignedSpectrumGenerator.h"
#include "rhythm/beats/AABeatFunctionGenerator.h"
#include "rhythm/onsets/AAOnsetGenerator.h"
#include "rhythm/tempomap/AAAccentBandGenerator.h"
#include "rhythm/tempomap/AATempoMapGenerator.h"
#include "timbre/AACepstralPropertiesGenerator.h"
#include "timbre/AAMFCCPropertiesGenerator.h"
#include "timbre/AAPartialTrackGenerator.h"
#include "timbre/AAPhaseBasedPropertiesGenerator.h"

namespace qel::core {

namespace {

KeyRoute RouteOf(CFStringRef key, const KeyFacts& facts) {
    return {key, facts.slot, facts.companion.empty(), facts.Slot().creation == SlotCreation::Once};
}

// CFSTR takes a literal, so the strings come from the rows and not from KeyTable.
#define QEL_KEY(symbol, text, slot, payload, bytes, delivery, results, companion) \
    RouteOf(CFSTR(text), KeyTable::symbol),
const KeyRoute kKeyRoutes[] = {QEL_KEY_TABLE(QEL_KEY) QEL_PRIVATE_KEY_TABLE(QEL_KEY)};
#undef QEL_KEY

#define QEL_KEY(symbol, text, slot, payload, bytes, delivery, results, companion) CFSTR(text),
const CFStringRef kListedKeys[] = {QEL_KEY_TABLE(QEL_KEY)};
#undef QEL_KEY

const struct {
    CFStringRef name;
    std::size_t slot;
} kParameterRoutes[] = {
    {kQelAnalysisParameter_GenreHint, 5},        {kQelAnalysisParameter_Complexity, 3},
    {kQelAnalysisParameter_MinBPM, 3},           {kQelAnalysisParameter_MaxBPM, 3},
    {kQelAnalysisParameter_OnsetSensitivity, 6},
};

// A generator that works on frames.
template <class Generator>
std::unique_ptr<QelAAAnalysisBase> MakeFrameBased(const GeneratorSetup& setup,
                                                  const SlotFacts& slot) {
    return std::make_unique<Generator>(setup.channels, setup.sampleRate, slot.frameSize, slot.hop,
                                       setup.maxFrames, setup.streamLength, setup.dataCallback,
                                       setup.refCon);
}

// A generator that works on raw pushes.
template <class Generator>
std::unique_ptr<QelAAAnalysisBase> MakePushBased(const GeneratorSetup& setup, const SlotFacts&) {
    return std::make_unique<Generator>(setup.channels, setup.sampleRate, setup.maxFrames,
                                       setup.streamLength, setup.dataCallback, setup.refCon);
}

using Maker = std::unique_ptr<QelAAAnalysisBase> (*)(const GeneratorSetup&, const SlotFacts&);

// The class of each slot.
constexpr std::array<Maker, kNumSlots> kMakers = {
    MakeFrameBased<AABagOfPropertiesGenerator>,      // 0
    MakeFrameBased<AAPhaseBasedPropertiesGenerator>, // 1
    MakeFrameBased<AAAccentBandGenerator>,           // 2
    MakeFrameBased<AATempoMapGenerator>,             // 3
    MakeFrameBased<AAMFCCPropertiesGenerator>,       // 4
    MakeFrameBased<AABeatFunctionGenerator>,         // 5
    MakePushBased<AAOnsetGenerator>,                 // 6
    MakeFrameBased<AAConstantQPropertiesGenerator>,  // 7
    MakeFrameBased<AAChromaPropertiesGenerator>,     // 8
    MakeFrameBased<AAPartialTrackGenerator>,         // 9
    MakeFrameBased<AACepstralPropertiesGenerator>,   // 10
    MakeFrameBased<AAIFFTGenerator>,                 // 11
    MakePushBased<AABreloSoundCheckGenerator>,       // 12
    MakePushBased<AARangeMeter>,                     // 13
    MakeFrameBased<AAReassignedSpectrumGenerator>,   // 14
};
static_assert(kMakers.back() != nullptr, "every slot has a class");

// The rows of slots stand at the places of their numbers.
#define QEL_SLOT(slot, frame, hop, push, creation) slot,
constexpr std::size_t kSlotNumbers[] = {QEL_SLOT_TABLE(QEL_SLOT)};
#undef QEL_SLOT
static_assert([] {
    for (std::size_t i = 0; i < kNumSlots; ++i) {
        if (kSlotNumbers[i] != i) {
            return false;
        }
    }
    return true;
}());

} // namespace

const KeyRoute* FindKeyRoute(CFStringRef key) {
    if (key == nullptr) {
        return nullptr;
    }
    for (const KeyRoute& route : kKeyRoutes) {
        if (CFEqual(key, route.key)) {
            return &route;
        }
    }
    return nullptr;
}

std::optional<std::size_t> FindParameterSlot(CFStringRef name) {
    if (name == nullptr) {
        return std::nullopt;
    }
    for (const auto& route : kParameterRoutes) {
        if (CFEqual(name, route.name)) {
            return route.slot;
        }
    }
    return std::nullopt;
}

std::unique_ptr<QelAAAnalysisBase> MakeGenerator(std::size_t slot, const GeneratorSetup& setup) {
    return kMakers[slot](setup, kSlotFacts[slot]);
}

std::span<const CFStringRef> ListedKeys() {
    return kListedKeys;
}

} // namespace qel::core
