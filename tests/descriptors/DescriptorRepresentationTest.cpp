// The dictionaries made from the blocks: { key: [ channel: [ frame: { name: number } ] ] }.

#include "tests/descriptors/DescriptorAssertions.h"
#include "tests/harness/TestSignals.h"

#include <map>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;

const std::map<std::string, std::vector<std::string>> kNames = {
    {kTemporal, {"zero crossing rate", "root mean square energy", "amplitude envelope"}},
    {kGeneric,
     {"spectrum mean", "spectrum spread", "spectrum geometric mean", "spectrum energy",
      "spectrum energy dB", "spectral power", "spectrum centroid", "spectrum flatness",
      "spectrum maximum frequency", "spectrum low energy", "spectrum rolloff", "spectrum slope",
      "spectrum high frequency content definition 1",
      "spectrum high frequency content definition 2", "spectrum crest factor",
      "spectrum brightness"}},
    {kHistogram, {"spectrum kurtosis", "spectrum skewness"}},
    {kPeak,
     {"spectrum peak magnitude mean", "spectrum peak harmonic centroid",
      "spectrum peak harmonic deviation", "spectrum first tristimulus",
      "spectrum second tristimulus", "spectrum third tristimulus", "spectrum dissonance",
      "spectrum regularity"}},
    {kFlux, {"spectrum difference", "spectrum flux"}},
};

CFTypeRef ValueOf(CFTypeRef dictionary, const std::string& name) {
    EXPECT_EQ(CFDictionaryGetTypeID(), CFGetTypeID(dictionary));
    const CFOwner<CFStringRef> key = MakeString(name);
    return CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), key.Get());
}

CFIndex CountOf(CFTypeRef array) {
    EXPECT_EQ(CFArrayGetTypeID(), CFGetTypeID(array));
    return CFArrayGetCount(static_cast<CFArrayRef>(array));
}

CFTypeRef ElementOf(CFTypeRef array, std::size_t index) {
    return CFArrayGetValueAtIndex(static_cast<CFArrayRef>(array), static_cast<CFIndex>(index));
}

// The float that a number object holds, which must be of the single-precision type.
float FloatOf(CFTypeRef number) {
    EXPECT_EQ(CFNumberGetTypeID(), CFGetTypeID(number));
    EXPECT_EQ(kCFNumberFloat32Type, CFNumberGetType(static_cast<CFNumberRef>(number)));
    float value = 0.0f;
    EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberFloat32Type, &value));
    return value;
}

// A few blocks of every key of a stereo stream, in the memory of the test.
class DescriptorRepresentationTest : public testing::Test {
protected:
    DescriptorRepresentationTest() : mAnalyzer(kAllSixKeys, StreamSetup{kRate, 2, 4096, 0}) {
        const Audio audio = MusicLike(kRate, 2, 2048);
        mAnalyzer.PushInBlocks(audio, 512);
    }

    // Frame-major blocks of the first `frames` deliveries of the key.
    std::vector<QelAudioAnalysisBlock> Blocks(const std::string& key, std::size_t frames) {
        mHeld = mAnalyzer.DeliveriesOf(key);
        std::vector<QelAudioAnalysisBlock> blocks;
        for (std::size_t f = 0; f < frames; ++f) {
            for (std::vector<std::byte>& bytes : mHeld.at(f).blocks) {
                blocks.push_back({bytes.data(), static_cast<UInt32>(bytes.size())});
            }
        }
        return blocks;
    }

    CFOwner<CFPropertyListRef> Represent(const std::string& key,
                                         const std::vector<QelAudioAnalysisBlock>& blocks) {
        return CFOwner<CFPropertyListRef>(QelAudioAnalysisCreateCFRepresentation(
            mAnalyzer.Handle(), kCFAllocatorDefault, MakeString(key).Get(),
            static_cast<UInt32>(blocks.size()), blocks.data()));
    }

    TestAnalyzer mAnalyzer;
    std::vector<Delivery> mHeld;
};

TEST_F(DescriptorRepresentationTest, EveryFloatGroupGivesItsNamesByChannelAndFrame) {
    for (const auto& [key, names] : kNames) {
        SCOPED_TRACE(key);
        const CFOwner<CFPropertyListRef> list = Represent(key, Blocks(key, 3));
        ASSERT_NE(nullptr, list.Get());
        EXPECT_EQ(1, CFDictionaryGetCount(static_cast<CFDictionaryRef>(list.Get())));
        const CFTypeRef channels = ValueOf(list.Get(), key);
        ASSERT_NE(nullptr, channels);
        ASSERT_EQ(2, CountOf(channels));
        for (std::size_t c = 0; c < 2; ++c) {
            const CFTypeRef frames = ElementOf(channels, c);
            ASSERT_EQ(3, CountOf(frames));
            for (std::size_t f = 0; f < 3; ++f) {
                const CFTypeRef values = ElementOf(frames, f);
                EXPECT_EQ(static_cast<CFIndex>(names.size()),
                          CFDictionaryGetCount(static_cast<CFDictionaryRef>(values)));
                const std::vector<float> expected = mHeld[f].Floats(c);
                ASSERT_EQ(names.size(), expected.size());
                for (std::size_t i = 0; i < names.size(); ++i) {
                    const CFTypeRef number = ValueOf(values, names[i]);
                    ASSERT_NE(nullptr, number) << names[i];
                    EXPECT_EQ(expected[i], FloatOf(number)) << names[i];
                }
            }
        }
    }
}

