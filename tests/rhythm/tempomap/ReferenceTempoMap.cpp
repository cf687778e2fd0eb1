#include "tests/rhythm/tempomap/ReferenceTempoMap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <optional>

namespace qel::test {
namespace {

constexpr double kHalfTime = 516.0;    // accent values: 3 seconds at 172 per second
constexpr double kTempoOfLag1 = 10320; // BPM: 60 * 172, at every sample rate
constexpr double kPeakThreshold = 0.1; // of the greatest salience
constexpr std::size_t kPeakWindow = 20;

enum class Answer { No, Maybe, Yes };

Answer IsAbove(double a, double b, double error) {
    return a > b + error ? Answer::Yes : a > b - error ? Answer::Maybe : Answer::No;
}

// Whether index i stands above its neighbours: 20 below and 19 above, as far as there are any. The
// first 20 indices are no peaks, nor is the last one.
Answer IsPeak(const std::vector<double>& curve, std::size_t i, const std::vector<double>& errors) {
    if (i < kPeakWindow || i + 1 >= curve.size()) {
        return Answer::No;
    }
    Answer answer = IsAbove(curve[i], kPeakThreshold, errors[i]);
    const std::size_t end = std::min(i + kPeakWindow, curve.size());
    for (std::size_t j = i - kPeakWindow; j < end; ++j) {
        if (j != i) {
            answer = std::min(answer, IsAbove(curve[i], curve[j], errors[i] + errors[j]));
        }
    }
    return answer;
}

// Of two candidates within the window the earlier one stays, whatever their heights.
std::vector<std::size_t> Spaced(const std::vector<std::size_t>& candidates) {
    std::vector<std::size_t> peaks;
    for (const std::size_t i : candidates) {
        if (peaks.empty() || i - peaks.back() > kPeakWindow) {
            peaks.push_back(i);
        }
    }
    return peaks;
}

float TempoOfLag(std::size_t lag) {
    return static_cast<float>(kTempoOfLag1 / static_cast<double>(lag));
}

float Estimate(std::size_t lag, const TempoSettings& settings) {
    const float tempo = lag == 0 ? 0.0f : TempoOfLag(lag);
    return std::min(std::max(tempo, settings.minBPM), settings.maxBPM);
}

// The heights that decide among peaks: 0 for a tempo that is out of range.
std::vector<double> Heights(const std::vector<double>& curve, const std::vector<std::size_t>& peaks,
                            const TempoSettings& settings) {
    std::vector<double> heights;
    for (const std::size_t i : peaks) {
        const float tempo = TempoOfLag(i + 1);
        const bool isInRange = tempo >= settings.minBPM && tempo <= settings.maxBPM;
        heights.push_back(isInRange ? curve[i] : 0.0);
    }
    return heights;
}

// Every lag that can win. Among peaks out of range the first one wins.
std::set<std::size_t> PossibleWinners(const std::vector<double>& curve,
                                      const std::vector<std::size_t>& peaks,
                                      const TempoSettings& settings,
                                      const std::vector<double>& errors) {
    const std::vector<double> heights = Heights(curve, peaks, settings);
    const auto best = std::max_element(heights.begin(), heights.end());
    std::set<std::size_t> winners = {peaks[static_cast<std::size_t>(best - heights.begin())] + 1};
    for (std::size_t p = 0; p < peaks.size(); ++p) {
        const double error =
            errors[peaks[p]] + errors[peaks[static_cast<std::size_t>(best - heights.begin())]];
        if (heights[p] > 0.0 && heights[p] > *best - error) {
            winners.insert(peaks[p] + 1);
        }
    }
    return winners;
}

// Peaks but for their spacing, each by index.
struct Candidates {
    std::vector<std::size_t> found;  // by the comparisons as they come out here
    std::vector<std::size_t> likely; // by what rounding may make of them, and
    std::vector<std::size_t> unsure; // those among them that it may unmake
};

Candidates FindCandidates(const std::vector<double>& curve, const std::vector<double>& errors) {
    const std::vector<double> none(curve.size());
    Candidates candidates;
    for (std::size_t i = 0; i < curve.size(); ++i) {
        if (IsPeak(curve, i, none) == Answer::Yes) {
            candidates.found.push_back(i);
        }
        const Answer answer = IsPeak(curve, i, errors);
        if (answer != Answer::No) {
            candidates.likely.push_back(i);
        }
        if (answer == Answer::Maybe) {
            candidates.unsure.push_back(i);
        }
    }
    return candidates;
}

// The lags that can win by any choice among the unsure candidates; those of before by a choice that
// leaves none. So many unsure ones that trying is too long are all taken as possible.
std::set<std::size_t> PossibleLags(const std::vector<double>& curve, const Candidates& candidates,
                                   const TempoSettings& settings, const std::vector<double>& errors,
                                   const std::set<std::size_t>& before) {
    constexpr std::size_t kMostToTry = 6;
    const std::vector<std::size_t>& unsure = candidates.unsure;
    std::set<std::size_t> lags;
    if (unsure.size() > kMostToTry) {
        lags = before;
        for (const std::size_t i : candidates.likely) {
            lags.insert(i + 1);
        }
        return lags;
    }
    for (std::size_t choice = 0; choice < std::size_t{1} << unsure.size(); ++choice) {
        std::vector<std::size_t> chosen;
        for (const std::size_t i : candidates.likely) {
            const auto at = std::find(unsure.begin(), unsure.end(), i);
            if (at == unsure.end() || ((choice >> (at - unsure.begin())) & 1) != 0) {
                chosen.push_back(i);
            }
        }
        lags.merge(chosen.empty() ? std::set<std::size_t>(before)
                                  : PossibleWinners(curve, Spaced(chosen), settings, errors));
    }
    return lags;
}

// In lanes, of which none waits for another.
double SumOfSquares(const std::vector<double>& values) {
    std::array<double, 8> lanes{};
    std::size_t i = 0;
    for (; i + lanes.size() <= values.size(); i += lanes.size()) {
        for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
            lanes[lane] += values[i + lane] * values[i + lane];
        }
    }
    double sum = std::accumulate(lanes.begin(), lanes.end(), 0.0);
    for (; i < values.size(); ++i) {
        sum += values[i] * values[i];
    }
    return sum;
}

} // namespace

