#include "pitch/ConstantQKernel.h"

#include "elementary/Functions.h"
#include "pitch/SpectrumThinning.h"
#include "spectral/FFTSetupOwner.h"
#include "spectral/VectorHelpers.h"
#include "support/runtime/CAAutoDisposer.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <mutex>
#include <new>
#include <numbers>
#include <utility>

namespace qel::core {

namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;
// The spectrum comes doubled.
constexpr float kUndouble = 0.5f;

float QFactorOf(UInt32 binsPerOctave) {
    const float ratio = elementary::Pow(2.0f, 1.0f / static_cast<float>(binsPerOctave));
    return static_cast<float>(1.0 / (static_cast<double>(ratio) - 1.0));
}

UInt32 NumBinsOf(const ConstantQDesign& design) {
    constexpr float kMostBins = 65536.0f;
    const float octaves = elementary::Log2(design.maxFrequencyHz / design.minFrequencyHz);
    const float bins = std::ceil(static_cast<float>(design.binsPerOctave) * octaves);
    return bins > 0.0f && bins <= kMostBins ? static_cast<UInt32>(bins) : 0;
}

// A Hamming window of `length` entries, each divided by the length.
void HammingWindow(UInt32 length, float* window) {
    const double last = std::max(length, 2u) - 1.0; // one entry alone is the first
    for (UInt32 n = 0; n < length; ++n) {
        const double bracket = 0.54 - 0.46 * elementary::Cos(kTwoPi * n / last);
        window[n] = static_cast<float>(bracket) / static_cast<float>(length);
    }
}

} // namespace

// One design under way: what serves all bins.
class ConstantQKernel::Design {
public:
    // log2FFTSize is that of the longest kernel, qFactor that of all.
    Design(const ConstantQDesign& design, float qFactor, UInt32 log2FFTSize)
        : mDesign(design), mQFactor(qFactor), mLog2FFTSize(log2FFTSize),
          mFFTSize(UInt32{1} << log2FFTSize),
          mThinning(mFFTSize, design.frameSamples != 0 ? design.frameSamples : mFFTSize),
          mSetup(vDSP_create_fftsetup(log2FFTSize, kFFTRadix2)), mReal(mFFTSize, false),
          mImag(mFFTSize, false), mMagnitudes(mFFTSize, false), mThinned(mThinning.Size()) {
        if (mSetup == nullptr) {
            throw std::bad_alloc();
        }
    }

    // Points of the transform that the rows belong to.
    UInt32 Size() const { return mThinning.Size(); }

    // The kernel of bin `bin`, counted from 0.
    void MakeFilterRow(UInt32 bin) {
        const auto exponent = static_cast<float>(static_cast<double>(bin) / mDesign.binsPerOctave);
        const float centreHz = elementary::Pow(2.0f, exponent) * mDesign.minFrequencyHz;
        const auto length = static_cast<UInt32>(
            std::ceil(static_cast<double>(mQFactor) * mDesign.sampleRateHz / centreHz));
        MakeTone(length);
        const DSPSplitComplex row = Row();
        vDSP_fft_zip(mSetup.get(), &row, 1, mLog2FFTSize, kFFTDirection_Forward);
        vDSP_zvabs(&row, 1, mMagnitudes, 1, mFFTSize);
        mThreshold = mDesign.spectralThreshold;
        FixRow();
        if (Size() < mFFTSize) {
            Thin();
        }
    }

    // The first place from `first` on, and below `end`, whose value the threshold leaves; `end` if
    // there is none. Most of a row is below the threshold, and passed over in strides.
    UInt32 NextKept(UInt32 first, UInt32 end) const {
        constexpr UInt32 kStride = 256;
        while (first < end) {
            const UInt32 next = std::min(first + kStride, end);
            float greatest = 0.0f;
            vDSP_maxv(mMagnitudes + first, 1, &greatest, next - first);
            if (!(mThreshold >= greatest)) {
                break;
            }
            first = next;
        }
        while (first < end && !IsKept(first)) {
            ++first;
        }
        return first;
    }

    // Whether the threshold leaves a place.
    bool IsKept(UInt32 place) const { return !(mThreshold >= mMagnitudes[place]); }

    DSPComplex Value(UInt32 place) const { return {mReal[place], mImag[place]}; }

private:
    DSPSplitComplex Row() const { return {mReal, mImag}; }

