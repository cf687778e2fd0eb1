#include "tools/selftest/SelfTest.h"

#include "tools/selftest/KeyDigest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>

namespace qel::selftest {
namespace {

TEST(SelfTestTest, EveryKeyDeliversOfBothSignals) {
    const std::uint64_t ofNothing = KeyDigest().Value();
    for (const SignalSize size : {kWholeSignal, kShortSignal}) {
        const Digests digests = Analyze(size);
        for (std::size_t i = 0; i < digests.size(); ++i) {
            EXPECT_NE(ofNothing, digests[i]) << kKeys[i].key << " at " << size.rateHz << " Hz";
        }
    }
}

TEST(SelfTestTest, ThisMachineGivesTheFrozenDigestsOfTheWholeSignal) {
    const Report report = CompareWithFrozen(Analyze(kWholeSignal), kWholeSignal);
    EXPECT_TRUE(report.passed) << report.text;
}

TEST(SelfTestTest, FrozenDigestsAreThereForEveryKeyAndAllDiffer) {
    for (const SignalSize size : {kWholeSignal, kShortSignal}) {
        Digests digests = FrozenDigests(size);
        EXPECT_EQ(0, std::ranges::count(digests, 0u));
        std::ranges::sort(digests);
        EXPECT_EQ(digests.end(), std::ranges::adjacent_find(digests));
    }
}

TEST(SelfTestTest, OneDigestThatDiffersIsNamedAndFails) {
    Digests digests = FrozenDigests(kShortSignal);
    EXPECT_TRUE(CompareWithFrozen(digests, kShortSignal).passed);
    digests[2] ^= 1;
    const Report report = CompareWithFrozen(digests, kShortSignal);
    EXPECT_FALSE(report.passed);
    const std::string& text = report.text;
    EXPECT_EQ(std::size(kKeys) + 1, static_cast<std::size_t>(std::ranges::count(text, '\n')));
    EXPECT_NE(std::string::npos, text.find("spectrum histogram properties         differs\n"));
    EXPECT_EQ(text.find("differs\n"), text.rfind("differs\n"));
    EXPECT_NE(std::string::npos, text.find("1 of 30 keys differ"));
}

TEST(SelfTestTest, TheSourceOfFrozenDigestsHasARowPerKey) {
    Digests whole{};
    Digests small{};
    whole[1] = 0xABC;
    small[1] = 0xDEF;
    const std::string text = SourceOfFrozen(whole, small);
    const std::string row =
        "{\"generic spectrum properties\", 0x0000000000000abc, 0x0000000000000def},\n";
    EXPECT_NE(std::string::npos, text.find(row)) << text;
}

} // namespace
} // namespace qel::selftest
