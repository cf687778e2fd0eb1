#include "tests/loudness/range/ReferenceRange.h"

#include "tests/harness/DoubleTransform.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <set>

namespace qel::test {
namespace {

constexpr double kLowestLevel = -199.0; // dB, where the first level begins; each is 1 dB wide
constexpr double kPi = std::numbers::pi;

// A sine window scaled so that its mean square is 1.
std::vector<double> Window() {
    std::vector<double> window(kRangeFrame);
    double squares = 0.0;
    for (std::size_t i = 0; i < kRangeFrame; ++i) {
        window[i] = std::sin((static_cast<double>(i) + 0.5) * kPi / kRangeFrame);
        squares += window[i] * window[i];
    }
    const double gain = std::sqrt(kRangeFrame / squares);
    for (double& value : window) {
        value = static_cast<float>(gain * value);
    }
    return window;
}

// Truncated towards 0 before the limits apply, so that the first step is two wide.
std::size_t Step(double position, std::size_t steps) {
    const double last = static_cast<double>(steps - 1);
    return static_cast<std::size_t>(std::clamp(std::trunc(position), 0.0, last));
}

// Over 25 bins; at the low edge the run keeps its length, at the high edge it is cut.
std::vector<int> MedianFiltered(const std::vector<int>& levels) {
    std::vector<int> filtered;
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const std::size_t start = i < 12 ? 0 : i - 12;
        const std::size_t length = std::min<std::size_t>(levels.size() - start, 25);
        std::vector<int> run(levels.begin() + static_cast<std::ptrdiff_t>(start),
                             levels.begin() + static_cast<std::ptrdiff_t>(start + length));
        std::sort(run.begin(), run.end());
        filtered.push_back(run[length / 2]);
    }
    return filtered;
}

// Half a level below the lower edge of the level found.
std::vector<double> LevelSpectrum(const std::vector<int>& levels) {
    std::vector<double> spectrum;
    for (const int level : levels) {
        spectrum.push_back(kLowestLevel + level - 0.5);
    }
    return spectrum;
}

// The mean over 35 bins weighted by a half wave of a sine. Below bin 17 the sums begin within the
// kernel and stop at its end.
std::vector<double> Smoothed(const std::vector<double>& spectrum) {
    constexpr int kLength = 35;
    const int bins = static_cast<int>(spectrum.size());
    std::vector<double> smoothed;
    for (int i = 0; i < bins; ++i) {
        double sum = 0.0;
        double weights = 0.0;
        for (int k = 0; k < kLength; ++k) {
            const int bin = i + k - kLength / 2;
            if (bin >= 0 && bin < bins) {
                const double weight = std::sin((0.5 + k) * kPi / kLength);
                sum += weight * spectrum[static_cast<std::size_t>(bin)];
                weights += weight;
            }
        }
        smoothed.push_back(sum / weights);
    }
    return smoothed;
}

// The search for a steep fall, downward from the top. `favour` is added to every slope it is
// compared with. Returns a bin, or -1.
int FindFall(const std::vector<double>& slope, double favour) {
    constexpr double kLeastFall = -0.005; // dB per Hz
    const int bins = static_cast<int>(slope.size());
    double best = kLeastFall;
    int position = -1;
    for (int i = bins - 5; i > bins / 2; --i) {
        const double here = slope[static_cast<std::size_t>(i)];
        if (here < best + favour) {
            best = here;
            position = i;
        } else if (position >= 0) {
            break;
        }
    }
    if (position < 0) {
        return -1;
    }
    double sum = 0.0;
    for (int i = position - 5; i <= std::min(position + 5, bins - 1); ++i) {
        sum += slope[static_cast<std::size_t>(i)];
    }
    return sum / 11 < 0.8 * best + favour ? position : -1;
}

} // namespace

ReferenceRange::ReferenceRange(std::size_t channels, double rateHz)
    : mRateHz(rateHz), mChannels(channels), mWindow(Window()) {
    for (Channel& channel : mChannels) {
        channel.steps.fill(std::vector<std::size_t>(kSteps));
        channel.tail.assign(kRangeHop, 0.0f);
    }
    Reset();
}

void ReferenceRange::Reset() {
    mSamples = 0;
    for (Channel& channel : mChannels) {
        channel.levels.assign(kRangeSpectrum, Levels{});
        channel.usableFrames = 0;
    }
}

