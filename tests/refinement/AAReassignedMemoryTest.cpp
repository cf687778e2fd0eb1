// How the memory of "reasigned spectrum" grows with the stream: the greatest resident set of a
// child process that analyzes a long stream, less that of one that analyzes a shorter one.

#include "tests/harness/ChildPeak.h"
#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr std::size_t kLoopSamples = 64 * 7000;
constexpr double kBins = 256.0;

void CountBlocks(QelAudioAnalysisRef, CFStringRef, UInt32 count, QelAudioAnalysisBlock*,
                 void* refCon) {
    *static_cast<std::size_t*>(refCon) = count;
}

// Runs in the child. The audio is one loop, over and over, so that the stream itself takes no
// memory; nor do the results, which nobody keeps.
bool AnalyzesLoops(UInt32 channels, std::size_t loops, SInt64 declaredSamples) {
    const Audio loop = Noise(0.5f, channels, kLoopSamples, 1);
    const void* keys[] = {kQelAnalysisKey_ReasignedSpectrum};
    const CFOwner<CFArrayRef> list(CFArrayCreate(nullptr, keys, 1, &kCFTypeArrayCallBacks));
    const AudioStreamBasicDescription format = CanonicalFormat(kRate, channels);
    const AudioChannelLayout layout = PlainLayout();
    std::size_t delivered = 0;
    QelAudioAnalysisRef handle = nullptr;
    SInt32 status = QelAudioAnalysisNew(list.Get(), CountBlocks, &delivered, &handle);
    status |= QelAudioAnalysisInitialize(handle, 64, &format, &layout, declaredSamples);
    for (std::size_t i = 0; i < loops; ++i) {
        for (std::size_t at = 0; at < kLoopSamples; at += 64) {
            status |= QelAudioAnalysisPushAudio(handle, 64, BufferList(loop, at, 64).Get());
        }
    }
    status |= QelAudioAnalysisProcess(handle, 1, nullptr, nullptr);
    status |= QelAudioAnalysisDispose(handle);
    const std::size_t frames = (loops * kLoopSamples - 512) / 64 + 1;
    return status == 0 && delivered == frames * channels;
}

double PeakBytes(UInt32 channels, std::size_t loops, SInt64 declaredSamples) {
    return ChildPeakBytes([&] { return AnalyzesLoops(channels, loops, declaredSamples); });
}

class AAReassignedMemoryTest : public testing::TestWithParam<UInt32> {
protected:
    void SetUp() override {
        if (QEL_SANITIZED) {
            GTEST_SKIP() << "the checker's own memory grows with the work done";
        }
    }
};

TEST_P(AAReassignedMemoryTest, TakesAtMostNineBytesPerBinAndFrame) {
    constexpr std::size_t kShortLoops = 1;
    constexpr std::size_t kLongLoops = 13;
    const auto declared = [](std::size_t loops) {
        return static_cast<SInt64>(loops * kLoopSamples);
    };
    const double shorter = PeakBytes(GetParam(), kShortLoops, declared(kShortLoops));
    const double longer = PeakBytes(GetParam(), kLongLoops, declared(kLongLoops));
    const double frames = static_cast<double>((kLongLoops - kShortLoops) * kLoopSamples) / 64.0;
    const double growth = (longer - shorter) / (frames * GetParam() * kBins);
    RecordProperty("milliBytesPerBin", static_cast<int>(std::lround(1000.0 * growth)));
    // Beside the values, of 8 bytes, there are 64 samples of audio and a block per frame. All of
    // this is filled, so that less is no measurement. Peaks differ by up to 200 kilobytes from run
    // to run, a hundredth of a byte per bin.
    constexpr double kAudio = 64.0 * sizeof(float) / kBins;
    constexpr double kBlock = sizeof(QelAudioAnalysisBlock) / kBins;
    EXPECT_GT(growth, 8.0 + kAudio - 0.1);
    EXPECT_LE(growth, 8.0 + kAudio + kBlock + 0.02);
}

// The longest declaration that counts as one is of 2^31 - 1 samples.
TEST_P(AAReassignedMemoryTest, WhatIsDeclaredAndNeverComesTakesNone) {
    const double trueLength = PeakBytes(GetParam(), 1, kLoopSamples);
    const double longest = PeakBytes(GetParam(), 1, std::numeric_limits<SInt32>::max());
    // The audio and the matrix of a channel may each have a page and its table more than they fill.
    EXPECT_LT(longest - trueLength, 2.0 * GetParam() * 8192.0 + 1048576.0);
}

INSTANTIATE_TEST_SUITE_P(Channels, AAReassignedMemoryTest, testing::Values(1u, 2u));

} // namespace
} // namespace qel::test
