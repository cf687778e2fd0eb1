#include "timbre/SpectralPeaks.h"

#include <algorithm>
#include <cmath>

namespace qel::core {

namespace {

// The peak whose parabola goes through bin `first` and the two behind it.
Peak MakePeak(const PeakSpectrum& spectrum, UInt32 first) {
    const float* x = spectrum.mLogMagnitudes + first;
    const float rise = x[1] - x[0];
    const float span = x[2] - x[0];
    const float curve = (-2.0f * rise + span) / 2.0f; // of c u^2 + b u, u bins from the first
    const float t = 1.0f - rise / curve;              // twice the place of the vertex
    Peak peak{};
    peak.mBin = static_cast<float>(first) + t / 2.0f;
    peak.mMagnitude = std::exp(x[0] + curve * t * t / -4.0f);
    // Deliberately, level, frequency and phase are those of the bin below the maximum.
    peak.mLogMagnitude = x[0];
    if (spectrum.mFrequencies != nullptr) {
        peak.mFrequency = spectrum.mFrequencies[first];
        peak.mPhase = -spectrum.mPhases[first];
    } else {
        const double bin = static_cast<double>(peak.mBin);
        peak.mFrequency = static_cast<float>(bin * spectrum.mSampleRate / spectrum.mFrameSize);
    }
    return peak;
}

} // namespace

void FindSpectralPeaks(const PeakSpectrum& spectrum, float threshold, std::vector<Peak>& peaks) {
    peaks.clear();
    const float* x = spectrum.mLogMagnitudes;
    constexpr UInt32 kRun = 128; // bins
    UInt32 found[kRun];
    for (UInt32 start = 1; start + 1 < spectrum.mNumBins; start += kRun) {
        // Whether a bin is a peak is hard to foretell, so that the bins are gathered without a
        // branch.
        const UInt32 end = std::min(start + kRun, spectrum.mNumBins - 1);
        UInt32 count = 0;
        for (UInt32 k = start; k < end; ++k) {
            found[count] = k;
            count += UInt32{x[k] > x[k - 1]} & UInt32{x[k] >= x[k + 1]} & UInt32{x[k] > threshold};
        }
        for (UInt32 i = 0; i < count; ++i) {
            const Peak peak = MakePeak(spectrum, found[i] - 1);
            if (!std::isnan(peak.mBin))
                peaks.push_back(peak);
        }
    }
}

} // namespace qel::core
