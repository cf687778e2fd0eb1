#include "rhythm/tempomap/AATempoMapGenerator.h"

#include "elementary/Functions.h"
#include "engine/base/KeyFacts.h"
#include "rhythm/tempomap/CombSalience.h"
#include "rhythm/tempomap/FindPeaksInVector.h"

#include <algorithm>
#include <limits>
#include <new>

namespace qel::core {

namespace {

constexpr UInt32 kFloat = sizeof(float);
static_assert(KeyTable::Tempo.payloadBytes == kFloat);
constexpr float kAccentsPerSecond = 172.0f;
constexpr double kAccentsPerMinute = 60.0 * kAccentsPerSecond;
constexpr UInt32 kLongestLag = 128; // accents: 80.6 BPM

// Lags are counted up to 2^(complexity + kLog2ShortestRange).
constexpr UInt32 kLog2ShortestRange = 7;
// Beyond it the square of the lags takes more than 32 bits.
constexpr UInt32 kMostComplexity = 8;

// The accents of a frame, of which a list has one.
constexpr UInt32 kAccents = CombBank::kSamples;

// What is no whole number of 32 bits after truncation counts as the largest.
UInt32 TruncatedComplexity(float value) {
    constexpr UInt32 kLargest = std::numeric_limits<UInt32>::max();
    return value > -1.0f && value < static_cast<float>(kLargest) ? static_cast<UInt32>(value)
                                                                 : kLargest;
}

// Raises std::bad_alloc for more than 4 GB of the last outputs of all combs, each of which would be
// kept as often as there are lags. The combs take an eighth of that, yet which complexities are
// refused is part of the interface.
void RequireFeasibleLags(std::size_t bands, UInt64 lags) {
    constexpr UInt64 kLargest = std::numeric_limits<UInt32>::max();
    constexpr UInt64 kExtra = sizeof(void*);
    if (bands * (lags * lags * kFloat + kExtra) > kLargest) {
        throw std::bad_alloc();
    }
}

} // namespace

void MyTempoSpectralFun(SpectralAndAudioBufferList*, void* refCon) {
    auto* const self = static_cast<AATempoMapGenerator*>(refCon);
    self->MakeAccentBands();
    self->EstimateTempo();
}

AATempoMapGenerator::AATempoMapGenerator(UInt32 channels, Float64 sampleRate, UInt32 frameSize,
                                         UInt32 hop, UInt32 maxFrames, UInt32 streamLength,
                                         DataCallback dataCallback, void* refCon)
    : AAAccentBandGenerator(channels, sampleRate, frameSize, hop, maxFrames, streamLength,
                            dataCallback, refCon) {
    mAccentBandCount = CombBank::kBands;
    SetDefaultParameters();
}

AATempoMapGenerator::~AATempoMapGenerator() {
    AATempoMapGenerator::Cleanup();
}

void AATempoMapGenerator::SetDefaultParameters() {
    mLagCount = kLongestLag;
    mHalfTime = 3.0f * kAccentsPerSecond; // three seconds
    mFirstLag = 1.0f;
    mLastLag = static_cast<float>(kLongestLag);
    mPeakMargin = 0.0f;
    mPeakWindow = 20;
    mPeakThreshold = 0.1f;
    mComplexity = 0;
    mMinBPM = 20.0f;
    mMaxBPM = 280.0f;
}

void AATempoMapGenerator::NullPointers() {
    AAAccentBandGenerator::NullPointers();
    for (auto* list : {&mLeakyList, &mSalienceList, &mEstimateList}) {
        list->forget();
    }
    for (auto* array : {&mFeedback, &mFeedforward, &mEnergyNorm, &mLagScale, &mNormScale,
                        &mEnergies, &mPeakValues, &mPeakTempi}) {
        array->forget();
    }
    mLags.forget();
    mCombs.forget();
    mPeakIndices.forget();
    mPeakOrder.forget();
}

void AATempoMapGenerator::Cleanup() {
    for (auto* list : {&mLeakyList, &mSalienceList, &mEstimateList}) {
        list->free();
    }
    for (auto* array : {&mFeedback, &mFeedforward, &mEnergyNorm, &mLagScale, &mNormScale,
                        &mEnergies, &mPeakValues, &mPeakTempi}) {
        array->free();
    }
    mLags.free();
    mCombs.free();
    mPeakIndices.free();
    mPeakOrder.free();
    AAAccentBandGenerator::Cleanup();
}

void AATempoMapGenerator::AllocateBuffers() {
    AAAccentBandGenerator::AllocateBuffers();
    FilterAccentBandsAlone();
    mSpectralProcessor->SetSpectralFunction(MyTempoSpectralFun, this);

    if (mComplexity > kMostComplexity) {
        throw std::bad_alloc();
    }
    mLastLag = static_cast<float>(1u << (mComplexity + kLog2ShortestRange));
    mLagCount = static_cast<UInt32>(1.0f + (mLastLag - mFirstLag));
    RequireFeasibleLags(std::size_t{mNumChannels} * mAccentBandCount, mLagCount);
    mLeakyList = NewBandBuffer("leaky accent buffer", 1);
    MakeConstants();

    mCombs.alloc(mNumChannels);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        mCombs[c].Allocate(mLagCount);
        for (UInt32 i = 0; i < mLagCount; ++i) {
            mCombs[c].SetGains(i, mFeedback[i], mFeedforward[i]);
        }
    }
    mEnergies.alloc(std::size_t{kAccents} * mLagCount * CombBank::kBands, true);
    mSalienceList = NewBuffer("salience period buffer", UInt64{kAccents} * mLagCount * kFloat);
    mEstimateList = NewBuffer("tempo estimate buffer", kFloat);
    mPeakValues.alloc(mLagCount, true);
    mPeakIndices.alloc(mLagCount, true);
    mPeakTempi.alloc(mLagCount, true);
    mPeakOrder.alloc(mLagCount, true);
}

