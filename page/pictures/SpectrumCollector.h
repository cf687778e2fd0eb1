#pragma once

#include "page/pictures/LaneList.h"
#include "page/pictures/PictureBuilder.h"
#include "page/pictures/RowMap.h"

#include <QelAudioAnalysis/Analyzer.hpp>

#include <cstddef>
#include <deque>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace qel::page {

// The pictures whose columns are frames of keys that are delivered while audio is pushed: spectrum,
// constant Q, chroma.
class SpectrumCollector {
public:
    SpectrumCollector(const LaneList& lanes, double sampleRateHz, std::uint32_t mostFrames);

    // The next samples, at most `mostFrames`.
    void Push(std::span<const float> samples) { mAnalyzer.push(samples); }

    // Ends the stream of that many seconds and hands out the pictures by the ids of their lanes.
    std::map<std::string, Picture> Finish(double seconds);

private:
    void TakeSpectrum(std::span<const std::complex<float>> bins);
    void TakeConstantQ(std::span<const float> values);
    void AddConstantQ();

    const double mSampleRateHz;
    Analyzer mAnalyzer;
    RowMap mRows;
    PictureBuilder mSpectrum;
    PictureBuilder mConstantQ;
    PictureBuilder mChroma;
    std::vector<float> mMagnitudes;
    std::vector<float> mColumn;
    std::deque<std::vector<float>> mFrames; // of "constant q spectrum", the last one first
};

} // namespace qel::page
