/*
 * QelAudioAnalysis: audio feature extraction for music.
 *
 * The complete public interface: twelve functions with C linkage over an opaque handle.
 *
 * Life of a handle
 *
 *   1. QelAudioAnalysisNew          give the list of keys and the data callback
 *   2. QelAudioAnalysisInitialize   give the stream format, the largest push, the length if known
 *   3. QelAudioAnalysisSetParameter (optional; initialization sets the defaults)
 *   4. QelAudioAnalysisPushAudio    any number of times; per-frame results arrive during the call
 *   5. QelAudioAnalysisProcess      with flush 1 at the end; results of the whole stream arrive
 *   6. QelAudioAnalysisDispose
 *
 * QelAudioAnalysisReset starts a new stream with the same setup: continue with step 3 or 4.
 *
 * Results arrive in the data callback as an array of blocks, frame-major: the block of frame f and
 * channel c is blocks[f * channels + c]. Most keys deliver one frame per call, so the count is the
 * number of channels. Blocks and payloads belong to the library and are valid only until the
 * callback returns: copy what you keep. docs/keys.md describes the payload of every key.
 *
 * Threads: the library starts none, and no lock protects a handle. Use one handle in one thread at
 * a time. Different handles may be used in different threads at once; what they share internally is
 * synchronized. Every callback runs in the caller's thread, inside the call that caused it:
 * QelAudioAnalysisPushAudio or QelAudioAnalysisProcess.
 *
 * Real time: QelAudioAnalysisPushAudio allocates only (1) in the first push of a thread that has
 * not called QelAudioAnalysisInitialize, (2) when a key about the whole stream extends its store,
 * which a correctly declared length avoids, and (3) in the rare cases that docs/contract.md lists.
 * It may take a lock that is shared for reading. QelAudioAnalysisNew, Initialize, Reset and Process
 * allocate freely.
 *
 * Floating point: denormal numbers are flushed to zero during a call. The caller's floating-point
 * environment is restored before every callback and at the end of the call.
 *
 * Errors: misuse is answered with a status where the library can detect it. Null pointers are
 * detected only where this header says so. The one exception is std::bad_alloc, which any of the
 * functions may throw when memory runs out. The handle can be initialized again or disposed of
 * afterwards. docs/contract.md says what else is guaranteed.
 */
#pragma once

#include "QelAudioAnalysisNames.h"

#include <CoreAudio/CoreAudioTypes.h>
#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Statuses. 0 is success. */
enum {
    /* QelAudioAnalysisSetProperty: always. QelAudioAnalysisGetProperty: an id above 8, or a key or
       parameter without an owner in this analyzer. Parameter functions: a name without an owner. */
    kAudioAnalysisErr_UnknownProperty = -3860,
    /* More frames pushed than the maximum given to QelAudioAnalysisInitialize. */
    kAudioAnalysisErr_TooManyFrames = -3863,
    /* QelAudioAnalysisProcess without flush, before the stream has its declared length or enough
       audio for the rhythm keys. */
    kAudioAnalysisErr_NotEnoughData = -3864,
    /* The format is not canonical, or a pushed list does not match the format. */
    kAudioAnalysisErr_BadFormat = -3865,
    /* A null handle, or a handle that is not initialized. */
    kAudioAnalysisErr_NotInitialized = -3866,
    /* QelAudioAnalysisInitialize only: a null handle. */
    kAudioAnalysisErr_NullHandle = -3868,
    /* A null buffer list inside the library. No exported function returns it. */
    kAudioAnalysisErr_NullBufferList = -3873
};

/* Property ids of QelAudioAnalysisGetProperty. */
enum {
    kQelAnalysisProperty_DataSizeForKey = 0,
    kQelAnalysisProperty_StreamLength = 1,
    kQelAnalysisProperty_StreamFormat = 2,
    kQelAnalysisProperty_ChannelLayout = 3,
    kQelAnalysisProperty_MaxFrames = 4,
    kQelAnalysisProperty_Keys = 5,
    kQelAnalysisProperty_MetaDataForKey = 6,
    kQelAnalysisProperty_ParameterList = 7,
    kQelAnalysisProperty_ParameterValueInfo = 8
};