TEST_F(DescriptorRepresentationTest, SpectrumGivesAnArrayOfRealAndOneOfImaginaryValues) {
    const CFOwner<CFPropertyListRef> list = Represent(kSpectrum, Blocks(kSpectrum, 2));
    ASSERT_NE(nullptr, list.Get());
    EXPECT_EQ(1, CFDictionaryGetCount(static_cast<CFDictionaryRef>(list.Get())));
    const CFTypeRef channels = ValueOf(list.Get(), kSpectrum);
    ASSERT_NE(nullptr, channels);
    ASSERT_EQ(2, CountOf(channels));
    for (std::size_t c = 0; c < 2; ++c) {
        ASSERT_EQ(2, CountOf(ElementOf(channels, c)));
        for (std::size_t f = 0; f < 2; ++f) {
            const CFTypeRef parts = ElementOf(ElementOf(channels, c), f);
            EXPECT_EQ(2, CFDictionaryGetCount(static_cast<CFDictionaryRef>(parts)));
            const CFTypeRef real = ValueOf(parts, "spectrum real data");
            const CFTypeRef imaginary = ValueOf(parts, "spectrum imaginary data");
            ASSERT_NE(nullptr, real);
            ASSERT_NE(nullptr, imaginary);
            ASSERT_EQ(512, CountOf(real));
            ASSERT_EQ(512, CountOf(imaginary));
            const std::vector<float> expected = mHeld[f].Floats(c);
            for (std::size_t k = 0; k < 512; ++k) {
                EXPECT_EQ(expected[2 * k], FloatOf(ElementOf(real, k)));
                EXPECT_EQ(expected[2 * k + 1], FloatOf(ElementOf(imaginary, k)));
            }
        }
    }
}

TEST_F(DescriptorRepresentationTest, SpectrumHasAsManyNumbersAsTheBlocksHavePairs) {
    std::vector<float> pairs = {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f};
    const QelAudioAnalysisBlock block{pairs.data(), 24};
    const CFOwner<CFPropertyListRef> list = Represent(kSpectrum, {block, block});
    ASSERT_NE(nullptr, list.Get());
    const CFTypeRef parts = ElementOf(ElementOf(ValueOf(list.Get(), kSpectrum), 1), 0);
    const CFTypeRef imaginary = ValueOf(parts, "spectrum imaginary data");
    ASSERT_EQ(3, CountOf(imaginary));
    EXPECT_EQ(6.0f, FloatOf(ElementOf(imaginary, 2)));
}

TEST_F(DescriptorRepresentationTest, ACountBelowTheChannelsGivesChannelsWithoutFrames) {
    const CFOwner<CFPropertyListRef> list = Represent(kFlux, {});
    ASSERT_NE(nullptr, list.Get());
    const CFTypeRef channels = ValueOf(list.Get(), kFlux);
    ASSERT_NE(nullptr, channels);
    ASSERT_EQ(2, CountOf(channels));
    EXPECT_EQ(0, CountOf(ElementOf(channels, 0)));
}

TEST_F(DescriptorRepresentationTest, MayBeMadeInsideTheCallbackAndKeptAfterIt) {
    TestAnalyzer analyzer({kPeak}, StreamSetup{kRate, 1, 4096, 0});
    std::vector<CFOwner<CFPropertyListRef>> kept;
    analyzer.onDelivery = [&](QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                              QelAudioAnalysisBlock* blocks) {
        kept.emplace_back(QelAudioAnalysisCreateCFRepresentation(handle, kCFAllocatorDefault, key,
                                                                 count, blocks));
    };
    ASSERT_EQ(0, analyzer.Push(Noise(0.5f, 1, 1536, 1)));
    ASSERT_EQ(2u, kept.size());
    for (std::size_t f = 0; f < 2; ++f) {
        const CFTypeRef values = ElementOf(ElementOf(ValueOf(kept[f].Get(), kPeak), 0), 0);
        EXPECT_EQ(analyzer.Rows(kPeak)[f][peak::Regularity],
                  FloatOf(ValueOf(values, "spectrum regularity")));
    }
}

TEST_F(DescriptorRepresentationTest, AnyKeyOfTheGroupCanBeRepresentedEvenIfItWasNotAskedFor) {
    TestAnalyzer analyzer({kFlux}, StreamSetup{kRate, 1, 4096, 0});
    std::vector<float> values = {0.25f, 0.5f};
    const QelAudioAnalysisBlock block{values.data(), 8};
    const CFOwner<CFPropertyListRef> list(QelAudioAnalysisCreateCFRepresentation(
        analyzer.Handle(), kCFAllocatorDefault, MakeString(kHistogram).Get(), 1, &block));
    ASSERT_NE(nullptr, list.Get());
    const CFTypeRef frame = ElementOf(ElementOf(ValueOf(list.Get(), kHistogram), 0), 0);
    EXPECT_EQ(0.5f, FloatOf(ValueOf(frame, "spectrum skewness")));
}

TEST_F(DescriptorRepresentationTest, IsNullForANullHandle) {
    EXPECT_EQ(nullptr, QelAudioAnalysisCreateCFRepresentation(nullptr, kCFAllocatorDefault,
                                                              MakeString(kFlux).Get(), 0, nullptr));
}

} // namespace
} // namespace qel::test
