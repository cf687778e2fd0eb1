#pragma once

#include "output/formats/Numbers.h"

#include <QelAudioAnalysis/Result.hpp>

#include <cstddef>
#include <iterator>
#include <span>

namespace qel::output {

// Fields of CSV.

// Numbers, each after a comma.
template <typename... Number>
void AppendFields(fmt::memory_buffer& buffer, Number... values) {
    ((buffer.push_back(','), AppendCsvNumber(buffer, values)), ...);
}

// Written into space that is made once for all of them: most numbers of large tables come here.
inline void AppendFields(fmt::memory_buffer& buffer, std::span<const float> values) {
    const std::size_t size = buffer.size();
    buffer.resize(size + values.size() * (kMostFloatChars + 1));
    char* out = buffer.data() + size;
    for (const float value : values) {
        *out++ = ',';
        out = WriteCsvFloat(out, value);
    }
    buffer.resize(static_cast<std::size_t>(out - buffer.data()));
}

// What a row about an entry of a list begins with: its time and, where there are several, its
// channel.
inline void AppendEntryStart(fmt::memory_buffer& buffer, double timeSeconds, const Result& result,
                             std::size_t channel) {
    AppendCsvNumber(buffer, timeSeconds);
    if (result.channels() > 1) {
        fmt::format_to(std::back_inserter(buffer), ",{}", channel);
    }
}

} // namespace qel::output
