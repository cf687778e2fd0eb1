/*
 * What the table of keys says about a key and about each of its values.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace qel {

/* What stands in a block. Later versions may add kinds: keep a default branch. */
enum class PayloadKind {
    Floats,       /* one float per value, in the order of KeyInfo::values */
    ComplexPairs, /* pairs of floats, real part first */
    Events,       /* a QelAudioAnalysisEventList: moments in time with a strength each */
    Count,        /* one unsigned 32-bit number */
    Vector,       /* floats that are one and the same value at places 0, 1, 2 and so on */
    Name,         /* a CFString, the reference to it in mData itself; whoever receives it owns it */
    Partials,     /* a PartialList: sinusoidal tracks */
    Range         /* an array of QelAudioAnalysisRange with one record per channel */
};

/* When results of a key arrive. Later versions may add more. */
enum class Delivery {
    PerPush,    /* once in every push, about the samples of that push */
    PerFrame,   /* once per analysis frame, inside the push that completes the frame */
    AtEnd,      /* about the stream as a whole, inside of Analyzer::finish */
    FramesAtEnd /* once per analysis frame, all of them inside of Analyzer::finish */
};

/* Where a value lies, both ends included. An infinite end is no promise. */
struct Range {
    double minimum;
    double maximum;
    bool inHalfRates = false; /* the ends are multiples of half the sample rate */
};

/* One value of a payload; for Events, one of what every event has: its time, then its strength; for
   Partials, one of what every partial has. */
struct ValueInfo {
    std::string_view name; /* exactly as in the dictionary representation */
    std::string_view unit; /* "1" for a pure number */
    Range range;
    std::string_view definition;
    std::string_view source; /* literature; empty where there is none to name */
};

/* One key. */
struct KeyInfo {
    std::string_view key;
    PayloadKind payload;
    std::uint32_t payloadBytes; /* of one block */
    Delivery delivery;
    std::uint32_t frameSamples; /* 0: the key keeps no frames; AtEnd: of the frames behind it */
    std::uint32_t hopSamples;   /* likewise */
    std::span<const ValueInfo> values;
    std::string_view definition;
    /* Of a key that is delivered once per frame or more often. Result i is then about the time from
       i * hopSamples / resultsPerFrame samples on. */
    std::uint32_t resultsPerFrame = 1;
    /* A key that works only behind another one of its group in the list of QelAudioAnalysisNew has
       such another one here. Analyzer sees to it. */
    std::string_view companion = {};
    /* The number of samples of a push must be a multiple of this one. */
    std::uint32_t pushMultiple = 1;
};

} // namespace qel
