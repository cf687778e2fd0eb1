#include <QelReadings.hpp>

#include <array>
#include <cmath>
#include <string_view>

namespace qel::readings {
namespace {

constexpr double kConcertPitchHz = 440;
constexpr int kConcertPitchNote = 69;

double notesOf(double hz) {
    return kConcertPitchNote + 12 * std::log2(hz / kConcertPitchHz);
}

} // namespace

// The spelling of the circle of fifths: no key has more than six sharps or flats.
std::string MusicalKey::name() const {
    using Names = std::array<std::string_view, 12>;
    constexpr Names kMajors{"C", "Db", "D", "Eb", "E", "F", "F#", "G", "Ab", "A", "Bb", "B"};
    constexpr Names kMinors{"C", "C#", "D", "Eb", "E", "F", "F#", "G", "G#", "A", "Bb", "B"};
    const auto index = static_cast<std::size_t>(tonic);
    return std::string((isMinor ? kMinors : kMajors).at(index)) + (isMinor ? " minor" : " major");
}

int Pitch::note() const {
    return isVoiced() ? static_cast<int>(std::lround(notesOf(frequencyHz))) : 0;
}

double Pitch::cents() const {
    return isVoiced() ? 100 * (notesOf(frequencyHz) - note()) : 0;
}

} // namespace qel::readings
