#include "loudness/range/HistogramIndices.h"

namespace qel::core {

namespace {

// Kept within the cells before it is truncated, so that the conversion is defined for every value.
// The first comparison is false for NaN. Both are written so that a compiler can take one vector
// instruction for each.
UInt32 Truncated(float distance, float top) {
    const float fromZero = distance > 0.0f ? distance : 0.0f;
    const float kept = fromZero < top ? fromZero : top;
    return static_cast<UInt32>(static_cast<SInt32>(kept));
}

} // namespace

void IndicesByProduct(const float* values, std::size_t count, float origin, float reciprocalWidth,
                      UInt32 top, UInt32* indices) {
    const auto last = static_cast<float>(top);
    for (std::size_t i = 0; i < count; ++i) {
        indices[i] = Truncated((values[i] - origin) * reciprocalWidth, last);
    }
}

void IndicesByQuotient(const float* values, std::size_t count, float origin, float width,
                       UInt32 top, UInt32* indices) {
    const auto last = static_cast<float>(top);
    for (std::size_t i = 0; i < count; ++i) {
        indices[i] = Truncated((values[i] - origin) / width, last);
    }
}

} // namespace qel::core
