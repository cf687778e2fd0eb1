// The list of losses that are not detected, which script/damage allows, and the table that users
// read.

#include "tests/harness/TempDirectory.h"
#include "tests/media/MediaPairs.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace qel::media {
namespace {

using namespace test;

using Loss = std::tuple<std::string, std::string, std::string>; // pair, damage, reason

std::vector<std::string> Split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t end = text.find(separator); end != std::string::npos;
         end = text.find(separator, begin)) {
        parts.push_back(text.substr(begin, end - begin));
        begin = end + separator.size();
    }
    parts.push_back(text.substr(begin));
    return parts;
}

std::set<Loss> ListedLosses() {
    std::set<Loss> losses;
    std::istringstream lines(ReadFile(QEL_SILENT_LOSSES));
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const std::vector<std::string> parts = Split(line, " | ");
        EXPECT_EQ(parts.size(), 3u) << line;
        if (parts.size() == 3) {
            EXPECT_TRUE(losses.emplace(parts[0], parts[1], parts[2]).second) << line;
        }
    }
    return losses;
}

// The rows of the table after its head, each of several files and kinds of damage.
std::set<Loss> DocumentedLosses() {
    std::set<Loss> losses;
    std::istringstream lines(ReadFile(QEL_OUTPUT_MANUAL));
    bool isInTable = false;
    for (std::string line; std::getline(lines, line);) {
        if (line == "| Files | Damage | Why it is not detected |") {
            isInTable = true;
            std::getline(lines, line); // the rule below the head
            continue;
        }
        isInTable = isInTable && line.starts_with("| ") && line.ends_with(" |");
        if (!isInTable) {
            continue;
        }
        const std::vector<std::string> cells = Split(line.substr(2, line.size() - 4), " | ");
        EXPECT_EQ(cells.size(), 3u) << line;
        for (const std::string& file : Split(cells.at(0), ", ")) {
            for (const std::string& damage : Split(cells.at(1), ", ")) {
                losses.emplace(file.substr(1, file.size() - 2), damage, cells.at(2));
            }
        }
    }
    return losses;
}

TEST(SilentDamageTest, TheManualHasEveryLossOfTheListAndNoOther) {
    const std::set<Loss> listed = ListedLosses();
    const std::set<Loss> documented = DocumentedLosses();
    EXPECT_GT(listed.size(), 20u);
    for (const Loss& loss : listed) {
        EXPECT_TRUE(documented.contains(loss))
            << "not in the manual: " << std::get<0>(loss) << ", " << std::get<1>(loss);
    }
    for (const Loss& loss : documented) {
        EXPECT_TRUE(listed.contains(loss))
            << "not in the list: " << std::get<0>(loss) << ", " << std::get<1>(loss);
    }
}

TEST(SilentDamageTest, EveryLossIsOfAPairAndAKindOfDamageThatAreTried) {
    const std::set<std::string> kinds{"cut",   "cut end", "bit in audio", "bit in header",
                                      "zeros", "hole",    "junk after",   "ID3v1 after"};
    std::set<std::string> pairs;
    for (const MediaPair& pair : MediaPairs()) {
        pairs.insert(pair.name);
    }
    for (const auto& [pair, damage, reason] : ListedLosses()) {
        EXPECT_TRUE(pairs.contains(pair)) << pair;
        EXPECT_TRUE(kinds.contains(damage)) << damage;
        EXPECT_GT(reason.size(), 10u) << pair << ", " << damage;
    }
}

} // namespace
} // namespace qel::media