void AATempoMapGenerator::MakeConstants() {
    mLags.alloc(mLagCount, true);
    for (auto* array : {&mFeedback, &mFeedforward, &mEnergyNorm, &mLagScale, &mNormScale}) {
        array->alloc(mLagCount, true);
    }
    for (UInt32 i = 0; i < mLagCount; ++i) {
        mLags[i] = static_cast<UInt32>(mFirstLag + static_cast<float>(i));
        const float alpha = elementary::Pow(0.5f, static_cast<float>(mLags[i]) / mHalfTime);
        mFeedback[i] = alpha;
        mFeedforward[i] = 1.0f - alpha;
        const double alphaSquared = elementary::Pow(alpha, 2.0f);
        const double feedforwardSquared = elementary::Pow(mFeedforward[i], 2.0f);
        mEnergyNorm[i] = static_cast<float>(feedforwardSquared / (1.0 - alphaSquared));
        mLagScale[i] = 1.0f / static_cast<float>(mLags[i]);
        mNormScale[i] = 1.0f / (1.0f - mEnergyNorm[i]);
    }
}

void AATempoMapGenerator::EstimateTempo() {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        MakeSalience(c);
    }
    for (UInt32 accent = 0; accent < kAccents; ++accent) {
        DeliverTempi(accent);
    }
}

void AATempoMapGenerator::DeliverTempi(UInt32 accent) {
    mBlocks.Prepare(mNumChannels, KeyTable::Tempo.payloadBytes);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        float* const salience = Channel(mSalienceList, c) + std::size_t{accent} * mLagCount;
        FindDominantTempo(salience, *Channel(mEstimateList, c));
        mBlocks.Store(c, Channel(mEstimateList, c));
    }
    Deliver(kQelAnalysisKey_Tempo);
}

// The salience of both accents. Required by the contract: while the mean energy is 0, it is not a
// number. With a guard, clients see other tempi after silence.
void AATempoMapGenerator::MakeSalience(UInt32 channel) {
    constexpr UInt32 kBands = CombBank::kBands;
    alignas(16) float accents[kAccents * kBands];
    const UInt32 firstBuffer = kBands * channel;
    for (UInt32 b = 0; b < kBands; ++b) {
        accents[b] = *Channel(mAccentList0, firstBuffer + b);
        accents[kBands + b] = *Channel(mAccentList1, firstBuffer + b);
    }
    mCombs[channel].Push(accents, mEnergies);
    const SalienceWeights weights{mLagScale, mEnergyNorm, mNormScale};
    for (std::size_t accent = 0; accent < kAccents; ++accent) {
        float meanEnergies[kBands];
        for (UInt32 b = 0; b < kBands; ++b) {
            const float x = accents[accent * kBands + b];
            float& leaky = *Channel(mLeakyList, firstBuffer + b);
            leaky = mFeedback[0] * leaky + mFeedforward[0] * x * x;
            meanEnergies[b] = leaky;
        }
        SumSalience(mEnergies + accent * mLagCount * kBands, meanEnergies, weights, mLagCount,
                    Channel(mSalienceList, channel) + accent * mLagCount);
    }
}

