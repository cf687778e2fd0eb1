#pragma once

#include <CoreAudio/CoreAudioTypes.h>

namespace qel::core {

// What AAReassignedSpectralProcessor found in one frame, one buffer per channel. The lists are
// their owner's, and hold until its next frame.
struct AAReassignedValues {
    const AudioBufferList& spectra;     // interleaved complex values, one for every bin
    const AudioBufferList& frequencies; // in bins
    const AudioBufferList& times;       // in frames
};

} // namespace qel::core
