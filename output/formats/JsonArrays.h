#pragma once

#include "output/formats/Numbers.h"

#include <cstddef>
#include <span>
#include <vector>

namespace qel::output {

// Arrays of JSON.

// Every step-th number, from the one at first on.
inline void AppendNumbers(fmt::memory_buffer& buffer, std::span<const float> values,
                          std::size_t first = 0, std::size_t step = 1) {
    buffer.push_back('[');
    for (std::size_t i = first; i < values.size(); i += step) {
        if (i != first) {
            buffer.push_back(',');
        }
        AppendJsonNumber(buffer, values[i]);
    }
    buffer.push_back(']');
}

// The member of every record, in one array.
template <typename Record, typename Number>
void AppendMember(fmt::memory_buffer& buffer, const std::vector<Record>& records,
                  Number Record::*member) {
    buffer.push_back('[');
    for (const Record& record : records) {
        if (&record != records.data()) {
            buffer.push_back(',');
        }
        AppendJsonNumber(buffer, record.*member);
    }
    buffer.push_back(']');
}

// An array of such arrays, one for each of the members.
template <typename Record, typename First, typename... Rest>
void AppendMembers(fmt::memory_buffer& buffer, const std::vector<Record>& records,
                   First Record::*first, Rest Record::*... rest) {
    buffer.push_back('[');
    AppendMember(buffer, records, first);
    ((buffer.push_back(','), AppendMember(buffer, records, rest)), ...);
    buffer.push_back(']');
}

} // namespace qel::output
