// Writes docs/keys.md to standard output, from the table of keys in the C++ client. A test compares
// the two.

#include "bindings/cpp/tools/Paragraphs.h"

#include <QelAudioAnalysis/KeyAliases.hpp>
#include <QelAudioAnalysis/Keys.hpp>

#include <cmath>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t kLineWidth = 100;

constexpr std::string_view kIntroduction =
    R"(# Keys

<!-- Made by qel_keys_markdown from the table of keys in bindings/cpp/QelAudioAnalysis/Keys.hpp: change that. -->

A key is the name of a result. Pass the exact text to `QelAudioAnalysisNew`, to `qel::Analyzer` or to
`qel`. Several keys are misspelled; the misspelling is part of the name, and is marked (sic) in
descriptions. In C, an unknown key ends the list of keys without an error. The C++ client and `qel` refuse it by name.

The keys below are in the order of `QelAudioAnalysisGlobalCopyKeys`. [glossary.md](glossary.md) explains
the terms.

## How to read blocks

The data callback gets `count` blocks. Each is a pointer and a size in bytes.

- **Order.** Frame-major: the block of frame f and channel c is `blocks[f * channels + c]`, and
  `count` is frames times channels. All keys except "reasigned spectrum" (sic) deliver one frame per
  call: `count` is then the number of channels, and `blocks[c]` is channel c.
- **Byte order.** The byte order of the machine.
- **Life.** Blocks and payloads belong to the library and are valid until the callback returns. Copy
  what you keep, including the list that a block of events or partials points to. In C++, `qel::Result`
  is a view with the same life. `Result::store()` makes a copy, and `Result::events()` and
  `Result::partials()` return copies.
- **Names belong to you.** The strings of payload "name" are the only thing in a block that is not the
  library's. The callback gets one reference per channel and releases it with `CFRelease`, immediately or
  later. The strings may outlive the analyzer. The C++ client does this for you: `Result::name()` is a
  `std::string`.

| Payload | Content of a block |
|---|---|
| floats | 32-bit floats; float i is value i in the table of the key |
| complex pairs | 32-bit floats; floats 2 k and 2 k + 1 are the real and the imaginary part of entry k |
| vector | 32-bit floats; all are the one value of the key, at the places 0, 1, 2 and so on |
| events | one `QelAudioAnalysisEventList`: a count, and a pointer to that many `QelAudioAnalysisEvent`, each a 64-bit time and a 32-bit strength |
| count | one unsigned 32-bit number |
| name | a `CFStringRef` in `mData` itself; `mData` does not point to memory that holds it |
| partials | one `PartialList`: a count, and a pointer to that many `PartialRecord`, each a signed 32-bit bin, three 32-bit floats and a 64-bit time in frames |
| range | an array of `QelAudioAnalysisRange`, one per channel: three 32-bit floats and three signed 32-bit flags each |

## Frames and times

