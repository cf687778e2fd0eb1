#include "tests/harness/DoubleTransform.h"
#include "tests/rhythm/beats/ReferenceBeats.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace qel::test {
namespace {

constexpr std::int32_t kNotEnoughData = -3864;

// The circular autocorrelation at the next power of two. The term at half the rate is left out of
// the spectrum, as it is where the library's transforms of one buffer drop it.
std::vector<float> Autocorrelation(std::span<const double> function) {
    const std::size_t size = std::bit_ceil(function.size());
    std::vector<std::complex<double>> values(size);
    for (std::size_t i = 0; i < function.size(); ++i) {
        values[i] = function[i];
    }
    testing::Transform(values);
    for (std::complex<double>& value : values) {
        value = std::norm(value);
    }
    values[size / 2] = 0.0;
    // The spectrum is real and even, so the forward transform serves as the inverse one.
    testing::Transform(values);
    std::vector<float> result(function.size());
    for (std::size_t i = 0; i < result.size(); ++i) {
        result[i] = static_cast<float>(values[i].real() / static_cast<double>(size * size));
    }
    return result;
}

void Normalize(std::vector<float>& values, std::size_t count) {
    const auto end = values.begin() + static_cast<std::ptrdiff_t>(count);
    const float top = *std::max_element(values.begin(), end);
    std::for_each(values.begin(), end, [top](float& value) { value /= top; });
}

class Estimator {
public:
    Estimator(std::span<const double> function, double rateHz, std::uint32_t hint)
        : mFunction(function),
          mFrameRate(static_cast<float>(rateHz) / static_cast<float>(kBeatHopSize)) {
        SetHint(hint);
    }

    Tempi Run() {
        Tempi tempi;
        tempi.status = Estimate(tempi);
        tempi.hint = mHint;
        return tempi;
    }

private:
    void SetHint(std::uint32_t hint) {
        mHint = hint;
        mCentre = hint == 0 ? 60.0f : 120.0f;
        mMin = hint == 0 ? 20.0f : 50.0f;
        mMax = hint == 0 ? 110.0f : 220.0f;
    }

    // A Gaussian in octaves about the centre tempo.
    float Preference(std::size_t lag) const {
        const float ratio = (mFrameRate * 60.0f) / (0.1f + static_cast<float>(lag)) / mCentre;
        const float u = 0.7f * (std::log(ratio) / std::log(2.0f));
        return std::exp(-0.5f * u * u);
    }

    float BpmAt(float lag) const { return 60.0f / (lag / mFrameRate); }

    bool IsOutside(float tempo) const {
        return !(tempo > 0.0f || tempo < 0.0f) || mMin >= tempo || tempo >= mMax;
    }

    // The highest peak at or above the shortest lag: its lag and value, 0 and 0 without any peak.
    struct Peak {
        std::size_t lag = 0;
        float value = 0.0f;
    };
    Peak HighestPeak(const std::vector<float>& acf, std::size_t maxLag) const {
        const auto minLag = static_cast<std::size_t>(static_cast<double>(mFrameRate) * 60.0 /
                                                     static_cast<double>(mMax));
        Peak best;
        for (std::size_t lag = 1; lag + 1 < maxLag; ++lag) {
            const bool isPeak =
                acf[lag] > acf[lag - 1] && acf[lag] > acf[lag + 1] && acf[lag] > 0.0f;
            if (isPeak && lag >= minLag && acf[lag] > best.value) {
                best = {lag, acf[lag]};
            }
        }
        return best;
    }

    std::int32_t Estimate(Tempi& tempi) {
        tempi.tempo1 = 0.0f;
        tempi.tempo2 = 0.0f;
        const auto maxLag = static_cast<std::size_t>(std::round(2.1f * mFrameRate));
        if (mFunction.size() < maxLag) {
            return kNotEnoughData;
        }
        std::vector<float> acf = Autocorrelation(mFunction);
        Normalize(acf, maxLag);
        for (std::size_t lag = 0; lag < maxLag; ++lag) {
            acf[lag] *= Preference(lag);
        }
        const Peak peak = HighestPeak(acf, maxLag);
        float score1 = peak.value;
        float score2 = 0.0f;
        if (peak.lag != 0) {
            const auto lag = static_cast<float>(peak.lag);
            tempi.tempo1 = std::round(BpmAt(lag));
            for (const float candidate : {lag * 0.3333333134651184f, lag * 0.5f, lag + lag}) {
                const auto bin = static_cast<std::size_t>(std::round(candidate));
                const float bpm = BpmAt(candidate);
                if (bin < maxLag && acf[bin] > score2 && bpm <= mMax && bpm >= mMin) {
                    score2 = acf[bin];
                    tempi.tempo2 = std::round(bpm);
                }
            }
        }
        ++mPasses;
        const auto isZero = [](float value) { return !(value < 0.0f) && !(value > 0.0f); };
        if ((isZero(tempi.tempo1) || isZero(tempi.tempo2)) && mPasses <= 1) {
            SetHint(mHint == 1 ? 0 : 1);
            // The outputs are the second estimate's; the scores stay the ones found here.
            Estimate(tempi);
        }
        if (isZero(tempi.tempo1) && isZero(tempi.tempo2) && mPasses > 1) {
            return -1;
        }
        if (IsOutside(tempi.tempo2)) {
            tempi.tempo2 = tempi.tempo1;
            score2 = score1;
        }
        if (IsOutside(tempi.tempo1)) {
            tempi.tempo1 = tempi.tempo2;
            score1 = score2;
        }
        const float sum = score1 + score2;
        tempi.confidence = isZero(sum) ? 0.0f : score1 / sum;
        return 0;
    }

    std::span<const double> mFunction;
    float mFrameRate;
    std::uint32_t mHint = 1;
    float mCentre = 0.0f;
    float mMin = 0.0f;
    float mMax = 0.0f;
    int mPasses = 0;
};

} // namespace

Tempi EstimateTempi(std::span<const double> function, double rateHz, std::uint32_t hint) {
    return Estimator(function, rateHz, hint).Run();
}

} // namespace qel::test