/* The handle. */
typedef struct OpaqueQelAudioAnalysis* QelAudioAnalysisRef;

/* One result block: a payload, whose content depends on the key, and its size. */
typedef struct QelAudioAnalysisBlock {
    void* mData;
    UInt32 mDataByteSize;
} QelAudioAnalysisBlock;

/* The record of kQelAnalysisProperty_MetaDataForKey: provide all 24 bytes. A key without fixed
   frames writes the sample rate only. Such keys are "temporal properties", and keys about the whole
   stream that are not made from frames. */
typedef struct QelAudioAnalysisKeyMetaData {
    Float64 mSampleRate; /* Hz */
    UInt32 mFrameSize;   /* samples per analysis frame */
    UInt32 mHopSize;     /* samples from one frame to the next */
    UInt8 mReserved[8];  /* undefined content; not written */
} QelAudioAnalysisKeyMetaData;

/* The range of a parameter. The library fills a record for kQelAnalysisProperty_ParameterValueInfo
   internally, but it does not reach the caller: see docs/keys.md for the ranges. */
typedef struct QelAudioAnalysisParameterValueInfo {
    Float32 mMinimum;
    Float32 mMaximum;
    Float32 mDefault;
    UInt32 mFlags; /* undefined content */
} QelAudioAnalysisParameterValueInfo;

/* One event of a stream: a beat, a down beat, an onset. */
typedef struct QelAudioAnalysisEvent {
    Float64 mTime;     /* seconds from the start of the stream */
    Float32 mStrength; /* relative to the greatest value of the curve that it was read from */
} QelAudioAnalysisEvent;

/* The payload of "beat data", "down beat data" and "onset data": events in ascending order of
   time. The list belongs to the library like the block itself. */
typedef struct QelAudioAnalysisEventList {
    UInt32 mCount;
    const QelAudioAnalysisEvent* mEvents;
} QelAudioAnalysisEventList;

/* One sinusoidal track in one frame. */
typedef struct PartialRecord {
    SInt32 mIndex;      /* bin */
    Float32 mFrequency; /* Hz */
    Float32 mMagnitude; /* linear, as in the spectrum */
    Float32 mPhase;     /* radians */
    Float64 mTime;      /* the number of the frame, from 0; not seconds */
} PartialRecord;

/* The payload of "partials": the living tracks, the oldest first. The list belongs to the library
   like the block itself. */
typedef struct PartialList {
    UInt32 mCount;
    const PartialRecord* mPartials;
} PartialList;

/* The range of a channel in amplitude and in frequency. */
typedef struct QelAudioAnalysisRange {
    Float32 mHeadroom;       /* fraction of full scale; -1 if there is none */
    Float32 mNoiseFloor;     /* dB; 100 if there is none */
    Float32 mCutoff;         /* Hz; -1 if there is none */
    SInt32 mHeadroomValid;   /* 1 if any channel has a headroom, else 0 */
    SInt32 mNoiseFloorValid; /* the same for the noise floor */
    SInt32 mCutoffValid;     /* the same for the cutoff */
} QelAudioAnalysisRange;

/*
 * Receives results.
 *
 *   handle  the analyzer; use it only for QelAudioAnalysisCreateCFRepresentation
 *   key     the key of the result, one of those requested
 *   count   number of blocks: frames times channels
 *   blocks  frame-major; they belong to the library and are valid until the callback returns.
 *           Special cases:
 *           "dominant key", "global key": mData is the CFString itself. The callback owns a
 *           reference to it: CFRelease it, immediately or later. For "global key" only blocks[0]
 *           has a size.
 *           "audio range": every block is the whole array of QelAudioAnalysisRange, one record per
 *           channel.
 *           "reasigned spectrum": with F = count / channels, blocks[c * F] points to all F frames
 *           of channel c, one after the other, and has the size of one frame. The other blocks are
 *           empty.
 *   refCon  the pointer given to QelAudioAnalysisNew
 *
 * The callback must not throw. It must not initialize, push, process, reset or dispose of the
 * handle.
 */