- **Frames.** Frame n of a key covers the samples from n * hop to n * hop + frame - 1. It is delivered
  during the push that completes it. Samples after the last whole frame are not analyzed: push silence if
  they matter. Results do not depend on how the audio is cut into pushes, with the three exceptions in
  [contract.md](contract.md#results). A key that is delivered twice per frame gives two results per frame, in two
  calls.
- **Time.** The callback carries no time. Count the calls of a key from 0: frame n starts at
  n * hop / rate seconds. For a key that is delivered twice per frame, call n starts at
  n * hop / 2 / rate seconds. In C++, `Result::timeSeconds()` is that time, and 0 for a key that is
  delivered at the end. For the middle of the frame add frame / 2 / rate. Example: frame 86 of a key with
  frame 1024 and hop 512, at 44100 Hz, starts at 0.998 s, and its middle is at 1.010 s.
- **At the end.** Keys about the whole stream are delivered during `QelAudioAnalysisProcess` with flush 1
  (`Analyzer::finish` in C++), once, with all channels. Frame and hop are then those of the frames from
  which the result is made. "reasigned spectrum" (sic) delivers all of its frames there; in C++ each is a
  result with a time.
- **Before the end.** `QelAudioAnalysisProcess` with flush 0 delivers the rhythm keys once the stream has
  its declared length, or 200000 frames. Before that it returns -3864. The audio after such a delivery is
  a section of its own, with its own tempo. The times of a section continue from the last frame of the
  section before, so they are 896 to 1023 samples too early.
- **No result.** `QelAudioAnalysisProcess` returns one status, that of the last group of keys:
  1. -1: no tempo, and no rhythm result; or the progress callback asked to stop.
  2. -3: no number of beats per bar. The number is delivered as 0, and there are no down beats.
  3. -128: a stop while the number of beats per bar or the onsets were being found.
  4. A stop while beats are tracked leaves them incomplete and does not change the status.

  A later group of keys can hide these statuses. The C++ client throws an `Error` for -1 and -3, and
  returns false after a stop.
- **Not a number.** Values are delivered as they are computed, without a check. The ranges below hold for
  samples with magnitudes up to 1e6. Samples that are infinite or not a number corrupt (1) the values of
  their frames or pushes, (2) the amplitude envelope until the next reset, and (3) everything that is
  delivered at the end.

## Dictionaries

`QelAudioAnalysisCreateCFRepresentation` turns blocks into a dictionary, with the names of the tables
below:

| Payload | Per push or per frame | At the end |
|---|---|---|
| floats | `{ key: [ channel: [ frame: { name: number } ] ] }` | `{ key: [ channel: { name: number } ] }` |
| complex pairs | the same, with an array of numbers per name | "reasigned spectrum" (sic): the shape of a vector, with the first frame of a channel |
| vector | `{ key: [ channel: [ frame: [ number ] ] ] }` | |
| name | `{ key: [ channel: [ frame: string ] ] }` | `{ key: [ channel: string ] }` |
| events | | `{ key: [ channel: { name: [ number ] } ] }` |
| count | | `{ key: [ channel: number ] }` |
| partials | `{ key: [ channel: [ frame: { name: number } ] ] }` | |
| range | | none: null |

Pass the blocks of one call of the data callback as they are. To turn several frames into one dictionary,
a client builds blocks of its own, and two keys then read another form:

- **"dominant key"**: `mData` points to an array of `CFStringRef`, and `mDataByteSize` is the size of that
  array. The block of frame f and channel c is read at element f, so that every block of a channel may
  point to one array with the names of all its frames. An element beyond `mDataByteSize`, or a null one,
  is left out. For "global key" there is one form only: `mData` is the string.
- **"partials"**: of `frames` times `channels` blocks the first `channels` ones count. Block c points to an
  array of `PartialList`, one per frame of channel c, and `mDataByteSize` is the size of that array. Frames
  beyond it have empty dictionaries.

The dictionary of a frame of "partials" holds the five numbers of the last partial of the list only, and
is empty for an empty list. Read the blocks to get all partials.

## Symbols and units

- *rate* is the sample rate in Hz. A frame is windowed with a Hann window whose ends are not zero,
  0.5 * (1 - cos(2 pi (i + 1) / 1025)) for i from 0 to 1023, and transformed.
- *m[k]* is the magnitude of bin k, 0 <= k < M with M = 512. *f[k]* = k * rate / 1024 is its frequency in
  Hz: 43.07 Hz from bin to bin at 44100 Hz.
- *magnitude* is the unit of m[k]: twice the modulus of the discrete Fourier transform of the windowed
  frame, not divided by the frame size. A sine of amplitude 1 in the middle of a bin gives 512.5 in that
  bin. A value in magnitudes is proportional to the level.
- *Bin 0* holds two real terms, the one at 0 Hz and the one at rate / 2. m[0] is the square root of the sum
  of their squares, so energy at the very top of the band counts as bin 0 in all values made of magnitudes.
- *E* is the sum of all m[k]^2.
- *full scale* is a sample value of 1. *1* as a unit is a pure number.
- *Examples* were computed with `qel` at 44100 Hz, from synthetic sounds and from the sample recording in
  `examples/audio/`, mixed to mono, unless they follow from a formula.
)";

// Whether a line that begins with this word would be taken for an item of a list.
bool beginsAnItem(std::string_view word) {
    return word == "-" || word == "+" || word == "*" || word == "1." || word == "1)";
}

// `text` in lines of at most kLineWidth, continuation lines indented.
void printWrapped(std::string_view lead, std::string_view text, std::string_view indent) {
    std::istringstream words{std::string(text)};
    std::string line(lead);
    bool fresh = true;
    for (std::string word; words >> word; fresh = false) {
        if (!fresh && line.size() + 1 + word.size() > kLineWidth && !beginsAnItem(word)) {
            std::cout << line << '\n';
            line = std::string(indent) + word;
        } else {
            line += fresh ? word : " " + word;
        }
    }
    std::cout << line << '\n';
}

// The definition of a key, with a paragraph for each sentence that begins with a label.
void printParagraphs(std::string_view definition) {
    std::string_view gap;
    for (const std::string_view paragraph : qel::text::ParagraphsOf(definition)) {
        std::cout << gap;
        printWrapped("", paragraph, "");
        gap = "\n";
    }
}

std::string text(const qel::Range& range) {
    std::ostringstream out;
    out.precision(5);
    if (range.inHalfRates) {
        out << range.minimum << " to rate / 2";
    } else if (std::isfinite(range.maximum)) {
        out << range.minimum << " to " << range.maximum;
    } else if (std::isfinite(range.minimum)) {
        out << range.minimum << " and above";
    } else {
        out << "any";
    }
    return out.str();
}

std::string_view text(qel::PayloadKind payload) {
    switch (payload) {
    case qel::PayloadKind::ComplexPairs:
        return "complex pairs";
    case qel::PayloadKind::Events:
        return "events";
    case qel::PayloadKind::Count:
        return "count";
    case qel::PayloadKind::Vector:
        return "vector";
    case qel::PayloadKind::Name:
        return "name";
    case qel::PayloadKind::Partials:
        return "partials";
    case qel::PayloadKind::Range:
        return "range";
    default:
        return "floats";
    }
}

