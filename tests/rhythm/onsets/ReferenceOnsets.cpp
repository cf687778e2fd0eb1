#include "tests/rhythm/onsets/ReferenceOnsets.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>

namespace qel::test {
namespace {

constexpr float kTwoPi = 6.2831854820251465f;
constexpr float kErbPerLog = 9.265000343322754f;
constexpr float kErbCornerHz = 228.84552001953125f;
constexpr float kErbAtZeroHz = 24.700000762939453f;
constexpr double kLowerCutoffHz = 235.0;
constexpr double kUpperCutoffHz = 14500.0;

constexpr double kDifferenceWeight = 0.8999999761581421;
constexpr double kMu = 10.0;
constexpr double kPole = static_cast<double>(0.998866856098175f);
constexpr double kSmoothingGain = static_cast<double>(1.0f - 0.998866856098175f);
constexpr double kStrongLevel = 0.75;
constexpr int kDoubleHitFrames = 1024;

enum class Verdict { kNo, kMaybe, kYes };

// Whether an excess is at least 0, or above 0, where `doubt` is its error.
Verdict IsAtLeast(double excess, double doubt) {
    return excess >= doubt ? Verdict::kYes : excess >= -doubt ? Verdict::kMaybe : Verdict::kNo;
}

Verdict IsAbove(double excess, double doubt) {
    return excess > doubt ? Verdict::kYes : excess > -doubt ? Verdict::kMaybe : Verdict::kNo;
}

Verdict IsPeak(std::span<const double> x, std::size_t i, const Doubts& doubts) {
    const double doubt = doubts.neighbour * x[i] + doubts.least;
    return x[i] > doubts.faint ? IsAbove(x[i] - std::max(x[i - 1], x[i + 1]), doubt) : Verdict::kNo;
}

// One way through the decisions so far, with the found onsets as the only ones.
struct Way {
    std::size_t lastCandidate = 0; // 0: none yet; the first sample is no candidate
    std::size_t matched = 0;       // found onsets that came out

    auto operator<=>(const Way&) const = default;
};

// Goes all ways that the decisions in doubt leave open, from peak to peak, as long as the found
// onsets come out.
class Follower {
public:
    Follower(std::span<const double> curve, int window, const ReferenceOnsetList& found,
             const Doubts& doubts)
        : mCurve(curve), mWindow(window), mFound(found), mDoubts(doubts) {}

    Agreement Follow() {
        Agreement agreement;
        std::set<Way> ways = {Way{}};
        for (const Peak& peak : PeaksOf(mCurve, mDoubts)) {
            std::set<Way> next;
            for (const Way& way : ways) {
                if (!peak.isSure || IsNear(way, peak.frame)) {
                    next.insert(way);
                }
                if (!IsNear(way, peak.frame)) {
                    Advance(way, peak.frame, next);
                }
            }
            ways = std::move(next);
            if (ways.empty()) {
                agreement.frame = peak.frame;
                return agreement;
            }
        }
        agreement.frame = mCurve.size();
        for (const Way& way : ways) {
            agreement.holds = agreement.holds || way.matched == mFound.size();
        }
        return agreement;
    }

private:
    bool IsNear(const Way& way, std::size_t at) const {
        const int distance = mWindow / 4;
        return distance > 0 && way.lastCandidate > 0 &&
               at - way.lastCandidate < static_cast<std::size_t>(distance);
    }

    // A candidate, which becomes an onset, or does not, or either.
    void Advance(Way way, std::size_t at, std::set<Way>& next) {
        const Verdict verdict = std::min(ReachesMedian(at), IsClear(way, at));
        way.lastCandidate = at;
        if (verdict != Verdict::kYes) {
            next.insert(way);
        }
        if (verdict != Verdict::kNo && IsFound(way.matched, at)) {
            ++way.matched;
            next.insert(way);
        }
    }