void AATempoMapGenerator::FindDominantTempo(float* salience, float& estimate) {
    float largest = 0.0f;
    vDSP_maxv(salience, 1, &largest, mLagCount);
    vDSP_vsdiv(salience, 1, &largest, salience, 1, mLagCount);

    // Elements of the lists from `count` on are kept, and so is everything without a peak.
    unsigned int count = 0;
    FindPeaksInVector(salience, mLagCount, mPeakIndices, mPeakValues, count, mPeakThreshold,
                      mPeakMargin, mPeakWindow);
    for (unsigned int p = 0; p < count; ++p) {
        mPeakTempi[p] = static_cast<float>(kAccentsPerMinute / mLags[mPeakIndices[p]]);
        if (mPeakTempi[p] < mMinBPM || mPeakTempi[p] > mMaxBPM) {
            mPeakValues[p] = 0.0f;
        }
        mPeakOrder[p] = p;
    }
    // Of equal values the shortest lag comes first.
    vDSP_vsorti(mPeakValues, mPeakOrder, nullptr, count, -1);
    estimate = mPeakTempi[mPeakOrder[0]];
    if (estimate < mMinBPM) {
        estimate = mMinBPM;
    }
    if (estimate > mMaxBPM) {
        estimate = mMaxBPM;
    }
}

UInt32 AATempoMapGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    if (key != nullptr && CFEqual(key, kQelAnalysisKey_Tempo)) {
        return KeyTable::Tempo.payloadBytes;
    }
    return AAAccentBandGenerator::GetSizeOfAnalysisDataForKey(key);
}

CFPropertyListRef AATempoMapGenerator::CreateCFRepresentation(CFAllocatorRef allocator,
                                                              CFStringRef key, UInt32 count,
                                                              const QelAudioAnalysisBlock* blocks) {
    const bool isOwn = CFEqual(key, kQelAnalysisKey_Tempo);
    return FloatRepresentation(allocator, key, isOwn, count, blocks);
}

SInt32 AATempoMapGenerator::GetParameterList(CFMutableArrayRef* list) {
    CFArrayAppendValue(*list, kQelAnalysisParameter_Complexity);
    CFArrayAppendValue(*list, kQelAnalysisParameter_MinBPM);
    CFArrayAppendValue(*list, kQelAnalysisParameter_MaxBPM);
    return 0;
}

// The minimum of "Min BPM" lies above its maximum; both are kept as they are.
QelAudioAnalysisParameterValueInfo AATempoMapGenerator::ParameterValueInfo(CFStringRef name) {
    if (CFEqual(name, kQelAnalysisParameter_Complexity)) {
        return {0.0f, 2.0f, 0.0f, 0};
    }
    if (CFEqual(name, kQelAnalysisParameter_MinBPM)) {
        return {110.0f, 20.0f, 0.0f, 0};
    }
    if (CFEqual(name, kQelAnalysisParameter_MaxBPM)) {
        return {120.0f, 210.0f, 0.0f, 0};
    }
    return {};
}

// The record does not reach the caller, whose data stay as they are.
SInt32 AATempoMapGenerator::GetParameterValueInfo(CFStringRef name, void*) {
    [[maybe_unused]] const QelAudioAnalysisParameterValueInfo info = ParameterValueInfo(name);
    return 0;
}

SInt32 AATempoMapGenerator::GetParameter(CFStringRef name, float* outValue) {
    if (CFEqual(name, kQelAnalysisParameter_Complexity)) {
        *outValue = static_cast<float>(mComplexity);
    } else if (CFEqual(name, kQelAnalysisParameter_MinBPM)) {
        *outValue = mMinBPM;
    } else if (CFEqual(name, kQelAnalysisParameter_MaxBPM)) {
        *outValue = mMaxBPM;
    }
    return 0;
}

SInt32 AATempoMapGenerator::SetParameter(CFStringRef name, float value) {
    if (CFEqual(name, kQelAnalysisParameter_Complexity)) {
        mComplexity = TruncatedComplexity(value);
    } else if (CFEqual(name, kQelAnalysisParameter_MinBPM)) {
        mMinBPM = value;
    } else if (CFEqual(name, kQelAnalysisParameter_MaxBPM)) {
        mMaxBPM = value;
    }
    return 0;
}

} // namespace qel::core
