/*
 * Features of a recording, in plain C.
 *
 *     features_c [samples.raw]
 *
 * The file holds 32-bit floats of one channel at 44100 Hz. Without a file the program analyzes one
 * second of a sine that it makes. It prints the means of some values over the stream.
 */
#include <QelAudioAnalysis.h>

#include <math.h>
#include <stdio.h>

enum { kBlock = 512 };
static const double kRateHz = 44100;

/* What the callback collects: sums over the pushes, and over the frames. */
typedef struct Sums {
    double rms, crossings, centroidHz, strongestHz;
    unsigned pushes, frames;
} Sums;

/* The stream has one channel, so that every call brings one block. The payloads live only until
   the callback returns: what is needed later is added up here. */
static void collect(QelAudioAnalysisRef analyzer, CFStringRef key, UInt32 count,
                    QelAudioAnalysisBlock* blocks, void* refCon) {
    Sums* sums = refCon;
    const float* values = blocks[0].mData;
    (void)analyzer;
    (void)count;
    if (CFEqual(key, CFSTR("temporal properties"))) {
        sums->crossings += values[0];
        sums->rms += values[1];
        sums->pushes += 1;
    } else {
        sums->centroidHz += values[6] * kRateHz / 1024; /* delivered in bins */
        sums->strongestHz += values[8];
        sums->frames += 1;
    }
}

/* The next block of the file, or of the sine; the number of samples, 0 at the end. */
static unsigned readBlock(FILE* file, unsigned position, float* samples) {
    if (file) {
        return (unsigned)fread(samples, sizeof(float), kBlock, file);
    }
    for (unsigned i = 0; i < kBlock; ++i) {
        /* A period of 64 samples, 689.0625 Hz: the middle of bin 16 of the spectrum. */
        samples[i] = (float)(0.5 * sin(2 * 3.14159265358979323846 * (position + i + 0.5) / 64));
    }
    return position + kBlock <= kRateHz ? kBlock : 0;
}

static SInt32 analyze(QelAudioAnalysisRef analyzer, FILE* file) {
    AudioStreamBasicDescription format = {0};
    AudioChannelLayout layout = {0};
    float samples[kBlock];
    unsigned position = 0;

    format.mSampleRate = kRateHz;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = kAudioFormatFlagsNativeFloatPacked;
    format.mBytesPerPacket = sizeof(float);
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = sizeof(float);
    format.mChannelsPerFrame = 1;
    format.mBitsPerChannel = 32;

    SInt32 status = QelAudioAnalysisInitialize(analyzer, kBlock, &format, &layout, 0);
    while (status == 0) {
        const unsigned frames = readBlock(file, position, samples);
        if (frames == 0) {
            return QelAudioAnalysisProcess(analyzer, 1, NULL, NULL);
        }
        AudioBufferList list = {1, {{1, (UInt32)(frames * sizeof(float)), samples}}};
        status = QelAudioAnalysisPushAudio(analyzer, frames, &list);
        position += frames;
    }
    return status;
}

int main(int argc, char** argv) {
    const void* names[] = {CFSTR("temporal properties"), CFSTR("generic spectrum properties")};
    QelAudioAnalysisRef analyzer = NULL;
    Sums sums = {0};
    FILE* file = NULL;

    if (argc > 1 && !(file = fopen(argv[1], "rb"))) {
        perror(argv[1]);
        return 1;
    }
    CFArrayRef keys = CFArrayCreate(NULL, names, 2, &kCFTypeArrayCallBacks);
    QelAudioAnalysisNew(keys, collect, &sums, &analyzer);
    CFRelease(keys); /* the analyzer keeps its own */
    const SInt32 status = analyze(analyzer, file);
    QelAudioAnalysisDispose(analyzer);
    if (file) {
        fclose(file);
    }
    if (status != 0 || sums.frames == 0) {
        fprintf(stderr, "status %d after %u frames\n", (int)status, sums.frames);
        return 1;
    }
    printf("zero crossing rate      %.6f per sample\n", sums.crossings / sums.pushes);
    printf("root mean square        %.6f\n", sums.rms / sums.pushes);
    printf("spectrum centroid       %.1f Hz\n", sums.centroidHz / sums.frames);
    printf("strongest frequency     %.1f Hz\n", sums.strongestHz / sums.frames);
    return 0;
}