std::string_view deliveryText(const qel::KeyInfo& key) {
    switch (key.delivery) {
    case qel::Delivery::PerPush:
        return "on every push";
    case qel::Delivery::AtEnd:
        return "at the end";
    case qel::Delivery::FramesAtEnd:
        return "per frame, at the end";
    default:
        return key.resultsPerFrame == 2 ? "twice per frame, during the push"
                                        : "per frame, during the push";
    }
}

std::string payloadText(const qel::KeyInfo& key) {
    switch (key.payload) {
    case qel::PayloadKind::ComplexPairs:
        return std::to_string(key.payloadBytes / (2 * sizeof(float))) + " complex pairs";
    case qel::PayloadKind::Events:
        return "a list of events";
    case qel::PayloadKind::Count:
        return "one count";
    case qel::PayloadKind::Name:
        return "one name";
    case qel::PayloadKind::Partials:
        return "a list of partials";
    case qel::PayloadKind::Range:
        return "a record per channel";
    case qel::PayloadKind::Vector:
        return key.payloadBytes == sizeof(float)
                   ? "a vector of 1 float"
                   : "a vector of " + std::to_string(key.payloadBytes / sizeof(float)) + " floats";
    default:
        return std::to_string(key.payloadBytes / sizeof(float)) + " floats";
    }
}

// What the first column of a key's table numbers.
std::string_view columnText(qel::PayloadKind payload) {
    switch (payload) {
    case qel::PayloadKind::ComplexPairs:
        return "Float of the pair";
    case qel::PayloadKind::Events:
        return "Part of an event";
    case qel::PayloadKind::Count:
        return "Number";
    case qel::PayloadKind::Vector:
        return "Floats";
    case qel::PayloadKind::Name:
        return "Text";
    case qel::PayloadKind::Partials:
        return "Part of a partial";
    case qel::PayloadKind::Range:
        return "Float of the record";
    default:
        return "Float";
    }
}

// The floats, or whatever the column numbers, that value i of a key's table is about.
std::string numberText(const qel::KeyInfo& key, std::size_t i) {
    return key.payload == qel::PayloadKind::Vector && key.payloadBytes > sizeof(float)
               ? "0 to " + std::to_string(key.payloadBytes / sizeof(float) - 1)
               : std::to_string(i);
}

std::string frameText(const qel::KeyInfo& key) {
    if (key.frameSamples == 0) {
        return "none";
    }
    return std::to_string(key.frameSamples) + " / " + std::to_string(key.hopSamples);
}

// The name that a heading gets as the target of a link.
std::string anchor(std::string_view heading) {
    std::string result(heading);
    for (char& c : result) {
        c = c == ' ' ? '-' : c;
    }
    return result;
}

void printOverview() {
    std::cout << "\n## Overview\n\n"
              << "| Key | Payload | Bytes per block | Frame / hop in samples | Delivered |\n"
              << "|---|---|---|---|---|\n";
    for (const qel::KeyInfo& key : qel::kKeys) {
        std::cout << "| [" << key.key << "](#" << anchor(key.key) << ") | " << text(key.payload)
                  << " | " << key.payloadBytes << " | " << frameText(key) << " | "
                  << deliveryText(key) << " |\n";
    }
}

void printAliases() {
    std::cout
        << "\n## Short names\n\n"
        << "`qel` and the C++ client also accept these names for keys. The twelve functions do "
           "not. Results\ncarry the name of the key.\n\n"
        << "| Short name | Key |\n|---|---|\n";
    for (const qel::KeyAlias& row : qel::kKeyAliases) {
        std::cout << "| " << row.alias << " | [" << row.key << "](#" << anchor(row.key) << ") |\n";
    }
}

void printValue(const qel::ValueInfo& value) {
    std::cout << '\n';
    printWrapped("- **" + std::string(value.name) + "**: ", value.definition, "  ");
    if (!value.source.empty()) {
        printWrapped("  Source: ", std::string(value.source) + ".", "  ");
    }
}

void printKey(const qel::KeyInfo& key) {
    std::cout << "\n## " << key.key << "\n\n";
    printParagraphs(key.definition);
    std::cout << '\n';
    std::cout << "Payload: " << payloadText(key) << ", " << key.payloadBytes
              << " bytes per channel. Frame / hop: " << frameText(key) << ". Delivered "
              << deliveryText(key) << ".\n\n| " << columnText(key.payload)
              << " | Name | Unit | Range |\n"
              << "|---|---|---|---|\n";
    for (std::size_t i = 0; i < key.values.size(); ++i) {
        const qel::ValueInfo& value = key.values[i];
        std::cout << "| " << numberText(key, i) << " | " << value.name << " | " << value.unit
                  << " | " << text(value.range) << " |\n";
    }
    for (const qel::ValueInfo& value : key.values) {
        printValue(value);
    }
}

} // namespace

int main() {
    std::cout << kIntroduction;
    printOverview();
    printAliases();
    for (const qel::KeyInfo& key : qel::kKeys) {
        printKey(key);
    }
    return std::cout.good() ? 0 : 1;
}
