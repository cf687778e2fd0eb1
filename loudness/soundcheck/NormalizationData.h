#pragma once

#include "loudness/soundcheck/CriticalBands.h"
#include "spectral/AudioFFT.h"

#include <CoreAudio/CoreAudioTypes.h>
#include <MacTypes.h>

#include <cstddef>
#include <memory>

namespace qel::core {

// The normalization engine: how loud a track is, measured by samples of it.
//
// It is handed excerpts of 1024 frames. Each is windowed, brought to the scale of 16-bit samples
// and transformed; the energies of its critical bands are weighted by what hearing makes of them,
// and their sum is the excerpt's energy. Excerpts above a fixed gate enter an average, so that
// silence does not dilute it; beside that the loudest excerpt and the highest sample are kept, each
// with its time.
//
// One thread at a time per record. Nothing is allocated after NormalizationOpen.
//
// Statuses: 0 for success, -50 for a bad parameter, -108 for exhausted memory.

inline constexpr std::size_t kExcerptFrames = 1024;
inline constexpr std::size_t kMaxNormalizationChannels = 2;

struct DisposeAudioFFTContext {
    void operator()(AudioFFTContext* context) const { DisposeAudioFFT(context); }
};

// What the engine keeps. Fields are for reading; those with two entries have one per channel.
struct NormalizationData {
    static constexpr std::size_t kHalfSize = kExcerptFrames / 2;

    alignas(32) float scratch[4][kHalfSize]; // the next four point here
    float* realLeft;
    float* imagLeft;
    float* realRight;
    float* imagRight;
    std::unique_ptr<AudioFFTContext, DisposeAudioFFTContext> fft;
    CriticalBands bands;
    UInt32 sampleRate; // Hz
    UInt32 channels;
    UInt32 blockCount; // nothing counts
    UInt8 useVectorUnit;
    float maxEnergy[kMaxNormalizationChannels];
    UInt32 maxEnergyTime[kMaxNormalizationChannels]; // ms
    float energySum[kMaxNormalizationChannels];      // of the excerpts above the gate
    UInt32 energyCount[kMaxNormalizationChannels];
    SInt32 peak[kMaxNormalizationChannels];     // on the scale of 16-bit samples
    UInt32 peakTime[kMaxNormalizationChannels]; // ms
    UInt32 averageLoudness[kMaxNormalizationChannels];
    UInt32 maxLoudness[kMaxNormalizationChannels];
    SInt32 peakLevel[kMaxNormalizationChannels];
};

// Makes a record, every field 0 but those of the set-up.
//
// sampleRate  Hz
// channels    1 or 2
// outData     receives the record, which NormalizationClose gives back; null on failure
//
// Returns 0; -50 for a null outData or other channels; -108.
OSStatus NormalizationOpen(UInt32 sampleRate, UInt32 channels, NormalizationData** outData);

// Gives a record back. Returns 0; -50 for null.
OSStatus NormalizationClose(NormalizationData* data);

// Starts a new track.
//
// Required by the contract: the results of NormalizationCreateStats stay until its next call.
// Clearing them here takes the last track's results from whoever reads them after the reset.
//
// Returns 0; -50 for a null record or channels other than 1 or 2, with nothing changed.
OSStatus NormalizationReset(NormalizationData* data, UInt32 sampleRate, UInt32 channels);

// Measures one excerpt.
//
// samples           1024 frames, interleaved where `channels` is 2; full scale is -1 to 1
// channels          1 or 2; it need not be what the record was made for, and it decides
// timeMilliseconds  where the excerpt lies
//
// Two interleaved channels on a 16-byte boundary are handled four floats at a time. Every figure is
// the same to the last bit as that of the plain path. A sample that is no number spoils the energy
// of its excerpt, which then counts nowhere, and is passed over by the peak; a peak too high for
// its field, infinity included, is the largest that the field holds.
//
// Returns 0; -50 for a null pointer or other channels, with nothing changed.
OSStatus NormalizationProcessFloats(NormalizationData* data, const float* samples, UInt32 channels,
                                    UInt32 timeMilliseconds);

// Works out averageLoudness, maxLoudness (energies in units of 1e9) and peakLevel, for both
// channels if `channels` is 2, else for the first alone. A channel without an excerpt above the
// gate has the average 0. A loudness too high for its field is the largest that the field holds. A
// null record is passed over.
void NormalizationCreateStats(NormalizationData* data, UInt32 channels);

} // namespace qel::core
