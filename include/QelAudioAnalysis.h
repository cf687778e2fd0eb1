/*
 * QelAudioAnalysis: audio feature extraction for music.
 *
 * The whole public interface: twelve functions with C linkage over an opaque handle.
 *
 * Life of a handle
 *
 *   1. QelAudioAnalysisNew          name what is wanted as a list of keys, give the data callback
 *   2. QelAudioAnalysisInitialize   give the stream's format, the largest push, the length if known
 *   3. QelAudioAnalysisSetParameter (optional; parameters belong to what initialization builds)
 *   4. QelAudioAnalysisPushAudio    any number of times; per-frame results arrive while it runs
 *   5. QelAudioAnalysisProcess      with flush 1 at the end; whole-stream results arrive
 *   6. QelAudioAnalysisDispose
 *
 * QelAudioAnalysisReset starts a new stream with the same setup: after it, go on at 3 or 4.
 *
 * Results arrive in the data callback as an array of blocks, frame-major: the block of frame f and
 * channel c stands at f * channels + c. Most keys deliver one frame per call, so that the count is
 * the number of channels. Blocks and payloads belong to the library and live only until the
 * callback returns: copy what you keep. docs/keys.md tells the payload of every key.
 *
 * Threads: the library starts none, and no lock guards a handle. One handle is for one thread at a
 * time; different handles may be used in different threads at once: what they share behind the
 * scenes is guarded. Every callback runs on the caller's thread, inside the call that caused it,
 * which is QelAudioAnalysisPushAudio or Process.
 *
 * Real time: QelAudioAnalysisPushAudio may allocate when a group of keys delivers for the first
 * time after initialization, in the first push of a thread, and where a key about the stream as a
 * whole lets its store grow; else it does not. It may take a lock that is shared for reading.
 * QelAudioAnalysisNew, Initialize, Reset and Process allocate freely.
 *
 * Floating point: denormal numbers are flushed to zero while a call runs. The caller's
 * floating-point environment is restored before every callback and when the call ends.
 *
 * Faults: misuse is answered by a status, where it can be told; a pointer that must not be null and
 * is, is told apart only where this says so. The one exception is std::bad_alloc, which leaves any
 * of the functions as it is when memory runs out; the handle can be initialized anew or disposed of
 * afterwards. docs/contract.md tells what is guaranteed beyond that.
 */
#pragma once

#include <CoreAudio/CoreAudioTypes.h>
#include <CoreFoundation/CoreFoundation.h>