typedef void (*QelAudioAnalysisDataCallback)(QelAudioAnalysisRef handle, CFStringRef key,
                                             UInt32 count, QelAudioAnalysisBlock* blocks,
                                             void* refCon);

/*
 * Receives progress during QelAudioAnalysisProcess.
 *
 *   unused   null
 *   percent  0 to 100. Each group of keys reports 100 when it is done. The percentage starts again
 *            with the next group, and may decrease within a group.
 *   refCon   the pointer given to QelAudioAnalysisProcess
 *
 * Returns 0 to continue, anything else to stop. The rules for the data callback apply here too.
 */
typedef int (*QelAudioAnalysisProgressCallback)(void* unused, float percent, void* refCon);

/*
 * Creates an analyzer.
 *
 *   keys       CFStrings, compared by content. The array is copied, and the caller keeps its own.
 *              Null counts as an empty list. If the caller's array does not retain its strings,
 *              they must live as long as the handle. The first unknown key ends the list without
 *              an error: of the keys after it, only those in the group of an earlier key are
 *              delivered. A repeated key counts once.
 *   callback   receives the results; null drops them
 *   refCon     passed to the callback
 *   outHandle  receives the handle; release it with QelAudioAnalysisDispose
 *
 * Returns 0 always.
 */
SInt32 QelAudioAnalysisNew(CFArrayRef keys, QelAudioAnalysisDataCallback callback, void* refCon,
                           QelAudioAnalysisRef* outHandle);

/*
 * Prepares an analyzer for one stream. A repeated call replaces everything built before and sets
 * the parameters back to their defaults.
 *
 *   maxFrames     the largest number of frames of one push
 *   format        canonical: linear PCM, native 32-bit float, packed, one frame per packet. Pushes
 *                 have one buffer per channel, so set kAudioFormatFlagIsNonInterleaved if there is
 *                 more than one channel. Any sample rate. Null is not canonical.
 *   layout        the first 32 bytes (header and one description) are copied and must be readable,
 *                 whatever the number of descriptions. Null: no layout.
 *   streamLength  expected length in frames, 0 if unknown; only the low 32 bits count. A correct
 *                 length avoids allocations during pushes. Results do not depend on it, with two
 *                 exceptions: (1) "reasigned spectrum" keeps as many frames as the length has, and
 *                 older ones are lost; (2) QelAudioAnalysisProcess without flush waits for this
 *                 length before it delivers the rhythm keys.
 *
 * Returns
 *   0
 *   kAudioAnalysisErr_BadFormat   the format is not canonical (checked first)
 *   kAudioAnalysisErr_NullHandle
 */
SInt32 QelAudioAnalysisInitialize(QelAudioAnalysisRef handle, UInt32 maxFrames,
                                  const AudioStreamBasicDescription* format,
                                  const AudioChannelLayout* layout, SInt64 streamLength);

/*
 * Analyzes the next samples of the stream.
 *
 *   frames  0 to maxFrames. "audio range" needs a multiple of 512 other than 0. It answers any
 *           other push with -1 and ignores it; the other keys accept the push.
 *   list    one buffer per channel, each with at least 4 * frames bytes of floats; read during the
 *           call only
 *
 * Returns
 *   0
 *   kAudioAnalysisErr_NotInitialized
 *   kAudioAnalysisErr_TooManyFrames
 *   kAudioAnalysisErr_BadFormat       a null list, a wrong number of buffers, a buffer that is too
 *                                     small, or null data with frames above 0
 *   else the status of the last group of keys
 */
SInt32 QelAudioAnalysisPushAudio(QelAudioAnalysisRef handle, UInt32 frames, AudioBufferList* list);

/*
 * Delivers the results of the whole stream.
 *
 *   flush     other than 0: the stream has ended
 *   progress  may be null
 *
 * Returns the status of the last group of keys only:
 *   0
 *   kAudioAnalysisErr_NotInitialized
 *   kAudioAnalysisErr_NotEnoughData
 *   -1    the progress callback asked to stop, or the stream has no tempo (silence, or shorter than
 *         2.1 seconds)
 *   -3    the stream has no meter
 *   -128  the progress callback asked to stop while the meter or the onsets were being found
 *
 * A stop while beats are tracked does not change the status: the beats found so far are delivered.
 */