bool ReferenceRange::Push(const std::vector<std::vector<float>>& audio, std::size_t first,
                          std::size_t frames) {
    if (frames < kRangeHop || frames % kRangeHop != 0) {
        return false;
    }
    mSamples += frames;
    for (std::size_t c = 0; c < mChannels.size(); ++c) {
        Channel& channel = mChannels[c];
        const std::span<const float> samples = std::span(audio[c]).subspan(first, frames);
        CountSamples(channel, samples);
        for (std::size_t at = 0; at < frames; at += kRangeHop) {
            const auto half = samples.subspan(at, kRangeHop);
            std::vector<float> frame = channel.tail;
            frame.insert(frame.end(), half.begin(), half.end());
            if (IsUsable(frame)) {
                CountFrame(channel, frame);
            }
            channel.tail.assign(half.begin(), half.end());
        }
    }
    return true;
}

// 511 steps from -1 to 0 and as many to 1. Single precision decides on which side of an edge a
// sample lies, within a few units of the last place of a position of up to 1024.
void ReferenceRange::CountSamples(Channel& channel, std::span<const float> samples) {
    constexpr double kDoubt = 2e-4;
    for (const float sample : samples) {
        const double position = (static_cast<double>(sample) + 1.0) * 511.0;
        // These three are whole in single precision too.
        const double doubt = sample == 0.0f || std::abs(sample) == 1.0f ? 0.0 : kDoubt;
        ++channel.steps[kPlain][Step(position, kSteps)];
        ++channel.steps[kDown][Step(position - doubt, kSteps)];
        ++channel.steps[kUp][Step(position + doubt, kSteps)];
    }
}

bool ReferenceRange::IsUsable(const std::vector<float>& frame) {
    constexpr double kLeastVariance = 1e-8;
    double mean = 0.0;
    std::size_t zeros = 0;
    for (const float sample : frame) {
        mean += sample / static_cast<double>(kRangeFrame);
        zeros += sample == 0.0f ? 1u : 0u;
    }
    double variance = 0.0;
    for (const float sample : frame) {
        variance += (sample - mean) * (sample - mean) / kRangeFrame;
    }
    // Sums of 1024 single-precision numbers are good to some millionths.
    if (std::abs(variance / kLeastVariance - 1.0) < 1e-4) {
        ++mDoubtfulFrames;
    }
    return zeros <= kRangeFrame / 10 && variance >= kLeastVariance;
}

void ReferenceRange::CountFrame(Channel& channel, const std::vector<float>& frame) {
    // A transform in single precision is off by some units of the last place of the spectrum's
    // root mean square, in every bin alike; the largest of 513 such errors stays below 24.
    constexpr double kTransformError = 24.0 / 16777216.0;
    // The logarithm, and the difference to -199 dB, in single precision.
    constexpr double kLevelError = 4e-5; // dB
    std::vector<testing::Number> spectrum(kRangeFrame);
    double squares = 0.0;
    for (std::size_t i = 0; i < kRangeFrame; ++i) {
        spectrum[i] = frame[i] * mWindow[i];
        squares += std::norm(spectrum[i]);
    }
    testing::Transform(spectrum);
    const double error = kTransformError * std::sqrt(squares);
    ++channel.usableFrames;
    for (std::size_t k = 0; k < kRangeSpectrum; ++k) {
        // Twice the plain transform, times the root of 1 / 2048.
        const double magnitude = std::sqrt(std::norm(spectrum[k])); // quicker than std::abs
        const auto position = [](double m) {
            const double power = 4.0 * m * m * 0.5 / kRangeFrame;
            return power > 0.0 ? 10.0 * std::log10(power) - kLowestLevel : -1.0;
        };
        const std::size_t plain = Step(position(magnitude), kLevels);
        const std::size_t down =
            Step(position(std::max(magnitude - error, 0.0)) - kLevelError, kLevels);
        const std::size_t up = Step(position(magnitude + error) + kLevelError, kLevels);
        ++channel.levels[k][plain][kPlain];
        ++channel.levels[k][down][kDown];
        ++channel.levels[k][up][kUp];
        mDoubtfulLevels += down != up ? 1u : 0u;
    }
}

