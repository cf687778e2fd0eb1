#pragma once

#include "engine/slots/AnalyzerSlots.h"
#include "support/runtime/FloatingPointMode.h"

#include <QelAudioAnalysis.h>

#include <array>
#include <memory>

namespace qel::core {

// The object behind the handle. It holds the key list, the stream's format and fifteen slots, each
// with at most one generator; it decides from the keys which generators exist and fans every call
// out to them in slot order. It computes nothing itself. One thread at a time.
//
// Statuses are those of the exported functions of like name.
class AAAudioAnalyzer {
public:
    AAAudioAnalyzer(CFArrayRef keys, QelAudioAnalysisDataCallback callback, void* refCon);
    AAAudioAnalyzer(const AAAudioAnalyzer&) = delete;
    AAAudioAnalyzer& operator=(const AAAudioAnalyzer&) = delete;
    ~AAAudioAnalyzer();

    // `layout` may be null: no layout is kept then.
    SInt32 AudioAnalysisInitialize(UInt32 maxFrames, const AudioStreamBasicDescription& format,
                                   const AudioChannelLayout* layout, SInt64 streamLength);
    SInt32 AudioAnalysisPushAudio(UInt32 frames, AudioBufferList* list);
    SInt32 AudioAnalysisProcess(UInt8 flush, QelAudioAnalysisProgressCallback progress,
                                void* progressRefCon);
    SInt32 AudioAnalysisReset();
    SInt32 AudioAnalysisGetProperty(UInt32 propertyID, const void* specifier, void* outData,
                                    UInt32* outSize);
    SInt32 AudioAnalysisGetParameter(CFStringRef name, float* outValue);
    SInt32 AudioAnalysisSetParameter(CFStringRef name, float value);
    CFPropertyListRef AudioAnalysisCreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                                          UInt32 count,
                                                          const QelAudioAnalysisBlock* blocks);

    // Where the exported function that is running enters its floating-point scope.
    FlushDenormalsScope*& FloatingPointSlot() { return mFloatingPointScope; }

private:
    // The generator that answers for a key or parameter, null if there is none.
    QelAAAnalysisBase* GetAnalyzerForKey(CFStringRef key) const;
    QelAAAnalysisBase* GetAnalyzerForParameterString(CFStringRef name) const;

    SInt32 GetAnalysisDataSizeForKey(CFStringRef key) const;
    SInt32 GetMetaDataForKey(CFStringRef key, void* outData) const;
    SInt32 GetParameterList(void* outData) const;
    SInt32 GetParameterValueInfo(CFStringRef name, void* outData) const;

    void AllocateBuffers();
    void ReserveBlocks();
    void CreateGeneratorForRoute(const KeyRoute& route, const GeneratorSetup& setup);
    void NullPointers();
    void Cleanup();
    SInt32 CheckPush(UInt32 frames, const AudioBufferList* list) const;

    // Runs `call` on the generator of every active slot, in slot order; the last status wins.
    template <class Call>
    SInt32 ForEachActiveSlot(Call call) const;

    // What generators call: puts the handle in and hands the blocks to the client, in the client's
    // own floating-point environment. The last argument is the analyzer.
    static void DataCallback(void* unused, CFStringRef key, UInt32 count,
                             QelAudioAnalysisBlock* blocks, void* refCon);
    static int ProgressCallback(void* unused, float percent, void* refCon);

    AudioStreamBasicDescription mFormat{};
    AudioChannelLayout mChannelLayout{}; // header and one description
    UInt32 mMaxFrames = 0;
    UInt32 mStreamLength = 0; // frames, 0: unknown
    const QelAudioAnalysisDataCallback mDataCallback;
    void* const mDataRefCon;
    CFArrayRef mKeys;
    std::array<std::unique_ptr<QelAAAnalysisBase>, kNumSlots> mGenerators;
    std::array<bool, kNumSlots> mSlotActive{};
    bool mInitialized = false;

    FlushDenormalsScope* mFloatingPointScope = nullptr;
    QelAudioAnalysisProgressCallback mClientProgress = nullptr;
    void* mClientProgressRefCon = nullptr;
};

} // namespace qel::core
