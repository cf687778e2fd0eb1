// All six keys against the plain double-precision figures, on music-like audio, for every mixture
// of sample rate, channel count and push size that is listed at the end.

#include "tests/descriptors/DescriptorAssertions.h"
#include "tests/harness/TestSignals.h"

#include <algorithm>
#include <map>
#include <span>
#include <tuple>

namespace qel::test {
namespace {

// A transform of 1024 points and sums of 512 terms in single precision keep about six digits of
// what goes into them; logs and moments of small bins lose one of them.
constexpr double kAudioTolerance = 1e-4;
// Figures from magnitudes that are single-precision values already: only their own sums round.
constexpr double kMagnitudeTolerance = 1e-5;
// A sum of at most 4096 squares in single precision.
constexpr double kRmsTolerance = 1e-5;
// The envelope repeats the filter's steps in the same precision and order. Only values that the
// library flushes as denormal may differ.
constexpr double kEnvelopeTolerance = 1e-6;
constexpr double kDenormal = 1e-37;
// The error of one bin of the transform, against the RMS of all bins of its frame and the bin
// itself: ten stages round by about 1e-7, the greatest among a million bins by several times that.
constexpr double kTransformTolerance = 1e-6;
// Every stage works out a few bins together, so that one rounding of the strongest bin, 6e-8 of
// it, can show in any of its partners, which are others in each transform library.
constexpr double kPartnerTolerance = 1e-7;
// The frames whose decisions lie within rounding and that are left out: a share, and one more
// where there are few.
constexpr double kAmbiguousShare = 0.05;

struct StreamCut {
    double rateHz;
    UInt32 channels;
    UInt32 blockFrames;
};

// A stream and all that it delivers.
struct AnalyzedStream {
    explicit AnalyzedStream(const StreamCut& cut)
        : audio(MusicLike(cut.rateHz, cut.channels, FramesToPush(cut))),
          analyzer(kAllSixKeys, StreamSetup{cut.rateHz, cut.channels, 4096, 0}) {
        analyzer.PushInBlocks(audio, cut.blockFrames);
    }

    // One second, and less where every push is one sample.
    static std::size_t FramesToPush(const StreamCut& cut) {
        return cut.blockFrames == 1 ? 4096 : static_cast<std::size_t>(cut.rateHz);
    }

    Audio audio;
    TestAnalyzer analyzer;
};

class DescriptorAgreementTest : public testing::TestWithParam<std::tuple<double, UInt32, UInt32>> {
protected:
    // Each stream is analyzed once per process: the tests look at different keys of it.
    static const AnalyzedStream& StreamOf(const ParamType& parameters, const StreamCut& cut) {
        static std::map<ParamType, AnalyzedStream> streams;
        return streams.try_emplace(parameters, cut).first->second;
    }

    std::size_t Frames() const { return NumFrames(mAudio[0].size()); }

