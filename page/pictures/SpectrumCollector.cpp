#include "page/pictures/SpectrumCollector.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <algorithm>
#include <cmath>

namespace qel::page {
namespace {

constexpr std::size_t kBins = 512;
constexpr double kLowestPitchHz = 90; // of "constant q spectrum"
constexpr double kRowsPerOctave = 36;
constexpr double kKernelPeriods = 51.44; // the length of a kernel
constexpr double kFrameSamples = 8192;   // what counts of it
constexpr double kHopSamples = 1024;
constexpr std::size_t kMostHopsLate = 4; // half a frame

double PitchOf(std::size_t bin) {
    return kLowestPitchHz * std::exp2(static_cast<double>(bin) / kRowsPerOctave);
}

// Where the first column of a key begins, so that each lies around the middle of its frame.
double FirstSeconds(const KeyMetaData& key) {
    return (key.frameSamples - key.hopSamples) / (2 * key.sampleRateHz);
}

PictureBuilder BuilderFor(const Lane& lane, const Analyzer& analyzer, bool beginsWithFrame) {
    const KeyMetaData key = analyzer.metaData(lane.source);
    return {lane, beginsWithFrame ? 0 : FirstSeconds(key), key.hopSamples / key.sampleRateHz};
}

} // namespace

SpectrumCollector::SpectrumCollector(const LaneList& lanes, double sampleRateHz,
                                     std::uint32_t mostFrames)
    : mSampleRateHz(sampleRateHz),
      mAnalyzer(std::vector<std::string>{lanes.LaneOf("spectrogram").source,
                                         lanes.LaneOf("constantq").source,
                                         lanes.LaneOf("chroma").source},
                {.sampleRateHz = sampleRateHz, .maxFrames = mostFrames}),
      mRows(sampleRateHz, kBins, static_cast<std::size_t>(lanes.LaneOf("spectrogram").rows)),
      mSpectrum(BuilderFor(lanes.LaneOf("spectrogram"), mAnalyzer, false)),
      // All its kernels begin with the frame.
      mConstantQ(BuilderFor(lanes.LaneOf("constantq"), mAnalyzer, true)),
      mChroma(BuilderFor(lanes.LaneOf("chroma"), mAnalyzer, false)), mMagnitudes(kBins),
      mColumn(mRows.Rows()) {
    mAnalyzer.onResult([this, &lanes](const Result& result) {
        if (result.key() == lanes.LaneOf("spectrogram").source) {
            TakeSpectrum(result.complexes());
        } else if (result.key() == lanes.LaneOf("constantq").source) {
            TakeConstantQ(result.floats());
        } else if (result.key() == lanes.LaneOf("chroma").source) {
            mChroma.Add(result.floats());
        }
    });
}

// Its first pair is no complex number: the term at 0 Hz, and that at half the rate.
void SpectrumCollector::TakeSpectrum(std::span<const std::complex<float>> bins) {
    mMagnitudes[0] = std::abs(bins[0].real());
    for (std::size_t k = 1; k < bins.size(); ++k) {
        mMagnitudes[k] = std::abs(bins[k]);
    }
    mRows.Fill(mMagnitudes, mColumn);
    mSpectrum.Add(mColumn);
}

// Bins above half the rate show images of lower tones, and are left out.
void SpectrumCollector::TakeConstantQ(std::span<const float> values) {
    std::vector<float> frame(values.begin(), values.end());
    for (std::size_t k = 0; k < frame.size(); ++k) {
        frame[k] = PitchOf(k) < mSampleRateHz / 2 ? frame[k] : 0;
    }
    mFrames.push_front(std::move(frame));
    if (mFrames.size() > kMostHopsLate + 1) {
        mFrames.pop_back();
    }
    AddConstantQ();
}

// All kernels of a frame begin with its first sample, and those of low tones are long. Each row is
// put where the middle of its kernel lies, as many hops later.
void SpectrumCollector::AddConstantQ() {
    std::vector<float> column(mFrames.front().size());
    for (std::size_t k = 0; k < column.size(); ++k) {
        const double samples = std::min(kKernelPeriods * mSampleRateHz / PitchOf(k), kFrameSamples);
        const auto late = static_cast<std::size_t>(samples / 2 / kHopSamples);
        column[k] = late < mFrames.size() ? mFrames[late][k] : 0;
    }
    mConstantQ.Add(column);
}

std::map<std::string, Picture> SpectrumCollector::Finish(double seconds) {
    mAnalyzer.finish();
    for (std::size_t i = 0; i < kMostHopsLate && !mFrames.empty(); ++i) {
        TakeConstantQ(std::vector<float>(mFrames.front().size(), 0.0f));
    }
    return {{"spectrogram", mSpectrum.Finish(seconds)},
            {"constantq", mConstantQ.Finish(seconds)},
            {"chroma", mChroma.Finish(seconds)}};
}

} // namespace qel::page
