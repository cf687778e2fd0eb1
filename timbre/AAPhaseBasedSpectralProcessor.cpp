#include "timbre/AAPhaseBasedSpectralProcessor.h"

#include "support/audio/CAStreamBasicDescription.h"
#include "timbre/PhaseVectors.h"

#include <Accelerate/Accelerate.h>

namespace qel::core {

namespace {

float* Row(CABufferList* buffer, UInt32 channel) {
    return static_cast<float*>(buffer->GetModifiableBufferList().mBuffers[channel].mData);
}

} // namespace

AAPhaseBasedSpectralProcessor::AAPhaseBasedSpectralProcessor(UInt32 transformLength, UInt32 hop,
                                                             UInt32 channels, UInt32 maxFrames,
                                                             bool halfFrameInput,
                                                             float sampleRateHz)
    : QelAASpectralProcessor(transformLength, hop, channels, maxFrames, halfFrameInput, false),
      mNumBins(mFFTSize / 2), mSampleRate(sampleRateHz) {
    HanningWindow();
    NullPointers();
    AllocateBuffers();
}

AAPhaseBasedSpectralProcessor::~AAPhaseBasedSpectralProcessor() {
    Cleanup();
}

void AAPhaseBasedSpectralProcessor::NullPointers() {
    mAnglesBuffer.forget();
    mPhasesBuffer.forget();
}

void AAPhaseBasedSpectralProcessor::Cleanup() {
    mAnglesBuffer.free();
    mPhasesBuffer.free();
    NullPointers();
}

void AAPhaseBasedSpectralProcessor::AllocateBuffers() {
    mAnglesBuffer = NewBuffer("spectrum angles buffer");
    mPhasesBuffer = NewBuffer("spectrum phases buffer");
}

CAAutoDelete<CABufferList> AAPhaseBasedSpectralProcessor::NewBuffer(const char* name) const {
    CAStreamBasicDescription format;
    format.SetCanonical(mNumChannels, false);
    format.mSampleRate = static_cast<double>(mSampleRate);
    CAAutoDelete<CABufferList> buffer = CABufferList::New(name, format);
    buffer->AllocateBuffers(mNumBins * static_cast<UInt32>(sizeof(float)));
    return buffer;
}

AudioBufferList* AAPhaseBasedSpectralProcessor::GetPhaseBufferList() const {
    return &mPhasesBuffer->GetModifiableBufferList();
}

void AAPhaseBasedSpectralProcessor::DoFwdFFT() {
    QelAASpectralProcessor::DoFwdFFT();
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        ComputeAngles(c);
    }
}

// A bin of zeros has the angle 0, whatever their signs.
void AAPhaseBasedSpectralProcessor::ComputeAngles(UInt32 channel) {
    vDSP_zvphas(&mSpectralBufferList->mSpectra[channel], 1, Row(mAnglesBuffer, channel), 1,
                mNumBins);
}

float AAPhaseBasedSpectralProcessor::ComputePhases(UInt32 channel, const float* terms) {
    return ContinuePhases(Row(mAnglesBuffer, channel), terms, Row(mPhasesBuffer, channel),
                          mNumBins);
}

} // namespace qel::core
