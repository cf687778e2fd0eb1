#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qel::output {

// A text as JSON, in quotes. What is not UTF-8 in it becomes U+FFFD: a path need not be UTF-8,
// while JSON must be.
std::string JsonText(const std::string& text);

// A text as a field of CSV: one with a comma, a quote or a line break is quoted, with its
// quotes doubled.
std::string CsvText(const std::string& text);

// A text that stays in its line and leaves a terminal as it is: control characters become "\n",
// "\t", "\r" or "\x1b". Other bytes pass as they are, UTF-8 or not.
std::string PrintableText(std::string_view text);

// A number with its noun: "1 file", "0 files", "2 files".
std::string CountText(std::int64_t count, std::string_view noun);

} // namespace qel::output
