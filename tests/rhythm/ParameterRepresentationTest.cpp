// The values that parameters have, as the generators keep them. No exported function hands them
// out.

#include "rhythm/beats/AABeatFunctionGenerator.h"
#include "rhythm/onsets/AAOnsetGenerator.h"
#include "rhythm/tempomap/AATempoMapGenerator.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>

namespace qel::core {
namespace {

using Values = std::array<float, 3>;

template <class Generator>
Values ValuesOf(CFStringRef name) {
    const QelAudioAnalysisParameterValueInfo info = Generator::ParameterValueInfo(name);
    return {info.mMinimum, info.mMaximum, info.mDefault};
}

TEST(ParameterRepresentationTest, IsARecordOfFourFieldsOf32Bits) {
    EXPECT_EQ(16u, sizeof(QelAudioAnalysisParameterValueInfo));
    EXPECT_EQ(8u, offsetof(QelAudioAnalysisParameterValueInfo, mDefault));
    EXPECT_EQ(12u, offsetof(QelAudioAnalysisParameterValueInfo, mFlags));
}

TEST(ParameterRepresentationTest, EveryGeneratorKeepsTheValuesOfItsParameters) {
    EXPECT_EQ((Values{0, 2, 0}), ValuesOf<AATempoMapGenerator>(kQelAnalysisParameter_Complexity));
    EXPECT_EQ((Values{110, 20, 0}), ValuesOf<AATempoMapGenerator>(kQelAnalysisParameter_MinBPM));
    EXPECT_EQ((Values{120, 210, 0}), ValuesOf<AATempoMapGenerator>(kQelAnalysisParameter_MaxBPM));
    EXPECT_EQ((Values{0, 100, 80}),
              ValuesOf<AAOnsetGenerator>(kQelAnalysisParameter_OnsetSensitivity));
    EXPECT_EQ((Values{0, 1, 0}),
              ValuesOf<AABeatFunctionGenerator>(kQelAnalysisParameter_GenreHint));
}

TEST(ParameterRepresentationTest, ANameOfAnotherGeneratorHasZeros) {
    EXPECT_EQ(Values{}, ValuesOf<AATempoMapGenerator>(kQelAnalysisParameter_GenreHint));
    EXPECT_EQ(Values{}, ValuesOf<AAOnsetGenerator>(kQelAnalysisParameter_MinBPM));
    EXPECT_EQ(Values{}, ValuesOf<AABeatFunctionGenerator>(kQelAnalysisParameter_OnsetSensitivity));
}

} // namespace
} // namespace qel::core
