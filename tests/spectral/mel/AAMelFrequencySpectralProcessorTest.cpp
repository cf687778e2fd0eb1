#include "spectral/mel/AAMelFrequencySpectralProcessor.h"

#include "tests/spectral/TestProcessor.h"
#include "tests/spectral/mel/OpenMelProcessor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numbers>
#include <string>
#include <vector>

namespace qel::core {
namespace {

using test::ListOf;
using test::Noise;
using test::OpenMelProcessor;
using test::Signal;

constexpr double kRateHz = 44100;
constexpr float kFloor = 1e-10f;

Signal Sine(std::size_t length, double hz) {
    Signal sine(length);
    for (std::size_t n = 0; n < length; ++n) {
        sine[n] = static_cast<float>(
            0.5 * std::sin(2 * std::numbers::pi * hz * static_cast<double>(n) / kRateHz));
    }
    return sine;
}

int Push(AAMelFrequencySpectralProcessor& processor, std::vector<Signal> channels) {
    ListOf list(channels);
    return processor.ProcessForwards(static_cast<UInt32>(channels[0].size()), list.Get());
}

TEST(AAMelFrequencySpectralProcessorTest, SizesFollowFromTheArguments) {
    const OpenMelProcessor processor(1024, 128, 2, 4096, false, false, 40, kRateHz);
    EXPECT_EQ(processor.mNumBins, 512u);
    EXPECT_EQ(processor.mNumLinearFilters, 40u);
    EXPECT_EQ(processor.mNumFilters, 40u);
    for (const auto* list : {&processor.mEarBuffer, &processor.mLogEarBuffer}) {
        const AudioBufferList& buffers = (*list)->GetBufferList();
        ASSERT_EQ(buffers.mNumberBuffers, 2u);
        EXPECT_GE(buffers.mBuffers[1].mDataByteSize, 67u * 4);
    }
    EXPECT_STREQ(processor.mEarBuffer->Name(), "ear buffer");
    EXPECT_STREQ(processor.mLogEarBuffer->Name(), "log ear buffer");
    EXPECT_STREQ(processor.mTempBuffer->Name(), "temp buffer");
    EXPECT_EQ(processor.GetMagnitudeList(), processor.mTempBuffer.get());
    EXPECT_EQ(processor.GetLogEarList(), processor.mLogEarBuffer.get());
    EXPECT_EQ(processor.Ear(1), Signal(67, 0));
    EXPECT_EQ(processor.LogEar(1), Signal(67, 0));
}

TEST(AAMelFrequencySpectralProcessorTest, WindowIsHannings) {
    OpenMelProcessor processor(64, 10, kRateHz);
    const Signal first(processor.mWindow.get(), processor.mWindow + 64);
    processor.HanningWindow();
    EXPECT_EQ(Signal(processor.mWindow.get(), processor.mWindow + 64), first);
    processor.SineWindow();
    EXPECT_NE(Signal(processor.mWindow.get(), processor.mWindow + 64), first);
}

TEST(AAMelFrequencySpectralProcessorTest, SilenceIsAtTheFloor) {
    OpenMelProcessor processor(1024, 40, kRateHz);
    EXPECT_EQ(Push(processor, {Signal(1024, 0)}), 1);
    Signal ear(67, 0);
    std::fill_n(ear.begin(), 40, kFloor);
    EXPECT_EQ(processor.Ear(), ear);
    const Signal logEar = processor.LogEar();
    for (std::size_t b = 0; b < 67; ++b) {
        // kVForceLogMaxUlp units in the last place of 10, each 2^-20.
        EXPECT_NEAR(double{logEar[b]}, b < 40 ? -10 : 0, b < 40 ? 4 * std::exp2(-20) : 0) << b;
    }
    EXPECT_EQ(processor.Magnitudes(), Signal(512, 0));
    EXPECT_EQ(processor.mMinMagnitudes[0], 0.0f);
    EXPECT_EQ(processor.mMaxMagnitudes[0], 0.0f);
}

TEST(AAMelFrequencySpectralProcessorTest, OutputsAreTheDenseProductOfEachChannel) {
    for (const bool firstDesign : {false, true}) {
        OpenMelProcessor processor(4096, 2048, 2, 4096, false, false, 13, kRateHz);
        if (firstDesign) {
            processor.MakeFilterWeights1();
        }
        Push(processor, {Noise(4096, 1), Noise(4096, 2)});
        const std::vector<float> dense = processor.DenseWeights();
        for (UInt32 c = 0; c < 2; ++c) {
            const Signal magnitudes = processor.Magnitudes(c);
            std::vector<double> expected(13, 0.0); // a column of the matrix for each bin
            for (std::size_t j = 0; j < 13 * std::size_t{2048}; ++j) {
                expected[j % 13] += double{dense[j]} * double{magnitudes[j / 13]};
            }
            const Signal ear = processor.Ear(c);
            const Signal logEar = processor.LogEar(c);
            for (std::size_t b = 0; b < 13; ++b) {
                // Sums of terms of one sign, in another order: well below a hundred roundings.
                EXPECT_NEAR(double{ear[b]}, expected[b], 1e-5 * expected[b]) << b;
                EXPECT_NEAR(double{logEar[b]}, std::log10(double{ear[b]}), 2e-6) << b; // 4 ulp
            }
        }
        EXPECT_NE(processor.Ear(0), processor.Ear(1));
    }
}

TEST(AAMelFrequencySpectralProcessorTest, MagnitudesAreThoseOfTheDoubledSpectrum) {
    OpenMelProcessor processor(256, 10, kRateHz);
    const Signal samples = Noise(256, 3);
    Push(processor, {samples});
    std::vector<double> windowed(256);
    for (std::size_t n = 0; n < 256; ++n) {
        windowed[n] = double{samples[n]} * double{processor.mWindow[n]};
    }
    const auto plain = test::PlainTransform(windowed);
    const Signal magnitudes = processor.Magnitudes();
    for (std::size_t k = 1; k < 128; ++k) {
        // Eight stages of single precision on a norm of about 2 * sqrt(3 / 8 * 256 / 3).
        EXPECT_NEAR(double{magnitudes[k]}, 2 * std::abs(plain[k]), 20 * 12 * std::exp2(-24)) << k;
    }
    const double first = 2 * std::hypot(plain[0].real(), plain[128].real());
    EXPECT_NEAR(double{magnitudes[0]}, first, 20 * 12 * std::exp2(-24));
    EXPECT_EQ(processor.mMaxMagnitudes[0], *std::max_element(magnitudes.begin(), magnitudes.end()));
    EXPECT_EQ(processor.mMinMagnitudes[0], *std::min_element(magnitudes.begin(), magnitudes.end()));
}

std::size_t LoudestFilter(const OpenMelProcessor& processor) {
    const Signal ear = processor.Ear();
    const auto end = ear.begin() + processor.mNumFilters;
    return static_cast<std::size_t>(std::max_element(ear.begin(), end) - ear.begin());
}

TEST(AAMelFrequencySpectralProcessorTest, SineLandsInTheFilterAroundIt) {
    // Centres in closed form: equal steps of the scale.
    OpenMelProcessor second(4096, 40, kRateHz);
    const double top = 15 + 27 * std::log(kRateHz / 2 / 1000) / std::log(6.4);
    for (const std::size_t filter : {3u, 10u, 20u, 30u, 39u}) {
        const double mel = top * static_cast<double>(filter + 1) / 41;
        const double hz = mel < 15 ? mel * 200 / 3 : 1000 * std::pow(6.4, (mel - 15) / 27);
        Push(second, {Sine(4096, hz)});
        EXPECT_EQ(LoudestFilter(second), filter) << hz;
    }
    OpenMelProcessor first(4096, 13, kRateHz);
    first.MakeFilterWeights1();
    for (const std::size_t filter : {0u, 5u, 10u}) {
        Push(first, {Sine(4096, (600 + 200 * static_cast<double>(filter)) / 3)});
        EXPECT_EQ(LoudestFilter(first), filter);
    }
}

TEST(AAMelFrequencySpectralProcessorTest, FiltersAboveTheStreamStayAtTheFloor) {
    // Half the rate is 500 Hz: the filters from 533.3 Hz on have no bin.
    OpenMelProcessor processor(4096, 13, 1000);
    processor.MakeFilterWeights1();
    Push(processor, {Noise(4096, 4)});
    const Signal ear = processor.Ear();
    const Signal logEar = processor.LogEar();
    for (std::size_t b = 0; b < 13; ++b) {
        const double lower = (400 + 200 * static_cast<double>(b)) / 3;
        if (lower > 500) {
            EXPECT_EQ(ear[b], kFloor) << b;
            EXPECT_NEAR(double{logEar[b]}, -10, 4 * std::exp2(-20)) << b;
        } else {
            EXPECT_GT(ear[b], 1e-3f) << b;
        }
    }
    const std::vector<float> dense = processor.DenseWeights();
    for (std::size_t j = 0; j < processor.mNumBins; ++j) {
        EXPECT_EQ(dense[j * 13 + 12], 0.0f) << j;
    }
}

struct Frames {
    OpenMelProcessor* mProcessor;
    std::vector<Signal> mLogEars;

