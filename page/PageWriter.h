#pragma once

#include "output/files/TextSink.h"
#include "page/PageTemplate.h"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace qel::page {

// Fills a template: a JSON object, and blocks of bytes as base64, each in an element that no
// browser runs. Nothing that is written can end its element.
class PageWriter {
public:
    // Both outlive the writer. Throws as TextSink does, and so do all others.
    PageWriter(output::TextSink& sink, const PageTemplate& pageTemplate);

    // The object that describes the page. Text in it need not be UTF-8.
    void Describe(const nlohmann::ordered_json& description);

    // Bytes that the page finds by their id, in which only letters, digits, '.', ':' and '-' stand.
    void Add(std::string_view id, std::string_view bytes);

    // Numbers, in the order of bytes of this machine, which is the browsers'.
    template <typename Number>
    void AddArray(std::string_view id, std::span<const Number> numbers) {
        Add(id, {reinterpret_cast<const char*>(numbers.data()), numbers.size_bytes()});
    }

    void Finish();

private:
    output::TextSink& mSink;
    const PageTemplate& mTemplate;
};

// A text to be shown: cut where it is longer than anybody reads, with "..." at its end.
std::string ShownText(const std::string& text);

} // namespace qel::page