CombBank::CombBank(std::size_t lagCount) : mCombs(lagCount) {
    for (std::size_t i = 0; i < lagCount; ++i) {
        const std::size_t lag = i + 1;
        // Single precision, because the small rest of 1 has only some of its digits.
        const float share = static_cast<float>(lag) / static_cast<float>(kHalfTime);
        const float feedback = std::pow(0.5f, share);
        const float feedforward = 1.0f - feedback;
        const float squaredRest = feedforward * feedforward;
        const float squaredFeedback = feedback * feedback;
        mCombs[i] = {std::vector<double>(lag), feedback, feedforward,
                     static_cast<double>(squaredRest) / (1.0 - squaredFeedback)};
    }
}

void CombBank::Step(double accent, std::vector<double>& salience, std::vector<double>& ratios) {
    mLeakyEnergy = mCombs[0].feedback * mLeakyEnergy + mCombs[0].feedforward * accent * accent;
    for (std::size_t i = 0; i < mCombs.size(); ++i) {
        Comb& comb = mCombs[i];
        double& slot = comb.outputs[mTime % comb.outputs.size()];
        slot = comb.feedback * slot + comb.feedforward * accent;
        const double energy = SumOfSquares(comb.outputs) / static_cast<double>(comb.outputs.size());
        const double ratio = energy / mLeakyEnergy;
        salience[i] += (ratio - comb.energyNorm) / (1.0 - comb.energyNorm);
        ratios[i] += ratio / (1.0 - comb.energyNorm);
    }
    ++mTime;
}

ReferenceTempoMap::ReferenceTempoMap(std::size_t channels, const TempoSettings& settings)
    : mSettings(settings), mLagCount(std::size_t{128} << settings.complexity),
      mBanks(channels, std::vector<CombBank>(kNumAccentBands, CombBank(mLagCount))) {}

void ReferenceTempoMap::SetRange(float minBPM, float maxBPM) {
    mSettings.minBPM = minBPM;
    mSettings.maxBPM = maxBPM;
}

std::vector<TempoStep> ReferenceTempoMap::Step(const std::vector<AccentBands>& accents) {
    std::vector<TempoStep> steps;
    for (std::size_t c = 0; c < mBanks.size(); ++c) {
        std::vector<double> salience(mLagCount);
        std::vector<double> ratios(mLagCount);
        for (std::size_t b = 0; b < kNumAccentBands; ++b) {
            mBanks[c][b].Step(accents.at(c)[b], salience, ratios);
        }
        steps.push_back(FindTempo(std::move(salience), ratios));
    }
    return steps;
}

TempoStep ReferenceTempoMap::FindTempo(std::vector<double> salience,
                                       const std::vector<double>& ratios) {
    const auto greatest = std::max_element(salience.begin(), salience.end());
    const auto at = static_cast<std::size_t>(greatest - salience.begin());
    const double divisor = *greatest;
    // Of the value itself, and of the greatest one as far as it scales with that.
    std::vector<double> errors(mLagCount);
    for (std::size_t i = 0; i < mLagCount; ++i) {
        salience[i] /= divisor;
        errors[i] =
            kCombEnergyError * (ratios[i] + std::abs(salience[i]) * ratios[at]) / std::abs(divisor);
    }
    const Candidates candidates = FindCandidates(salience, errors);
    mPossibleWinners = PossibleLags(salience, candidates, mSettings, errors, mPossibleWinners);

    TempoStep step;
    const std::vector<std::size_t> peaks = Spaced(candidates.found);
    if (!peaks.empty()) {
        const std::vector<double> heights = Heights(salience, peaks, mSettings);
        const auto best = std::max_element(heights.begin(), heights.end());
        mWinner = peaks[static_cast<std::size_t>(best - heights.begin())] + 1;
    }
    for (const std::size_t i : peaks) {
        step.peakLags.push_back(i + 1);
    }
    step.tempoBPM = Estimate(mWinner, mSettings);
    for (const std::size_t lag : mPossibleWinners) {
        step.possibleBPM.insert(Estimate(lag, mSettings));
    }
    return step;
}

std::vector<std::vector<TempoStep>> ReferenceTempi(const std::vector<std::vector<float>>& audio,
                                                   const TempoSettings& settings) {
    std::vector<std::vector<AccentBands>> accents;
    for (const std::vector<float>& samples : audio) {
        accents.push_back(Accents(GammaEnergies(samples)));
    }
    ReferenceTempoMap map(audio.size(), settings);
    std::vector<std::vector<TempoStep>> tempi(audio.size());
    for (std::size_t n = 0; n < accents.at(0).size(); ++n) {
        std::vector<AccentBands> now;
        for (const std::vector<AccentBands>& channel : accents) {
            now.push_back(channel[n]);
        }
        std::vector<TempoStep> steps = map.Step(now);
        for (std::size_t c = 0; c < audio.size(); ++c) {
            tempi[c].push_back(std::move(steps[c]));
        }
    }
    return tempi;
}

} // namespace qel::test
