#include "tools/qel/KeyList.h"

#include "output/KeyFacts.h"
#include "output/formats/PayloadFormat.h"
#include "tools/qel/ToolError.h"

#include <QelAudioAnalysis/KeyAliases.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <numeric>

namespace qel::tool {
namespace {

char Lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

std::size_t EditDistance(std::string_view a, std::string_view b) {
    // row[j]: edits from the letters of a so far to the first j letters of b
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (Lower(a[i]) == Lower(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

std::string_view Trim(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// A list of any length counts as one that is too long. What is delivered per push has no frame: its
// push stands for it.
bool IsBulky(const KeyInfo& info) {
    return output::FormatOf(info).Numbers(info) > kMostDefaultNumbers / info.resultsPerFrame;
}

} // namespace

std::vector<const KeyInfo*> AllKeys() {
    std::vector<const KeyInfo*> keys;
    for (const KeyInfo& info : kKeys) {
        keys.push_back(&info);
    }
    return keys;
}

std::vector<std::string> NamesOf(const std::vector<const KeyInfo*>& keys) {
    std::vector<std::string> names;
    names.reserve(keys.size());
    for (const KeyInfo* info : keys) {
        names.emplace_back(info->key);
    }
    return names;
}

bool IsDefault(const KeyInfo& info) {
    const bool isAtEnd = info.delivery == Delivery::AtEnd || info.delivery == Delivery::FramesAtEnd;
    return !isAtEnd && !IsBulky(info);
}

std::vector<const KeyInfo*> DefaultKeys() {
    std::vector<const KeyInfo*> keys = AllKeys();
    std::erase_if(keys, [](const KeyInfo* info) { return !IsDefault(*info); });
    return keys;
}

std::vector<const KeyInfo*> LabelKeys() {
    std::vector<const KeyInfo*> keys = AllKeys();
    std::erase_if(keys, [](const KeyInfo* info) {
        const bool isName =
            info->payload == PayloadKind::Name && info->delivery == Delivery::PerFrame;
        return info->payload != PayloadKind::Events && !isName;
    });
    return keys;
}

std::vector<const KeyInfo*> BeatKeys() {
    std::vector<const KeyInfo*> keys = AllKeys();
    std::erase_if(keys, [](const KeyInfo* info) {
        return info->key != output::kBeatKey && info->key != output::kDownBeatKey &&
               info->key != output::kBeatsPerBarKey;
    });
    return keys;
}

const KeyInfo* RequireKey(std::string_view key) {
    if (const KeyInfo* info = findKey(keyNamed(key))) {
        return info;
    }
    if (key.empty()) {
        throw UsageError("empty key; \"qel keys\" lists the keys");
    }
    std::vector<std::string> names;
    for (const KeyInfo& info : kKeys) {
        names.emplace_back(info.key);
    }
    for (const KeyAlias& row : kKeyAliases) {
        names.emplace_back(row.alias);
    }
    const std::string nearest = NearestName(key, names);
    const std::string hint = nearest.empty() ? std::string("\"qel keys\" lists the keys")
                                             : fmt::format("did you mean \"{}\"?", nearest);
    throw UsageError(fmt::format("unknown key \"{}\"; {}", key, hint));
}

std::vector<const KeyInfo*> ParseKeys(const std::vector<std::string>& lists) {
    std::vector<const KeyInfo*> keys;
    for (const std::string& key : SplitList(lists)) {
        keys.push_back(RequireKey(key));
    }
    // The rows stand in one array, so that their addresses have the table's order.
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    return keys;
}

std::vector<std::string> SplitList(const std::vector<std::string>& lists) {
    std::vector<std::string> entries;
    for (const std::string_view list : lists) {
        for (std::size_t begin = 0; begin <= list.size();) {
            const std::size_t end = std::min(list.find(',', begin), list.size());
            entries.emplace_back(Trim(list.substr(begin, end - begin)));
            begin = end + 1;
        }
    }
    return entries;
}

std::string NearestName(std::string_view name, const std::vector<std::string>& candidates) {
    std::string nearest;
    std::size_t least = std::string_view::npos;
    for (const std::string& candidate : candidates) {
        const std::size_t distance = EditDistance(name, candidate);
        if (distance < least && 2 * distance <= std::max(name.size(), candidate.size())) {
            least = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

} // namespace qel::tool