// The last level before the one that holds the median, or the first; of everything below 0 dB.
// Where the counts lean, the total does too, in the way that moves the result further.
std::vector<int> ReferenceRange::MedianLevels(const Channel& channel, Lean lean) const {
    const Lean totalLean = lean == kPlain ? kPlain : lean == kDown ? kUp : kDown;
    std::vector<int> medians;
    for (std::size_t k = 0; k < kRangeSpectrum; ++k) {
        const Levels& counts = channel.levels[k];
        std::size_t total = 0;
        for (std::size_t i = 0; i + 1 < kLevels; ++i) {
            total += counts[i][totalLean];
        }
        int median = 0;
        std::size_t sum = 0;
        for (std::size_t i = 0; i + 1 < kLevels; ++i) {
            sum += counts[i][lean];
            if (2 * sum < total) {
                median = static_cast<int>(i);
            }
        }
        medians.push_back(median);
    }
    return medians;
}

std::vector<double> ReferenceRange::CutoffsOf(const std::vector<double>& spectrum) const {
    const double binsPerHertz = kRangeFrame / mRateHz;
    // What sums of 35 levels in single precision may be off by, in dB.
    const double doubt = 2e-4 * binsPerHertz;
    std::vector<double> slope(spectrum.size()); // the last one stays 0
    for (std::size_t i = 0; i + 1 < spectrum.size(); ++i) {
        slope[i] = (spectrum[i + 1] - spectrum[i]) * binsPerHertz;
    }
    std::vector<double> cutoffs;
    for (const double favour : {0.0, doubt, -doubt}) {
        const int position = FindFall(slope, favour);
        cutoffs.push_back(position < 0 ? kNoCutoff : position * mRateHz / kRangeFrame);
    }
    return cutoffs;
}

double ReferenceRange::Headroom(const std::vector<std::size_t>& steps) const {
    const double target = 0.00025 * static_cast<double>(mSamples);
    std::size_t sum = 0;
    std::size_t low = 0;
    std::size_t high = kSteps - 1;
    while (static_cast<double>(sum) < target && low < high) {
        sum += steps[low++] + steps[high--];
    }
    const std::size_t edge = low <= 1 ? 0 : low - 2;
    return 1.0 - std::abs(static_cast<double>(edge) / 511.0 - 1.0);
}

ReferenceRangeFigures ReferenceRange::Figures(std::size_t index) const {
    const Channel& channel = mChannels[index];
    ReferenceRangeFigures figures;
    std::vector<double> headrooms;
    for (const std::vector<std::size_t>& steps : channel.steps) {
        headrooms.push_back(Headroom(steps));
    }
    figures.headroomLow = *std::min_element(headrooms.begin(), headrooms.end());
    figures.headroomHigh = *std::max_element(headrooms.begin(), headrooms.end());
    figures.noiseFloorLow = figures.noiseFloorHigh = kNoNoiseFloor;
    figures.cutoffs = {kNoCutoff};
    if (channel.usableFrames == 0) {
        return figures;
    }
    std::array<std::vector<int>, kLeans> levels;
    std::array<double, kLeans> floors{};
    std::array<double, kLeans> deepest{}; // the lowest of the spectrum from bin 5 up
    std::set<double> cutoffs;
    for (const Lean lean : {kPlain, kDown, kUp}) {
        levels[lean] = MedianFiltered(MedianLevels(channel, lean));
        const std::vector<double> spectrum = Smoothed(LevelSpectrum(levels[lean]));
        for (auto level = spectrum.end() - 10; level != spectrum.end(); ++level) {
            floors[lean] += *level / 10.0;
        }
        deepest[lean] = *std::min_element(spectrum.begin() + 5, spectrum.end());
        const std::vector<double> answers = CutoffsOf(spectrum);
        cutoffs.insert(answers.begin(), answers.end());
    }
    figures.cutoffs.assign(cutoffs.begin(), cutoffs.end());
    constexpr double kFloorDoubt = 4e-4; // dB, of two means in single precision
    const bool may = floors[kDown] <= deepest[kUp] + 6.0 + kFloorDoubt;
    const bool must = floors[kUp] <= deepest[kDown] + 6.0 - kFloorDoubt;
    if (may) {
        figures.noiseFloorLow = floors[kDown];
        figures.noiseFloorHigh = floors[kUp];
        figures.noiseFloorMayMiss = !must;
    }
    figures.noiseFloorSettled = levels[kDown] == levels[kUp] && may == must;
    return figures;
}

} // namespace qel::test
