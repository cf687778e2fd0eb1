#include "page/pictures/ReassignedCollector.h"

#include <algorithm>
#include <cmath>

namespace qel::page {
namespace {

constexpr std::size_t kFrameSamples = 512;
constexpr std::size_t kHopSamples = 64;
constexpr std::size_t kBins = 256;
constexpr std::size_t kFramesPerColumn = 8; // as many columns as "spectrum" has
constexpr std::size_t kFramesPerPiece = 4096;
constexpr std::size_t kPieceSamples = kFramesPerPiece * kHopSamples;
constexpr std::size_t kWholeSamples = kPieceSamples + kFrameSamples - kHopSamples;

} // namespace

ReassignedCollector::ReassignedCollector(const LaneList& lanes, double sampleRateHz)
    : mLane(lanes.LaneOf("reassigned")),
      mAnalyzer(std::vector<std::string>{mLane.source},
                {.sampleRateHz = sampleRateHz,
                 .maxFrames = kWholeSamples,
                 // The end of a stream adds silence as long as the longest push.
                 .lengthFrames = 2 * kWholeSamples}),
      mRows(sampleRateHz, kBins, static_cast<std::size_t>(mLane.rows)),
      mBuilder(mLane, (kFrameSamples - kHopSamples) / (2 * sampleRateHz),
               kFramesPerColumn * kHopSamples / sampleRateHz),
      mGreatest(kBins), mColumn(mRows.Rows()) {
    mAnalyzer.onResult([this](const Result& result) { Take(result.complexes()); });
}

void ReassignedCollector::Push(std::span<const float> samples) {
    mPiece.insert(mPiece.end(), samples.begin(), samples.end());
    while (mPiece.size() >= kWholeSamples) {
        AnalyzePiece(kWholeSamples);
        mPiece.erase(mPiece.begin(), mPiece.begin() + kPieceSamples);
    }
}

void ReassignedCollector::AnalyzePiece(std::size_t samples) {
    mTakenFrames = 0;
    mAnalyzer.push(std::span(mPiece).first(samples));
    mAnalyzer.finish();
    mAnalyzer.reset();
}

void ReassignedCollector::Take(std::span<const std::complex<float>> bins) {
    if (mTakenFrames == kFramesPerPiece) {
        return;
    }
    ++mTakenFrames;
    for (std::size_t k = 0; k < kBins; ++k) {
        mGreatest[k] = std::max(mGreatest[k], std::abs(bins[k]));
    }
    mOpenFrames = (mOpenFrames + 1) % kFramesPerColumn;
    if (mOpenFrames == 0) {
        mGreatest[0] = 0; // holds what has no frequency
        mRows.Fill(mGreatest, mColumn);
        mBuilder.Add(mColumn);
        std::ranges::fill(mGreatest, 0.0f);
    }
}

Picture ReassignedCollector::Finish(double seconds) {
    if (!mPiece.empty()) {
        AnalyzePiece(mPiece.size());
    }
    return mBuilder.Finish(seconds);
}

} // namespace qel::page
