#include "tools/qel/KeysCommand.h"

#include "bindings/cpp/tools/Paragraphs.h"
#include "output/KeyFacts.h"
#include "output/formats/PayloadFormat.h"
#include "tools/qel/KeyList.h"
#include "tools/qel/StandardStreams.h"
#include "tools/qel/ToolError.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace qel::tool {
namespace {

using Json = nlohmann::ordered_json;

std::string FramingText(const KeyInfo& info) {
    return info.frameSamples == 0
               ? std::string("no frames")
               : fmt::format("frame {}, hop {}", info.frameSamples, info.hopSamples);
}

std::string EndText(double end, bool inHalfRates) {
    if (!inHalfRates || end == 0) {
        return fmt::format("{}", end);
    }
    return end == 1 ? std::string("rate / 2") : fmt::format("{} * rate / 2", end);
}

std::string RangeText(const Range& range) {
    const bool below = std::isfinite(range.minimum);
    const bool above = std::isfinite(range.maximum);
    if (!below && !above) {
        return "any";
    }
    if (!above) {
        return fmt::format("{} and above", EndText(range.minimum, range.inHalfRates));
    }
    if (!below) {
        return fmt::format("{} and below", EndText(range.maximum, range.inHalfRates));
    }
    return fmt::format("{} to {}", EndText(range.minimum, range.inHalfRates),
                       EndText(range.maximum, range.inHalfRates));
}

// Breaks text into lines of a terminal's width, each with an indent.
std::string Wrapped(std::string_view text, std::size_t indent) {
    constexpr std::size_t kWidth = 80;
    std::string lines;
    std::string line;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(' '), text.size());
        const std::string_view word = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (!line.empty() && indent + line.size() + 1 + word.size() > kWidth) {
            lines += std::string(indent, ' ') + line + '\n';
            line.clear();
        }
        line += line.empty() ? std::string(word) : fmt::format(" {}", word);
    }
    return line.empty() ? lines : lines + std::string(indent, ' ') + line + '\n';
}

// A definition in lines and paragraphs.
std::string Definition(std::string_view definition, std::size_t indent) {
    std::string text;
    for (const std::string_view paragraph : text::ParagraphsOf(definition)) {
        if (!text.empty()) {
            text += '\n';
        }
        text += Wrapped(paragraph, indent);
    }
    return text;
}

Json RangeEnd(double end) {
    return std::isfinite(end) ? Json(end) : Json(nullptr);
}

Json DescribeValue(const ValueInfo& value) {
    return {{"name", value.name},
            {"unit", value.unit},
            {"minimum", RangeEnd(value.range.minimum)},
            {"maximum", RangeEnd(value.range.maximum)},
            {"range_in_half_rates", value.range.inHalfRates},
            {"definition", value.definition},
            {"source", value.source.empty() ? Json(nullptr) : Json(value.source)}};
}

Json DescribeKey(const KeyInfo& info) {
    Json values = Json::array();
    for (const ValueInfo& value : info.values) {
        values.push_back(DescribeValue(value));
    }
    const bool framed = info.frameSamples != 0;
    return {
        {"key", info.key},
        {"delivered", output::DeliveryText(info)},
        {"frame_size", framed ? Json(info.frameSamples) : Json(nullptr)},
        {"hop", framed ? Json(info.hopSamples) : Json(nullptr)},
        {"results_per_frame", output::HasFrames(info) ? Json(info.resultsPerFrame) : Json(nullptr)},
        {"layout", output::FormatOf(info).Layout(info)},
        {"payload_bytes", info.payloadBytes},
        {"definition", info.definition},
        {"values", values}};
}

std::string DescribeText(const KeyInfo& info) {
    std::string text = fmt::format("{}\n\n{}\n", info.key, Definition(info.definition, 2));
    text += fmt::format(
        "  delivered  {}{}\n  framing    {}\n  payload    {}, {} bytes\n",
        output::DeliveryText(info),
        info.resultsPerFrame == 1 ? "" : fmt::format(", {} results each", info.resultsPerFrame),
        FramingText(info), output::FormatOf(info).Summary(info), info.payloadBytes);
    for (const ValueInfo& value : info.values) {
        text += fmt::format("\n  {}\n", value.name);
        text += fmt::format("    unit   {}\n    range  {}\n", value.unit, RangeText(value.range));
        text += Definition(value.definition, 4);
        if (!value.source.empty()) {
            text += Wrapped(fmt::format("Source: {}.", value.source), 4);
        }
    }
    return text;
}

} // namespace

int RunKeys(bool json) {
    std::size_t longestKey = 0;
    for (const KeyInfo* info : AllKeys()) {
        longestKey = std::max(longestKey, info->key.size());
    }
    Json list = Json::array();
    std::string text;
    for (const KeyInfo* info : AllKeys()) {
        list.push_back(DescribeKey(*info));
        text += fmt::format("{:<{}}  {:<13}  {:<20}  {}\n", info->key, longestKey,
                            output::DeliveryText(*info), FramingText(*info),
                            output::FormatOf(*info).Summary(*info));
    }
    StandardStreams::Print(json ? list.dump(2) + '\n' : text);
    return kExitSuccess;
}

int RunDescribe(const std::string& key) {
    StandardStreams::Print(DescribeText(*RequireKey(key)));
    return kExitSuccess;
}

} // namespace qel::tool
