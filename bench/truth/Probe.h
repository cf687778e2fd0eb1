#pragma once

// What the probes have in common: numbers from standard input, and tables of numbers as JSON.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <vector>

namespace qel::bench {

constexpr double kProbeRateHz = 44100;

// A count (int32), then as many numbers. False at the end of the input.
template <class Number>
bool readNumbers(std::vector<Number>& numbers) {
    std::int32_t count = 0;
    if (std::fread(&count, sizeof count, 1, stdin) != 1) {
        return false;
    }
    numbers.resize(static_cast<std::size_t>(count));
    return std::fread(numbers.data(), sizeof(Number), numbers.size(), stdin) == numbers.size();
}

// An array of JSON.
template <class Number>
void printNumbers(std::span<const Number> numbers) {
    const char* before = "[";
    for (const Number number : numbers) {
        std::printf("%s%.9g", before, static_cast<double>(number));
        before = ",";
    }
    std::printf("%s", numbers.empty() ? "[]" : "]");
}

// Analyzes one recording of the input after the other. Returns the status of the program.
inline int probeRecordings(void (*analyze)(const std::vector<float>& samples)) {
    std::vector<float> samples;
    while (readNumbers(samples)) {
        analyze(samples);
        std::fflush(stdout); // the script waits for the line
    }
    return 0;
}

} // namespace qel::bench
