#include "descriptors/AABagOfPropertiesGenerator.h"

#include "descriptors/RoughnessCurves.h"
#include "elementary/Functions.h"
#include "spectral/ButterworthDesign.h"
#include "spectral/VectorHelpers.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace qel::core {

namespace {

// The envelope is a third-order Butterworth low-pass over the levels of the pushes, -3 dB at 1 / 85
// of half the push rate.
constexpr auto kEnvelopeLowPass = DesignButterworthLowPass<3>(1.0 / 85.0);
constexpr std::array<float, 4> butterA = kEnvelopeLowPass.denominator;
constexpr std::array<float, 4> butterB = kEnvelopeLowPass.numerator;

using EnvelopeBits = std::array<std::uint32_t, 4>;
static_assert(std::bit_cast<EnvelopeBits>(butterA) ==
              EnvelopeBits{0x3F800000, 0xC03B44F7, 0x4036B647, 0xBF6DC20D});
static_assert(std::bit_cast<EnvelopeBits>(butterB) ==
              EnvelopeBits{0x36CC2650, 0x37991CBC, 0x37991CBC, 0x36CC2650});

// Where the low-energy relation ends and brightness begins.
constexpr float kLowEnergyLimitHz = 100.0f;
constexpr float kBrightnessLimitHz = 1500.0f;

} // namespace

void BagOfPropsSpectralFun(SpectralAndAudioBufferList* list, void* refCon) {
    static_cast<AABagOfPropertiesGenerator*>(refCon)->ComputeAndStoreProperties(*list);
}

AABagOfPropertiesGenerator::AABagOfPropertiesGenerator(UInt32 channels, Float64 sampleRate,
                                                       UInt32 frameSize, UInt32 hop,
                                                       UInt32 maxFrames, UInt32 streamLength,
                                                       DataCallback dataCallback, void* refCon)
    : QelAAAnalysisGenerator(channels, sampleRate, frameSize, hop, maxFrames, streamLength,
                             dataCallback, refCon) {}

AABagOfPropertiesGenerator::~AABagOfPropertiesGenerator() {
    AABagOfPropertiesGenerator::Cleanup();
}

void AABagOfPropertiesGenerator::NullPointers() {
    QelAAAnalysisGenerator::NullPointers();
    for (auto* buffer :
         {&mSpectrumMagnitude, &mPreviousMagnitude, &mButterworthBuffer, &mTemporalBuffer,
          &mGenericBuffer, &mHistogramBuffer, &mPeakBuffer, &mFluxBuffer}) {
        buffer->forget();
    }
    for (auto* array :
         {&mMinMagnitudes, &mMaxMagnitudes, &mFrequencies, &mPeakMagnitudes, &mPeakIndicators,
          &mPeakAmplitudes, &mBinNumbers, &mSlopeWeights, &mScratch}) {
        array->forget();
    }
    mPeakBins.forget();
}

void AABagOfPropertiesGenerator::Cleanup() {
    mSpectralProcessor.free();
    for (auto* buffer :
         {&mSpectrumMagnitude, &mPreviousMagnitude, &mButterworthBuffer, &mTemporalBuffer,
          &mGenericBuffer, &mHistogramBuffer, &mPeakBuffer, &mFluxBuffer}) {
        buffer->free();
    }
    for (auto* array :
         {&mMinMagnitudes, &mMaxMagnitudes, &mFrequencies, &mPeakMagnitudes, &mPeakIndicators,
          &mPeakAmplitudes, &mBinNumbers, &mSlopeWeights, &mScratch}) {
        array->free();
    }
    mPeakBins.free();
    NullPointers();
}