    // The windowed complex sine at the start of the row. It turns counter-clockwise; its phase is
    // formed anew for each sample, in single precision.
    void MakeTone(UInt32 length) {
        HammingWindow(length, mMagnitudes);
        const auto step = static_cast<float>(kTwoPi * static_cast<double>(mQFactor) / length);
        for (UInt32 n = 0; n < length; ++n) {
            const float phase = static_cast<float>(n) * step;
            const auto [sine, cosine] = elementary::SinCos(static_cast<double>(phase));
            mReal[n] = mMagnitudes[n] * static_cast<float>(cosine);
            mImag[n] = mMagnitudes[n] * static_cast<float>(sine);
        }
        std::fill(mReal + length, mReal + mFFTSize, 0.0f);
        std::fill(mImag + length, mImag + mFFTSize, 0.0f);
    }

    // The values of a kernel are conjugated and scaled. The magnitudes stay as they were: the
    // threshold is for them.
    void FixRow() {
        const float scale = 1.0f / static_cast<float>(mFFTSize);
        const float conjugate = -scale;
        vDSP_vsmul(mReal, 1, &scale, mReal, 1, mFFTSize);
        vDSP_vsmul(mImag, 1, &conjugate, mImag, 1, mFFTSize);
    }

    // What the threshold left goes to the places of the coarse transform, and nothing is lost there
    // any more.
    void Thin() {
        std::fill(mThinned.begin(), mThinned.end(), 0.0);
        for (UInt32 m = NextKept(0, mFFTSize); m < mFFTSize; m = NextKept(m, mFFTSize)) {
            for (; m < mFFTSize && IsKept(m); ++m) {
                mThinning.Add(m, {mReal[m], mImag[m]}, mThinned.data());
            }
        }
        for (UInt32 q = 0; q < Size(); ++q) {
            mReal[q] = static_cast<float>(mThinned[q].real());
            mImag[q] = static_cast<float>(mThinned[q].imag());
        }
        const DSPSplitComplex row = Row();
        vDSP_zvabs(&row, 1, mMagnitudes, 1, Size());
        mThreshold = 0.0f;
    }

    const ConstantQDesign mDesign;
    const float mQFactor;
    const UInt32 mLog2FFTSize;
    const UInt32 mFFTSize; // of the kernels, before they are thinned
    const SpectrumThinning mThinning;
    const FFTSetupOwner mSetup;
    // The row; before it the kernel in time.
    CAAutoFree<float> mReal;
    CAAutoFree<float> mImag;
    CAAutoFree<float> mMagnitudes; // what the threshold is held to, and before that the window
    float mThreshold = 0.0f;       // of the current row
    std::vector<std::complex<double>> mThinned;
};

ConstantQKernel::ConstantQKernel(const ConstantQDesign& design)
    : mQFactor(QFactorOf(design.binsPerOctave)), mNumBins(NumBinsOf(design)) {
    constexpr double kLongest = UInt32{1} << kMaxLog2FFTSize;
    const double longest =
        std::ceil(static_cast<double>(mQFactor) * design.sampleRateHz / design.minFrequencyHz);
    if (!(mNumBins > 0 && longest >= 2.0 && longest <= kLongest)) {
        return;
    }
    Design row(design, mQFactor, Log2Ceil(static_cast<UInt32>(longest)));
    mFFTSize = row.Size();
    mLog2FFTSize = Log2Ceil(mFFTSize);
    for (UInt32 bin = 0; bin < mNumBins; ++bin) {
        row.MakeFilterRow(bin);
        // The places up to the middle, which is its own negative, and the others.
        Append(bin, row, 0, mFFTSize / 2 + 1);
        Append(bin, row, mFFTSize / 2 + 1, mFFTSize);
    }
    mBands.shrink_to_fit();
    mReal.shrink_to_fit();
    mImag.shrink_to_fit();
}

// Adds the bands of a row between two places, all of them positive or all negative frequencies.
void ConstantQKernel::Append(UInt32 bin, const Design& row, UInt32 first, UInt32 end) {
    const bool isNegative = first > mFFTSize / 2;
    for (UInt32 m = row.NextKept(first, end); m < end; m = row.NextKept(m, end)) {
        const UInt32 start = m;
        const std::size_t offset = mReal.size();
        for (; m < end && row.IsKept(m); ++m) {
            const DSPComplex value = row.Value(m);
            mReal.push_back(value.real);
            mImag.push_back(value.imag);
        }
        if (isNegative) {
            std::reverse(mReal.begin() + static_cast<std::ptrdiff_t>(offset), mReal.end());
            std::reverse(mImag.begin() + static_cast<std::ptrdiff_t>(offset), mImag.end());
        }
        mBands.push_back(
            {bin, isNegative ? mFFTSize - (m - 1) : start, m - start, isNegative, offset});
    }
}

