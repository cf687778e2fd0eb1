// How the client joins the rows of the table with their texts.
#include <QelAudioAnalysis/Keys.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <utility>

namespace qel::detail {
namespace {

TEST(KeyRowsTest, EveryKeyHasTheFactsOfItsRowAndTheTextBesideIt) {
    ASSERT_EQ(std::size(kKeys), kKeyRows.size());
    for (std::size_t i = 0; i < std::size(kKeys); ++i) {
        EXPECT_EQ(kKeys[i].key, kKeyRows[i].key);
        EXPECT_EQ(kKeys[i].payloadBytes, kKeyRows[i].payloadBytes);
        EXPECT_EQ(kKeys[i].hopSamples, kKeyRows[i].hopSamples);
        EXPECT_EQ(kKeys[i].definition, kKeyTexts[i].definition);
        EXPECT_EQ(kKeys[i].values.data(), kKeyTexts[i].values.data());
        EXPECT_FALSE(kKeys[i].values.empty());
        EXPECT_FALSE(kKeys[i].definition.empty());
    }
}

TEST(KeyRowsTest, AMissingTextIsNoticed) {
    static_assert(describeAllRows(kKeyTexts));
    constexpr KeyText kOneText[] = {kKeyTexts[0]};
    static_assert(!describeAllRows(kOneText));
}

template <std::size_t... i>
constexpr bool exchangedTextsAreNoticed(std::index_sequence<i...>) {
    const KeyText texts[] = {kKeyTexts[i < 2 ? 1 - i : i]...};
    return !describeAllRows(texts);
}

TEST(KeyRowsTest, TextsInAnotherOrderAreNoticed) {
    static_assert(exchangedTextsAreNoticed(std::make_index_sequence<kKeyRows.size()>()));
}

TEST(KeyRowsTest, AKeyThatIsDeliveredPerPushHasNoFrames) {
    const KeyInfo& temporal = kKeyRows[RowOf::TemporalProperties];
    EXPECT_EQ(temporal.frameSamples, 0u);
    EXPECT_EQ(temporal.hopSamples, 0u);
    EXPECT_NE(kKeyRows[RowOf::Spectrum].frameSamples, 0u); // of the same slot
}

} // namespace
} // namespace qel::detail
