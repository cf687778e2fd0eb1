#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace qel {
namespace {

std::vector<std::string> AllKeyNames() {
    std::vector<std::string> keys;
    for (const KeyInfo& info : kKeys) {
        keys.emplace_back(info.key);
    }
    return keys;
}

TEST(ParametersTest, TheTableHasTheParametersOfTheLibraryWithTheirDefaults) {
    const Analyzer analyzer(AllKeyNames(), {.lengthFrames = 1});
    const std::vector<std::string> names = analyzer.parameterNames();
    EXPECT_EQ(names.size(), std::size(kParameters));
    for (const std::string& name : names) {
        const ParameterInfo* row = findParameter(name);
        ASSERT_NE(row, nullptr) << name;
        EXPECT_EQ(analyzer.parameter(name), row->standard) << name;
    }
    EXPECT_EQ(findParameter("min bpm"), nullptr);
}

TEST(ParametersTest, EveryKeyHasTheParametersOfTheTable) {
    for (const KeyInfo& info : kKeys) {
        const Analyzer analyzer({info.key}, {.lengthFrames = 1});
        const std::vector<std::string> names = analyzer.parameterNames();
        std::set<std::string_view> expected;
        for (const ParameterInfo& row : kParameters) {
            if (std::find(row.keys.begin(), row.keys.end(), info.key) != row.keys.end()) {
                expected.insert(row.name);
            }
        }
        EXPECT_EQ(std::set<std::string_view>(names.begin(), names.end()), expected) << info.key;
    }
}

TEST(ParametersTest, BothEndsOfARangeAreStored) {
    Analyzer analyzer(AllKeyNames(), {.lengthFrames = 1});
    for (const ParameterInfo& row : kParameters) {
        EXPECT_LE(row.minimum, row.standard);
        EXPECT_LE(row.standard, row.maximum);
        for (const float end : {row.minimum, row.maximum}) {
            analyzer.setParameter(std::string(row.name), end);
            EXPECT_EQ(analyzer.parameter(std::string(row.name)), end) << row.name;
        }
    }
}

TEST(ParametersTest, AWholeParameterLosesItsFraction) {
    Analyzer analyzer(AllKeyNames(), {.lengthFrames = 1});
    for (const ParameterInfo& row : kParameters) {
        const std::string name(row.name);
        analyzer.setParameter(name, row.minimum + 0.5f);
        EXPECT_EQ(analyzer.parameter(name), row.minimum + (row.isWhole ? 0.0f : 0.5f)) << name;
    }
}

} // namespace
} // namespace qel
