#include "rhythm/beats/MeterMatrix.h"

#include "rhythm/beats/LagProducts.h"
#include "spectral/FFTSetupOwner.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>

namespace qel::core {

namespace {

constexpr UInt32 kLags = MeterMatrix::kLagCount;
// Phases that a smoothed row is extended to, so that it can be shifted by a whole row.
constexpr UInt32 kExtended = 2 * kLags;
// Shifted by up to a row, the extended row does not wrap in a transform of this size.
constexpr UInt32 kLog2Transform = 12;
constexpr UInt32 kTransform = 1u << kLog2Transform;
constexpr UInt32 kHalf = kTransform / 2;
static_assert(kExtended <= kTransform);

constexpr UInt32 kShiftsPerReport = 100;

// The row of a lag that the signal is too short for.
constexpr std::array<float, kLags> kNoProducts{};

// out[i] = next[i] + (here[i] + before[i]).
void SumOfThree(const float* next, const float* here, const float* before, float* out, UInt32 n) {
    for (UInt32 i = 0; i < n; ++i) {
        out[i] = next[i] + (here[i] + before[i]);
    }
}

// A packed real spectrum.
struct Spectrum {
    std::array<float, kHalf> real{};
    std::array<float, kHalf> imaginary{};

    DSPSplitComplex Split() { return {real.data(), imaginary.data()}; }

    void Transform(FFTSetup setup, const float* samples) {
        const DSPSplitComplex split = Split();
        vDSP_ctoz(reinterpret_cast<const DSPComplex*>(samples), 2, &split, 1, kHalf);
        vDSP_fft_zrip(setup, &split, 1, kLog2Transform, FFT_FORWARD);
    }
};

// Adds conj(a) * b to the sum. The first bin holds two real terms, at 0 and at half the rate.
void AddCorrelation(Spectrum& a, Spectrum& b, Spectrum& product, Spectrum& sum) {
    const float constant = sum.real[0] + a.real[0] * b.real[0];
    const float nyquist = sum.imaginary[0] + a.imaginary[0] * b.imaginary[0];
    const DSPSplitComplex splitA = a.Split();
    const DSPSplitComplex splitB = b.Split();
    const DSPSplitComplex splitProduct = product.Split();
    const DSPSplitComplex splitSum = sum.Split();
    vDSP_zvmul(&splitA, 1, &splitB, 1, &splitProduct, 1, kHalf, -1);
    vDSP_zvadd(&splitSum, 1, &splitProduct, 1, &splitSum, 1, kHalf);
    sum.real[0] = constant;
    sum.imaginary[0] = nyquist;
}

// Repeats the first `period` values of a row up to kExtended values.
void Extend(const float* row, UInt32 period, float* extended) {
    for (UInt32 start = 0; start < kExtended; start += period) {
        std::copy_n(row, std::min(period, kExtended - start), extended + start);
    }
}

} // namespace

// Too large for the stack of a client's thread.
struct MeterMatrix::Smoothing {
    std::array<float, kLags + 2> phases;          // of a lag, with zeros for the phases beyond it
    std::array<std::array<float, kLags>, 3> sums; // of the lag before, the lag, the lag behind
};

MeterMatrix::MeterMatrix(UInt32 frames)
    : mPhases(std::size_t{std::min(frames, kLags)} * kLags),
      mSmoothing(std::make_unique<Smoothing>()), mFrames(frames) {}

MeterMatrix::~MeterMatrix() = default;

const float* MeterMatrix::Row(UInt32 lag) const {
    return lag <= mFrames ? mPhases.data() + std::size_t{lag - 1} * kLags : kNoProducts.data();
}

void MeterMatrix::Accumulate(const float* signal) {
    ++mChannels;
    for (UInt32 lag = 1; lag <= kLags && lag < mFrames; ++lag) {
        float* const row = mPhases.data() + std::size_t{lag - 1} * kLags;
        const UInt32 products = mFrames - lag;
        AddLagProducts(signal, mFrames, lag, row);
        for (UInt32 p = 0; p < std::min(lag, products); ++p) {
            const UInt32 count = mChannels * ((products - 1 - p) / lag + 1);
            row[p] *= 1.0f / static_cast<float>(count);
        }
    }
}

void MeterMatrix::SmoothedRow(UInt32 lag, float* row) const {
    // Over phases first, then over lags.
    auto& [phases, sums] = *mSmoothing;
    for (UInt32 i = 0; i < 3; ++i) {
        const UInt32 neighbour = lag - 1 + i;
        if (neighbour < 1 || neighbour > kLags) {
            sums[i].fill(0.0f);
            continue;
        }
        std::copy_n(Row(neighbour), kLags, phases.data() + 1);
        SumOfThree(phases.data() + 2, phases.data() + 1, phases.data(), sums[i].data(), kLags);
    }
    SumOfThree(sums[2].data(), sums[1].data(), sums[0].data(), row, kLags);
}

std::vector<float> MeterMatrix::Repetition(const std::function<bool(UInt32 shift)>& goesOn) const {
    const FFTSetupOwner setup(vDSP_create_fftsetup(kLog2Transform, kFFTRadix2));
    if (setup == nullptr) {
        throw std::bad_alloc();
    }
    const auto spectra = std::make_unique<std::array<Spectrum, 4>>();
    auto& [smoothed, extended, product, sum] = *spectra;
    std::vector<float> row(kTransform);
    std::vector<float> repeated(kTransform);
    for (UInt32 lag = 1; lag <= kLags; ++lag) {
        if ((lag - 1) % kShiftsPerReport == 0 && !goesOn(lag - 1)) {
            return {};
        }
        if (lag > mFrames) {
            continue; // no lag that a row is smoothed from has a product
        }
        SmoothedRow(lag, row.data());
        Extend(row.data(), lag, repeated.data());
        smoothed.Transform(setup.get(), row.data());
        extended.Transform(setup.get(), repeated.data());
        AddCorrelation(smoothed, extended, product, sum);
    }
    const DSPSplitComplex split = sum.Split();
    vDSP_fft_zrip(setup.get(), &split, 1, kLog2Transform, FFT_INVERSE);
    vDSP_ztoc(&split, 1, reinterpret_cast<DSPComplex*>(row.data()), 2, kHalf);
    // Both forward transforms are doubled, and the way back multiplies by the size.
    constexpr float kScale = 1.0f / (4.0f * kTransform);
    vDSP_vsmul(row.data(), 1, &kScale, row.data(), 1, kLags);
    row.resize(kLags);
    return row;
}

} // namespace qel::core
