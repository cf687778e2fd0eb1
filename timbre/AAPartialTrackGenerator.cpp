#include "timbre/AAPartialTrackGenerator.h"

#include "elementary/Functions.h"
#include "engine/base/KeyFacts.h"
#include "spectral/phase/AAIFFTSpectralProcessor.h"
#include "support/containers/CACFArray.h"
#include "support/containers/CACFDictionary.h"
#include "timbre/Inharmonicity.h"
#include "timbre/TrackVectors.h"

#include <cstddef>
#include <cstring>

namespace qel::core {

namespace {

const CFStringRef kKeys[AAPartialTrackGenerator::kNumFlags] = {
    kQelAnalysisKey_Partials,
    kQelAnalysisKey_FundamentalFrequency,
    kQelAnalysisKey_Inharmonicity,
};

constexpr UInt32 kSizes[AAPartialTrackGenerator::kNumFlags] = {
    KeyTable::Partials.payloadBytes,
    KeyTable::FundamentalFrequency.payloadBytes,
    KeyTable::Inharmonicity.payloadBytes,
};
static_assert(kSizes[AAPartialTrackGenerator::kPartials] == sizeof(PartialList));
static_assert(kSizes[AAPartialTrackGenerator::kFundamentalFrequency] == sizeof(float));
static_assert(kSizes[AAPartialTrackGenerator::kInharmonicity] == sizeof(float));

constexpr float kLeastMagnitude = 0.001f; // keeps logarithms finite

// A peak reaches 0.01 / 5 of the frame's greatest magnitude.
float PeakThreshold(float greatest) {
    return elementary::Log(greatest * 0.01f / 5.0f);
}

const float* Floats(const AudioBufferList* list, UInt32 channel) {
    return static_cast<const float*>(list->mBuffers[channel].mData);
}

// The list of frame `frame` in a block that is an array of lists; an empty one if there is none.
PartialList ListOfFrame(const QelAudioAnalysisBlock& block, UInt32 frame) {
    PartialList list{};
    const bool isThere = block.mData != nullptr && block.mDataByteSize / sizeof list > frame;
    if (isThere) {
        std::memcpy(&list, static_cast<const PartialList*>(block.mData) + frame, sizeof list);
    }
    if (list.mPartials == nullptr) {
        list.mCount = 0;
    }
    return list;
}

// Required by the contract: all records of a list write to the same five names, so that the last
// one stays. Clients would see another shape of list.
CACFDictionary LastRecordOf(const PartialList& list) {
    CACFDictionary values(true);
    if (list.mCount == 0) {
        return values;
    }
    const PartialRecord& record = list.mPartials[list.mCount - 1];
    values.AddSInt32(kPartialIndexString, record.mIndex);
    values.AddFloat32(kPartialFreqHz, record.mFrequency);
    values.AddFloat32(kPartialMagnitude, record.mMagnitude);
    values.AddFloat32(kPartialPhase, record.mPhase);
    values.AddFloat32(kPartialTime, static_cast<float>(record.mTime));
    return values;
}

} // namespace

void MyPartialSpectralFun(SpectralAndAudioBufferList*, void* refCon) {
    auto* generator = static_cast<AAPartialTrackGenerator*>(refCon);
    generator->GetSpectrumMagnitude();
    generator->TrackPartials();
}

AAPartialTrackGenerator::~AAPartialTrackGenerator() {
    AAPartialTrackGenerator::Cleanup();
}

AAPartialTrackGenerator::Flag AAPartialTrackGenerator::FlagOf(CFStringRef key) {
    return static_cast<Flag>(IndexOf(key, kKeys));
}

SInt32 AAPartialTrackGenerator::SetComputeProperty(CFArrayRef keys) {
    return RaiseFlags(keys, kKeys, kNumFlags);
}

UInt32 AAPartialTrackGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    const Flag flag = FlagOf(key);
    return flag != kNumFlags ? kSizes[flag]
                             : QelAAAnalysisGenerator::GetSizeOfAnalysisDataForKey(key);
}

