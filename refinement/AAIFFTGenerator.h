#pragma once

#include "engine/base/QelAAAnalysisGenerator.h"

namespace qel::core {

// Slot 11: per frame and channel the instantaneous frequency in Hz of every bin. No state passes
// between frames.
class AAIFFTGenerator : public QelAAAnalysisGenerator {
public:
    using QelAAAnalysisGenerator::QelAAAnalysisGenerator;
    ~AAIFFTGenerator() override;

    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

private:
    friend void MyIFFTSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

    void GetSpectrumInstantFrequencies();
};

// The spectral callback; `refCon` is the generator.
void MyIFFTSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
