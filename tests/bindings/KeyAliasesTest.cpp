#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace qel {
namespace {

TEST(KeyAliasesTest, EveryAliasNamesAKeyAndIsNoKeyItself) {
    std::set<std::string_view> aliases;
    for (const KeyAlias& row : kKeyAliases) {
        EXPECT_NE(findKey(row.key), nullptr) << row.alias;
        EXPECT_EQ(findKey(row.alias), nullptr) << row.alias;
        EXPECT_TRUE(aliases.insert(row.alias).second) << row.alias << " is listed twice";
    }
}

TEST(KeyAliasesTest, AnyOtherNameStandsForItself) {
    EXPECT_EQ(keyNamed("chroma"), "pitch class profile");
    EXPECT_EQ(keyNamed("spectrum"), "spectrum");
    EXPECT_EQ(keyNamed("no such key"), "no such key");
    EXPECT_EQ(keyNamed(""), "");
}

TEST(KeyAliasesTest, ResultsOfAnAliasCarryTheNameOfTheKey) {
    const std::vector<float> samples(16384, 0.25f);
    for (const KeyAlias& row : kKeyAliases) {
        Analyzer analyzer({row.alias}, {.maxFrames = 16384, .lengthFrames = 16384});
        EXPECT_EQ(analyzer.metaData(std::string(row.alias)).hopSamples,
                  analyzer.metaData(std::string(row.key)).hopSamples);
        std::set<std::string> keys;
        analyzer.onResult([&](const Result& result) { keys.emplace(result.key()); });
        analyzer.push(samples);
        EXPECT_EQ(findKey(row.key)->delivery == Delivery::PerFrame, !keys.empty()) << row.alias;
        EXPECT_FALSE(keys.contains(std::string(row.alias)));
        EXPECT_TRUE(keys.empty() || keys.contains(std::string(row.key))) << row.alias;
    }
}

TEST(KeyAliasesTest, AKeyWithTwoOfItsNamesIsDeliveredOnce) {
    const auto countOf = [](std::initializer_list<std::string_view> names) {
        Analyzer analyzer(names, {.maxFrames = 16384});
        int count = 0;
        analyzer.onResult(
            [&](const Result& result) { count += result.key() == "gamma tome spectrum"; });
        analyzer.push(std::vector<float>(16384, 0.25f));
        return count;
    };
    const int once = countOf({"gamma tome spectrum"});
    EXPECT_GT(once, 0);
    EXPECT_EQ(countOf({"gammatone", "gamma tome spectrum"}), once);
    EXPECT_EQ(countOf({"gammatone", "gammatone spectrum"}), once);
}

TEST(KeyAliasesTest, TheFunctionsOfTheLibraryRefuseAliases) {
    for (const KeyAlias& row : kKeyAliases) {
        const auto keys = Analyzer::allKeys();
        EXPECT_EQ(std::count(keys.begin(), keys.end(), row.alias), 0) << row.alias;
        const auto array = detail::makeArray();
        CFArrayAppendValue(array.get(), detail::makeString(std::string(row.alias)).get());
        QelAudioAnalysisRef handle = nullptr;
        const auto ignore = [](QelAudioAnalysisRef, CFStringRef, UInt32, QelAudioAnalysisBlock*,
                               void*) {};
        ASSERT_EQ(QelAudioAnalysisNew(array.get(), ignore, nullptr, &handle), 0);
        QelAudioAnalysisKeyMetaData data{};
        UInt32 size = 0;
        EXPECT_NE(QelAudioAnalysisGetProperty(handle, kQelAnalysisProperty_MetaDataForKey,
                                              detail::makeString(std::string(row.alias)).get(),
                                              sizeof(CFStringRef), &data, sizeof data, &size),
                  0)
            << row.alias;
        QelAudioAnalysisDispose(handle);
    }
}

} // namespace
} // namespace qel
