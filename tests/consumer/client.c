/*
 * A client in plain C: the RMS of one second of a sine is amplitude / sqrt(2).
 */
#include <QelAudioAnalysis.h>

#include <math.h>
#include <stdio.h>
#include <string.h>

enum { kRateHz = 44100, kFrequencyHz = 441 };
static const double kPi = 3.14159265358979323846;
static const double kAmplitude = 0.5;

/* The sine is in single precision, and so is the sum over its 44100 squares: its rounding errors
   wander off by about sqrt(44100) * 2^-24 = 1.3e-5 of the sum. */
static const double kTolerance = 1e-4;

/* The payload of "temporal properties". */
typedef struct TemporalProperties {
    float zeroCrossingRate;
    float rms;
    float envelope;
} TemporalProperties;

typedef struct Results {
    unsigned count;
    double rms;
} Results;

static void Receive(QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                    QelAudioAnalysisBlock* blocks, void* refCon) {
    Results* results = refCon;
    TemporalProperties properties;
    (void)handle;
    if (!CFEqual(key, CFSTR("temporal properties")) || count != 1 ||
        blocks[0].mDataByteSize != sizeof properties) {
        return;
    }
    memcpy(&properties, blocks[0].mData, sizeof properties);
    results->rms = (double)properties.rms;
    ++results->count;
}

static SInt32 Analyze(float* samples, Results* results) {
    AudioStreamBasicDescription format = {0};
    AudioChannelLayout layout = {0};
    AudioBufferList list = {0};
    QelAudioAnalysisRef handle = NULL;
    const void* keys[] = {CFSTR("temporal properties")};
    CFArrayRef keyArray = CFArrayCreate(NULL, keys, 1, &kCFTypeArrayCallBacks);
    SInt32 status = QelAudioAnalysisNew(keyArray, Receive, results, &handle);
    CFRelease(keyArray);
    if (status != 0) {
        return status;
    }

    format.mSampleRate = kRateHz;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = kAudioFormatFlagsNativeFloatPacked | kAudioFormatFlagIsNonInterleaved;
    format.mBytesPerPacket = sizeof(float);
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = sizeof(float);
    format.mChannelsPerFrame = 1;
    format.mBitsPerChannel = 8 * sizeof(float);
    list.mNumberBuffers = 1;
    list.mBuffers[0].mNumberChannels = 1;
    list.mBuffers[0].mDataByteSize = kRateHz * sizeof(float);
    list.mBuffers[0].mData = samples;

    status = QelAudioAnalysisInitialize(handle, kRateHz, &format, &layout, kRateHz);
    if (status == 0) {
        status = QelAudioAnalysisPushAudio(handle, kRateHz, &list);
    }
    if (status == 0) {
        status = QelAudioAnalysisProcess(handle, 1, NULL, NULL);
    }
    QelAudioAnalysisDispose(handle);
    return status;
}

int main(void) {
    static float samples[kRateHz];
    const double expected = kAmplitude / sqrt(2.0);
    Results results = {0, 0.0};
    SInt32 status;
    int i;
    for (i = 0; i < kRateHz; ++i) {
        samples[i] = (float)(kAmplitude * sin(2.0 * kPi * kFrequencyHz * i / kRateHz));
    }
    status = Analyze(samples, &results);
    if (status != 0) {
        fprintf(stderr, "client in C: status %d\n", (int)status);
        return 1;
    }
    if (results.count != 1) {
        fprintf(stderr, "client in C: %u results for one push\n", results.count);
        return 1;
    }
    if (!(fabs(results.rms - expected) <= kTolerance * expected)) {
        fprintf(stderr, "client in C: RMS %.8f, expected %.8f\n", results.rms, expected);
        return 1;
    }
    printf("RMS %.6f\n", results.rms);
    return 0;
}
