#include "readings/stream/Requests.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

namespace qel::readings {
namespace {

constexpr std::array kAll{
    Reading::Tempo, Reading::Beats,  Reading::Bars,     Reading::Key,       Reading::Onsets,
    Reading::Pitch, Reading::Timbre, Reading::Loudness, Reading::Bandwidth, Reading::RunningTempo};

constexpr double kLowestRateHz = 8000;
constexpr double kHighestRateHz = 768000;
constexpr std::uint32_t kMostChannels = 64; // of libebur128

} // namespace

std::span<const Reading> allReadings() noexcept {
    return kAll;
}

std::vector<Reading> requireKnown(std::span<const Reading> readings) {
    for (const Reading reading : readings) {
        if (std::ranges::find(kAll, reading) == kAll.end()) {
            throw std::invalid_argument("readings: " + std::to_string(static_cast<int>(reading)) +
                                        " is no reading; allReadings() has those that there are");
        }
    }
    return {readings.begin(), readings.end()};
}

const Setup& requireUsable(const Setup& setup) {
    const bool rate = setup.sampleRateHz >= kLowestRateHz && setup.sampleRateHz <= kHighestRateHz;
    if (!rate || setup.channels == 0 || setup.channels > kMostChannels) {
        throw std::invalid_argument(
            "readings: a sample rate from 8000 to 768000 Hz and 1 to 64 channels are needed");
    }
    return setup;
}

} // namespace qel::readings
