/*
 * Writes docs/keys.md to the standard output, from the table of keys in the C++ client. A test
 * compares the two.
 */
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

A key names a result. Give the exact texts to `QelAudioAnalysisNew`, to `qel::Analyzer`, or to the
tool `qel`. This page tells what each key delivers, in the order of `QelAudioAnalysisGlobalCopyKeys`.
In C, an unknown key ends the key list in silence; the C++ client refuses it by name.

## How to read blocks

The data callback receives `count` blocks, each a pointer and a size in bytes.

- **Order.** Frame-major: the block of frame f and channel c is `blocks[f * channels + c]`, and
  `count` is frames times channels. All keys but "reasigned spectrum" deliver one frame per call, so
  that `count` is the number of channels and `blocks[c]` is channel c.
- **Payload.** In the machine's byte order. "Floats" is an array of 32-bit floats, and float i is
  value i of the key's table. "Complex pairs" are floats too: 2 k and 2 k + 1 are the real and the
  imaginary part of entry k. "Vector" is an array of floats that all are the key's one value, at the
  places 0, 1, 2 and so on. "Events" is one `QelAudioAnalysisEventList`: a number of events, and a
  pointer to as many `QelAudioAnalysisEvent`, each a 64-bit time and a 32-bit strength. "Count" is
  one unsigned 32-bit number. "Name" is a `CFStringRef` in `mData` itself, not in memory that `mData`
  points at. "Partials" is one `PartialList`: a number of partials, and a pointer to as many
  `PartialRecord`, each a signed 32-bit bin, three 32-bit floats and a 64-bit time in frames. "Range"
  is an array of `QelAudioAnalysisRange`, one per channel: three 32-bit floats and three signed 32-bit
  flags each.
- **Life.** Blocks and payloads belong to the library and live until the callback returns. Copy what
  you keep, the list that a block of events or partials points at included. In C++, `qel::Result` is
  a view with the same life, `Result::store()` makes a copy, and `Result::events()` and
  `Result::partials()` are copies.
- **Names belong to you.** The strings of payload "name" are the one thing in blocks that is not the
  library's: the callback gets a reference to each, one per channel, and gives it back with
  `CFRelease` when it is done, there or later. They may outlive the analyzer. In C++ the client does
  that, and `Result::name()` is a copy as a `std::string`.
- **Frames.** Frame n of a key covers the samples from n * hop to n * hop + frame - 1. It is delivered
  inside the push that brings its last sample. The samples behind the last whole frame are not
  analyzed: push silence if they matter. The results do not depend on how the audio is cut into
  pushes, except for keys that are delivered once per push. A key that is delivered twice per frame
  gives two results, one call after the other, for each frame.
- **At the end.** Keys about the stream as a whole are delivered inside of `QelAudioAnalysisProcess`
  with flush 1 (`Analyzer::finish` in C++), once and for all channels. Frame and hop are then those
  of the frames behind the result, and the samples behind the last whole frame do not count. "reasigned
  spectrum" delivers all of its frames there; in C++ each is a result with a time.
- **No result.** Of the keys about rhythm, audio without a tempo gives none, and
  `QelAudioAnalysisProcess` returns -1, as it also does after a stop that the progress callback asked
  for. Audio without a number of beats per bar gives that number as 0 and no down beats, and the call
  returns -3. It is -128 after a stop while that number or onsets were looked for; a stop while beats
  are tracked leaves them incomplete and changes no status. All this unless a later group of keys
  returns another status: the last one counts. The C++ client raises an `Error` for -1 and -3, and
  returns false for a stop.
- **Before the end.** `QelAudioAnalysisProcess` with flush 0 delivers the keys about rhythm once the
  stream has its declared length, or 200000 frames, and returns -3864 before that. What comes after
  such a delivery is a stretch of its own, with a tempo of its own. Its times carry on from the last
  frame of the stretch before and so stand 896 to 1023 samples too early, deliberately.
- **Time.** The callback carries no time. Count the calls of a key from 0: frame n starts at
  n * hop / rate seconds; of a key that is delivered twice per frame, call n is about the time from
  n * hop / 2 / rate seconds on. In C++, `Result::timeSeconds()` is that time, and 0 for a key that is
  delivered at the end. For the middle of the frame add frame / 2 / rate.
- **Not a number.** Values are handed out as they come, and ranges are promised for
  magnitudes of samples up to 1e6. Samples that are infinite or not a number spoil the values of their frames or pushes, the
  amplitude envelope until the next reset, and everything that is delivered at the end.

