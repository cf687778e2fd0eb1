#include "pitch/ConstantQKernel.h"

#include "elementary/Functions.h"
#include "pitch/SpectrumThinning.h"
#include "pitch/ToneSpectrum.h"
#include "spectral/VectorHelpers.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>

namespace qel::core {

namespace {

// The spectrum comes doubled.
constexpr double kUndouble = 0.5;

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

UInt32 BlocksOf(std::size_t count) {
    return static_cast<UInt32>((count + kBandBlock - 1) / kBandBlock);
}

UInt32 RoundedUp(UInt32 count) {
    return BlocksOf(count) * kBandBlock;
}

} // namespace

// One design under way: what serves all bins, and the bands so far.
class ConstantQKernel::Design {
public:
    // log2FFTSize is that of the longest kernel, qFactor that of all.
    Design(const ConstantQDesign& design, float qFactor, UInt32 log2FFTSize)
        : mDesign(design), mQFactor(qFactor), mFFTSize(UInt32{1} << log2FFTSize),
          mThinning(mFFTSize, design.frameSamples != 0 ? design.frameSamples : mFFTSize) {}

    const SpectrumThinning& Thinning() const { return mThinning; }
    const std::vector<KernelBand>& Bands() const { return mBands; }
    const std::vector<float>& Values() const { return mValues; }
    // Places of the spectrum up to the last one that is read.
    UInt32 NumPlaces() const { return mNumPlaces; }

    // The kernel of bin `bin`, counted from 0. The threshold is for values before they are scaled.
    void MakeFilterRow(UInt32 bin) {
        const auto exponent = static_cast<float>(static_cast<double>(bin) / mDesign.binsPerOctave);
        const float centreHz = elementary::Pow(2.0f, exponent) * mDesign.minFrequencyHz;
        const auto length = static_cast<UInt32>(
            std::ceil(static_cast<double>(mQFactor) * mDesign.sampleRateHz / centreHz));
        const ToneSpectrum tone(length, mQFactor, mFFTSize);
        const bool isAnywhere = mDesign.spectralThreshold < ToneSpectrum::kSideLobes;
        const UInt32 end = isAnywhere ? mFFTSize : tone.End();
        for (UInt32 m = isAnywhere ? 0 : tone.First(); m < end; ++m) {
            const std::complex<double> value = tone.At(m);
            const auto real = static_cast<float>(value.real());
            const auto imag = static_cast<float>(value.imag());
            if (!(mDesign.spectralThreshold >= std::sqrt(real * real + imag * imag))) {
                Add(bin, m, std::conj(value) * (1.0 / mFFTSize));
            }
        }
        EndRun(bin);
    }

private:
    // Adds what a value is worth to the run of neighbours that it continues, or begins another.
    void Add(UInt32 bin, UInt32 finePlace, std::complex<double> value) {
        const int first = mThinning.First(finePlace);
        if (first > mRunStart + static_cast<int>(mRun.size())) {
            EndRun(bin);
        }
        if (mRun.empty()) {
            mRunStart = first;
        }
        const auto offset = static_cast<std::size_t>(first - mRunStart);
        mRun.resize(offset + mThinning.Reach());
        mThinning.Add(finePlace, value, &mRun[offset]);
    }

    // Makes bands of a run: it may go on around the circle.
    void EndRun(UInt32 bin) {
        const UInt32 size = mThinning.Size();
        for (std::size_t n = 0; n < mRun.size();) {
            const UInt32 first = (static_cast<UInt32>(mRunStart) + static_cast<UInt32>(n)) % size;
            const std::size_t count = std::min<std::size_t>(mRun.size() - n, size - first);
            AddBand(bin, first, &mRun[n], count);
            n += count;
        }
        mRun.clear();
    }

    void AddBand(UInt32 bin, UInt32 first, const std::complex<double>* values, std::size_t count) {
        const std::size_t offset = mValues.size();
        const UInt32 blocks = BlocksOf(count);
        mBands.push_back({bin, first, blocks, static_cast<UInt32>(offset)});
        mValues.resize(offset + std::size_t{2} * kBandBlock * blocks);
        for (std::size_t n = 0; n < count; ++n) {
            float* const block = &mValues[offset + 2 * (n - n % kBandBlock)];
            block[n % kBandBlock] = static_cast<float>(kUndouble * values[n].real());
            block[kBandBlock + n % kBandBlock] = static_cast<float>(kUndouble * values[n].imag());
        }
        mNumPlaces = std::max(mNumPlaces, first + static_cast<UInt32>(count));
    }