void AAPartialTrackGenerator::NullPointers() {
    QelAAAnalysisGenerator::NullPointers();
    mMinMagnitudes.forget();
    mMaxMagnitudes.forget();
    mMagnitudeBuffer.forget();
    mLogMagnitudes.forget();
    mFrequencies.forget();
}

void AAPartialTrackGenerator::Cleanup() {
    mSpectralProcessor.free();
    mMinMagnitudes.free();
    mMaxMagnitudes.free();
    mMagnitudeBuffer.free();
    mLogMagnitudes.free();
    mFrequencies.free();
    EraseVectors();
    AAPartialTrackGenerator::NullPointers();
}

void AAPartialTrackGenerator::EraseVectors() {
    mTrackers.clear();
    mRecords.clear();
}

void AAPartialTrackGenerator::AllocateBuffers() {
    mSpectralProcessor.free();
    if (mUseInstantaneousFrequency) {
        mSpectralProcessor = new AAIFFTSpectralProcessor(
            mFrameSize, mHopSize, mNumChannels, mMaxFrames, false, static_cast<float>(mSampleRate));
    } else {
        mSpectralProcessor = new QelAASpectralProcessor(mFrameSize, mHopSize, mNumChannels,
                                                        mMaxFrames, false, false);
    }
    mSpectralProcessor->SetKeepsAudioFrames(mUseInstantaneousFrequency);
    mSpectralProcessor->SetSpectralFunction(MyPartialSpectralFun, this);
    mSpectralProcessor->HanningWindow();
    const UInt32 binRoom = mNumBins + kVectorRoom;
    mMagnitudeBuffer = NewBuffer("spectrum current magnitude buffer", binRoom * sizeof(float));
    mLogMagnitudes.alloc(binRoom, true);
    mMinMagnitudes.alloc(mNumChannels, true);
    mMaxMagnitudes.alloc(mNumChannels, true);
    ResetStamp(mFrameTime);

    EraseVectors();
    const UInt32 room = PartialTracker::MostPartials(mNumBins) + kVectorRoom;
    const Tones tones = mUseInstantaneousFrequency ? Tones::kKept : Tones::kLeft;
    mFrequencies.alloc(room, true);
    mTrackers.reserve(mNumChannels);
    mRecords.resize(mNumChannels);
    for (std::vector<PartialRecord>& records : mRecords) {
        mTrackers.emplace_back(mNumBins, tones);
        records.resize(room);
    }
}

void AAPartialTrackGenerator::GetSpectrumMagnitude() {
    mSpectralProcessor->GetMagnitude(&mMagnitudeBuffer->GetModifiableBufferList(), mMinMagnitudes,
                                     mMaxMagnitudes);
}

void AAPartialTrackGenerator::TrackPartials() {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        TrackChannel(c);
    }
    if (IsWanted(kPartials)) {
        DeliverPartials();
    }
    if (IsWanted(kFundamentalFrequency)) {
        DeliverFundamentals();
    }
    if (IsWanted(kInharmonicity)) {
        DeliverInharmonicities();
    }
    mFrameTime.mSampleTime += 1.0;
}

void AAPartialTrackGenerator::TrackChannel(UInt32 channel) {
    float* magnitudes = Channel(mMagnitudeBuffer, channel);
    RaiseAndTakeLogarithms(magnitudes, mNumBins, kLeastMagnitude, mLogMagnitudes);
    // The greatest magnitude is that before the floor: silence has a threshold of -infinity.
    const float threshold = PeakThreshold(mMaxMagnitudes[channel]);
    PartialTracker& tracker = mTrackers[channel];
    PeakSpectrum spectrum{mLogMagnitudes, mNumBins, nullptr, nullptr};
    if (mUseInstantaneousFrequency) {
        const auto* refined = static_cast<AAIFFTSpectralProcessor*>(mSpectralProcessor.get());
        spectrum.mFrequencies = Floats(refined->GetIFFTFrequencyBufferList(), channel);
        spectrum.mPhases = Floats(refined->GetPhaseBufferList(), channel);
    }
    FindSpectralPeaks(spectrum, threshold, tracker.Peaks());
    tracker.Track(magnitudes, threshold);
}