SInt32 QelAudioAnalysisProcess(QelAudioAnalysisRef handle, UInt8 flush,
                               QelAudioAnalysisProgressCallback progress, void* progressRefCon);

/*
 * Starts a new stream with the same keys, format and parameters. All stream state is cleared,
 * except for the samples that "audio range" has counted. The parameter "complexity" takes effect
 * here. A "Genre Hint" that QelAudioAnalysisProcess has changed stays changed.
 *
 * Returns
 *   0
 *   kAudioAnalysisErr_NotInitialized  a null handle, or before initialization
 */
SInt32 QelAudioAnalysisReset(QelAudioAnalysisRef handle);

/*
 * Reads a property.
 *
 *   propertyID     MetaDataForKey writes a QelAudioAnalysisKeyMetaData to outData; specifier is the
 *                  key, a CFString. ParameterList appends the parameter names to the CFMutableArray
 *                  that outData points to. All other ids write nothing to outData.
 *   specifierSize  ignored
 *   dataSize       ignored: outData must have room for what the property writes
 *   outSize        set to 8 for every valid id
 *
 * Returns
 *   0
 *   kAudioAnalysisErr_NotInitialized   a null handle
 *   kAudioAnalysisErr_UnknownProperty  an id above 8 (outSize is not changed), or a key or
 *                                      parameter without an owner in this analyzer
 */
SInt32 QelAudioAnalysisGetProperty(QelAudioAnalysisRef handle, UInt32 propertyID,
                                   const void* specifier, UInt32 specifierSize, void* outData,
                                   UInt32 dataSize, UInt32* outSize);

/* No property can be set. Returns kAudioAnalysisErr_UnknownProperty always. All arguments are
   ignored. */
SInt32 QelAudioAnalysisSetProperty(QelAudioAnalysisRef handle, UInt32 propertyID,
                                   const void* specifier, UInt32 specifierSize, const void* data,
                                   UInt32 dataSize);

/*
 * Reads a parameter.
 *
 * Returns
 *   0                                  also for a null handle; nothing is stored then
 *   kAudioAnalysisErr_UnknownProperty  a name without an owner in this analyzer
 */
SInt32 QelAudioAnalysisGetParameter(QelAudioAnalysisRef handle, CFStringRef name, float* outValue);

/*
 * Sets a parameter to any float; see docs/keys.md for the ranges. QelAudioAnalysisInitialize sets
 * it back to its default. Statuses as for QelAudioAnalysisGetParameter.
 */
SInt32 QelAudioAnalysisSetParameter(QelAudioAnalysisRef handle, CFStringRef name, float value);

/*
 * Turns blocks into a property list. Normally called in the data callback with its own arguments.
 *
 * Returns a CFDictionary that the caller owns. Its usual shape is
 * { key: [ channel: [ frame: [ numbers ] ] ] }; docs/keys.md describes the others, and which form
 * of blocks "dominant key" and "partials" read. At most mDataByteSize bytes of a payload are read.
 *
 * Returns null for a null handle, for a key without an owner in this analyzer, for null blocks with
 * a count above 0, and for "audio range", which has no representation.
 */
CFPropertyListRef QelAudioAnalysisCreateCFRepresentation(QelAudioAnalysisRef handle,
                                                         CFAllocatorRef allocator, CFStringRef key,
                                                         UInt32 count,
                                                         const QelAudioAnalysisBlock* blocks);

/*
 * Returns the thirty public keys in a new mutable array without retaining callbacks (the strings
 * are constants), or null if the array cannot be made. The caller releases it. Any thread, at any
 * time.
 */
CFMutableArrayRef QelAudioAnalysisGlobalCopyKeys(void);

/* Destroys an analyzer, initialized or not. A null handle is allowed. Returns 0 always. */
SInt32 QelAudioAnalysisDispose(QelAudioAnalysisRef handle);

#ifdef __cplusplus
}
#endif