    static void Keep(SpectralAndAudioBufferList* list, void* refCon) {
        auto* const self = static_cast<Frames*>(refCon);
        EXPECT_EQ(list, self->mProcessor->mSpectralBufferList.get());
        self->mLogEars.push_back(self->mProcessor->LogEar());
    }
};

std::vector<Signal> LogEarsOf(const Signal& signal, std::size_t block, bool zeroShift) {
    OpenMelProcessor processor(256, 64, 1, 4096, false, zeroShift, 10, kRateHz);
    Frames frames{&processor, {}};
    processor.SetSpectralFunction(&Frames::Keep, &frames);
    for (std::size_t at = 0; at < signal.size(); at += block) {
        const std::size_t end = std::min(at + block, signal.size());
        const std::size_t before = frames.mLogEars.size();
        const int hadFrame = Push(processor, {Signal(signal.data() + at, signal.data() + end)});
        EXPECT_EQ(hadFrame, frames.mLogEars.size() > before ? 1 : 0);
    }
    return frames.mLogEars;
}

TEST(AAMelFrequencySpectralProcessorTest, FramesDoNotDependOnTheBlocks) {
    const Signal signal = Noise(3000, 5);
    const std::vector<Signal> whole = LogEarsOf(signal, 3000, false);
    EXPECT_EQ(whole.size(), (3000u - 256) / 64 + 1);
    for (const std::size_t block : {1u, 63u, 64u, 257u}) {
        EXPECT_EQ(LogEarsOf(signal, block, false), whole) << block;
    }
}

TEST(AAMelFrequencySpectralProcessorTest, ZeroShiftIsNotDone) {
    // A shift would turn the phases of the spectrum.
    for (const bool zeroShift : {false, true}) {
        OpenMelProcessor processor(256, 256, 1, 256, false, zeroShift, 10, kRateHz);
        Signal impulse(256, 0);
        impulse[0] = 1;
        processor.SetWindow(Signal(256, 1).data());
        Push(processor, {impulse});
        const DSPSplitComplex& spectrum = processor.mSpectralBufferList->mSpectra[0];
        EXPECT_EQ(Signal(spectrum.realp, spectrum.realp + 128), Signal(128, 2)); // X[k] = 1
    }
}

TEST(AAMelFrequencySpectralProcessorTest, LoopGoesThroughTheVirtualOperationsInTheirOrder) {
    class Recorder : public OpenMelProcessor {
    public:
        using OpenMelProcessor::OpenMelProcessor;
        void DoFwdFFT() override { mCalls += 'T'; }
        void FilterSpectrum() override { mCalls += 'F'; }
        void ProcessSpectrum(UInt32 size, SpectralAndAudioBufferList* list) override {
            EXPECT_EQ(size, 128u);
            EXPECT_EQ(list, mSpectralBufferList.get());
            mCalls += 'P';
        }
        std::string mCalls;
    };
    Recorder recorder(128, 64, 1, 192, false, false, 5, kRateHz);
    EXPECT_EQ(Push(recorder, {Signal(127, 0)}), 0);
    EXPECT_EQ(recorder.mCalls, "");
    EXPECT_EQ(Push(recorder, {Signal(65, 0)}), 1);
    EXPECT_EQ(recorder.mCalls, "TFPTFP");
}

TEST(AAMelFrequencySpectralProcessorTest, FrameThatIsNotANumberIsAtTheFloor) {
    OpenMelProcessor processor(256, 10, kRateHz);
    Signal broken = Noise(256, 6);
    broken[100] = std::numeric_limits<float>::quiet_NaN();
    Push(processor, {broken});
    const Signal ear = processor.Ear();
    EXPECT_EQ(Signal(ear.begin(), ear.begin() + 10), Signal(10, kFloor));
    Push(processor, {Noise(256, 7)});
    const Signal after = processor.Ear();
    EXPECT_GT(*std::min_element(after.begin(), after.begin() + 10), 1e-6f);
}

TEST(AAMelFrequencySpectralProcessorTest, WithoutFiltersOnlyMagnitudesCome) {
    OpenMelProcessor processor(256, 0, kRateHz);
    processor.MakeFilterWeights1();
    EXPECT_EQ(Push(processor, {Noise(256, 8)}), 1);
    EXPECT_GT(processor.Magnitudes()[5], 0.0f);
    EXPECT_EQ(processor.LogEar(), Signal(27, 0));
}

TEST(AAMelFrequencySpectralProcessorTest, UnusableRatesGiveNoWeights) {
    for (const double rateHz : {0.0, -44100.0, std::numeric_limits<double>::quiet_NaN()}) {
        OpenMelProcessor processor(64, 5, rateHz);
        EXPECT_EQ(Push(processor, {Noise(64, 9)}), 1);
        const Signal ear = processor.Ear();
        for (std::size_t b = 0; b < 5; ++b) {
            EXPECT_GE(ear[b], kFloor) << rateHz;
        }
    }
}

TEST(AAMelFrequencySpectralProcessorTest, TooManyFiltersRaiseBadAlloc) {
    EXPECT_THROW(OpenMelProcessor(64, std::numeric_limits<UInt32>::max(), kRateHz), std::bad_alloc);
    EXPECT_THROW(OpenMelProcessor(64, (1u << 30) - 27, kRateHz), std::bad_alloc);
}

TEST(AAMelFrequencySpectralProcessorTest, CleanUpGivesEverythingBackAndMayBeRepeated) {
    OpenMelProcessor processor(64, 5, kRateHz);
    processor.CleanUp();
    EXPECT_EQ(processor.GetMagnitudeList(), nullptr);
    EXPECT_EQ(processor.GetLogEarList(), nullptr);
    EXPECT_EQ(processor.mMinMagnitudes.get(), nullptr);
    EXPECT_EQ(processor.mFilterWeights, nullptr);
    processor.CleanUp();
    processor.AllocateBuffers();
    processor.MakeFilterWeights2();
    Push(processor, {Noise(64, 10)});
    EXPECT_GT(processor.Ear()[2], kFloor);
}

} // namespace
} // namespace qel::core
