#include "engine/base/QelAAAnalysisGenerator.h"

#include <cmath>
#include <cstddef>
#include <cstring>

namespace qel::core {

QelAAAnalysisGenerator::QelAAAnalysisGenerator(UInt32 channels, Float64 sampleRate,
                                               UInt32 frameSize, UInt32 hop, UInt32 maxFrames,
                                               UInt32 streamLength, DataCallback dataCallback,
                                               void* refCon)
    : QelAAAnalysisBase(channels, sampleRate, maxFrames, streamLength, dataCallback, refCon),
      mFrameSize(frameSize), mHopSize(hop), mNumBins(frameSize >> 1) {
    QelAAAnalysisGenerator::ComputeNumberOfAnalysisFramesForLength(streamLength);
    mSpectralProcessor.forget();
}

QelAAAnalysisGenerator::~QelAAAnalysisGenerator() {
    QelAAAnalysisGenerator::Cleanup();
}

SInt32 QelAAAnalysisGenerator::PushAudio(AudioBufferList* list, UInt32 frames) {
    if (list == nullptr) {
        return kAudioAnalysisErr_NullBufferList;
    }
    if (mSpectralProcessor.get() != nullptr) {
        mSpectralProcessor->ProcessForwards(frames, list);
    }
    return 0;
}

SInt32 QelAAAnalysisGenerator::Process(UInt8 flush, ProgressCallback progress,
                                       void* progressRefCon) {
    mProgressCallback = progress;
    mProgressRefCon = progressRefCon;
    return ProcessFinal(flush);
}

SInt32 QelAAAnalysisGenerator::GetMetaDataForKey(CFStringRef, void* outData) {
    const QelAudioAnalysisKeyMetaData record{mSampleRate, mFrameSize, mHopSize, {}};
    std::memcpy(outData, &record, offsetof(QelAudioAnalysisKeyMetaData, mReserved));
    return 0;
}

void QelAAAnalysisGenerator::ComputeNumberOfAnalysisFramesForLength(UInt32 length) {
    if (length == 0) {
        mNumAnalysisFrames = 1;
        return;
    }
    mNumAnalysisFrames = 0;
    const auto overlap = static_cast<SInt32>(mFrameSize - mHopSize);
    const auto rest = static_cast<SInt32>(length - static_cast<UInt32>(overlap));
    const UInt32 step = mFrameSize - static_cast<UInt32>(overlap);
    if (overlap < 0 || rest < 0 || step == 0) {
        return;
    }
    mNumAnalysisFrames =
        static_cast<UInt32>(std::ceil(static_cast<float>(rest) / static_cast<float>(step)));
}

void QelAAAnalysisGenerator::NullPointers() {
    mSpectralProcessor.forget();
}

void QelAAAnalysisGenerator::Cleanup() {
    mSpectralProcessor.free();
    QelAAAnalysisGenerator::NullPointers();
}

void QelAAAnalysisGenerator::AllocateBuffers() {}

} // namespace qel::core
