// What happens when memory runs out: this program's operator new fails on demand, for the platform
// library as well.

#include "AudioConverterTesting.h"
#include "tests/platform/FailingAllocation.h"

#include <AudioToolbox/AudioConverter.h>

#include <gtest/gtest.h>

namespace qel::testing {
namespace {

TEST(AudioConverterMemoryTest, WithoutMemoryThereIsNoConverterAndAStatus) {
    const AudioStreamBasicDescription source = PCM(16, kSigned16, 2);
    const AudioStreamBasicDescription destination = Canonical(2);
    int failures = 0;
    OSStatus status = kAudio_MemFullError;
    for (; failures < 10 && status != noErr; ++failures) {
        int target = 0;
        AudioConverterRef converter = reinterpret_cast<AudioConverterRef>(&target);
        gAllocationsLeft = failures;
        status = AudioConverterNew(&source, &destination, &converter);
        gAllocationsLeft = -1;
        if (status != noErr) {
            EXPECT_EQ(status, kAudio_MemFullError);
            EXPECT_EQ(converter, nullptr);
        } else {
            EXPECT_EQ(AudioConverterDispose(converter), noErr);
        }
    }
    EXPECT_EQ(status, noErr);
    EXPECT_GE(failures, 2) << "at least one failed";
}

TEST(AudioConverterMemoryTest, FillingAllocatesNothing) {
    const Converter converter = NewConverter(PCM(16, kSigned16, 2), Canonical(2, false));
    std::int16_t samples[2 * 600] = {};
    samples[1199] = 0x4000;
    Source source{[&samples](UInt32& packets, AudioBufferList& list) {
        packets = 600;
        list.mBuffers[0].mData = samples;
        list.mBuffers[0].mDataByteSize = sizeof samples;
        return noErr;
    }};
    source.asked.reserve(1);
    BufferList output = OutputList(2, false, 600);
    gAllocationsLeft = 0;
    const Filled filled = Fill(converter, source, 600, output);
    gAllocationsLeft = -1;
    EXPECT_EQ(filled.status, noErr);
    EXPECT_EQ(filled.packets, 600u);
    EXPECT_EQ(output.Float(1, 599), 0.5f);
}

} // namespace
} // namespace qel::testing
