#include "page/PageWriter.h"

#include "page/Base64.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <bit>

static_assert(std::endian::native == std::endian::little, "browsers read little-endian numbers");

namespace qel::page {
namespace {

constexpr std::size_t kLongestText = 300; // bytes

// Angle brackets could end the element, and begin another one.
std::string Harmless(const std::string& json) {
    std::string text;
    text.reserve(json.size());
    for (const char character : json) {
        if (character == '<' || character == '>' || character == '&') {
            text += fmt::format("\\u{:04x}", static_cast<unsigned>(character));
        } else {
            text += character;
        }
    }
    return text;
}

} // namespace

PageWriter::PageWriter(output::TextSink& sink, const PageTemplate& pageTemplate)
    : mSink(sink), mTemplate(pageTemplate) {
    mSink.Append(mTemplate.Head());
}

void PageWriter::Describe(const nlohmann::ordered_json& description) {
    mSink.Append("<script type=\"application/json\" id=\"qel:page\">");
    mSink.Append(
        Harmless(description.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace)));
    mSink.Append("</script>\n");
}

void PageWriter::Add(std::string_view id, std::string_view bytes) {
    constexpr std::size_t kPart = 3 * 65536; // a multiple of 3
    mSink.Append(fmt::format("<script type=\"text/plain\" id=\"qel:{}\">", id));
    for (std::size_t at = 0; at < bytes.size(); at += kPart) {
        mSink.Append(Base64(bytes.substr(at, kPart)));
    }
    mSink.Append("</script>\n");
}

void PageWriter::Finish() {
    mSink.Append(mTemplate.Tail());
}

std::string ShownText(const std::string& text) {
    if (text.size() <= kLongestText) {
        return text;
    }
    std::size_t end = kLongestText;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0u) == 0x80u) {
        --end; // not within a character of UTF-8
    }
    return text.substr(0, end) + "...";
}

} // namespace qel::page
