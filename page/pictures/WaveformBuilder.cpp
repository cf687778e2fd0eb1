#include "page/pictures/WaveformBuilder.h"

#include <algorithm>
#include <cmath>

namespace qel::page {
namespace {

std::int16_t Coded(double value) {
    return static_cast<std::int16_t>(std::lround(std::clamp(value, -1.0, 1.0) * 32767));
}

} // namespace

void WaveformBuilder::Stretch::Add(const Stretch& other) {
    if (other.samples == 0) {
        return;
    }
    least = samples == 0 ? other.least : std::min(least, other.least);
    greatest = samples == 0 ? other.greatest : std::max(greatest, other.greatest);
    energy += other.energy;
    samples += other.samples;
}

void WaveformBuilder::Add(std::span<const float> samples) {
    for (const float sample : samples) {
        if (mStretches.empty() || mStretches.back().samples == mStep) {
            if (mStretches.size() == kMostSteps) {
                Halve();
            }
            mStretches.emplace_back();
        }
        const float usable = std::isfinite(sample) ? sample : 0;
        mStretches.back().Add({usable, usable, double{usable} * usable, 1});
    }
}

void WaveformBuilder::Halve() {
    for (std::size_t i = 0; i < mStretches.size(); i += 2) {
        Stretch whole = mStretches[i];
        whole.Add(mStretches[i + 1]);
        mStretches[i / 2] = whole;
    }
    mStretches.resize(mStretches.size() / 2);
    mStep *= 2;
}

Waveform WaveformBuilder::Finish() const {
    Waveform waveform;
    waveform.stepSeconds = static_cast<double>(mStep) / mSampleRateHz;
    for (const Stretch& stretch : mStretches) {
        waveform.least.push_back(Coded(stretch.least));
        waveform.greatest.push_back(Coded(stretch.greatest));
        waveform.rootMeanSquare.push_back(
            Coded(std::sqrt(stretch.energy / static_cast<double>(stretch.samples))));
    }
    return waveform;
}

} // namespace qel::page