// Those of the tracks; they hold until the next call.
const float* AAPartialTrackGenerator::FrequenciesOf(UInt32 channel) {
    const TrackList& partials = mTrackers[channel].Partials();
    if (partials.mHasTones) {
        return partials.mFrequencies.data();
    }
    FindFrequencies(partials, {mSampleRate, mFrameSize}, mFrequencies);
    return mFrequencies;
}

// That of the oldest track, whatever its height: no pitch is looked for. 0 without a track.
float AAPartialTrackGenerator::FundamentalOf(UInt32 channel) const {
    const TrackList& partials = mTrackers[channel].Partials();
    if (partials.mCount == 0) {
        return 0.0f;
    }
    return partials.mHasTones ? partials.mFrequencies[0]
                              : FrequencyOf(partials.mBins[0], {mSampleRate, mFrameSize});
}

float AAPartialTrackGenerator::InharmonicityOf(UInt32 channel) {
    const float fundamental = FundamentalOf(channel);
    if (fundamental == 0.0f) {
        return 0.0f;
    }
    const TrackList& partials = mTrackers[channel].Partials();
    float value = 0.0f;
    ComputeInharmonicity(partials.mMagnitudes.data(), FrequenciesOf(channel),
                         static_cast<unsigned int>(partials.mCount), &fundamental, &value);
    return value;
}

void AAPartialTrackGenerator::DeliverPartials() {
    mBlocks.Prepare(mNumChannels, kSizes[kPartials]);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        const TrackList& partials = mTrackers[c].Partials();
        PartialRecord* const records = mRecords[c].data();
        ListTracks(partials, FrequenciesOf(c), mNumBins, mFrameTime.mSampleTime, records);
        const PartialList list{static_cast<UInt32>(partials.mCount), records};
        mBlocks.Store(c, &list);
    }
    Deliver(kKeys[kPartials]);
}

void AAPartialTrackGenerator::DeliverFundamentals() {
    mBlocks.Prepare(mNumChannels, kSizes[kFundamentalFrequency]);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        *mBlocks.Floats(c) = FundamentalOf(c);
    }
    Deliver(kKeys[kFundamentalFrequency]);
}

void AAPartialTrackGenerator::DeliverInharmonicities() {
    mBlocks.Prepare(mNumChannels, kSizes[kInharmonicity]);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        *mBlocks.Floats(c) = InharmonicityOf(c);
    }
    Deliver(kKeys[kInharmonicity]);
}

CFPropertyListRef
AAPartialTrackGenerator::CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                                UInt32 count, const QelAudioAnalysisBlock* blocks) {
    CACFDictionary result(allocator, true);
    const Flag flag = FlagOf(key);
    if (flag == kPartials) {
        AddPartials(result, count, blocks);
    } else if (flag != kNumFlags) {
        MakeFloatArrayForKey(&result, blocks, count, key);
    }
    return CFRetain(result.GetCFDictionary());
}

void AAPartialTrackGenerator::AddPartials(CACFDictionary& result, UInt32 count,
                                          const QelAudioAnalysisBlock* blocks) const {
    const UInt32 frames = GetNumAnalysisFramesForData(count, blocks);
    CACFArray channels(mNumChannels, true);
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        CACFArray lists(frames, true);
        for (UInt32 f = 0; f < frames; ++f) {
            lists.AppendDictionary(LastRecordOf(ListOfFrame(blocks[c], f)).GetCFDictionary());
        }
        channels.AppendArray(lists.GetCFArray());
    }
    result.AddArray(kKeys[kPartials], channels.GetCFArray());
}

} // namespace qel::core
