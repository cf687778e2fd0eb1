#include "readings/rhythm/Repetition.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace qel::readings {
namespace {

constexpr std::size_t kParts = 6; // of a beat: halves and thirds of it begin with one
// Added to the energy of what varies, per beat: where less varies, nothing is repeated.
constexpr double kLeastOfOnsets = 0.0003;
constexpr double kLeastOfHarmony = 0.003;
constexpr float kAudible = 0.7f; // the length of chroma of a tone at about -40 dB

using Rows = std::vector<std::vector<double>>; // by beat

void subtractMeans(Rows& rows) {
    for (std::size_t d = 0; d < rows.front().size(); ++d) {
        double mean = 0;
        for (const std::vector<double>& row : rows) {
            mean += row[d] / static_cast<double>(rows.size());
        }
        for (std::vector<double>& row : rows) {
            row[d] -= mean;
        }
    }
}

Repetition::Correlations correlationsOf(Rows rows, double least) {
    subtractMeans(rows);
    Repetition::Correlations correlations{};
    for (std::size_t lag = 1; lag <= correlations.size() && lag < rows.size(); ++lag) {
        double product = 0;
        double energy = least * static_cast<double>(rows.size() - lag);
        for (std::size_t i = 0; i + lag < rows.size(); ++i) {
            for (std::size_t d = 0; d < rows[i].size(); ++d) {
                product += rows[i][d] * rows[i + lag][d];
                energy += (rows[i][d] * rows[i][d] + rows[i + lag][d] * rows[i + lag][d]) / 2;
            }
        }
        correlations[lag - 1] = product / energy;
    }
    return correlations;
}

double meanFrom(const std::vector<float>& curve, double begin, double end) {
    const auto size = static_cast<double>(curve.size());
    const auto first = static_cast<std::size_t>(std::clamp(begin, 0.0, size));
    const auto last = static_cast<std::size_t>(std::clamp(end, 0.0, size));
    double sum = 0;
    for (std::size_t t = first; t < last; ++t) {
        sum += curve[t];
    }
    return last > first ? sum / static_cast<double>(last - first) : 0;
}

std::vector<double> directionOf(const Harmony::Chroma& chroma) {
    float squares = 0;
    for (const float value : chroma) {
        squares += value * value;
    }
    const float length = std::max(std::sqrt(squares), kAudible);
    std::vector<double> direction;
    for (const float value : chroma) {
        direction.push_back(double{value / length});
    }
    return direction;
}

} // namespace

Repetition::Layers Repetition::of(std::span<const double> beatSeconds) const {
    Rows onsets;
    Rows harmony;
    Rows bass;
    for (std::size_t i = 0; i + 1 < beatSeconds.size(); ++i) {
        // What begins at a beat shows from the frame before its second half on.
        const double begin = beatSeconds[i] * mFramesPerSecond - 2;
        const double beat = (beatSeconds[i + 1] - beatSeconds[i]) * mFramesPerSecond;
        std::vector<double> row;
        for (const auto* curve : {&mStrength.low(), &mStrength.middle(), &mStrength.high()}) {
            for (std::size_t part = 0; part < kParts; ++part) {
                const double at = begin + beat * static_cast<double>(part) / kParts;
                row.push_back(meanFrom(*curve, std::round(at), std::round(at + beat / kParts)));
            }
        }
        onsets.push_back(row);
        harmony.push_back(directionOf(mChroma.meanOfAll(begin, begin + beat)));
        bass.push_back(directionOf(mChroma.meanOfBass(begin, begin + beat)));
    }
    if (onsets.empty()) {
        return {};
    }
    return {correlationsOf(onsets, kLeastOfOnsets), correlationsOf(harmony, kLeastOfHarmony),
            correlationsOf(bass, kLeastOfHarmony)};
}

} // namespace qel::readings