    bool IsFound(std::size_t index, std::size_t at) const {
        return index < mFound.size() && mFound[index].frame == at &&
               std::abs(mFound[index].strength - mCurve[at]) <= mDoubts.level * mCurve[at];
    }

    Verdict ReachesMedian(std::size_t at) {
        if (mWindow <= 0) { // leaves the candidate alone with itself
            return Verdict::kYes;
        }
        const auto window = static_cast<std::size_t>(mWindow);
        const auto [median, isNew] = mMedians.try_emplace(at, 0.0);
        if (isNew) {
            const std::size_t lo = at > window ? at - window : 0;
            const std::size_t hi = std::min(at + window, mCurve.size());
            median->second = InclusiveMedian(mCurve, lo, hi);
        }
        return IsAtLeast(mCurve[at] - median->second, mDoubts.level * mCurve[at]);
    }

    Verdict IsClear(const Way& way, std::size_t at) const {
        Verdict verdict = Verdict::kYes;
        for (std::size_t i = 0; i < way.matched; ++i) {
            const auto distance = static_cast<int>(at - mFound[i].frame);
            if (distance < mWindow) {
                verdict =
                    std::min(verdict, distance > kDoubleHitFrames
                                          ? Verdict::kNo
                                          : IsAtLeast(mCurve[at] - kStrongLevel, mDoubts.level));
            }
        }
        return verdict;
    }

