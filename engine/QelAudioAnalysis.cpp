// The exported functions: thin guards over one AAAudioAnalyzer. They run in the library's
// floating-point mode and leave the caller's as it was, its flags and errno included: no call has
// effects on these, however little it computes.

#include "engine/AAAudioAnalyzer.h"
#include "support/audio/CAStreamBasicDescription.h"
#include "support/runtime/FloatingPointMode.h"

#include <QelAudioAnalysis.h>

using qel::core::AAAudioAnalyzer;
using qel::core::FlushDenormalsScope;

namespace {

AAAudioAnalyzer* AnalyzerOf(QelAudioAnalysisRef handle) {
    return reinterpret_cast<AAAudioAnalyzer*>(handle);
}

} // namespace

#pragma GCC visibility push(default)

SInt32 QelAudioAnalysisNew(CFArrayRef keys, QelAudioAnalysisDataCallback callback, void* refCon,
                           QelAudioAnalysisRef* outHandle) {
    const FlushDenormalsScope scope;
    *outHandle = reinterpret_cast<QelAudioAnalysisRef>(new AAAudioAnalyzer(keys, callback, refCon));
    return 0;
}

SInt32 QelAudioAnalysisInitialize(QelAudioAnalysisRef handle, UInt32 maxFrames,
                                  const AudioStreamBasicDescription* format,
                                  const AudioChannelLayout* layout, SInt64 streamLength) {
    qel::core::CAStreamBasicDescription description;
    if (format != nullptr) {
        description.SetFrom(*format);
    }
    if (!description.IsCanonical()) {
        return kAudioAnalysisErr_BadFormat;
    }
    if (handle == nullptr) {
        return kAudioAnalysisErr_NullHandle;
    }
    AAAudioAnalyzer* analyzer = AnalyzerOf(handle);
    const FlushDenormalsScope scope(analyzer->FloatingPointSlot());
    return analyzer->AudioAnalysisInitialize(maxFrames, description, layout, streamLength);
}

SInt32 QelAudioAnalysisPushAudio(QelAudioAnalysisRef handle, UInt32 frames, AudioBufferList* list) {
    if (handle == nullptr) {
        return kAudioAnalysisErr_NotInitialized;
    }
    AAAudioAnalyzer* analyzer = AnalyzerOf(handle);
    const FlushDenormalsScope scope(analyzer->FloatingPointSlot());
    return analyzer->AudioAnalysisPushAudio(frames, list);
}

SInt32 QelAudioAnalysisProcess(QelAudioAnalysisRef handle, UInt8 flush,
                               QelAudioAnalysisProgressCallback progress, void* progressRefCon) {
    if (handle == nullptr) {
        return kAudioAnalysisErr_NotInitialized;
    }
    AAAudioAnalyzer* analyzer = AnalyzerOf(handle);
    const FlushDenormalsScope scope(analyzer->FloatingPointSlot());
    return analyzer->AudioAnalysisProcess(flush, progress, progressRefCon);
}

SInt32 QelAudioAnalysisReset(QelAudioAnalysisRef handle) {
    if (handle == nullptr) {
        return kAudioAnalysisErr_NotInitialized;
    }
    AAAudioAnalyzer* analyzer = AnalyzerOf(handle);
    const FlushDenormalsScope scope(analyzer->FloatingPointSlot());
    return analyzer->AudioAnalysisReset();
}

SInt32 QelAudioAnalysisGetProperty(QelAudioAnalysisRef handle, UInt32 propertyID,
                                   const void* specifier, UInt32, void* outData, UInt32,
                                   UInt32* outSize) {
    if (handle == nullptr) {
        return kAudioAnalysisErr_NotInitialized;
    }
    AAAudioAnalyzer* analyzer = AnalyzerOf(handle);
    const FlushDenormalsScope scope(analyzer->FloatingPointSlot());
    return analyzer->AudioAnalysisGetProperty(propertyID, specifier, outData, outSize);
}

SInt32 QelAudioAnalysisSetProperty(QelAudioAnalysisRef, UInt32, const void*, UInt32, const void*,
                                   UInt32) {
    return kAudioAnalysisErr_UnknownProperty;
}

SInt32 QelAudioAnalysisGetParameter(QelAudioAnalysisRef handle, CFStringRef name, float* outValue) {
    if (handle == nullptr) {
        return 0;
    }
    AAAudioAnalyzer* analyzer = AnalyzerOf(handle);
    const FlushDenormalsScope scope(analyzer->FloatingPointSlot());
    return analyzer->AudioAnalysisGetParameter(name, outValue);
}

SInt32 QelAudioAnalysisSetParameter(QelAudioAnalysisRef handle, CFStringRef name, float value) {
    if (handle == nullptr) {
        return 0;
    }
    AAAudioAnalyzer* analyzer = AnalyzerOf(handle);
    const FlushDenormalsScope scope(analyzer->FloatingPointSlot());
    return analyzer->AudioAnalysisSetParameter(name, value);
}

CFPropertyListRef QelAudioAnalysisCreateCFRepresentation(QelAudioAnalysisRef handle,
                                                         CFAllocatorRef allocator, CFStringRef key,
                                                         UInt32 count,
                                                         const QelAudioAnalysisBlock* blocks) {
    if (handle == nullptr) {
        return nullptr;
    }
    AAAudioAnalyzer* analyzer = AnalyzerOf(handle);
    const FlushDenormalsScope scope(analyzer->FloatingPointSlot());
    return analyzer->AudioAnalysisCreateCFRepresentation(allocator, key, count, blocks);
}

CFMutableArrayRef QelAudioAnalysisGlobalCopyKeys(void) {
    const FlushDenormalsScope scope;
    const auto keys = qel::core::ListedKeys();
    const auto count = static_cast<CFIndex>(keys.size());
    CFMutableArrayRef array = CFArrayCreateMutable(kCFAllocatorDefault, count, nullptr);
    try {
        for (CFStringRef key : keys) {
            CFArrayAppendValue(array, key); // no effect on a null array
        }
    } catch (...) {
        CFRelease(array);
        throw;
    }
    return array;
}

SInt32 QelAudioAnalysisDispose(QelAudioAnalysisRef handle) {
    const FlushDenormalsScope scope; // no slot: that goes with the analyzer
    delete AnalyzerOf(handle);
    return 0;
}

#pragma GCC visibility pop