void ConstantQKernel::Apply(const DSPSplitComplex& spectrum, const DSPSplitComplex& out) const {
    if (mFFTSize == 0) {
        return;
    }
    // One pass decides the usual case: a finite sum has finite terms.
    const vDSP_Length places = mFFTSize / 2 + 1;
    float sums[2];
    vDSP_sve(spectrum.realp, 1, &sums[0], places);
    vDSP_sve(spectrum.imagp, 1, &sums[1], places);
    const auto isFinite = [](float x) { return std::isfinite(x); };
    if (!std::all_of(sums, sums + 2, isFinite) &&
        !(std::all_of(spectrum.realp, spectrum.realp + places, isFinite) &&
          std::all_of(spectrum.imagp, spectrum.imagp + places, isFinite))) {
        std::fill_n(out.realp, mNumBins, std::numeric_limits<float>::quiet_NaN());
        std::fill_n(out.imagp, mNumBins, std::numeric_limits<float>::quiet_NaN());
        return;
    }
    std::fill_n(out.realp, mNumBins, 0.0f);
    std::fill_n(out.imagp, mNumBins, 0.0f);
    // The vector functions write none of their inputs.
    auto* const real = const_cast<float*>(mReal.data());
    auto* const imaginary = const_cast<float*>(mImag.data());
    for (const Band& band : mBands) {
        const DSPSplitComplex values = {real + band.mOffset, imaginary + band.mOffset};
        const DSPSplitComplex places2X = {spectrum.realp + band.mFirst,
                                          spectrum.imagp + band.mFirst};
        DSPComplex product;
        const DSPSplitComplex result = {&product.real, &product.imag};
        const auto multiply = band.mIsNegative ? vDSP_zidotpr : vDSP_zdotpr;
        multiply(&places2X, 1, &values, 1, &result, band.mCount);
        out.realp[band.mBin] += kUndouble * product.real;
        out.imagp[band.mBin] += kUndouble * product.imag;
    }
}

void ConstantQKernel::FillDenseRow(UInt32 bin, DSPComplex* row) const {
    std::fill_n(row, mFFTSize, DSPComplex{0.0f, 0.0f});
    for (const Band& band : mBands) {
        for (UInt32 i = 0; band.mBin == bin && i < band.mCount; ++i) {
            const UInt32 place = band.mFirst + i;
            row[band.mIsNegative ? mFFTSize - place : place] = {mReal[band.mOffset + i],
                                                                mImag[band.mOffset + i]};
        }
    }
}

std::size_t ConstantQKernel::Bytes() const {
    return sizeof *this + mBands.capacity() * sizeof(Band) +
           (mReal.capacity() + mImag.capacity()) * sizeof(float);
}

namespace {

// The kernels that are in use. It is not destroyed at the end of the process, when other
// threads and destructors may still use analyzers.
struct SharedKernels {
    std::mutex lock;
    std::vector<std::pair<ConstantQDesign, std::weak_ptr<const ConstantQKernel>>> entries;

    static SharedKernels& Get() {
        static auto& kernels = *new SharedKernels;
        return kernels;
    }

    // The kernel of a design, or null. The caller holds the lock.
    std::shared_ptr<const ConstantQKernel> Find(const ConstantQDesign& design) {
        std::erase_if(entries, [](const auto& entry) { return entry.second.expired(); });
        for (const auto& [key, kernel] : entries) {
            if (key == design) {
                return kernel.lock();
            }
        }
        return nullptr;
    }
};

} // namespace

std::shared_ptr<const ConstantQKernel> ConstantQKernel::Shared(const ConstantQDesign& design) {
    SharedKernels& kernels = SharedKernels::Get();
    {
        const std::lock_guard guard(kernels.lock);
        if (auto kernel = kernels.Find(design)) {
            return kernel;
        }
    }
    // Designed outside of the lock. If two threads design the same one, one is discarded.
    std::shared_ptr<const ConstantQKernel> made(new ConstantQKernel(design));
    const std::lock_guard guard(kernels.lock);
    if (auto kernel = kernels.Find(design)) {
        return kernel;
    }
    kernels.entries.emplace_back(design, made);
    return made;
}

} // namespace qel::core
