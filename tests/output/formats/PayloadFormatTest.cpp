#include "output/formats/PayloadFormat.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qel::output {
namespace {

TEST(PayloadFormatTest, EveryKeyHasAsManyColumnsAsNumbers) {
    for (const KeyInfo& info : kKeys) {
        const PayloadFormat& format = FormatOf(info);
        if (format.HasRowPerEntry()) {
            EXPECT_EQ(format.Numbers(info), PayloadFormat::kAnyNumber) << info.key;
            EXPECT_FALSE(format.Columns(info).empty()) << info.key;
        } else {
            EXPECT_EQ(format.Columns(info).size(), format.Numbers(info)) << info.key;
        }
        EXPECT_NE(format.Summary(info), "") << info.key;
    }
}

TEST(PayloadFormatTest, APayloadOfFloatsHasANumberForEachOfThem) {
    for (const KeyInfo& info : kKeys) {
        if (detail::holdsFloats(info)) {
            EXPECT_EQ(FormatOf(info).Numbers(info) * sizeof(float), info.payloadBytes) << info.key;
        }
    }
}

TEST(PayloadFormatTest, NumbersAndNamesAreOnePerValue) {
    for (const KeyInfo& info : kKeys) {
        const std::string layout(FormatOf(info).Layout(info));
        if (layout == "arrays") {
            continue;
        }
        EXPECT_EQ(FormatOf(info).Numbers(info), info.values.size()) << info.key;
        EXPECT_EQ(layout, info.payload == PayloadKind::Name ? "names" : "numbers") << info.key;
    }
}

} // namespace
} // namespace qel::output
