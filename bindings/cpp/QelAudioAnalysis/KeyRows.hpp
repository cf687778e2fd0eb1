// The rows of QelAudioAnalysisKeyTable.h in the client's types. Keys.hpp adds the values and the
// definitions.
#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>
#include <QelAudioAnalysisKeyTable.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace qel::detail {

struct SlotRow {
    std::uint32_t frameSamples;
    std::uint32_t hopSamples;
    std::uint32_t pushMultiple;
};

#define QEL_SLOT(slot, frame, hop, push, creation) SlotRow{frame, hop, push},
inline constexpr std::array kSlotRows = {QEL_SLOT_TABLE(QEL_SLOT)};
#undef QEL_SLOT

// A row without values and definition.
constexpr KeyInfo keyRow(std::string_view key, std::size_t slot, PayloadKind payload,
                         std::uint32_t payloadBytes, Delivery delivery,
                         std::uint32_t resultsPerFrame, std::string_view companion) {
    const bool hasFrames = delivery != Delivery::PerPush;
    const SlotRow& slotRow = kSlotRows[slot];
    return {.key = key,
            .payload = payload,
            .payloadBytes = payloadBytes,
            .delivery = delivery,
            .frameSamples = hasFrames ? slotRow.frameSamples : 0,
            .hopSamples = hasFrames ? slotRow.hopSamples : 0,
            .values = {},
            .definition = {},
            .resultsPerFrame = resultsPerFrame,
            .companion = companion,
            .pushMultiple = slotRow.pushMultiple};
}

#define QEL_KEY(symbol, text, slot, payload, bytes, delivery, results, companion) \
    keyRow(text, slot, PayloadKind::payload, bytes, Delivery::delivery, results, companion),
inline constexpr std::array kKeyRows = {QEL_KEY_TABLE(QEL_KEY)};
#undef QEL_KEY

// The number of each row: RowOf::Spectrum.
namespace RowOf {
enum : std::size_t {
#define QEL_KEY(symbol, text, slot, payload, bytes, delivery, results, companion) symbol,
    QEL_KEY_TABLE(QEL_KEY)
#undef QEL_KEY
};
} // namespace RowOf

// What is said about the key of a row.
struct KeyText {
    std::size_t row;
    std::span<const ValueInfo> values;
    std::string_view definition;
};

// Every row has its text, at its place.
template <std::size_t count>
constexpr bool describeAllRows(const KeyText (&texts)[count]) {
    for (std::size_t i = 0; i < count; ++i) {
        if (texts[i].row != i) {
            return false;
        }
    }
    return count == kKeyRows.size();
}

template <std::size_t count>
struct JoinedKeys {
    KeyInfo keys[count];
};

template <std::size_t count>
constexpr JoinedKeys<count> joinedWithRows(const KeyText (&texts)[count]) {
    JoinedKeys<count> joined{};
    for (std::size_t i = 0; i < count; ++i) {
        KeyInfo& key = joined.keys[i];
        key = kKeyRows[texts[i].row];
        key.values = texts[i].values;
        key.definition = texts[i].definition;
    }
    return joined;
}

} // namespace qel::detail
