#pragma once

#include "engine/base/KeyFacts.h"
#include "engine/base/QelAAAnalysisBase.h"

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>

namespace qel::core {

// What the analyzer passes to every generator that it makes.
struct GeneratorSetup {
    UInt32 channels;
    Float64 sampleRate; // Hz
    UInt32 maxFrames;
    UInt32 streamLength; // frames, 0: unknown
    QelAAAnalysisBase::DataCallback dataCallback;
    void* refCon;
};

// One key and where it leads.
struct KeyRoute {
    CFStringRef key;
    std::size_t slot;
    // A key with a companion ("global key") is routed but makes no generator by itself: it works
    // only after another key of its slot.
    bool createsGenerator;
    // A key of a slot that is not created once builds a new generator over an earlier one.
    bool createdOnce;
};

// The route of `key`, compared by content; null for a key that the library does not know.
const KeyRoute* FindKeyRoute(CFStringRef key);

// The slot that owns a parameter; none for a name that the library does not know.
std::optional<std::size_t> FindParameterSlot(CFStringRef name);

// Makes the generator of a slot, with the frame and the hop of its row.
std::unique_ptr<QelAAAnalysisBase> MakeGenerator(std::size_t slot, const GeneratorSetup& setup);

// The public keys in their published order.
std::span<const CFStringRef> ListedKeys();

} // namespace qel::core
