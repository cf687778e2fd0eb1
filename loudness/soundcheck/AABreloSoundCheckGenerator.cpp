#include "loudness/soundcheck/AABreloSoundCheckGenerator.h"

#include "engine/base/KeyFacts.h"
#include "loudness/soundcheck/NormalizationTruncation.h"
#include "support/audio/CAAudioChannelLayout.h"
#include "support/containers/CACFArray.h"
#include "support/containers/CACFDictionary.h"

#include <cstddef>
#include <cstdio>

namespace qel::core {

namespace {

// Clients read the block by these places.
static_assert(sizeof(SoundCheckBlock) == 40);
static_assert(offsetof(SoundCheckBlock, averageLoudness) == 4);
static_assert(offsetof(SoundCheckBlock, maxLoudness) == 8);
static_assert(offsetof(SoundCheckBlock, maxLoudnessTime) == 16);
static_assert(offsetof(SoundCheckBlock, peakLevel) == 24);
static_assert(offsetof(SoundCheckBlock, peakTime) == 32);
static_assert(KeyTable::SoundCheck.payloadBytes == sizeof(SoundCheckBlock));

CFStringRef OwnKey() {
    return CFSTR(QEL_PRIVATE_KEY_SOUND_CHECK);
}

// A channel beyond those that the engine measures has all figures 0.
SoundCheckBlock BlockOf(const NormalizationData& data, UInt32 channel) {
    SoundCheckBlock block{};
    block.version = SoundCheckAnalyzer::Version();
    if (channel < kMaxNormalizationChannels) {
        block.averageLoudness = data.averageLoudness[channel];
        block.maxLoudness = data.maxLoudness[channel];
        block.maxLoudnessTime = data.maxEnergyTime[channel];
        block.peakLevel = static_cast<UInt32>(data.peak[channel]);
        block.peakTime = data.peakTime[channel];
    }
    return block;
}

} // namespace

AABreloSoundCheckGenerator::~AABreloSoundCheckGenerator() {
    AABreloSoundCheckGenerator::Cleanup();
}

void AABreloSoundCheckGenerator::NullPointers() {
    QelAAAnalysisBase::NullPointers();
    mAnalyzer.forget();
}

void AABreloSoundCheckGenerator::Cleanup() {
    mAnalyzer.free();
    QelAAAnalysisBase::Cleanup();
}

void AABreloSoundCheckGenerator::AllocateBuffers() {
    mAnalyzer.free();
    mAnalyzer = new BufferedSoundCheckAnalyzer("my analyzer");
    CAStreamBasicDescription format;
    format.SetCanonical(TruncateTo<UInt32>(mSampleRate), false);
    const CAAudioChannelLayout layout(mNumChannels, false);
    const OSStatus status = mAnalyzer->Start(format, layout, nullptr, 0);
    if (status != 0) {
        std::printf("Start err=%ld\n", static_cast<long>(status));
    }
}

SInt32 AABreloSoundCheckGenerator::PushAudio(AudioBufferList* list, UInt32 frames) {
    if (list == nullptr) {
        return kAudioAnalysisErr_NullBufferList;
    }
    if (mAnalyzer.get() == nullptr) { // a reset that failed
        return 0;
    }
    const OSStatus status = mAnalyzer->ProcessBuffer(frames, *list, nullptr);
    if (status != 0) {
        return status;
    }
    GetDataFromSoundCheck();
    return 0;
}

SInt32 AABreloSoundCheckGenerator::ProcessFinal(UInt8 flush) {
    OSStatus startStatus = 0;
    if (mAnalyzer.get() != nullptr) {
        startStatus = mAnalyzer->StartStatus();
        mAnalyzer->Finish();
        GetDataFromSoundCheck();
    }
    const SInt32 status = QelAAAnalysisBase::ProcessFinal(flush);
    return startStatus != 0 ? startStatus : status;
}

void AABreloSoundCheckGenerator::GetDataFromSoundCheck() {
    const NormalizationData* data = mAnalyzer->GetData();
    if (data == nullptr) {
        return;
    }
    mBlocks.Prepare(mNumChannels, GetSizeOfAnalysisDataForKey(OwnKey()));
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        const SoundCheckBlock block = BlockOf(*data, c);
        mBlocks.Store(c, &block);
    }
    Deliver(OwnKey());
}

UInt32 AABreloSoundCheckGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    return key != nullptr && CFEqual(key, OwnKey()) ? KeyTable::SoundCheck.payloadBytes : 0;
}

CFPropertyListRef AABreloSoundCheckGenerator::CreateCFRepresentation(CFAllocatorRef allocator,
                                                                     CFStringRef key, UInt32,
                                                                     const QelAudioAnalysisBlock*) {
    CACFDictionary result(allocator, true);
    const CACFArray channels(mNumChannels, true);
    result.AddArray(key, channels.GetCFArray());
    return CFRetain(result.GetCFDictionary());
}

} // namespace qel::core
