#pragma once

#include <Accelerate/Accelerate.h>
#include <CoreAudio/CoreAudioTypes.h>

namespace qel::core {

// One frame of all channels, as a spectral function receives it. The memory is the spectral
// processor's and holds until its next frame.
//
// mSpectra has one entry per channel. With N the transform length and X the plain transform of the
// windowed frame (sum of x[n] e^(-2 pi i k n / N)), each entry is packed and doubled:
//
//   realp[0] = 2 X[0] and imagp[0] = 2 X[N/2], both real numbers;
//   realp[k] + i imagp[k] = 2 X[k] for 1 <= k < N/2.
//
// Buffer c of mAudioBuffers points at the N samples of channel c before windowing; channels and
// byte size of the buffers are 0.
struct SpectralAndAudioBufferList {
    UInt32 mNumChannels;
    AudioBufferList* mAudioBuffers;
    DSPSplitComplex mSpectra[1]; // mNumChannels of them
};

// Receives each frame and the pointer that was given with the function.
using SpectralFunction = void (*)(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
