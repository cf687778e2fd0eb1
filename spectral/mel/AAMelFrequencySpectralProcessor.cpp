#include "spectral/mel/AAMelFrequencySpectralProcessor.h"

#include "elementary/Functions.h"
#include "spectral/mel/MelScale.h"
#include "support/audio/CAStreamBasicDescription.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <new>
#include <vector>

namespace qel::core {

namespace {

constexpr UInt32 kExtraFilters = 27; // there is room for, beyond the filter count
constexpr float kLowestFrequencyHz = 133.3332977294922f;
constexpr float kFloor = 1e-10f;

using Edges = std::vector<float>; // Hz; filter b reaches from edge b to edge b + 2

Edges MelEdges(UInt32 filters, double sampleRateHz) {
    const float lowest = Hz2Mel2(0.0f);
    const float highest = Hz2Mel2(static_cast<float>(sampleRateHz / 2.0));
    Edges edges(filters + std::size_t{2});
    for (std::size_t i = 0; i < edges.size(); ++i) {
        const float t = static_cast<float>(i) / static_cast<float>(1 + filters);
        edges[i] = Mel2Hz2((highest - lowest) * t + lowest);
    }
    return edges;
}

// The first `linear` edges are equally spaced, the others a constant ratio apart.
Edges LinearThenLogEdges(UInt32 linear, UInt32 filters) {
    Edges edges(filters + std::size_t{2});
    for (std::size_t i = 0; i < linear; ++i) {
        edges[i] = kLowestFrequencyHz + static_cast<float>(i) * kMelLinearSpacingHz;
    }
    for (std::size_t i = linear; i < edges.size(); ++i) {
        const auto steps = static_cast<float>(i - linear + 1);
        edges[i] = edges[linear - 1] * elementary::Pow(kMelLogSpacing, steps);
    }
    return edges;
}

// The smaller of the rising and the falling line, where it is above 0.
float TriangleOfLines(float hz, const float* edges) {
    const double height = 2.0 / static_cast<double>(edges[2] - edges[0]);
    const float rise = (hz - edges[0]) / (edges[1] - edges[0]);
    const float fall = (edges[2] - hz) / (edges[2] - edges[1]);
    const float smaller = std::min(rise, fall);
    return smaller > 0.0f ? static_cast<float>(height * static_cast<double>(smaller)) : 0.0f;
}

// One line on each side of the centre, which belongs to the rising one; the order of operations
// decides the last place.
float TriangleOfSides(float hz, const float* edges) {
    const float lower = edges[0];
    const float center = edges[1];
    const float upper = edges[2];
    const float height = 2.0f / (upper - lower);
    if (hz > lower && hz <= center) {
        return height * (hz - lower) / (center - lower);
    }
    if (hz > center && hz < upper) {
        return height * (upper - hz) / (upper - center);
    }
    return 0.0f;
}

template <class Triangle>
void FillBank(MelFilterBank& bank, const std::vector<float>& binsHz, const Edges& edges,
              Triangle triangle) {
    bank.Clear(static_cast<UInt32>(binsHz.size()));
    std::vector<float> weights(binsHz.size());
    for (std::size_t b = 0; b + 2 < edges.size(); ++b) {
        std::transform(binsHz.begin(), binsHz.end(), weights.begin(),
                       [&](float hz) { return triangle(hz, edges.data() + b); });
        bank.Append(weights.data());
    }
}

} // namespace

AAMelFrequencySpectralProcessor::AAMelFrequencySpectralProcessor(UInt32 transformLength, UInt32 hop,
                                                                 UInt32 channels, UInt32 maxFrames,
                                                                 bool halfFrameInput,
                                                                 bool zeroShift, UInt32 filterCount,
                                                                 double sampleRateHz)
    : QelAASpectralProcessor(transformLength, hop, channels, maxFrames, halfFrameInput, zeroShift),
      mNumLinearFilters(filterCount), mSampleRate(sampleRateHz), mNumBins(mFFTSize / 2) {
    HanningWindow();
    NullPointers();
    AllocateBuffers();
    MakeFilterWeights2();
}

AAMelFrequencySpectralProcessor::~AAMelFrequencySpectralProcessor() {
    CleanUp();
}

void AAMelFrequencySpectralProcessor::NullPointers() {
    for (auto* list : {&mEarBuffer, &mLogEarBuffer, &mTempBuffer}) {
        list->forget();
    }
    mMinMagnitudes.forget();
    mMaxMagnitudes.forget();
}

void AAMelFrequencySpectralProcessor::CleanUp() {
    for (auto* list : {&mEarBuffer, &mLogEarBuffer, &mTempBuffer}) {
        list->free();
    }
    mMinMagnitudes.free();
    mMaxMagnitudes.free();
    mFilterWeights = {};
    NullPointers();
}

CAAutoDelete<CABufferList>
AAMelFrequencySpectralProcessor::NewBuffer(const char* name, UInt32 valuesPerChannel) const {
    CAStreamBasicDescription format;
    format.SetCanonical(mNumChannels, false);
    format.mSampleRate = mSampleRate;
    CAAutoDelete<CABufferList> buffer = CABufferList::New(name, format);
    buffer->AllocateBuffers(valuesPerChannel * static_cast<UInt32>(sizeof(float)));
    return buffer;
}

void AAMelFrequencySpectralProcessor::AllocateBuffers() {
    constexpr UInt32 kMostFilters = (UInt32{1} << 30) - kExtraFilters - 1; // bytes in 32 bits
    if (mNumLinearFilters > kMostFilters) {
        throw std::bad_alloc();
    }
    mMinMagnitudes.alloc(mNumChannels, true);
    mMaxMagnitudes.alloc(mNumChannels, true);
    mTempBuffer = NewBuffer("temp buffer", mNumBins);
    mNumFilters = mNumLinearFilters + kExtraFilters;
    mEarBuffer = NewBuffer("ear buffer", mNumFilters);
    mLogEarBuffer = NewBuffer("log ear buffer", mNumFilters);
    mFilterWeights.Clear(mNumBins);
}

void AAMelFrequencySpectralProcessor::MakeFilterWeights1() {
    if (mNumLinearFilters == 0) {
        mFilterWeights.Clear(mNumBins); // nothing for the logarithmic edges to start from
        return;
    }
    std::vector<float> binsHz(mNumBins);
    GetFrequencies(binsHz.data(), static_cast<float>(mSampleRate));
    FillBank(mFilterWeights, binsHz, LinearThenLogEdges(mNumLinearFilters, mNumFilters),
             TriangleOfSides);
}

void AAMelFrequencySpectralProcessor::MakeFilterWeights2() {
    mNumFilters = mNumLinearFilters;
    std::vector<float> binsHz(mNumBins);
    GetFrequencies(binsHz.data(), static_cast<float>(mSampleRate));
    FillBank(mFilterWeights, binsHz, MelEdges(mNumFilters, mSampleRate), TriangleOfLines);
}

void AAMelFrequencySpectralProcessor::FilterSpectrum() {
    AudioBufferList& magnitudes = mTempBuffer->GetModifiableBufferList();
    AudioBufferList& ears = mEarBuffer->GetModifiableBufferList();
    AudioBufferList& logEars = mLogEarBuffer->GetModifiableBufferList();
    GetMagnitude(&magnitudes, mMinMagnitudes, mMaxMagnitudes);
    const int filters = static_cast<int>(mNumFilters);
    for (UInt32 c = 0; c < mSpectralBufferList->mNumChannels; ++c) {
        auto* const ear = static_cast<float*>(ears.mBuffers[c].mData);
        auto* const logEar = static_cast<float*>(logEars.mBuffers[c].mData);
        mFilterWeights.Apply(static_cast<const float*>(magnitudes.mBuffers[c].mData), ear);
        vDSP_vthr(ear, 1, &kFloor, ear, 1, mNumFilters);
        vvlog10f(logEar, ear, &filters);
    }
}

void AAMelFrequencySpectralProcessor::ProcessFrame() {
    DoWindowing();
    DoFwdFFT();
    FilterSpectrum();
    ProcessSpectrum(mFFTSize, mSpectralBufferList);
}

} // namespace qel::core