    const StreamCut mCut{std::get<0>(GetParam()), std::get<1>(GetParam()), std::get<2>(GetParam())};
    const AnalyzedStream& mStream = StreamOf(GetParam(), mCut);
    const Audio& mAudio = mStream.audio;
    const TestAnalyzer& mAnalyzer = mStream.analyzer;
};

TEST_P(DescriptorAgreementTest, TemporalPropertiesOfEveryPush) {
    for (UInt32 c = 0; c < mCut.channels; ++c) {
        const std::vector<std::vector<float>> rows = mAnalyzer.Rows(kTemporal, c);
        const std::size_t total = mAudio[c].size();
        ASSERT_EQ((total + mCut.blockFrames - 1) / mCut.blockFrames, rows.size());
        EnvelopeFilter envelope;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const std::size_t start = i * mCut.blockFrames;
            const std::size_t count = std::min<std::size_t>(mCut.blockFrames, total - start);
            const std::span<const float> block(mAudio[c].data() + start, count);
            ASSERT_EQ(3u, rows[i].size());
            EXPECT_FLOAT_EQ(static_cast<float>(ZeroCrossingRate(block)),
                            rows[i][temporal::Crossings]);
            const double rms = Rms(block);
            EXPECT_NEAR(rms, rows[i][temporal::Rms], kRmsTolerance * rms);
            const double expected = envelope.Step(rows[i][temporal::Rms]);
            EXPECT_NEAR(expected, rows[i][temporal::Envelope],
                        kEnvelopeTolerance * std::abs(expected) + kDenormal);
        }
    }
}

TEST_P(DescriptorAgreementTest, SpectrumOfEveryFrame) {
    for (UInt32 c = 0; c < mCut.channels; ++c) {
        const std::vector<std::vector<float>> rows = mAnalyzer.Rows(kSpectrum, c);
        ASSERT_EQ(Frames(), rows.size());
        for (std::size_t frame = 0; frame < rows.size(); ++frame) {
            const Spectrum expected = PackedSpectrum(mAudio[c], frame);
            double squares = 0.0;
            double greatest = 0.0;
            for (const std::complex<double>& bin : expected) {
                squares += std::norm(bin);
                greatest = std::max(greatest, std::abs(bin));
            }
            const double rms = std::sqrt(squares / static_cast<double>(kNumBins));
            ASSERT_EQ(2 * kNumBins, rows[frame].size());
            for (std::size_t k = 0; k < kNumBins; ++k) {
                const double tolerance = kTransformTolerance * (rms + std::abs(expected[k])) +
                                         kPartnerTolerance * greatest;
                ASSERT_NEAR(expected[k].real(), rows[frame][2 * k], tolerance) << "bin " << k;
                ASSERT_NEAR(expected[k].imag(), rows[frame][2 * k + 1], tolerance) << "bin " << k;
            }
        }
    }
}

TEST_P(DescriptorAgreementTest, GenericPropertiesOfEveryFrame) {
    for (UInt32 c = 0; c < mCut.channels; ++c) {
        const std::vector<std::vector<float>> rows = mAnalyzer.Rows(kGeneric, c);
        ASSERT_EQ(Frames(), rows.size());
        for (std::size_t frame = 0; frame < rows.size(); ++frame) {
            SCOPED_TRACE("frame " + std::to_string(frame));
            const std::vector<double> magnitudes = Magnitudes(PackedSpectrum(mAudio[c], frame));
            ExpectRow(GenericProperties(magnitudes, mCut.rateHz), rows[frame], kAudioTolerance);
        }
    }
}

TEST_P(DescriptorAgreementTest, FluxPropertiesOfEveryFrame) {
    for (UInt32 c = 0; c < mCut.channels; ++c) {
        const std::vector<std::vector<float>> rows = mAnalyzer.Rows(kFlux, c);
        ASSERT_EQ(Frames(), rows.size());
        std::vector<double> previous(kNumBins, 0.0);
        for (std::size_t frame = 0; frame < rows.size(); ++frame) {
            SCOPED_TRACE("frame " + std::to_string(frame));
            const std::vector<double> magnitudes = Magnitudes(PackedSpectrum(mAudio[c], frame));
            const std::array<Figure, 2> expected = FluxProperties(magnitudes, previous);
            ExpectRow(expected, rows[frame], kAudioTolerance);
            // The allowance for roots near 0 must stay small, or the comparison says nothing.
            EXPECT_LT(expected[flux::Difference].slack, 0.01 * expected[flux::Difference].value);
            previous = magnitudes;
        }
    }
}

// The next two start from the magnitudes of the delivered spectrum, because which bin is a peak and
// which count a value raises is decided in single precision.

TEST_P(DescriptorAgreementTest, HistogramPropertiesOfEveryFrame) {
    std::size_t leftOut = 0;
    for (UInt32 c = 0; c < mCut.channels; ++c) {
        const std::vector<std::vector<float>> rows = mAnalyzer.Rows(kHistogram, c);
        const std::vector<std::vector<float>> spectra = mAnalyzer.Rows(kSpectrum, c);
        ASSERT_EQ(Frames(), rows.size());
        ASSERT_EQ(Frames(), spectra.size());
        for (std::size_t frame = 0; frame < rows.size(); ++frame) {
            SCOPED_TRACE("frame " + std::to_string(frame));
            const HistogramFigures expected = HistogramProperties(SingleMagnitudes(spectra[frame]));
            if (expected.ambiguous) {
                ++leftOut;
                continue;
            }
            ExpectRow(expected.figures, rows[frame], kMagnitudeTolerance);
        }
    }
    EXPECT_LE(static_cast<double>(leftOut),
              1.0 + kAmbiguousShare * static_cast<double>(Frames() * mCut.channels));
}

TEST_P(DescriptorAgreementTest, PeakPropertiesOfEveryFrame) {
    std::size_t leftOut = 0;
    for (UInt32 c = 0; c < mCut.channels; ++c) {
        const std::vector<std::vector<float>> rows = mAnalyzer.Rows(kPeak, c);
        const std::vector<std::vector<float>> spectra = mAnalyzer.Rows(kSpectrum, c);
        ASSERT_EQ(Frames(), rows.size());
        ASSERT_EQ(Frames(), spectra.size());
        std::array<Figure, 8> previous{};
        for (std::size_t frame = 0; frame < rows.size(); ++frame) {
            SCOPED_TRACE("frame " + std::to_string(frame));
            const PeakFigures expected =
                PeakProperties(SingleMagnitudes(spectra[frame]), mCut.rateHz, previous);
            previous = expected.figures;
            // Enough peaks that some of their bins index the packed array below their number.
            ASSERT_GT(expected.numPeaks, 50u);
            if (expected.ambiguous) {
                ++leftOut;
                continue;
            }
            ExpectRow(expected.figures, rows[frame], kMagnitudeTolerance);
        }
    }
    EXPECT_LE(static_cast<double>(leftOut),
              1.0 + kAmbiguousShare * static_cast<double>(Frames() * mCut.channels));
}

INSTANTIATE_TEST_SUITE_P(
    RatesChannelsAndPushSizes, DescriptorAgreementTest,
    testing::Combine(testing::Values(8000.0, 22050.0, 44100.0, 48000.0, 96000.0),
                     testing::Values(1u, 2u), testing::Values(1u, 63u, 512u, 1000u, 4096u)));

} // namespace
} // namespace qel::test
