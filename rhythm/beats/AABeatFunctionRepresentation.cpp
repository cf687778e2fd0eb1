// Keys, sizes, the parameter, and the dictionaries made from blocks.

#include "engine/base/KeyFacts.h"
#include "rhythm/beats/AABeatFunctionGenerator.h"
#include "support/containers/CACFArray.h"
#include "support/containers/CACFDictionary.h"

#include <algorithm>
#include <limits>

namespace qel::core {

namespace {

const CFStringRef kKeys[AABeatFunctionGenerator::kNumFlags] = {
    kQelAnalysisKey_GlobalTempo,
    kQelAnalysisKey_BeatData,
    kQelAnalysisKey_GlobalNumberOfBeatsPerBar,
    kQelAnalysisKey_DownBeatData,
};

constexpr UInt32 kTempoValues = KeyTable::GlobalTempo.payloadBytes / sizeof(float);

// A hint beyond the whole numbers that it can be is one of those that change no range.
UInt32 TruncatedHint(float value) {
    constexpr UInt32 kNoRange = std::numeric_limits<UInt32>::max();
    return value > -1.0f && value < static_cast<float>(kNoRange) ? static_cast<UInt32>(value)
                                                                 : kNoRange;
}

CACFDictionary TempoDictionary(const QelAudioAnalysisBlock& block) {
    static const CFStringRef kNames[kTempoValues] = {kGlobalTempo1String, kGlobalTempo2String,
                                                     kGlobalTempo1ConfidenceString};
    CACFDictionary values(true);
    const auto* floats = static_cast<const float*>(block.mData);
    for (UInt32 i = 0; i < std::min<UInt32>(kTempoValues, block.mDataByteSize / sizeof(float));
         ++i) {
        values.AddFloat32(kNames[i], floats[i]);
    }
    return values;
}

} // namespace

AABeatFunctionGenerator::Flag AABeatFunctionGenerator::FlagOf(CFStringRef key) {
    return static_cast<Flag>(IndexOf(key, kKeys));
}

SInt32 AABeatFunctionGenerator::SetComputeProperty(CFArrayRef keys) {
    return RaiseFlags(keys, kKeys, kNumFlags);
}

UInt32 AABeatFunctionGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    switch (FlagOf(key)) {
    case kGlobalTempo:
        return KeyTable::GlobalTempo.payloadBytes;
    case kBeatData:
        return KeyTable::BeatData.payloadBytes;
    case kDownBeatData:
        return KeyTable::DownBeatData.payloadBytes;
    case kBeatsPerBar:
        return KeyTable::GlobalNumberOfBeatsPerBar.payloadBytes;
    case kNumFlags:
        break;
    }
    return QelAAAnalysisGenerator::GetSizeOfAnalysisDataForKey(key);
}

SInt32 AABeatFunctionGenerator::GetParameterList(CFMutableArrayRef* list) {
    CFArrayAppendValue(*list, kQelAnalysisParameter_GenreHint);
    return 0;
}

QelAudioAnalysisParameterValueInfo AABeatFunctionGenerator::ParameterValueInfo(CFStringRef name) {
    if (CFEqual(name, kQelAnalysisParameter_GenreHint)) {
        return {0.0f, 1.0f, 0.0f, 0};
    }
    return {};
}

// The record does not reach the caller, whose data stay as they are.
SInt32 AABeatFunctionGenerator::GetParameterValueInfo(CFStringRef name, void*) {
    [[maybe_unused]] const QelAudioAnalysisParameterValueInfo info = ParameterValueInfo(name);
    return 0;
}

SInt32 AABeatFunctionGenerator::GetParameter(CFStringRef name, float* outValue) {
    if (CFEqual(name, kQelAnalysisParameter_GenreHint)) {
        *outValue = static_cast<float>(mGenreHint);
    }
    return 0;
}

SInt32 AABeatFunctionGenerator::SetParameter(CFStringRef name, float value) {
    if (CFEqual(name, kQelAnalysisParameter_GenreHint)) {
        SetGenreHint(TruncatedHint(value));
    }
    return 0;
}

void AABeatFunctionGenerator::SetGenreHint(UInt32 hint) {
    mGenreHint = hint;
    if (hint == 0) {
        mTempoCentre = 60.0f;
        mMinTempo = 20.0f;
        mMaxTempo = 110.0f;
    } else if (hint == 1) {
        mTempoCentre = 120.0f;
        mMinTempo = 50.0f;
        mMaxTempo = 220.0f;
    }
}

// { key: [ channel: value ] }, where the value is a dictionary, for the meter a number.
CFPropertyListRef
AABeatFunctionGenerator::CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                                UInt32 count, const QelAudioAnalysisBlock* blocks) {
    CACFDictionary result(allocator, true);
    const Flag flag = FlagOf(key);
    if (flag == kNumFlags) {
        return CFRetain(result.GetCFDictionary());
    }
    CACFArray channels(mNumChannels, true);
    for (UInt32 c = 0; c < std::min(mNumChannels, count); ++c) {
        const QelAudioAnalysisBlock block =
            blocks[c].mData != nullptr ? blocks[c] : QelAudioAnalysisBlock{nullptr, 0};
        if (flag == kGlobalTempo) {
            channels.AppendDictionary(TempoDictionary(block).GetCFDictionary());
        } else if (flag == kBeatData) {
            channels.AppendDictionary(
                EventDictionary(block, kBeatTimeString, kBeatConfidenceString).GetCFDictionary());
        } else if (flag == kDownBeatData) {
            channels.AppendDictionary(
                EventDictionary(block, kDownBeatTimeString, kDownBeatConfidenceString)
                    .GetCFDictionary());
        } else if (block.mDataByteSize >= sizeof(UInt32)) {
            channels.AppendUInt32(*static_cast<const UInt32*>(block.mData));
        }
    }
    result.AddArray(key, channels.GetCFArray());
    return CFRetain(result.GetCFDictionary());
}

} // namespace qel::core
