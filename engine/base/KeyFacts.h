#pragma once

#include <QelAudioAnalysis.h>
#include <QelAudioAnalysisKeyTable.h>

#include <array>
#include <cstddef>
#include <string_view>

namespace qel::core {

// The private key: routed like the others, but neither listed nor known to clients.
#define QEL_PRIVATE_KEY_SOUND_CHECK "sound check"
#define QEL_PRIVATE_KEY_TABLE(QEL_KEY) \
    QEL_KEY(SoundCheck, QEL_PRIVATE_KEY_SOUND_CHECK, 12, Record, 40, AtEnd, 1, "")

// When the keys of a slot in a list create its generator.
enum class SlotCreation {
    Once, // the first of them
    Anew  // each of them, over the one before
};

// What the engine reads from a row of QEL_SLOT_TABLE.
struct SlotFacts {
    UInt32 frameSize; // samples, 0: no frames
    UInt32 hop;       // samples, 0: no frames
    UInt32 pushMultiple;
    SlotCreation creation;
};

#define QEL_SLOT(slot, frame, hop, push, creation) \
    SlotFacts{frame, hop, push, SlotCreation::creation},
inline constexpr std::array kSlotFacts = {QEL_SLOT_TABLE(QEL_SLOT)};
#undef QEL_SLOT

inline constexpr std::size_t kNumSlots = kQelAnalysisSlotCount;

// What the engine reads from a row of QEL_KEY_TABLE.
struct KeyFacts {
    std::string_view text;
    std::size_t slot;
    UInt32 payloadBytes; // of one block; "audio range": of one channel's record
    std::string_view companion;

    constexpr const SlotFacts& Slot() const { return kSlotFacts[slot]; }
};

// One constant for each key, named as in QelAudioAnalysisNames.h: KeyTable::Spectrum.
namespace KeyTable {
#define QEL_KEY(symbol, text, slot, payload, bytes, delivery, results, companion) \
    inline constexpr KeyFacts symbol{text, slot, bytes, companion};
QEL_KEY_TABLE(QEL_KEY)
QEL_PRIVATE_KEY_TABLE(QEL_KEY)
#undef QEL_KEY
} // namespace KeyTable

} // namespace qel::core