void AABagOfPropertiesGenerator::AllocateBuffers() {
    mSpectralProcessor.free();
    mSpectralProcessor =
        new QelAASpectralProcessor(mFrameSize, mHopSize, mNumChannels, mMaxFrames, false, false);
    mSpectralProcessor->SetSpectralFunction(BagOfPropsSpectralFun, this);
    mSpectralProcessor->HanningWindow();

    constexpr UInt32 kFloat = sizeof(float);
    mTemporalBuffer = NewBuffer("temporal data buffer", kNumTemporalValues * kFloat);
    mButterworthBuffer = NewBuffer("butterworth buffer", kEnvelopeOrder * kFloat);
    mSpectrumMagnitude = NewBuffer("spectrum current magnitude buffer", mNumBins * kFloat);
    mPreviousMagnitude = NewBuffer("spectrum previous magnitude buffer", mNumBins * kFloat);
    mGenericBuffer = NewBuffer("spectrumbuffer", kNumGenericValues * kFloat);
    mHistogramBuffer = NewBuffer("spectrum histogram buffer", kNumHistogramValues * kFloat);
    mPeakBuffer = NewBuffer("spectrum peak buffer", kNumPeakValues * kFloat);
    mFluxBuffer = NewBuffer("spectrum flux buffer", kNumFluxValues * kFloat);

    mMinMagnitudes.alloc(mNumChannels, true);
    mMaxMagnitudes.alloc(mNumChannels, true);
    mPeakBins.alloc(mNumBins, true);
    for (auto* array : {&mFrequencies, &mPeakMagnitudes, &mBinNumbers, &mSlopeWeights, &mScratch}) {
        array->alloc(mNumBins, true);
    }
    // Whole blocks, wherever the last bin is.
    mPeakIndicators.alloc(mNumBins + RoughnessCurves::kBlock, true);
    mPeakAmplitudes.alloc(mNumBins + RoughnessCurves::kBlock, true);
    if (IsWanted(kPeak) && mRoughnessCurves == nullptr) {
        mRoughnessCurves =
            RoughnessCurves::Find({mNumBins, mFrameSize, static_cast<float>(mSampleRate)});
    }
    PrepareConstants();
}

void AABagOfPropertiesGenerator::PrepareConstants() {
    mSpectralProcessor->GetFrequencies(mFrequencies, static_cast<float>(mSampleRate));
    const float zero = 0.0f;
    const float one = 1.0f;
    vDSP_vramp(&zero, &one, mBinNumbers, 1, mNumBins);

    // Required by the contract: the mean frequency divides by one less than the number of bins. The
    // number of bins itself changes every value that is centred on it.
    float frequencySum = 0.0f;
    vDSP_sve(mFrequencies, 1, &frequencySum, mNumBins);
    const float minusMean = -frequencySum / (static_cast<float>(mNumBins) - 1.0f);
    vDSP_vsadd(mFrequencies, 1, &minusMean, mSlopeWeights, 1, mNumBins);
    vDSP_svesq(mSlopeWeights, 1, &mSlopeDenominator, mNumBins);

    const float* first = mFrequencies;
    const float* last = first + mNumBins;
    const auto above = [](float limit) { return [limit](float f) { return !(f <= limit); }; };
    mNumLowBins = static_cast<UInt32>(std::find_if(first, last, above(kLowEnergyLimitHz)) - first);
    mFirstBrightBin = static_cast<UInt32>(
        std::find_if(first, last, [](float f) { return f > kBrightnessLimitHz; }) - first);
}

void AABagOfPropertiesGenerator::DeliverGroup(Group group, CABufferList* buffer) {
    mBlocks.Prepare(mNumChannels, SizeOfBlock(group));
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mBlocks.Store(c, Channel(buffer, c));
    }
    Deliver(KeyOf(group));
}

SInt32 AABagOfPropertiesGenerator::PushAudio(AudioBufferList* list, UInt32 frames) {
    if (list == nullptr) {
        return kAudioAnalysisErr_NullBufferList;
    }
    if (IsWanted(kTemporal) && mTemporalBuffer.get() != nullptr) {
        ComputeAndStoreTemporalProperties(*list, frames);
    }
    return QelAAAnalysisGenerator::PushAudio(list, frames);
}

// On the pushed block as it comes, not on analysis frames: the values follow the client's block
// size, and the envelope takes one step per push. An empty push is a step without energy, with a
// zero crossing rate that is no number.
void AABagOfPropertiesGenerator::ComputeAndStoreTemporalProperties(const AudioBufferList& list,
                                                                   UInt32 frames) {
    const UInt32 channels = std::min(list.mNumberBuffers, mNumChannels);
    for (UInt32 c = 0; c < channels; ++c) {
        const auto* samples = static_cast<const float*>(list.mBuffers[c].mData);
        float* values = Channel(mTemporalBuffer, c);
        vDSP_Length lastCrossing = 0;
        vDSP_Length crossings = 0;
        vDSP_nzcros(samples, 1, frames, &lastCrossing, &crossings, frames);
        values[0] = static_cast<float>(crossings) / static_cast<float>(frames);
        vDSP_rmsqv(samples, 1, &values[1], frames);
        filter(butterA.data(), butterB.data(), kEnvelopeOrder, Channel(mButterworthBuffer, c),
               values[1], values[2]);
    }
    DeliverGroup(kTemporal, mTemporalBuffer);
}

