#include "pitch/ToneSpectrum.h"

#include "elementary/Functions.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace qel::core {

namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr double kMean = 0.54;        // of the window
constexpr double kSide = 0.46 / 2.0;  // of each of its two sines
constexpr double kLoneSample = 0.08;  // 0.54 - 0.46: one entry alone is the first
constexpr double kMainLobeBins = 2.0; // to each side

using elementary::SinCos;
using elementary::SineAndCosine;

std::complex<double> Unit(double angle) {
    const auto [sine, cosine] = SinCos(angle);
    return {cosine, sine};
}

// The language's own product calls a function of the compiler's library for what is no number.
std::complex<double> Product(std::complex<double> a, std::complex<double> b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

// sin(length * x) / sin(x), whose limit where both vanish is the length or its negative.
double Ratio(double sineOfLength, double cosineOfLength, double sine, double cosine,
             double length) {
    constexpr double kVanishing = 1e-9;
    return std::abs(sine) > kVanishing ? sineOfLength / sine : length * cosineOfLength / cosine;
}

} // namespace

ToneSpectrum::ToneSpectrum(UInt32 length, float qFactor, UInt32 size)
    : mLength(length), mSize(size),
      mStep(static_cast<float>(kTwoPi * static_cast<double>(qFactor) / length)), mEnd(size) {
    const double last = std::max(length, 2u) - 1.0;
    const SineAndCosine step = SinCos(0.5 * kTwoPi / last);
    const SineAndCosine side = SinCos(0.5 * kTwoPi / last * length);
    mHalfWindowSine = step.sine;
    mHalfWindowCosine = step.cosine;
    mSideSine = side.sine;
    mSideCosine = side.cosine;
    mBlockLength = (length + kBlocks - 1) / kBlocks;
    SumDifferences();
    const double bin = static_cast<double>(size) / length;
    const double centre = mStep / kTwoPi * size;
    const double first = std::floor(centre - kMainLobeBins * bin);
    const double end = std::ceil(centre + kMainLobeBins * bin) + 1.0;
    if (length >= kLeastLength && first >= 0.0 && end <= size) {
        mFirst = static_cast<UInt32>(first);
        mEnd = static_cast<UInt32>(end);
    }
}

// The window changes little within a block, and counts with its value in the middle.
void ToneSpectrum::SumDifferences() {
    constexpr UInt32 kSums = 4; // one alone would wait for itself
    const double turn = kTwoPi / (std::max(mLength, 2u) - 1.0);
    for (UInt32 block = 0; block * mBlockLength < mLength; ++block) {
        const UInt32 start = block * mBlockLength;
        const UInt32 end = std::min(start + mBlockLength, mLength);
        double sums[kSums] = {};
        for (UInt32 n = start; n < end; ++n) {
            const float phase = static_cast<float>(n) * mStep;
            sums[n % kSums] += static_cast<double>(phase) - n * static_cast<double>(mStep);
        }
        const double middle = 0.5 * (start + end - 1.0);
        const double window = (kMean - 2.0 * kSide * elementary::Cos(turn * middle)) / mLength;
        mDifferences[block] = window * ((sums[0] + sums[1]) + (sums[2] + sums[3]));
    }
}

std::complex<double> ToneSpectrum::At(UInt32 place) const {
    if (mLength == 1) {
        return kLoneSample;
    }
    const double angle = static_cast<double>(mStep) - kTwoPi * place / mSize;
    return Windowed(angle) + Differences(angle);
}

// The sum over n of window[n] e^(i angle n): three geometric series about the middle of the kernel,
// where those of the window's two sines have the opposite sign.
std::complex<double> ToneSpectrum::Windowed(double angle) const {
    const SineAndCosine half = SinCos(0.5 * angle);
    const SineAndCosine whole = SinCos(0.5 * angle * mLength);
    const auto ratio = [&](double sign) {
        const double windowSine = sign * mHalfWindowSine;
        const double sideSine = sign * mSideSine;
        return Ratio(whole.sine * mSideCosine + whole.cosine * sideSine,
                     whole.cosine * mSideCosine - whole.sine * sideSine,
                     half.sine * mHalfWindowCosine + half.cosine * windowSine,
                     half.cosine * mHalfWindowCosine - half.sine * windowSine, mLength);
    };
    const double middle = Ratio(whole.sine, whole.cosine, half.sine, half.cosine, mLength);
    const double sum = kMean * middle + kSide * (ratio(1.0) + ratio(-1.0));
    // e^(i angle (length - 1) / 2).
    return Product({whole.cosine * half.cosine + whole.sine * half.sine,
                    whole.sine * half.cosine - whole.cosine * half.sine},
                   sum / mLength);
}

// i times the sum over the blocks of their differences, each turned as its middle is: four
// polynomials in the fourth power of a block's turn, which do not wait for each other.
std::complex<double> ToneSpectrum::Differences(double angle) const {
    constexpr UInt32 kChains = 4;
    const std::complex<double> turn = Unit(angle * mBlockLength);
    const std::complex<double> twice = Product(turn, turn);
    const std::complex<double> power = Product(twice, twice);
    std::complex<double> sums[kChains] = {};
    for (UInt32 block = kBlocks; block > 0; block -= kChains) {
        for (UInt32 chain = 0; chain < kChains; ++chain) {
            sums[chain] = Product(sums[chain], power) + mDifferences[block - kChains + chain];
        }
    }
    const std::complex<double> even = sums[0] + Product(sums[2], twice);
    const std::complex<double> odd = sums[1] + Product(sums[3], twice);
    const std::complex<double> middle = Unit(0.5 * angle * (mBlockLength - 1.0));
    const std::complex<double> sum = Product(middle, even + Product(turn, odd));
    return {-sum.imag(), sum.real()};
}

} // namespace qel::core