    const ConstantQDesign mDesign;
    const float mQFactor;
    const UInt32 mFFTSize; // of the kernels, before they are thinned
    const SpectrumThinning mThinning;
    int mRunStart = 0; // place of the first value of the run; below 0 around the circle
    std::vector<std::complex<double>> mRun;
    std::vector<KernelBand> mBands;
    std::vector<float> mValues;
    UInt32 mNumPlaces = 0;
};

ConstantQKernel::ConstantQKernel(const ConstantQDesign& design)
    : mQFactor(QFactorOf(design.binsPerOctave)), mNumBins(NumBinsOf(design)) {
    constexpr double kLongest = UInt32{1} << kMaxLog2FFTSize;
    const double longest =
        std::ceil(static_cast<double>(mQFactor) * design.sampleRateHz / design.minFrequencyHz);
    if (!(mNumBins > 0 && longest >= 2.0 && longest <= kLongest)) {
        return;
    }
    Design rows(design, mQFactor, Log2Ceil(static_cast<UInt32>(longest)));
    for (UInt32 bin = 0; bin < mNumBins; ++bin) {
        rows.MakeFilterRow(bin);
    }
    mFFTSize = rows.Thinning().Size();
    mLog2FFTSize = Log2Ceil(mFFTSize);
    mBands = rows.Bands();
    mNumValues = rows.Values().size();
    mValues.alloc(mNumValues, false);
    std::copy(rows.Values().begin(), rows.Values().end(), mValues.get());
    const UInt32 samples = design.frameSamples != 0 ? design.frameSamples : mFFTSize;
    mTransform.emplace(mLog2FFTSize, samples, rows.NumPlaces());
    if (rows.Thinning().Step() > 1) {
        mFrameWeights.reserve(samples);
        for (const double weight : rows.Thinning().FrameWeights()) {
            mFrameWeights.push_back(static_cast<float>(weight));
        }
    }
}

// The last block of a band goes beyond the places that the transform finds.
UInt32 ConstantQKernel::SpectrumFloats() const {
    UInt32 end = static_cast<UInt32>(mTransform->SpectrumFloats());
    for (const KernelBand& band : mBands) {
        end = std::max(end, band.mFirst + kBandBlock * band.mBlocks);
    }
    return RoundedUp(end);
}

std::size_t ConstantQKernel::ScratchFloats() const {
    return mFFTSize == 0 ? 0 : mTransform->ScratchFloats() + std::size_t{2} * SpectrumFloats();
}

void ConstantQKernel::Apply(const float* frame, float* scratch, const DSPSplitComplex& out) const {
    if (mFFTSize == 0) {
        return;
    }
    float* const places = scratch + mTransform->ScratchFloats();
    const DSPSplitComplex spectrum = {places, places + SpectrumFloats()};
    const bool isFinite = mTransform->Run(frame, scratch, spectrum);
    const float start = isFinite ? 0.0f : std::numeric_limits<float>::quiet_NaN();
    std::fill_n(out.realp, mNumBins, start);
    std::fill_n(out.imagp, mNumBins, start);
    if (isFinite) {
        AddBandProducts(mBands.data(), mBands.size(), mValues, spectrum, out);
    }
}

void ConstantQKernel::FillDenseRow(UInt32 bin, DSPComplex* row) const {
    constexpr float kDouble = 2.0f;
    std::fill_n(row, mFFTSize, DSPComplex{0.0f, 0.0f});
    for (const KernelBand& band : mBands) {
        const UInt32 count = std::min(band.mBlocks * kBandBlock, mFFTSize - band.mFirst);
        for (UInt32 n = 0; band.mBin == bin && n < count; ++n) {
            const float* const block = mValues + band.mOffset + 2 * (n - n % kBandBlock);
            row[band.mFirst + n].real += kDouble * block[n % kBandBlock];
            row[band.mFirst + n].imag += kDouble * block[kBandBlock + n % kBandBlock];
        }
    }
}

std::size_t ConstantQKernel::Bytes() const {
    const std::size_t tables = mTransform ? mTransform->Bytes() - sizeof *mTransform : 0;
    return sizeof *this + mBands.capacity() * sizeof(KernelBand) +
           (mNumValues + mFrameWeights.capacity()) * sizeof(float) + tables;
}

} // namespace qel::core
