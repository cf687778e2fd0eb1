#include "batch/dataset/Settings.h"

#include <gtest/gtest.h>

#include <string>

namespace qel::batch {
namespace {

Settings made() {
    Settings settings;
    settings.Add("qel", "1.0");
    settings.Add("--keys", "tempo,beat data");
    settings.Add("sources", "a b\tc");
    return settings;
}

TEST(SettingsTest, AValueOfNoSettingIsEmpty) {
    EXPECT_EQ(made().Value("--keys"), "tempo,beat data");
    EXPECT_EQ(made().Value("--key"), "");
    EXPECT_EQ(Settings().Value("qel"), "");
}

TEST(SettingsTest, TextAndBackIsTheSame) {
    const Settings read = Settings::Parse(made().Text());
    EXPECT_EQ(read.Lines(), made().Lines());
    EXPECT_EQ(read.Text(), made().Text());
    EXPECT_EQ(made().Difference(read), "");
}

TEST(SettingsTest, AValueStaysInItsLine) {
    Settings settings;
    settings.Add("sources", "a\nqel\t9.9\rb");
    const Settings read = Settings::Parse(settings.Text());
    ASSERT_EQ(read.Lines().size(), 1u);
    EXPECT_EQ(read.Value("qel"), "");
    EXPECT_EQ(read.Value("sources"), settings.Value("sources"));
}

TEST(SettingsTest, ReplaceChangesOnlyWhatIsThere) {
    Settings settings = made();
    settings.Replace("--keys", "tempo");
    settings.Replace("--other", "x");
    EXPECT_EQ(settings.Value("--keys"), "tempo");
    EXPECT_EQ(settings.Lines().size(), 3u);
}

TEST(SettingsTest, TheFirstDifferenceIsNamed) {
    Settings other = made();
    other.Replace("--keys", "tempo");
    other.Replace("sources", "z");
    EXPECT_EQ(made().Difference(other), "--keys \"tempo,beat data\", not \"tempo\"");
    Settings more = made();
    more.Add("--match", "*.wav");
    EXPECT_EQ(made().Difference(more), "other settings");
    EXPECT_EQ(more.Difference(made()), "--match \"*.wav\", not \"\"");
}

TEST(SettingsTest, VersionsAreToldFromWhatAUserChose) {
    Settings other = made();
    other.Replace("qel", "2.0");
    EXPECT_TRUE(Settings::IsOfVersions(made().Difference(other)));
    EXPECT_TRUE(Settings::IsOfVersions("decoders \"a\", not \"b\""));
    EXPECT_FALSE(Settings::IsOfVersions("--keys \"qel\", not \"b\""));
    EXPECT_FALSE(Settings::IsOfVersions(""));
}

TEST(SettingsTest, ATextOfAnotherLayoutGivesNone) {
    EXPECT_TRUE(Settings::Parse("").Lines().empty());
    EXPECT_TRUE(Settings::Parse("qel dataset 2\nqel\t1.0\n").Lines().empty());
    EXPECT_TRUE(Settings::Parse("\nqel dataset 1\nqel\t1.0\n").Lines().empty());
}

} // namespace
} // namespace qel::batch