`QelAudioAnalysisCreateCFRepresentation` turns blocks into a dictionary of the shape
`{ key: [ channel: [ frame: { name: number } ] ] }`, with the names of the tables below. For payload
"complex pairs" each name has an array of numbers, one per entry; for payload "vector" the array of
numbers stands for a frame by itself, `{ key: [ channel: [ frame: [ number ] ] ] }`, and for payload
"name" a string, `{ key: [ channel: [ frame: string ] ] }`. Keys that are delivered at the end leave
the level of frames out: `{ key: [ channel: { name: number } ] }`, with an array of numbers per name
for payload "events", `{ key: [ channel: number ] }` for payload "count", and
`{ key: [ channel: string ] }` for payload "name". "reasigned spectrum" has the shape of a vector, with
the numbers of the first frame of a channel, and "audio range" has no dictionary.

The blocks of "dominant key" that a client makes have another form than those that it receives, so
that a run of frames can be turned into one dictionary. `mData` points at an array of `CFStringRef`,
`mDataByteSize` is the size of that array, and the block of frame f and channel c is read at element
f, deliberately: every block may point at one array with the names of all frames of its channel. An
element beyond `mDataByteSize` is not read and left out of the dictionary, like a null one. The
blocks of one call of the data callback are taken as they are. For "global key" there is one form:
`mData` is the string.

For "partials" the dictionary of a frame holds the five numbers of the last partial of the list only,
deliberately, and none for an empty list; read the blocks for all of them. Its blocks, too, have
another form for a run of frames: of `frames` times `channels` blocks the first ones stand for the
channels, so that block c points at an array of `PartialList`, one per frame of channel c, and
`mDataByteSize` is the size of that array. Frames behind it have empty dictionaries. The blocks of one
call of the data callback have this form already.

## Symbols and units

- *rate* is the sample rate in Hz. A frame is windowed with a Hann window whose ends are not zero,
  0.5 * (1 - cos(2 pi (i + 1) / 1025)) for i from 0 to 1023, and transformed.
- *m[k]* is the magnitude of bin k, 0 <= k < M with M = 512, and *f[k]* = k * rate / 1024 is its
  frequency in Hz: 43.07 Hz from bin to bin at 44100 Hz.
- *magnitude* is the unit of m[k]: twice the modulus of the plain discrete Fourier transform of the
  windowed frame, without any division by the frame size. A sine of amplitude 1 in the middle of a
  bin gives 512.5 in that bin. A value in magnitudes therefore is proportional to the level.
- *Bin 0* holds two real terms, the one at 0 Hz and the one at rate / 2, and m[0] is the root of the
  sum of their squares. So energy at the very top of the band counts as bin 0 in all values made of
  magnitudes.
- *E* is the sum of all m[k]^2.
- *full scale* is a sample value of 1. *1* as a unit is a pure number.
)";

/* `text` in lines of at most kLineWidth, continuation lines indented. */
void printWrapped(std::string_view lead, std::string_view text, std::string_view indent) {
    std::istringstream words{std::string(text)};
    std::string line(lead);
    bool fresh = true;
    for (std::string word; words >> word; fresh = false) {
        if (!fresh && line.size() + 1 + word.size() > kLineWidth) {
            std::cout << line << '\n';
            line = std::string(indent) + word;
        } else {
            line += fresh ? word : " " + word;
        }
    }
    std::cout << line << '\n';
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
        return "a vector of " + std::to_string(key.payloadBytes / sizeof(float)) + " floats";
    default:
        return std::to_string(key.payloadBytes / sizeof(float)) + " floats";
    }
}

/* What the first column of a key's table numbers. */
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

/* The floats, or whatever the column numbers, that value i of a key's table is about. */
std::string numberText(const qel::KeyInfo& key, std::size_t i) {
    return key.payload == qel::PayloadKind::Vector
               ? "0 to " + std::to_string(key.payloadBytes / sizeof(float) - 1)
               : std::to_string(i);
}

std::string frameText(const qel::KeyInfo& key) {
    if (key.frameSamples == 0) {
        return "none";
    }
    return std::to_string(key.frameSamples) + " / " + std::to_string(key.hopSamples);
}

/* The name that a heading gets as the target of a link. */
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

void printValue(const qel::ValueInfo& value) {
    std::cout << '\n';
    printWrapped("- **" + std::string(value.name) + "**: ", value.definition, "  ");
    if (!value.source.empty()) {
        printWrapped("  Source: ", std::string(value.source) + ".", "  ");
    }
}

void printKey(const qel::KeyInfo& key) {
    std::cout << "\n## " << key.key << "\n\n";
    printWrapped("", key.definition, "");
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
    for (const qel::KeyInfo& key : qel::kKeys) {
        printKey(key);
    }
    return std::cout.good() ? 0 : 1;
}
