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

std::string MusicalKey::name() const {
    constexpr std::array<std::string_view, 12> kTonics{"C",  "C#", "D",  "D#", "E",  "F",
                                                       "F#", "G",  "G#", "A",  "A#", "B"};
    return std::string(kTonics.at(static_cast<std::size_t>(tonic))) +
           (isMinor ? " minor" : " major");
}

int Pitch::note() const {
    return isVoiced() ? static_cast<int>(std::lround(notesOf(frequencyHz))) : 0;
}

double Pitch::cents() const {
    return isVoiced() ? 100 * (notesOf(frequencyHz) - note()) : 0;
}

} // namespace qel::readings
