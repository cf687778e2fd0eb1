#include "readings/include/QelReadings.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>

namespace qel::readings {
namespace {

constexpr std::string_view kLetters = "CDEFGAB";
constexpr std::array kSemitones{0, 2, 4, 5, 7, 9, 11}; // of the letters above C

struct Tonic {
    std::size_t letter;
    int accidental; // 1 for a sharp, -1 for a flat
};

Tonic tonicOf(const std::string& name) {
    const char sign = name.at(1);
    return {kLetters.find(name.front()), sign == '#' ? 1 : sign == 'b' ? -1 : 0};
}

// The sharps of a major key are how often the fifth stands above C; those of its relative minor are
// as many. Flats count below 0.
int sharpsOf(const std::string& name) {
    constexpr std::array kSharpsOfLetters{0, 2, 4, -1, 1, 3, 5}; // majors of C, D, E, F, G, A, B
    const Tonic tonic = tonicOf(name);
    return kSharpsOfLetters.at(tonic.letter) + 7 * tonic.accidental -
           (name.ends_with(" minor") ? 3 : 0);
}

TEST(MusicalKeyTest, ANameIsItsTonicAndItsMode) {
    for (int tonic = 0; tonic < 12; ++tonic) {
        for (const bool isMinor : {false, true}) {
            const std::string name = MusicalKey{tonic, isMinor}.name();
            const Tonic found = tonicOf(name);
            EXPECT_EQ((kSemitones.at(found.letter) + found.accidental + 12) % 12, tonic) << name;
            EXPECT_TRUE(name.ends_with(isMinor ? " minor" : " major")) << name;
        }
    }
}

// On the circle of fifths the spelling with fewer accidentals is the usual one. Six sharps are F#
// major and six flats Eb minor; the other spelling would be as long.
TEST(MusicalKeyTest, NoKeyHasMoreThanSixAccidentals) {
    for (int tonic = 0; tonic < 12; ++tonic) {
        for (const bool isMinor : {false, true}) {
            const std::string name = MusicalKey{tonic, isMinor}.name();
            EXPECT_LE(std::abs(sharpsOf(name)), 6) << name;
        }
    }
    EXPECT_EQ((MusicalKey{6, false}).name(), "F# major");
    EXPECT_EQ((MusicalKey{3, true}).name(), "Eb minor");
}

TEST(MusicalKeyTest, BFlatMajorIsNotASharpMajor) {
    EXPECT_EQ((MusicalKey{10, false}).name(), "Bb major");
    EXPECT_EQ((MusicalKey{8, false}).name(), "Ab major");
    EXPECT_EQ((MusicalKey{8, true}).name(), "G# minor");
}

} // namespace
} // namespace qel::readings
