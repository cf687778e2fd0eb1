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
tool `qel`. This page tells what each key of this version delivers, in the order of
`QelAudioAnalysisGlobalCopyKeys`. That function also lists keys which this version does not build
yet: in C, such a key ends the key list in silence, the C++ client refuses it by name.

## How to read blocks

The data callback receives `count` blocks, each a pointer and a size in bytes.

- **Order.** Frame-major: the block of frame f and channel c is `blocks[f * channels + c]`, and
  `count` is frames times channels. All keys of this page deliver one frame per call, so that
  `count` is the number of channels and `blocks[c]` is channel c.
- **Payload.** An array of 32-bit floats in the machine's byte order. For payload "floats", float i is
  value i of the key's table. For payload "complex pairs", floats 2 k and 2 k + 1 are the real and the
  imaginary part of entry k.
- **Life.** Blocks and payloads belong to the library and live until the callback returns. Copy what
  you keep. In C++, `qel::Result` is a view with the same life, and `Result::store()` makes a copy.
- **Frames.** Frame n of a key covers the samples from n * hop to n * hop + frame - 1. It is delivered
  inside the push that brings its last sample. The samples behind the last whole frame are not
  analyzed: push silence if they matter. The results do not depend on how the audio is cut into
  pushes, except for keys that are delivered once per push.
- **Time.** The callback carries no time. Count the calls of a key from 0: frame n starts at
  n * hop / rate seconds. In C++, `Result::timeSeconds()` is that time. For the middle of the frame add
  frame / 2 / rate.
- **Not a number.** Values are handed out as they come, and ranges are promised for
  magnitudes of samples up to 1e6. Samples that are infinite or not a number spoil the values of their frames or pushes, and the
  amplitude envelope until the next reset.

`QelAudioAnalysisCreateCFRepresentation` turns blocks into a dictionary of the shape
`{ key: [ channel: [ frame: { name: number } ] ] }`, with the names of the tables below. For payload
"complex pairs" each name has an array of numbers, one per entry.

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
    return payload == qel::PayloadKind::ComplexPairs ? "complex pairs" : "floats";
}

std::string_view text(qel::Delivery delivery) {
    return delivery == qel::Delivery::PerPush ? "on every push" : "per frame, during the push";
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
                  << text(key.delivery) << " |\n";
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
    const bool pairs = key.payload == qel::PayloadKind::ComplexPairs;
    std::cout << "Payload: " << key.payloadBytes / (pairs ? 2 * sizeof(float) : sizeof(float))
              << (pairs ? " complex pairs" : " floats") << ", " << key.payloadBytes
              << " bytes per channel. Frame / hop: " << frameText(key) << ". Delivered "
              << text(key.delivery) << ".\n\n"
              << (pairs ? "| Float of the pair" : "| Float") << " | Name | Unit | Range |\n"
              << "|---|---|---|---|\n";
    for (std::size_t i = 0; i < key.values.size(); ++i) {
        const qel::ValueInfo& value = key.values[i];
        std::cout << "| " << i << " | " << value.name << " | " << value.unit << " | "
                  << text(value.range) << " |\n";
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
