#include "pitch/FrameTransform.h"

#include "elementary/Functions.h"
#include "pitch/FrameTransformPasses.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <numbers>
#include <utility>

namespace qel::core {

namespace {

// The least frame that is folded.
constexpr UInt32 kLeastFolded = 32;

// Floats between arrays of one length. The offset keeps them off the same places of the processor's
// caches, which arrays that lie a power of two apart would fight for.
constexpr std::size_t kGap = 48;

// One pass decides the usual case: a finite sum has finite terms.
bool AreFinite(const float* values, std::size_t count) {
    float sum = 0.0f;
    vDSP_sve(values, 1, &sum, count);
    return std::isfinite(sum) ||
           std::all_of(values, values + count, [](float x) { return std::isfinite(x); });
}

} // namespace

FrameTransform::FrameTransform(UInt32 log2Size, UInt32 frameSamples, UInt32 places)
    : mLog2Size(log2Size), mSize(UInt32{1} << log2Size), mFrameSamples(frameSamples),
      mPlaces(places), mIsFolded(frameSamples == mSize / 2 && frameSamples >= kLeastFolded) {
    mSetup.reset(vDSP_create_fftsetup(mIsFolded ? log2Size - 2 : log2Size, kFFTRadix2));
    if (mSetup == nullptr) {
        throw std::bad_alloc();
    }
    if (mIsFolded) {
        MakeFactors();
    }
}

void FrameTransform::MakeFactors() {
    const std::size_t count = mFrameSamples / 4;
    mFactors.resize(2 * kTurns * (count + kGap));
    for (std::size_t turn = 0; turn < kTurns; ++turn) {
        float* const cosines = &mFactors[2 * turn * (count + kGap)];
        float* const sines = cosines + count + kGap;
        for (std::size_t n = 0; n < count; ++n) {
            const double angle =
                std::numbers::pi * static_cast<double>((turn + 1) * n) / mFrameSamples;
            const auto [sine, cosine] = elementary::SinCos(angle);
            cosines[n] = static_cast<float>(2.0 * cosine);
            sines[n] = static_cast<float>(2.0 * sine);
        }
    }
}

std::size_t FrameTransform::ScratchFloats() const {
    return mIsFolded ? 2 * (1 + kTurns) * (mSize / 8 + kGap) + mSize / 4 : std::size_t{2} * mSize;
}

bool FrameTransform::Run(const float* frame, float* scratch,
                         const DSPSplitComplex& spectrum) const {
    return mIsFolded ? RunFolded(frame, scratch, spectrum) : RunWhole(frame, scratch, spectrum);
}

bool FrameTransform::RunFolded(const float* frame, float* scratch,
                               const DSPSplitComplex& spectrum) const {
    const std::size_t count = mSize / 8;
    const std::size_t step = count + kGap;
    const auto part = [&](std::size_t n) {
        return DSPSplitComplex{scratch + 2 * n * step, scratch + (2 * n + 1) * step};
    };
    const auto factors = [&](std::size_t turn) {
        const float* const cosines = &mFactors[2 * turn * step];
        return TurnFactors{cosines, cosines + step};
    };
    const DSPSplitComplex fourth = part(0);
    const DSPSplitComplex turned[kTurns] = {part(1), part(2), part(3)};
    float* const folded = scratch + 2 * (1 + kTurns) * step;
    FoldFrame(frame, {factors(0), factors(1), factors(2)}, folded, turned, count);
    const DSPSplitComplex pairs = {folded, folded + 1};
    vDSP_fft_zrop(mSetup.get(), &pairs, 2, &fourth, 1, mLog2Size - 2, kFFTDirection_Forward);
    for (const DSPSplitComplex& values : turned) {
        vDSP_fft_zip(mSetup.get(), &values, 1, mLog2Size - 3, kFFTDirection_Forward);
    }
    if (!AreFinite(scratch, 2 * (1 + kTurns) * step)) { // with the gaps, which are zeros
        return false;
    }
    // The term at half the sample rate comes packed as the imaginary part of the first.
    const float atHalfTheRate = std::exchange(fourth.imagp[0], 0.0f);
    const std::size_t groups = std::min<std::size_t>((mPlaces + 7) / 8, count / 2);
    MergePlaces(fourth, turned, count, spectrum, groups);
    Complete(atHalfTheRate, spectrum);
    return true;
}

bool FrameTransform::RunWhole(const float* frame, float* scratch,
                              const DSPSplitComplex& spectrum) const {
    const std::size_t half = mSize / 2;
    const DSPSplitComplex packed = {scratch, scratch + half};
    float* const samples = scratch + mSize;
    const std::size_t taken = std::min(mFrameSamples, mSize);
    std::copy_n(frame, taken, samples);
    std::fill(samples + taken, samples + mSize, 0.0f);
    const DSPSplitComplex pairs = {samples, samples + 1};
    vDSP_fft_zrop(mSetup.get(), &pairs, 2, &packed, 1, mLog2Size, kFFTDirection_Forward);
    if (!AreFinite(scratch, mSize)) {
        return false;
    }
    const float atHalfTheRate = std::exchange(packed.imagp[0], 0.0f);
    const std::size_t copied = std::min<std::size_t>(mPlaces, half);
    std::copy_n(packed.realp, copied, spectrum.realp);
    std::copy_n(packed.imagp, copied, spectrum.imagp);
    Complete(atHalfTheRate, spectrum);
    return true;
}

// From half the sample rate on: the places of negative frequencies.
void FrameTransform::Complete(float atHalfTheRate, const DSPSplitComplex& spectrum) const {
    const UInt32 half = mSize / 2;
    if (mPlaces > half) {
        spectrum.realp[half] = atHalfTheRate;
        spectrum.imagp[half] = 0.0f;
    }
    for (UInt32 m = half + 1; m < mPlaces; ++m) {
        spectrum.realp[m] = spectrum.realp[mSize - m];
        spectrum.imagp[m] = -spectrum.imagp[mSize - m];
    }
}

std::size_t FrameTransform::Bytes() const {
    return sizeof *this + mFactors.capacity() * sizeof(float);
}

} // namespace qel::core