void AABagOfPropertiesGenerator::ComputeAndStoreProperties(const SpectralAndAudioBufferList& list) {
    mSpectralProcessor->GetMagnitude(&mSpectrumMagnitude->GetModifiableBufferList(), mMinMagnitudes,
                                     mMaxMagnitudes);
    if (IsWanted(kGeneric)) {
        ComputeAndStoreGenericSpectralProperties();
    }
    if (IsWanted(kHistogram)) {
        ComputeAndStoreHistogramSpectralProperties();
    }
    if (IsWanted(kPeak)) {
        ComputeAndStorePeakSpectralProperties();
    }
    if (IsWanted(kFlux)) {
        ComputeAndStoreFluxSpectralProperties();
    }
    if (IsWanted(kRawSpectrum)) {
        ComputeAndStoreSpectrum(list);
    }
}

void AABagOfPropertiesGenerator::ComputeAndStoreHistogramSpectralProperties() {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        Histogram histogram{};
        ComputeHistogram(Channel(mSpectrumMagnitude, c), mNumBins, histogram.data(),
                         mMinMagnitudes[c], mMaxMagnitudes[c], kHistogramBins);
        float* values = Channel(mHistogramBuffer, c);
        const CountMoments moments = MomentsOf(histogram);
        values[0] = ComputeKurtosis(moments);
        values[1] = ComputeSkewness(moments);
    }
    DeliverGroup(kHistogram, mHistogramBuffer);
}

namespace {

float QuotientOrZero(float numerator, float denominator) {
    return denominator != 0.0f ? numerator / denominator : 0.0f;
}

} // namespace

// The powers are exact or rounded once to double precision, and then to single precision; the sums
// are single precision.
AABagOfPropertiesGenerator::CountMoments
AABagOfPropertiesGenerator::MomentsOf(const Histogram& histogram) {
    float mean = 0.0f;
    vDSP_meanv(histogram.data(), 1, &mean, histogram.size());
    CountMoments moments{0.0f, 0.0f, 0.0f};
    for (const float count : histogram) {
        const double deviation = double{count - mean};
        const double square = deviation * deviation;
        moments.second += static_cast<float>(square);
        moments.third += static_cast<float>(square * deviation);
        moments.fourth += static_cast<float>(square * square);
    }
    return moments;
}

// Required by the contract: kurtosis and skewness are moments of the histogram's counts, taken as
// 40 samples, not of the magnitudes, and no 3 is subtracted. Moments of the magnitudes change all
// values.
float AABagOfPropertiesGenerator::ComputeKurtosis(const CountMoments& moments) {
    return QuotientOrZero(moments.fourth, moments.second * moments.second);
}

float AABagOfPropertiesGenerator::ComputeSkewness(const CountMoments& moments) {
    return QuotientOrZero(moments.third, elementary::Pow(moments.second, 1.5f));
}

void AABagOfPropertiesGenerator::ComputeAndStoreFluxSpectralProperties() {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        const float* magnitudes = Channel(mSpectrumMagnitude, c);
        float* previous = Channel(mPreviousMagnitude, c);
        float* values = Channel(mFluxBuffer, c);
        values[0] = ComputeSpectralDifference(magnitudes, previous);
        values[1] = ComputeSpectralFlux(magnitudes, previous, mNumBins);
        std::memcpy(previous, magnitudes, mNumBins * sizeof(float));
    }
    DeliverGroup(kFlux, mFluxBuffer);
}

// Bin 0 is left out of the difference, and only of it.
float AABagOfPropertiesGenerator::ComputeSpectralDifference(const float* magnitudes,
                                                            const float* previous) {
    float* roots = mScratch;
    for (UInt32 k = 1; k < mNumBins; ++k) {
        roots[k] = std::sqrt(std::abs(magnitudes[k] * magnitudes[k] - previous[k] * previous[k]));
    }
    float sum = 0.0f;
    vDSP_sve(roots + 1, 1, &sum, mNumBins - 1);
    return sum;
}

// Required by the contract: the rise of the frame's total magnitude, not a flux bin by bin. A flux
// by bins changes all values.
float AABagOfPropertiesGenerator::ComputeSpectralFlux(const float* magnitudes,
                                                      const float* previous, UInt32 bins) {
    float sum = 0.0f;
    float previousSum = 0.0f;
    vDSP_sve(magnitudes, 1, &sum, bins);
    vDSP_sve(previous, 1, &previousSum, bins);
    float rise = sum - previousSum;
    HalfWaveRectify(&rise, 1, &rise);
    return rise;
}

void AABagOfPropertiesGenerator::ComputeAndStoreSpectrum(const SpectralAndAudioBufferList& list) {
    mBlocks.Prepare(mNumChannels, SizeOfBlock(kRawSpectrum));
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        vDSP_ztoc(&list.mSpectra[c], 1, reinterpret_cast<DSPComplex*>(mBlocks.Floats(c)), 2,
                  mNumBins);
    }
    Deliver(KeyOf(kRawSpectrum));
}

} // namespace qel::core