    std::span<const double> mCurve;
    int mWindow;
    const ReferenceOnsetList& mFound;
    Doubts mDoubts;
    std::map<std::size_t, double> mMedians;
};

// What rings down in silence ends here, above the smallest normal number, as many processors take a
// hundred times as long for the numbers below that. OnsetCurve has the same bits: the compression
// adds 1 to what is left, and to anything below 1e-16 that makes 1.
double WithoutRest(double value) {
    constexpr double kRest = 1e-290;
    return std::abs(value) < kRest ? 0.0 : value;
}

} // namespace

void ReferenceBand::Step(double sample) {
    for (std::size_t stage = 3; stage < 4; --stage) {
        const double inputReal = stage > 0 ? real[stage - 1] : gain * sample;
        const double inputImag = stage > 0 ? imag[stage - 1] : 0.0;
        const double oldReal = real[stage];
        real[stage] = WithoutRest(realPole * oldReal - imagPole * imag[stage] + inputReal);
        imag[stage] = WithoutRest(realPole * imag[stage] + imagPole * oldReal + inputImag);
    }
}

ReferenceBand MakeReferenceBand(double rateHz, double centreHz) {
    constexpr float kShape = static_cast<float>(static_cast<double>(3.1415927410125732f) * 720.0 /
                                                64.0 / (6.0 * 6.0)); // of order 4
    const auto rate = static_cast<float>(rateHz);
    const auto centre = static_cast<float>(centreHz);
    const float bandwidth = (kErbAtZeroHz + centre / kErbPerLog) / kShape;
    const float radius = std::exp(-kTwoPi * bandwidth / rate);
    const float angle = kTwoPi * centre / rate;
    ReferenceBand band;
    band.centreHz = static_cast<double>(centre);
    band.realPole = static_cast<double>(
        static_cast<float>(static_cast<double>(radius) * std::cos(static_cast<double>(angle))));
    band.imagPole = static_cast<double>(
        static_cast<float>(static_cast<double>(radius) * std::sin(static_cast<double>(angle))));
    band.gain = 2.0 * std::pow(static_cast<double>(1.0f - radius), 4.0);
    return band;
}

std::vector<ReferenceBand> MakeReferenceBank(double rateHz) {
    const double perLog = static_cast<double>(kErbPerLog);
    const double corner = static_cast<double>(kErbCornerHz);
    const auto erbOf = [&](double hz) { return perLog * std::log(1.0 + hz / corner); };
    std::vector<ReferenceBand> bank;
    for (double erb = erbOf(kLowerCutoffHz); erb <= erbOf(kUpperCutoffHz); erb += 1.0) {
        bank.push_back(MakeReferenceBand(rateHz, corner * (std::exp(erb / perLog) - 1.0)));
    }
    return bank;
}

std::vector<std::vector<double>> BandSum(const std::vector<std::vector<float>>& audio,
                                         double rateHz, std::size_t blockFrames,
                                         std::size_t silentFrames) {
    std::vector<ReferenceBand> bank = MakeReferenceBank(rateHz);
    const std::size_t frames = audio.at(0).size();
    std::vector<std::vector<double>> sums(audio.size(), std::vector<double>(frames + silentFrames));
    for (std::size_t start = 0; start < frames + silentFrames;) {
        const std::size_t end =
            start < frames ? std::min(start + blockFrames, frames) : frames + silentFrames;
        for (std::size_t c = 0; c < audio.size(); ++c) {
            for (ReferenceBand& band : bank) {
                for (std::size_t i = start; i < end; ++i) {
                    band.Step(i < frames ? static_cast<double>(audio[c][i]) : 0.0);
                    sums[c][i] += band.real[3];
                }
            }
        }
        start = end;
    }
    return sums;
}

std::vector<double> OnsetCurve(std::span<const double> bandSum) {
    const std::size_t n = bandSum.size();
    std::vector<double> curve(n);
    for (std::size_t i = 0; i + 1 < n; ++i) {
        const double difference = (bandSum[i] - bandSum[i + 1]) * kDifferenceWeight +
                                  (1.0 - kDifferenceWeight) * bandSum[i];
        curve[i] = std::log(1.0 + kMu * std::max(difference, 0.0)) / std::log(1.0 + kMu);
    }
    double smoothed = 0.0;
    double greatest = 0.0;
    for (std::size_t i = n; i-- > 0;) {
        smoothed = kPole * smoothed + kSmoothingGain * curve[i];
        curve[i] = smoothed;
        greatest = std::max(greatest, smoothed);
    }
    if (greatest > 0.0) { // of silence nothing can be a peak, whatever its curve
        for (double& value : curve) {
            value /= greatest;
        }
    }
    return curve;
}

int OnsetWindow(std::size_t frames, float sensitivity) {
    const auto sixteenth = static_cast<float>(frames / 16);
    const float reach = sixteenth * ((100.0f - sensitivity) / 100.0f);
    return static_cast<int>(2048.0 + std::rint(static_cast<double>(reach)));
}

double InclusiveMedian(std::span<const double> x, std::size_t lo, std::size_t hi) {
    const std::span<const double> inside = x.subspan(lo, std::min(hi + 1, x.size()) - lo);
    std::vector<double> values(inside.begin(), inside.end());
    values.resize(hi - lo + 1); // after the end are zeros
    // Of an odd number of values these two are one. Both are at most the last.
    const std::size_t last = values.size() - 1;
    const auto lower = static_cast<std::ptrdiff_t>(std::min((values.size() + 1) / 2, last));
    const auto upper = static_cast<std::ptrdiff_t>(std::min((values.size() + 2) / 2, last));
    // Tens of thousands of values are not worth sorting for two.
    std::nth_element(values.begin(), values.begin() + upper, values.end());
    std::nth_element(values.begin(), values.begin() + lower, values.begin() + upper);
    return 0.5 * (values.begin()[lower] + values.begin()[upper]);
}

std::vector<Peak> PeaksOf(std::span<const double> curve, const Doubts& doubts) {
    std::vector<Peak> peaks;
    for (std::size_t i = 1; i + 1 < curve.size(); ++i) {
        const Verdict verdict = IsPeak(curve, i, doubts);
        if (verdict != Verdict::kNo) {
            peaks.push_back({i, verdict == Verdict::kYes});
        }
    }
    return peaks;
}

Agreement Agrees(std::span<const double> curve, int window, const ReferenceOnsetList& found,
                 const Doubts& doubts) {
    return Follower(curve, window, found, doubts).Follow();
}

} // namespace qel::test
