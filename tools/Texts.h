#pragma once

#include <string>

namespace qel::tool {

// A text as JSON, in quotes. What is not UTF-8 in it becomes U+FFFD: a path need not be UTF-8,
// while JSON must be.
std::string JsonText(const std::string& text);

// A text as a field of CSV: one with a comma, a quote or a line break stands in quotes, with its
// quotes doubled.
std::string CsvText(const std::string& text);

} // namespace qel::tool
