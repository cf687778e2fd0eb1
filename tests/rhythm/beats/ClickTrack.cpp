#include "tests/rhythm/beats/ClickTrack.h"

#include "tests/rhythm/beats/ReferenceBeats.h"

#include <cmath>
#include <cstddef>
#include <random>

namespace qel::test {
namespace {

constexpr double kDecaySeconds = 0.0005;
constexpr double kClickLevel = 0.5;
constexpr double kFloorLevel = 1e-4;

// The genre hints.
struct TempoRange {
    double centreBPM;
    double lowestBPM;
    double highestBPM;
};
constexpr TempoRange kDefaultRange{120.0, 50.0, 220.0};
constexpr TempoRange kSlowRange{60.0, 20.0, 110.0};

// The autocorrelation of equal clicks has equal peaks at the whole lags nearest to multiples of
// their distance, but for the pairs that the track's end takes away and for the preference.
class ClickLags {
public:
    ClickLags(double clicksBPM, double rateHz, const TempoRange& range)
        : mFrameRate(FunctionRate(rateHz)), mDistance(60.0 * mFrameRate / clicksBPM),
          mRange(range) {
        const double shortest = std::floor(60.0 * mFrameRate / range.highestBPM);
        double best = 0.0;
        for (int k = 1; Lag(k) < LongestLag(); ++k) {
            if (Lag(k) >= shortest && Height(k) > best) {
                best = Height(k);
                mWinner = k;
            }
        }
        mTempo1 = Tempo(Lag(mWinner));
        double height = 0.0;
        for (const double factor : {1.0 / 3.0, 0.5, 2.0}) {
            // There are clicks only at multiples of their distance.
            const double multiple = mWinner * factor;
            const auto k = static_cast<int>(std::lround(multiple));
            const double tempo = Tempo(Lag(mWinner) * factor);
            if (std::abs(multiple - k) < 0.1 && Lag(k) < LongestLag() && Height(k) > height &&
                tempo >= range.lowestBPM && tempo <= range.highestBPM) {
                height = Height(k);
                mTempo2 = tempo;
            }
        }
    }

    bool HasSecondTempo() const { return mTempo2 > 0.0; }

    // Here the bounds of the range count as outside.
    bool Gives(double clicksBPM) const {
        for (const double tempo : {std::round(mTempo1), std::round(mTempo2)}) {
            if (std::abs(tempo - clicksBPM) < 0.5 && tempo > mRange.lowestBPM &&
                tempo < mRange.highestBPM) {
                return true;
            }
        }
        return false;
    }

private:
    double LongestLag() const { return std::round(2.1 * mFrameRate); }
    double Lag(int k) const { return std::round(k * mDistance); }
    double Tempo(double lag) const { return 60.0 * mFrameRate / lag; }
    double Height(int k) const {
        constexpr double kClicks = 60.0; // of a long track
        const double u = 0.7 * std::log2(Tempo(Lag(k)) / mRange.centreBPM);
        return (kClicks - k) * std::exp(-0.5 * u * u);
    }

    double mFrameRate;
    double mDistance; // of clicks, in function frames
    TempoRange mRange;
    int mWinner = 1;
    double mTempo1 = 0.0;
    double mTempo2 = 0.0;
};

} // namespace

std::vector<float> ClickTrack(double rateHz, double clicksBPM, double seconds) {
    std::mt19937 generator(5);
    const auto noise = [&] { return static_cast<double>(generator()) / 2147483648.0 - 1.0; };
    std::vector<float> samples(static_cast<std::size_t>(seconds * rateHz));
    for (float& sample : samples) {
        sample = static_cast<float>(kFloorLevel * noise());
    }
    std::vector<double> click(static_cast<std::size_t>(10.0 * kDecaySeconds * rateHz));
    for (std::size_t i = 0; i < click.size(); ++i) {
        const double t = static_cast<double>(i) / rateHz;
        click[i] = kClickLevel * std::exp(-t / kDecaySeconds) * noise();
    }
    for (int k = 0;; ++k) {
        const double start = kFirstClickSeconds + k * 60.0 / clicksBPM;
        const auto first = static_cast<std::size_t>(std::llround(start * rateHz));
        if (first >= samples.size()) {
            return samples;
        }
        for (std::size_t i = 0; i < click.size() && first + i < samples.size(); ++i) {
            samples[first + i] += static_cast<float>(click[i]);
        }
    }
}

bool RulesAllow(double clicksBPM, double rateHz) {
    const ClickLags lags(clicksBPM, rateHz, kDefaultRange);
    // With one tempo alone, the other range takes the default one's place.
    return lags.HasSecondTempo() ? lags.Gives(clicksBPM)
                                 : ClickLags(clicksBPM, rateHz, kSlowRange).Gives(clicksBPM);
}

double BeatOffsetSeconds(double periodFrames, double rateHz) {
    // The function rises while a click moves from the frame's end up to the middle of the window.
    // The rise in dB times the level is, for small steps, the window's own slope w', and the centre
    // of w' over the rising half of this window lies in the middle of that half. So the centre is
    // the frame whose end lies a quarter of a frame after the click, and its time is that of its
    // first sample.
    const double frameSamples = 0.75 * static_cast<double>(kBeatFrameSize);
    // The smoothed function is read after the smoothing's centre: 0.05 of a period, and rounding.
    const double smoothingFrames = -SmoothingShift(static_cast<float>(periodFrames));
    // The high-pass leaves a tail of -0.01 after each peak. Under a Gaussian g of deviation s the
    // maximum of both is where g' = 0.01 g, which is 0.01 s^2 early.
    const double deviation = periodFrames / 32.0;
    const double tailFrames = 0.01 * deviation * deviation;
    return -((smoothingFrames + tailFrames) * static_cast<double>(kBeatHopSize) + frameSamples) /
           rateHz;
}

} // namespace qel::test
