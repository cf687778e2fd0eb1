#include "readings/rhythm/BarFinder.h"

#include "readings/rhythm/BeatTimes.h"
#include "readings/stream/Curve.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <tuple>
#include <utility>

namespace qel::readings {
namespace {

constexpr std::size_t kFewestBeats = 6;
// A feature that varies less than this is not stretched, as what hardly differs is no evidence: in
// changes of harmony, in onset strength, and as a share of the mean onset strength.
constexpr std::size_t kHarmonyFeatures = 4; // the first ones
constexpr double kLeastOfHarmony = 0.02;
constexpr double kLeastOfStrength = 0.01;
constexpr double kLeastShare = 0.1;

constexpr std::size_t kMostBeats = 7;

using Weights = std::array<double, BarFinder::kFeatures>;
struct Meter {
    std::size_t beats;
    double prior;
    double thirds;                           // what beats divided into thirds add
    std::array<Weights, kMostBeats> weights; // of the features at each beat of a bar
};

// The meters, and what it adds to one that beats a bar apart are alike. Evidence does not grow with
// the length of the stream: an accompaniment that repeats misleads in every bar. docs/accuracy.md
// tells what music they were fitted to.
#include "readings/rhythm/BarWeights.inc"
static_assert(kMeters[0].beats == 2);

// Of strokes that are all the same: variety of their levels, and deviation of the changes of
// harmony. They reach 0.05 and 0.04; of the music that the weights were made from, none is below
// both.
constexpr double kLeastVariety = 0.06;
constexpr double kLeastHarmony = 0.08;
constexpr double kMostLogOdds = 9.2;
constexpr double kFramesOfAttack = 3; // before a beat
constexpr double kHeardShare = 0.03;  // of the loudest band, for a softer one to be heard
constexpr double kTiny = 1e-9;

double sumFrom(const std::vector<float>& curve, std::size_t first, std::size_t end) {
    double sum = 0;
    for (std::size_t t = first; t < std::min(end, curve.size()); ++t) {
        sum += curve[t];
    }
    return sum;
}

std::pair<double, double> meanAndDeviation(const std::vector<double>& values) {
    double sum = 0;
    double squares = 0;
    for (const double value : values) {
        sum += value;
        squares += value * value;
    }
    const auto n = static_cast<double>(std::max<std::size_t>(values.size(), 1));
    const double mean = sum / n;
    return {mean, std::sqrt(std::max(squares / n - mean * mean, 0.0))};
}

// To mean 0 and deviation 1, or less where the values vary little.
void standardize(std::vector<double>& values, double least, double leastShare) {
    const auto [mean, deviation] = meanAndDeviation(values);
    for (double& value : values) {
        value = (value - mean) / (deviation + least + leastShare * mean);
    }
}

// Whether beats sound all the same.
bool areSame(const BarFinder::Evidence& evidence) {
    double harmony = 0;
    for (std::size_t f = 0; f < kHarmonyFeatures; ++f) {
        harmony += meanAndDeviation(evidence.features[f]).second / kHarmonyFeatures;
    }
    return evidence.variety < kLeastVariety && harmony < kLeastHarmony;
}

// What the features of the beats of a bar, one bar after the other from `phase` on, say for a
// meter. `means` are those of the features of every so many beats.
double templateScore(const Meter& meter, std::span<const Weights> means, std::size_t phase) {
    double score = 0;
    for (std::size_t position = 0; position < meter.beats; ++position) {
        const Weights& mean = means[(phase + position) % meter.beats];
        score =
            std::inner_product(mean.begin(), mean.end(), meter.weights[position].begin(), score);
    }
    return score;
}

// The means of the features of every so many beats, from the first, second ... beat on.
std::vector<Weights> meansOf(const BarFinder::Features& features, std::size_t beats) {
    std::vector<Weights> means(beats);
    for (std::size_t f = 0; f < means[0].size(); ++f) {
        for (std::size_t first = 0; first < beats; ++first) {
            double sum = 0;
            double count = 1; // few bars say less
            for (std::size_t i = first; i < features[f].size(); i += beats) {
                sum += features[f][i];
                ++count;
            }
            means[first][f] = sum / count;
        }
    }
    return means;
}

struct Fit {
    double score;
    std::size_t phase;
};

// The likeliest phase of a meter.
Fit fitOf(const Meter& meter, const BarFinder::Evidence& evidence) {
    const std::vector<Weights> means = meansOf(evidence.features, meter.beats);
    Fit best{templateScore(meter, means, 0), 0};
    for (std::size_t phase = 1; phase < meter.beats; ++phase) {
        const double score = templateScore(meter, means, phase);
        if (score > best.score) {
            best = {score, phase};
        }
    }
    best.score += meter.prior + meter.thirds * evidence.thirds;
    for (std::size_t layer = 0; layer < kRepetition.size(); ++layer) {
        best.score += kRepetition[layer] * evidence.repetition[layer][meter.beats - 1];
    }
    return best;
}

} // namespace

BarFinder::Features BarFinder::featuresOf(std::span<const double> beatSeconds) const {
    // Frames whose second half begins at the beat, with one beat more at both ends.
    std::vector<double> places;
    const double last = static_cast<double>(mStrength.all().size()) - 1;
    const auto frameOf = [&](double seconds) {
        return std::clamp(seconds * mFramesPerSecond - 1, 0.0, std::max(last, 0.0));
    };
    const std::size_t n = beatSeconds.size();
    places.push_back(frameOf(2 * beatSeconds[0] - beatSeconds[1]));
    for (const double seconds : beatSeconds) {
        places.push_back(frameOf(seconds));
    }
    places.push_back(frameOf(2 * beatSeconds[n - 1] - beatSeconds[n - 2]));

    Features features;
    for (std::size_t i = 1; i <= n; ++i) {
        const std::size_t before = i < 2 ? 0 : i - 2;
        const std::size_t after = std::min(i + 2, n + 1);
        const auto round = [&](std::size_t place) { return std::round(places[place]); };
        const auto change = [&](auto mean, std::size_t from, std::size_t to) {
            return double{
                Harmony::distance(mean(round(from), round(i)), mean(round(i), round(to)))};
        };
        const auto all = [&](double a, double b) { return mChroma.meanOfAll(a, b); };
        const auto bass = [&](double a, double b) { return mChroma.meanOfBass(a, b); };
        features[0].push_back(change(all, i - 1, i + 1));
        features[1].push_back(change(bass, i - 1, i + 1));
        features[2].push_back(change(all, before, after));
        features[3].push_back(change(bass, before, after));
        features[4].push_back(sumAround(mStrength.low(), places[i]));
        features[5].push_back(sumAround(mStrength.all(), places[i]));
        features[6].push_back(sumAround(mStrength.middle(), places[i]));
        features[7].push_back(sumAround(mStrength.high(), places[i]));
    }
    for (std::size_t f = 0; f < kFeatures; ++f) {
        const bool isHarmony = f < kHarmonyFeatures;
        standardize(features[f], isHarmony ? kLeastOfHarmony : kLeastOfStrength,
                    isHarmony ? 0 : kLeastShare);
    }
    return features;
}

// The greatest deviation of the levels of beats in the bands that are heard, as a share of their
// mean.
double BarFinder::varietyOf(std::span<const double> beatSeconds) const {
    std::array<double, 3> means{};
    std::array<double, 3> deviations{};
    for (std::size_t band = 0; band < means.size(); ++band) {
        std::vector<double> levels;
        // Without the outer beats, which may be before the first stroke and after the last one.
        for (std::size_t i = 1; i + 2 < beatSeconds.size(); ++i) {
            const auto at = [&](double seconds) {
                const double frame = std::round(seconds * mFramesPerSecond) - kFramesOfAttack;
                return static_cast<std::size_t>(std::max(frame, 0.0));
            };
            levels.push_back(
                sumFrom(mStrength.magnitudes()[band], at(beatSeconds[i]), at(beatSeconds[i + 1])));
        }
        std::tie(means[band], deviations[band]) = meanAndDeviation(levels);
    }
    const double loudest = *std::ranges::max_element(means);
    double variety = 0;
    for (std::size_t band = 0; band < means.size(); ++band) {
        variety =
            std::max(variety, deviations[band] / (means[band] + kHeardShare * loudest + kTiny));
    }
    return variety;
}

// How beats are divided: what begins at their thirds against what begins at their halves.
double BarFinder::thirdsOf(std::span<const double> beatSeconds) const {
    double halves = 0;
    double thirds = 0;
    const auto at = [&](std::size_t i, double share) {
        const double seconds = beatSeconds[i] + (beatSeconds[i + 1] - beatSeconds[i]) * share;
        return greatestAround(mStrength.all(), seconds * mFramesPerSecond - 1);
    };
    for (std::size_t i = 0; i + 1 < beatSeconds.size(); ++i) {
        halves += at(i, 0.5);
        thirds += (at(i, 1.0 / 3) + at(i, 2.0 / 3)) / 2;
    }
    const auto n = static_cast<double>(beatSeconds.size());
    return (thirds - halves) / (thirds + halves + n * kLeastOfStrength);
}

double BarFinder::lengthScore(double barSeconds) {
    const double octaves = std::log2(barSeconds / kUsualBarSeconds);
    return -kLengthWeight * octaves * octaves;
}

BarFinder::Evidence BarFinder::evidenceOf(std::span<const double> beatSeconds) const {
    return {featuresOf(beatSeconds), mRepetition.of(beatSeconds), varietyOf(beatSeconds),
            thirdsOf(beatSeconds)};
}

BarFinder::Result BarFinder::find(std::span<const double> beatSeconds) const {
    Result best;
    if (beatSeconds.size() < kFewestBeats) {
        return best;
    }
    const Evidence evidence = evidenceOf(beatSeconds);
    const double interval = medianOf(intervalsOf({beatSeconds.begin(), beatSeconds.end()}));
    std::array<double, kMeters.size()> scores{};
    std::array<double, kMeters.size()> fits{};
    double greatest = 0;
    for (std::size_t m = 0; m < kMeters.size(); ++m) {
        const Meter& meter = kMeters[m];
        const Fit fit = fitOf(meter, evidence);
        fits[m] = fit.score;
        scores[m] = fit.score + lengthScore(static_cast<double>(meter.beats) * interval);
        if (m == 0 || scores[m] > greatest) {
            greatest = scores[m];
            best.beatsPerBar = static_cast<int>(meter.beats);
            best.phase = fit.phase;
        }
    }
    // The first meter is that of two beats.
    const double fitOfOthers = *std::max_element(fits.begin() + 1, fits.end());
    best.score = std::max(fits[0], fitOfOthers);
    best.leadOfTwo = std::max(fits[0] - fitOfOthers, 0.0);
    double all = 0;
    for (const double score : scores) {
        all += std::exp(score - greatest);
    }
    best.logOdds = all > 1 ? std::min(-std::log(all - 1), kMostLogOdds) : kMostLogOdds;
    if (areSame(evidence)) {
        best.beatsPerBar = 0;
    }
    return best;
}

} // namespace qel::readings
