// What the table of keys contains about a key and each of its values.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace qel {

// The content of a block. Later versions may add kinds: keep a default branch.
enum class PayloadKind {
    Floats,       // one float per value, in the order of KeyInfo::values
    ComplexPairs, // pairs of floats, real part first
    Events,       // a QelAudioAnalysisEventList: moments in time with a strength each
    Count,        // one unsigned 32-bit number
    Vector,       // floats: one value at the places 0, 1, 2 and so on
    Name,         // a CFString; mData is the reference itself, owned by its receiver
    Partials,     // a PartialList: sinusoidal tracks
    Range         // an array of QelAudioAnalysisRange with one record per channel
};

// When results of a key arrive. Later versions may add more.
enum class Delivery {
    PerPush,    // once in every push, about the samples of that push
    PerFrame,   // once per analysis frame, inside the push that completes the frame
    AtEnd,      // once for the whole stream, inside Analyzer::finish
    FramesAtEnd // once per analysis frame, all frames inside Analyzer::finish
};

// The range of a value, including both ends. An infinite end promises nothing.
struct Range {
    double minimum;
    double maximum;
    bool inHalfRates = false; // the ends are multiples of half the sample rate
};

// One value of a payload. For Events: the time or the strength of every event. For Partials: one
// field of every partial.
struct ValueInfo {
    std::string_view name; // exactly as in the dictionary representation
    std::string_view unit; // "1" for a pure number
    Range range;
    std::string_view definition;
    std::string_view source; // literature; may be empty
};

// One key.
struct KeyInfo {
    std::string_view key;
    PayloadKind payload;
    std::uint32_t payloadBytes; // of one block
    Delivery delivery;
    std::uint32_t frameSamples; // 0: no frames; AtEnd: of the frames the result is made from
    std::uint32_t hopSamples;   // likewise
    std::span<const ValueInfo> values;
    std::string_view definition;
    // For keys that are delivered once per frame or more often: result i begins at sample
    // i * hopSamples / resultsPerFrame.
    std::uint32_t resultsPerFrame = 1;
    // Not empty if the key works only after another key of its group in the list of
    // QelAudioAnalysisNew: such a key. Analyzer adds it.
    std::string_view companion = {};
    // The number of samples of a push must be a multiple of this.
    std::uint32_t pushMultiple = 1;
};

} // namespace qel
