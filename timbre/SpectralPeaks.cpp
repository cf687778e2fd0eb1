#include "timbre/SpectralPeaks.h"

#include <algorithm>
#include <cmath>

#include <Accelerate/Accelerate.h>

namespace qel::core {

namespace {

// Bins that are looked at in one go.
constexpr UInt32 kRun = 128;

// Maxima of a run, and of the parabola through each of them and its neighbours the place and the
// natural logarithm of the height.
struct Vertices {
    UInt32 count;
    UInt32 first[kRun]; // the bin below the maximum
    float place[kRun];
    float height[kRun];
};

// Whether a bin is a maximum is hard to foretell, so that they are gathered without a branch.
void FindMaxima(const float* x, UInt32 begin, UInt32 end, float threshold, Vertices& found) {
    found.count = 0;
    for (UInt32 k = begin; k < end; ++k) {
        found.first[found.count] = k - 1;
        found.count +=
            UInt32{x[k] > x[k - 1]} & UInt32{x[k] >= x[k + 1]} & UInt32{x[k] > threshold};
    }
}

void FindVertices(const float* logs, Vertices& found) {
    for (UInt32 i = 0; i < found.count; ++i) {
        const float* x = logs + found.first[i];
        const float rise = x[1] - x[0];
        const float span = x[2] - x[0];
        const float curve = (-2.0f * rise + span) / 2.0f; // of c u^2 + b u, u bins from the first
        const float t = 1.0f - rise / curve;              // twice the place of the vertex
        found.place[i] = static_cast<float>(found.first[i]) + t / 2.0f;
        found.height[i] = x[0] + curve * t * t / -4.0f;
    }
}

// The peak with vertex i, whose height is linear by now.
Peak MakePeak(const PeakSpectrum& spectrum, const Vertices& found, UInt32 i) {
    const UInt32 first = found.first[i];
    Peak peak{};
    peak.mBin = found.place[i];
    peak.mMagnitude = found.height[i];
    // Deliberately, level, frequency and phase are those of the bin below the maximum.
    peak.mLogMagnitude = spectrum.mLogMagnitudes[first];
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
    Vertices found;
    for (UInt32 begin = 1; begin + 1 < spectrum.mNumBins; begin += kRun) {
        const UInt32 end = std::min(begin + kRun, spectrum.mNumBins - 1);
        FindMaxima(spectrum.mLogMagnitudes, begin, end, threshold, found);
        FindVertices(spectrum.mLogMagnitudes, found);
        const int count = static_cast<int>(found.count);
        vvexpf(found.height, found.height, &count);
        for (UInt32 i = 0; i < found.count; ++i)
            if (!std::isnan(found.place[i]))
                peaks.push_back(MakePeak(spectrum, found, i));
    }
}

} // namespace qel::core
