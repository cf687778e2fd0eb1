#pragma once

#include "page/pictures/LaneList.h"
#include "page/pictures/PictureBuilder.h"
#include "page/pictures/RowMap.h"

#include <QelAudioAnalysis/Analyzer.hpp>

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::page {

// The picture of the reassigned spectrum. Its key keeps all frames of a stream until the end, 120
// MB a minute: the stream is analyzed in pieces of a few seconds. Pieces overlap by a frame, so
// that all frames are there; what would move over the border of a piece, by less than a frame,
// stays.
class ReassignedCollector {
public:
    ReassignedCollector(const LaneList& lanes, double sampleRateHz);

    void Push(std::span<const float> samples);
    Picture Finish(double seconds);

private:
    void AnalyzePiece(std::size_t samples);
    void Take(std::span<const std::complex<float>> bins);

    const Lane mLane;
    Analyzer mAnalyzer;
    RowMap mRows;
    PictureBuilder mBuilder;
    std::vector<float> mPiece;
    std::vector<float> mGreatest; // of the frames of an open column
    std::vector<float> mColumn;
    std::size_t mOpenFrames = 0;
    std::size_t mTakenFrames = 0; // of the piece
};

} // namespace qel::page
