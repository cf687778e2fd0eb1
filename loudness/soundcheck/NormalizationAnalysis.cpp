#include "loudness/soundcheck/NormalizationAnalysis.h"

#include "loudness/soundcheck/NormalizationTruncation.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace qel::core {

namespace {

constexpr unsigned int kLog2ExcerptFrames = 10;
constexpr float kPeakScale = 32768.0f; // full scale of 16-bit samples
constexpr float kSilenceGate = 5e9f;
constexpr float kUndoublePower = 0.25f; // the transform is twice the plain one
constexpr std::uintptr_t kVectorBytes = 16;

// Both paths take a peak through this comparison, which passes over what is no number.
float Larger(float peak, float magnitude) {
    return magnitude > peak ? magnitude : peak;
}

// The order of the sums is kept: what follows compares and truncates.
float WeightedEnergy(const CriticalBands& bands, const float* real, const float* imag) {
    float energy = 0.0f;
    for (const CriticalBand& band : bands) {
        float sum = 0.0f;
        for (std::size_t k = band.startBin; k < band.endBin; ++k) {
            sum += (imag[k] * imag[k] + real[k] * real[k]) * kUndoublePower;
        }
        energy += sum * band.weight;
    }
    return energy;
}

void TakeIn(NormalizationData& data, float energy, SInt32 peakValue, std::size_t c, UInt32 time) {
    if (energy > kSilenceGate) {
        data.energySum[c] += energy;
        data.energyCount[c] += 1;
    }
    if (energy > data.maxEnergy[c]) {
        data.maxEnergy[c] = energy;
        data.maxEnergyTime[c] = time;
    }
    if (peakValue > data.peak[c]) {
        data.peak[c] = peakValue;
        data.peakTime[c] = time;
    }
}

// Windows one channel, every `channels`-th sample, into realLeft and imagLeft.
float WindowSamples(NormalizationData& data, const float* samples, std::size_t channels) {
    float peak = 0.0f;
    for (std::size_t j = 0; j < NormalizationData::kHalfSize; ++j) {
        const float even = samples[2 * j * channels];
        const float odd = samples[(2 * j + 1) * channels];
        data.realLeft[j] = sFFTWindowCoeffs[2 * j] * even;
        data.imagLeft[j] = sFFTWindowCoeffs[2 * j + 1] * odd;
        peak = Larger(Larger(peak, std::fabs(even)), std::fabs(odd));
    }
    return peak;
}

// Four floats that are handled at once; the operators are the plain ones, lane by lane.
using FourFloats = float __attribute__((vector_size(16)));

void StoreColumn(float* to, const FourFloats (&rows)[4], std::size_t column) {
    const FourFloats values = {rows[0][column], rows[1][column], rows[2][column], rows[3][column]};
    std::memcpy(to, &values, sizeof values);
}

} // namespace

void NormalizationAnalysis(NormalizationData* data, const float* real, const float* imag,
                           SInt32 peakValue, UInt32 channel, UInt32 timeMilliseconds) {
    TakeIn(*data, WeightedEnergy(data->bands, real, imag), peakValue, channel, timeMilliseconds);
}

void NormalizationAnalysisStereo(NormalizationData* data, float peakLeft, float peakRight,
                                 UInt32 timeMilliseconds) {
    TakeIn(*data, WeightedEnergy(data->bands, data->realLeft, data->imagLeft),
           TruncateTo<SInt32>(double{peakLeft}), 0, timeMilliseconds);
    TakeIn(*data, WeightedEnergy(data->bands, data->realRight, data->imagRight),
           TruncateTo<SInt32>(double{peakRight}), 1, timeMilliseconds);
}

StereoPeaks WindowStereoSamplesVector(NormalizationData* data, const float* samples) {
    constexpr std::size_t eightFrames = 8;
    FourFloats peaks{};
    for (std::size_t n = 0; n < kExcerptFrames; n += eightFrames) {
        FourFloats pair[4]; // L R L R, two frames each
        for (std::size_t p = 0; p < 4; ++p) {
            const std::size_t frame = n + 2 * p;
            const float even = sFFTWindowCoeffs[frame];
            const float odd = sFFTWindowCoeffs[frame + 1];
            std::memcpy(&pair[p], samples + 2 * frame, sizeof pair[p]);
            const FourFloats magnitude = pair[p] < 0.0f ? -pair[p] : pair[p];
            peaks = magnitude > peaks ? magnitude : peaks;
            pair[p] *= FourFloats{even, even, odd, odd};
        }
        StoreColumn(data->realLeft + n / 2, pair, 0);
        StoreColumn(data->realRight + n / 2, pair, 1);
        StoreColumn(data->imagLeft + n / 2, pair, 2);
        StoreColumn(data->imagRight + n / 2, pair, 3);
    }
    return {Larger(peaks[0], peaks[2]), Larger(peaks[1], peaks[3])};
}

OSStatus NormalizationProcessStereoVector(NormalizationData* data, const float* samples,
                                          UInt32 timeMilliseconds) {
    const StereoPeaks peaks = WindowStereoSamplesVector(data, samples);
    RealFFT(data->fft.get(), kLog2ExcerptFrames, data->realLeft, data->imagLeft);
    RealFFT(data->fft.get(), kLog2ExcerptFrames, data->realRight, data->imagRight);
    NormalizationAnalysisStereo(data, peaks.left * kPeakScale, peaks.right * kPeakScale,
                                timeMilliseconds);
    return 0;
}

OSStatus NormalizationProcessFloats(NormalizationData* data, const float* samples, UInt32 channels,
                                    UInt32 timeMilliseconds) {
    if (data == nullptr || samples == nullptr) {
        return kAudio_ParamError;
    }
    if (channels != 1 && channels != kMaxNormalizationChannels) {
        return kAudio_ParamError;
    }
    const bool aligned = reinterpret_cast<std::uintptr_t>(samples) % kVectorBytes == 0;
    if (data->useVectorUnit != 0 && channels == 2 && aligned) {
        return NormalizationProcessStereoVector(data, samples, timeMilliseconds);
    }
    for (UInt32 c = 0; c < channels; ++c) {
        const float peak = WindowSamples(*data, samples + c, channels);
        RealFFT(data->fft.get(), kLog2ExcerptFrames, data->realLeft, data->imagLeft);
        NormalizationAnalysis(data, data->realLeft, data->imagLeft,
                              TruncateTo<SInt32>(double{peak * kPeakScale}), c, timeMilliseconds);
    }
    return 0;
}

} // namespace qel::core
