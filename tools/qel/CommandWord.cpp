#include "tools/qel/CommandWord.h"

#include "tools/qel/KeyList.h"
#include "tools/qel/ToolError.h"

#include <QelAudioAnalysis/KeyAliases.hpp>
#include <QelAudioAnalysis/Keys.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

namespace qel::tool {
namespace {

constexpr std::array<std::string_view, 10> kCommands{"read",     "analyze", "batch", "merge",
                                                     "report",   "clicks",  "plot",  "keys",
                                                     "describe", "selftest"};

// Words for what "qel read" answers, and the command that does.
struct ReadingWord {
    std::string_view word;
    std::string_view command;
};
constexpr ReadingWord kReadingWords[] = {
    {"tempo", "qel read"},
    {"bpm", "qel read"},
    {"bars", "qel read"},
    {"meter", "qel read"},
    {"key", "qel read"},
    {"loudness", "qel read"},
    {"lufs", "qel read"},
    {"bandwidth", "qel read"},
    {"beats", "qel read --beats"},
    {"downbeats", "qel read --down-beats"},
    {"onsets", "qel read --onsets"},
    {"pitch", "qel read --pitch"},
};

bool IsFile(const std::string& word) {
    std::error_code error;
    return word.find_first_of("./") != std::string::npos || std::filesystem::exists(word, error);
}

std::string HintFor(const std::string& word) {
    std::vector<std::string> names(kCommands.begin(), kCommands.end());
    for (const ReadingWord& row : kReadingWords) {
        names.emplace_back(row.word);
    }
    for (const KeyInfo& info : kKeys) {
        names.emplace_back(info.key);
    }
    for (const KeyAlias& row : kKeyAliases) {
        names.emplace_back(row.alias);
    }
    const std::string nearest = NearestName(word, names);
    if (std::ranges::find(kCommands, nearest) != kCommands.end()) {
        return fmt::format("did you mean \"qel {}\"?", nearest);
    }
    const auto reading = std::ranges::find(kReadingWords, nearest, &ReadingWord::word);
    if (reading != std::end(kReadingWords)) {
        return fmt::format("try \"{} FILE\"", reading->command);
    }
    if (!nearest.empty()) {
        return fmt::format("for the key \"{0}\", try \"qel analyze FILE --keys '{0}'\"",
                           keyNamed(nearest));
    }
    return "see qel --help";
}

// Options in front of a file, without a command: "qel --format json song.flac".
void RefuseOptionsWithoutCommand(const std::vector<std::string>& arguments) {
    const auto isCommand = [](const std::string& word) {
        return std::ranges::find(kCommands, word) != kCommands.end();
    };
    constexpr std::array<std::string_view, 3> kOwnOptions{"-h", "--help", "--version"};
    const bool isOption = !arguments.empty() && arguments[0].starts_with('-') &&
                          std::ranges::find(kOwnOptions, arguments[0]) == kOwnOptions.end();
    if (isOption && std::ranges::none_of(arguments, isCommand) &&
        std::ranges::any_of(arguments, IsFile)) {
        throw UsageError(fmt::format("{} needs a command or a file before it; try \"qel read {}\"",
                                     arguments[0], fmt::join(arguments, " ")));
    }
}

} // namespace

void CompleteCommandWord(std::vector<std::string>& arguments) {
    const bool isEndOfOptions = arguments.size() > 1 && arguments[0] == "--"; // files follow
    if (isEndOfOptions) {
        arguments.insert(arguments.begin(), "read");
        return;
    }
    RefuseOptionsWithoutCommand(arguments);
    if (arguments.empty() || arguments[0].starts_with('-') ||
        std::ranges::find(kCommands, arguments[0]) != kCommands.end()) {
        return;
    }
    if (!IsFile(arguments[0])) {
        throw UsageError(
            fmt::format("unknown command \"{}\"; {}", arguments[0], HintFor(arguments[0])));
    }
    arguments.insert(arguments.begin(), "read");
}

} // namespace qel::tool
