/*
 * The audio records: stream formats, buffers, channel layouts, time stamps.
 *
 * Plain data under the published names and with the published layouts. Usable from C11 and C++20.
 */
#pragma once

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Status codes that audio interfaces share. */
enum {
    kAudio_UnimplementedError = -4,
    kAudio_FileNotFoundError = -43,
    kAudio_FilePermissionError = -54,
    kAudio_TooManyFilesOpenError = -42,
    kAudio_BadFilePathError = 0x21707468, /* '!pth' */
    kAudio_ParamError = -50,
    kAudio_MemFullError = -108
};

typedef Float32 AudioSampleType;
typedef Float32 AudioUnitSampleType;

/* One value, or minimum and maximum of a range. */
typedef struct AudioValueRange {
    Float64 mMinimum;
    Float64 mMaximum;
} AudioValueRange;

/*
 * One buffer of samples. mNumberChannels channels are interleaved in it; mDataByteSize counts the
 * bytes at mData, which the record does not own.
 */
typedef struct AudioBuffer {
    UInt32 mNumberChannels;
    UInt32 mDataByteSize;
    void* mData;
} AudioBuffer;

/*
 * A list of mNumberBuffers buffers: one for interleaved audio, one per channel otherwise. The array
 * has variable length; the record is allocated large enough for the entries that it holds.
 */
typedef struct AudioBufferList {
    UInt32 mNumberBuffers;
    AudioBuffer mBuffers[1];
} AudioBufferList;

typedef UInt32 AudioFormatID;
typedef UInt32 AudioFormatFlags;

/*
 * A stream format. For linear PCM a packet is one frame; for non-interleaved PCM the byte counts
 * are those of one channel.
 */
typedef struct AudioStreamBasicDescription {
    Float64 mSampleRate; /* Hz */
    AudioFormatID mFormatID;
    AudioFormatFlags mFormatFlags;
    UInt32 mBytesPerPacket;
    UInt32 mFramesPerPacket;
    UInt32 mBytesPerFrame;
    UInt32 mChannelsPerFrame;
    UInt32 mBitsPerChannel;
    UInt32 mReserved; /* 0 */
} AudioStreamBasicDescription;

/* Where one packet of a stream with packets of variable size lies in its buffer. */
typedef struct AudioStreamPacketDescription {
    SInt64 mStartOffset; /* bytes */
    UInt32 mVariableFramesInPacket;
    UInt32 mDataByteSize;
} AudioStreamPacketDescription;

/* Format identifiers: four characters each. */
enum {
    kAudioFormatLinearPCM = 0x6C70636D, /* 'lpcm' */
    kAudioFormatMPEG4AAC = 0x61616320,  /* 'aac ' */
    kAudioFormatMPEGLayer3 = 0x2E6D7033 /* '.mp3' */
};

/* Format flags. The Linear names are the same bits, as linear PCM reads them. */
enum {
    kAudioFormatFlagIsFloat = 1u << 0,
    kAudioFormatFlagIsBigEndian = 1u << 1,
    kAudioFormatFlagIsSignedInteger = 1u << 2,
    kAudioFormatFlagIsPacked = 1u << 3,
    kAudioFormatFlagIsAlignedHigh = 1u << 4,
    kAudioFormatFlagIsNonInterleaved = 1u << 5,
    kAudioFormatFlagIsNonMixable = 1u << 6,

    kLinearPCMFormatFlagIsFloat = kAudioFormatFlagIsFloat,
    kLinearPCMFormatFlagIsBigEndian = kAudioFormatFlagIsBigEndian,
    kLinearPCMFormatFlagIsSignedInteger = kAudioFormatFlagIsSignedInteger,
    kLinearPCMFormatFlagIsPacked = kAudioFormatFlagIsPacked,
    kLinearPCMFormatFlagIsAlignedHigh = kAudioFormatFlagIsAlignedHigh,
    kLinearPCMFormatFlagIsNonInterleaved = kAudioFormatFlagIsNonInterleaved,
    kLinearPCMFormatFlagIsNonMixable = kAudioFormatFlagIsNonMixable
};

enum {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    kAudioFormatFlagsNativeEndian = kAudioFormatFlagIsBigEndian,
#else
    kAudioFormatFlagsNativeEndian = 0,
#endif
    kAudioFormatFlagsNativeFloatPacked =
        kAudioFormatFlagIsFloat | kAudioFormatFlagsNativeEndian | kAudioFormatFlagIsPacked,
    kAudioFormatFlagsCanonical = kAudioFormatFlagsNativeFloatPacked
};

/*
 * A time of day in the form of a film or video time code.
 */
typedef struct SMPTETime {
    SInt16 mSubframes;
    SInt16 mSubframeDivisor;
    UInt32 mCounter;
    UInt32 mType;
    UInt32 mFlags;
    SInt16 mHours;
    SInt16 mMinutes;
    SInt16 mSeconds;
    SInt16 mFrames;
} SMPTETime;

/* The kinds of frame rate in SMPTETime.mType. */
enum {
    kSMPTETimeType24 = 0,
    kSMPTETimeType25 = 1,
    kSMPTETimeType30Drop = 2,
    kSMPTETimeType30 = 3,
    kSMPTETimeType2997 = 4,
    kSMPTETimeType2997Drop = 5,
    kSMPTETimeType60 = 6,
    kSMPTETimeType5994 = 7
};

/* SMPTETime.mFlags. */
enum { kSMPTETimeUnknown = 0, kSMPTETimeValid = 1u << 0, kSMPTETimeRunning = 1u << 1 };

