// Paragraphs of the definitions in the table of keys, for pages and terminals.
#pragma once

#include <cctype>
#include <cstddef>
#include <string_view>
#include <vector>

namespace qel::text {

// Whether text begins with a label such as "Memory: ": at most four words and a colon. A single
// letter is no label but the name of a sound.
inline bool BeginsWithLabel(std::string_view text) {
    constexpr std::size_t kMostSpaces = 3;
    constexpr std::size_t kShortestLabel = 2;
    std::size_t spaces = 0;
    for (std::size_t i = 0; i < text.size() && spaces <= kMostSpaces; ++i) {
        if (text[i] == ':') {
            return i >= kShortestLabel && text.substr(i, 2) == ": ";
        }
        spaces += text[i] == ' ' ? 1 : 0;
        if (text[i] != ' ' && std::isalpha(static_cast<unsigned char>(text[i])) == 0) {
            return false;
        }
    }
    return false;
}

// A definition, with a paragraph for each sentence that begins with a label.
inline std::vector<std::string_view> ParagraphsOf(std::string_view definition) {
    constexpr std::string_view kSentenceEnd = ". ";
    std::vector<std::string_view> paragraphs;
    std::size_t begin = 0;
    for (std::size_t end = definition.find(kSentenceEnd); end != std::string_view::npos;
         end = definition.find(kSentenceEnd, end + 1)) {
        const std::size_t next = end + kSentenceEnd.size();
        if (BeginsWithLabel(definition.substr(next))) {
            paragraphs.push_back(definition.substr(begin, end + 1 - begin));
            begin = next;
        }
    }
    paragraphs.push_back(definition.substr(begin));
    return paragraphs;
}

} // namespace qel::text
