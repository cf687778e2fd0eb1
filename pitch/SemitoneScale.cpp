#include "pitch/SemitoneScale.h"

#include "elementary/Functions.h"

#include <cmath>

namespace qel::core {

float FreqToChroma(float hz) {
    const auto ratio = static_cast<float>(static_cast<double>(hz) / 261.6256);
    return static_cast<float>(std::round(static_cast<double>(elementary::Log2(ratio)) * 12.0));
}

float ChromaToFreq(float semitone) {
    return elementary::Pow(2.0F, semitone / 12.0F) * 261.6256103515625F;
}

} // namespace qel::core