#include "QelAudioAnalysisNames.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Statuses. 0 is success. */
enum {
    /* QelAudioAnalysisSetProperty always; QelAudioAnalysisGetProperty for an id above 8; that and
       the functions of parameters for a key or name that no part of this analyzer answers to. */
    kAudioAnalysisErr_UnknownProperty = -3860,
    /* More frames pushed than the maximum given to QelAudioAnalysisInitialize. */
    kAudioAnalysisErr_TooManyFrames = -3863,
    /* QelAudioAnalysisProcess without flush, before the stream has its declared length, or enough
       for the keys about rhythm to deliver. */
    kAudioAnalysisErr_NotEnoughData = -3864,
    /* The format is not canonical, or a pushed list does not fit the format. */
    kAudioAnalysisErr_BadFormat = -3865,
    /* A null handle, or an analyzer that is not initialized. */
    kAudioAnalysisErr_NotInitialized = -3866,
    /* QelAudioAnalysisInitialize, and only there: a null handle. */
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

/* One result block: a payload whose content is fixed per key, and its size. */
typedef struct QelAudioAnalysisBlock {
    void* mData;
    UInt32 mDataByteSize;
} QelAudioAnalysisBlock;

/* The record of kQelAnalysisProperty_MetaDataForKey: offer its 24 bytes. A key without fixed frames
   ("temporal properties", and every key that is delivered for the stream as a whole by a part of
   the library that keeps no frames) writes the sample rate alone. */
typedef struct QelAudioAnalysisKeyMetaData {
    Float64 mSampleRate; /* Hz */
    UInt32 mFrameSize;   /* samples per analysis frame */
    UInt32 mHopSize;     /* samples from one frame to the next */
    UInt8 mReserved[8];  /* undefined content; not written */
} QelAudioAnalysisKeyMetaData;

/* What values a parameter has. The parts of the library fill one for
   kQelAnalysisProperty_ParameterValueInfo, but it does not reach the caller: docs/keys.md tells the
   ranges. */
typedef struct QelAudioAnalysisParameterValueInfo {
    Float32 mMinimum;
    Float32 mMaximum;
    Float32 mDefault;
    UInt32 mFlags; /* undefined content */
} QelAudioAnalysisParameterValueInfo;

/* One event of a stream: a beat, a down beat, an onset. */
typedef struct QelAudioAnalysisEvent {
    Float64 mTime;     /* seconds from the stream's start */
    Float32 mStrength; /* relative to the greatest value of the function it was read from */
} QelAudioAnalysisEvent;

/* The payload of "beat data", "down beat data" and "onset data": events in ascending order of
   time. The list belongs to the library like the block itself. */
typedef struct QelAudioAnalysisEventList {
    UInt32 mCount;
    const QelAudioAnalysisEvent* mEvents;
} QelAudioAnalysisEventList;

/* One sinusoidal track in one frame. */
typedef struct PartialRecord {
    SInt32 mIndex;      /* the bin that it lies in */
    Float32 mFrequency; /* Hz */
    Float32 mMagnitude; /* linear, as in the spectrum */
    Float32 mPhase;     /* radians */
    Float64 mTime;      /* the number of the frame, from 0; not seconds */
} PartialRecord;

/* The payload of "partials": the tracks that live, the oldest first. The list belongs to the
   library like the block itself. */
typedef struct PartialList {
    UInt32 mCount;
    const PartialRecord* mPartials;
} PartialList;

/* How far the samples of a channel reach, in amplitude and in frequency. */
typedef struct QelAudioAnalysisRange {
    Float32 mHeadroom;       /* fraction of full scale; -1 if there is none */
    Float32 mNoiseFloor;     /* dB; 100 if there is none */
    Float32 mCutoff;         /* Hz; -1 if there is none */
    SInt32 mHeadroomValid;   /* 1 if any channel has a headroom, else 0 */
    SInt32 mNoiseFloorValid; /* likewise of the noise floor */
    SInt32 mCutoffValid;     /* likewise of the cutoff */
} QelAudioAnalysisRange;

/*
 * Receives results.
 *
 *   handle  the analyzer, for QelAudioAnalysisCreateCFRepresentation and nothing else
 *   key     which result this is: one of the keys asked for
 *   count   number of blocks: frames times channels
 *   blocks  frame-major; the library's, and valid only until the callback returns. Of "dominant
 *           key" and "global key" each mData is a CFString itself, and the callback owns a
 *           reference to it: CFRelease, then or later. Of "global key" only blocks[0] tells its
 *           size. Of "audio range" every block is the whole array of QelAudioAnalysisRange, one
 *           record per channel. Of "reasigned spectrum" with count / channels = F, blocks[c * F]
 *           points at all F frames of channel c, one behind the other, and tells the size of one;
 *           the other blocks are empty.
 *   refCon  the pointer given to QelAudioAnalysisNew
 *
 * The callback must not throw, and must not initialize, push, process, reset or dispose of the
 * handle.
 */
typedef void (*QelAudioAnalysisDataCallback)(QelAudioAnalysisRef handle, CFStringRef key,
                                             UInt32 count, QelAudioAnalysisBlock* blocks,
                                             void* refCon);

/*
 * Receives progress during QelAudioAnalysisProcess: a null pointer, a percentage from 0 to 100, and
 * the pointer given to QelAudioAnalysisProcess. Each group of keys reports 100 when it is done; the
 * percentage begins anew with the next group, and falls back at times within one. A result other
 * than 0 asks to stop. What holds for the data callback holds here too.
 */
typedef int (*QelAudioAnalysisProgressCallback)(void* unused, float percent, void* refCon);

/*
 * Makes an analyzer.
 *
 *   keys       CFStrings, compared by content; the array is copied, so the caller keeps its own.
 *              Null counts as an empty list. A copied array retains its strings only if the
 *              caller's does; else they must live as long as the handle. The first key that is not
 *              known ends the list, and nothing reports it: of the keys after it, only those are
 *              delivered whose group a key before it has made. A key that stands twice counts once.
 *   callback   receives the results; null drops them
 *   refCon     handed to the callback
 *   outHandle  receives the handle, which the caller gives back with QelAudioAnalysisDispose
 *
 * Always 0.
 */
SInt32 QelAudioAnalysisNew(CFArrayRef keys, QelAudioAnalysisDataCallback callback, void* refCon,
                           QelAudioAnalysisRef* outHandle);

/*
 * Readies an analyzer for one stream. Calling it again replaces everything built before, and sets
 * the parameters back to their defaults.
 *
 *   maxFrames     the largest number of frames of one push
 *   format        canonical: linear PCM, native 32-bit float, packed, one frame per packet. Pushes
 *                 take one buffer per channel, so set kAudioFormatFlagIsNonInterleaved whenever
 *                 there is more than one channel. Any sample rate. Null is not canonical.
 *   layout        the first 32 bytes (header and one description) are copied, and must be there,
 *                 whatever the number of descriptions. Null: no layout.
 *   streamLength  expected length in frames, 0 if unknown; only the low 32 bits count. A true value
 *                 saves memory traffic. Results do not depend on it, with two exceptions:
 *                 "reasigned spectrum" keeps as many frames as the length has, and older ones are
 *                 lost; and QelAudioAnalysisProcess without flush waits for it with the keys about
 *                 rhythm.
 *
 * 0; kAudioAnalysisErr_BadFormat if the format is not canonical, which is looked at first;
 * kAudioAnalysisErr_NullHandle.
 */
SInt32 QelAudioAnalysisInitialize(QelAudioAnalysisRef handle, UInt32 maxFrames,
                                  const AudioStreamBasicDescription* format,
                                  const AudioChannelLayout* layout, SInt64 streamLength);

/*
 * Analyzes the next stretch of the stream.
 *
 *   frames  0 to maxFrames; for "audio range" a multiple of 512 other than 0, else that key
 *           answers -1 and takes nothing of the push, while the other keys take all of it
 *   list    one buffer per channel, each with at least 4 * frames bytes of floats; read during the
 *           call only
 *
 * 0; kAudioAnalysisErr_NotInitialized; kAudioAnalysisErr_TooManyFrames; kAudioAnalysisErr_BadFormat
 * for a null list, a wrong number of buffers, a buffer that is too small, or null data with frames
 * above 0; else the status of the last group of keys.
 */
SInt32 QelAudioAnalysisPushAudio(QelAudioAnalysisRef handle, UInt32 frames, AudioBufferList* list);

/*
 * Delivers the whole-stream results.
 *
 *   flush     other than 0: the stream has ended
 *   progress  may be null
 *
 * The status of the last group of keys, and no other: 0; kAudioAnalysisErr_NotInitialized;
 * kAudioAnalysisErr_NotEnoughData; -1 if the progress callback asked to stop, or if the stream has
 * no tempo (silence, less than 2.1 seconds); -3 if it has no meter; -128 if the progress callback
 * asked to stop while the meter or the onsets were being found. A stop while beats are tracked does
 * not show in the status: the beats found so far are delivered.
 */
SInt32 QelAudioAnalysisProcess(QelAudioAnalysisRef handle, UInt8 flush,
                               QelAudioAnalysisProgressCallback progress, void* progressRefCon);

/*
 * Starts a new stream with the same keys, format and parameters; all stream state is cleared, but
 * for the samples that "audio range" has counted. The parameter "complexity" takes effect here, and
 * a "Genre Hint" that QelAudioAnalysisProcess has changed stays.
 *
 * 0; kAudioAnalysisErr_NotInitialized for a null handle or before initialization.
 */
SInt32 QelAudioAnalysisReset(QelAudioAnalysisRef handle);

/*
 * Asks about the analyzer.
 *
 *   propertyID     MetaDataForKey writes a QelAudioAnalysisKeyMetaData to outData, for the CFString
 *                  that specifier is. ParameterList appends the parameter names to the
 *                  CFMutableArray that outData points at. All other ids write nothing to outData.
 *   specifierSize  not looked at
 *   dataSize       not looked at: outData must offer what the property writes
 *   outSize        set to 8 after every valid id
 *
 * 0; kAudioAnalysisErr_NotInitialized for a null handle; kAudioAnalysisErr_UnknownProperty for an
 * id above 8 (outSize is left alone), or for a key or parameter without an owner in this analyzer.
 */
SInt32 QelAudioAnalysisGetProperty(QelAudioAnalysisRef handle, UInt32 propertyID,
                                   const void* specifier, UInt32 specifierSize, void* outData,
                                   UInt32 dataSize, UInt32* outSize);

/* No property can be set: always kAudioAnalysisErr_UnknownProperty. No argument is looked at. */
SInt32 QelAudioAnalysisSetProperty(QelAudioAnalysisRef handle, UInt32 propertyID,
                                   const void* specifier, UInt32 specifierSize, const void* data,
                                   UInt32 dataSize);

/*
 * Reads a parameter. 0, and nothing stored, for a null handle;
 * kAudioAnalysisErr_UnknownProperty for a name without an owner in this analyzer.
 */
SInt32 QelAudioAnalysisGetParameter(QelAudioAnalysisRef handle, CFStringRef name, float* outValue);

/*
 * Sets a parameter, to any float: docs/keys.md tells the ranges. QelAudioAnalysisInitialize sets it
 * back. Statuses as for QelAudioAnalysisGetParameter.
 */
SInt32 QelAudioAnalysisSetParameter(QelAudioAnalysisRef handle, CFStringRef name, float value);

/*
 * Turns blocks into a property list, normally within the data callback and with its own arguments.
 *
 * Returns a CFDictionary that the caller owns; null for a null handle, for a key without an owner
 * in this analyzer, for null blocks with a count above 0, and for "audio range", which has no
 * representation. No more than a block's mDataByteSize is read of its payload. The usual
 * shape is { key: [ channel: [ frame: [ numbers ] ] ] }; docs/keys.md tells the others, and which
 * form of blocks "dominant key" and "partials" read.
 */
CFPropertyListRef QelAudioAnalysisCreateCFRepresentation(QelAudioAnalysisRef handle,
                                                         CFAllocatorRef allocator, CFStringRef key,
                                                         UInt32 count,
                                                         const QelAudioAnalysisBlock* blocks);

/*
 * The thirty public keys, in a new mutable array without retaining callbacks (the strings are
 * constants); null if the array cannot be made. The caller releases it. Any thread, at any time.
 */
CFMutableArrayRef QelAudioAnalysisGlobalCopyKeys(void);

/* Destroys an analyzer, initialized or not. A null handle is allowed. Always 0. */
SInt32 QelAudioAnalysisDispose(QelAudioAnalysisRef handle);

#ifdef __cplusplus
}
#endif
