#include "loudness/soundcheck/NormalizationData.h"

#include "loudness/soundcheck/NormalizationTruncation.h"

#include <algorithm>
#include <new>

namespace qel::core {

namespace {

constexpr int kLog2ExcerptFrames = 10;
constexpr double kEnergyUnit = 1e9;

bool IsChannelCount(UInt32 channels) {
    return channels == 1 || channels == kMaxNormalizationChannels;
}

template <class T, std::size_t size>
void Clear(T (&values)[size]) {
    std::fill_n(values, size, T{});
}

} // namespace

OSStatus NormalizationOpen(UInt32 sampleRate, UInt32 channels, NormalizationData** outData) {
    if (outData == nullptr) {
        return kAudio_ParamError;
    }
    *outData = nullptr;
    if (!IsChannelCount(channels)) {
        return kAudio_ParamError;
    }

    std::unique_ptr<NormalizationData> data(new (std::nothrow) NormalizationData());
    if (data == nullptr) {
        return kAudio_MemFullError;
    }
    AudioFFTContext* fft = nullptr;
    if (const OSStatus status = CreateAudioFFT(kLog2ExcerptFrames, &fft); status != 0) {
        return status;
    }
    data->fft.reset(fft);

    NormalizationReset(data.get(), sampleRate, channels);
    data->useVectorUnit = HasVectorUnit() != 0;
    data->realLeft = data->scratch[0];
    data->imagLeft = data->scratch[1];
    data->realRight = data->scratch[2];
    data->imagRight = data->scratch[3];
    *outData = data.release();
    return 0;
}

OSStatus NormalizationClose(NormalizationData* data) {
    if (data == nullptr) {
        return kAudio_ParamError;
    }
    delete data;
    return 0;
}

OSStatus NormalizationReset(NormalizationData* data, UInt32 sampleRate, UInt32 channels) {
    if (data == nullptr || !IsChannelCount(channels)) {
        return kAudio_ParamError;
    }
    data->sampleRate = sampleRate;
    data->channels = channels;
    ComputeCriticalBands(sampleRate, data->bands);
    data->blockCount = 0;
    Clear(data->maxEnergy);
    Clear(data->maxEnergyTime);
    Clear(data->energySum);
    Clear(data->energyCount);
    Clear(data->peak);
    Clear(data->peakTime);
    return 0;
}

void NormalizationCreateStats(NormalizationData* data, UInt32 channels) {
    if (data == nullptr) {
        return;
    }
    const std::size_t last = channels == kMaxNormalizationChannels ? 1 : 0;
    for (std::size_t c = 0; c <= last; ++c) {
        const UInt32 count = data->energyCount[c];
        const float average = count != 0 ? data->energySum[c] / static_cast<float>(count) : 0.0f;
        data->averageLoudness[c] = TruncateTo<UInt32>(double{average} / kEnergyUnit);
        data->maxLoudness[c] = TruncateTo<UInt32>(double{data->maxEnergy[c]} / kEnergyUnit);
        data->peakLevel[c] = data->peak[c];
    }
}

} // namespace qel::core