/* One instant in several units; mFlags says which fields hold. */
typedef struct AudioTimeStamp {
    Float64 mSampleTime; /* samples */
    UInt64 mHostTime;
    Float64 mRateScalar;
    UInt64 mWordClockTime;
    SMPTETime mSMPTETime;
    UInt32 mFlags;
    UInt32 mReserved; /* 0 */
} AudioTimeStamp;

/* AudioTimeStamp.mFlags. */
enum {
    kAudioTimeStampNothingValid = 0,
    kAudioTimeStampSampleTimeValid = 1u << 0,
    kAudioTimeStampHostTimeValid = 1u << 1,
    kAudioTimeStampRateScalarValid = 1u << 2,
    kAudioTimeStampWordClockTimeValid = 1u << 3,
    kAudioTimeStampSMPTETimeValid = 1u << 4,
    kAudioTimeStampSampleHostTimeValid =
        kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid
};

typedef UInt32 AudioChannelLabel;
typedef UInt32 AudioChannelLayoutTag;
typedef UInt32 AudioChannelBitmap;
typedef UInt32 AudioChannelFlags;

/* What one channel carries; the coordinates hold if the label says so. */
typedef struct AudioChannelDescription {
    AudioChannelLabel mChannelLabel;
    AudioChannelFlags mChannelFlags;
    Float32 mCoordinates[3];
} AudioChannelDescription;

/*
 * What the channels of a stream carry: by a tag, by a bitmap (tag UseChannelBitmap), or by one
 * description per channel (tag UseChannelDescriptions). The array has variable length and may be
 * empty: the header in front of it takes 12 bytes, each description 20.
 */
typedef struct AudioChannelLayout {
    AudioChannelLayoutTag mChannelLayoutTag;
    AudioChannelBitmap mChannelBitmap;
    UInt32 mNumberChannelDescriptions;
    AudioChannelDescription mChannelDescriptions[1];
} AudioChannelLayout;

/* Channel labels. */
#define kAudioChannelLabel_Unknown ((AudioChannelLabel)0xFFFFFFFFu)
enum {
    kAudioChannelLabel_Unused = 0,
    kAudioChannelLabel_Left = 1,
    kAudioChannelLabel_Right = 2,
    kAudioChannelLabel_Center = 3,
    kAudioChannelLabel_LFEScreen = 4,
    kAudioChannelLabel_LeftSurround = 5,
    kAudioChannelLabel_RightSurround = 6,
    kAudioChannelLabel_LeftCenter = 7,
    kAudioChannelLabel_RightCenter = 8,
    kAudioChannelLabel_CenterSurround = 9,
    kAudioChannelLabel_LeftSurroundDirect = 10,
    kAudioChannelLabel_RightSurroundDirect = 11,
    kAudioChannelLabel_Mono = 42,
    kAudioChannelLabel_UseCoordinates = 100,
    kAudioChannelLabel_Discrete = 400,
    kAudioChannelLabel_Discrete_0 = 1 << 16
};

/* AudioChannelDescription.mChannelFlags. */
enum {
    kAudioChannelFlags_AllOff = 0,
    kAudioChannelFlags_RectangularCoordinates = 1u << 0,
    kAudioChannelFlags_SphericalCoordinates = 1u << 1,
    kAudioChannelFlags_Meters = 1u << 2
};

/* Layout tags: a number in the upper half, the count of channels in the lower. */
enum {
    kAudioChannelLayoutTag_UseChannelDescriptions = 0,
    kAudioChannelLayoutTag_UseChannelBitmap = 1 << 16,
    kAudioChannelLayoutTag_Mono = (100 << 16) | 1,
    kAudioChannelLayoutTag_Stereo = (101 << 16) | 2,
    kAudioChannelLayoutTag_StereoHeadphones = (102 << 16) | 2,
    kAudioChannelLayoutTag_MatrixStereo = (103 << 16) | 2,
    kAudioChannelLayoutTag_MidSide = (104 << 16) | 2,
    kAudioChannelLayoutTag_XY = (105 << 16) | 2,
    kAudioChannelLayoutTag_Binaural = (106 << 16) | 2,
    kAudioChannelLayoutTag_Ambisonic_B_Format = (107 << 16) | 4,
    kAudioChannelLayoutTag_Quadraphonic = (108 << 16) | 4,
    kAudioChannelLayoutTag_Pentagonal = (109 << 16) | 5,
    kAudioChannelLayoutTag_Hexagonal = (110 << 16) | 6,
    kAudioChannelLayoutTag_Octagonal = (111 << 16) | 8,
    kAudioChannelLayoutTag_Cube = (112 << 16) | 8,
    kAudioChannelLayoutTag_MPEG_3_0_A = (113 << 16) | 3,
    kAudioChannelLayoutTag_MPEG_3_0_B = (114 << 16) | 3,
    kAudioChannelLayoutTag_MPEG_4_0_A = (115 << 16) | 4,
    kAudioChannelLayoutTag_MPEG_4_0_B = (116 << 16) | 4,
    kAudioChannelLayoutTag_MPEG_5_0_A = (117 << 16) | 5,
    kAudioChannelLayoutTag_MPEG_5_0_B = (118 << 16) | 5,
    kAudioChannelLayoutTag_MPEG_5_1_A = (121 << 16) | 6,
    kAudioChannelLayoutTag_MPEG_7_1_A = (126 << 16) | 8,
    kAudioChannelLayoutTag_AudioUnit_6_0 = (139 << 16) | 6,
    kAudioChannelLayoutTag_AudioUnit_7_0 = (140 << 16) | 7
};

#ifdef __cplusplus
}
#endif
