#include "tests/harness/TestAnalyzer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

namespace qel::test {

AudioStreamBasicDescription CanonicalFormat(double rateHz, UInt32 channels) {
    AudioStreamBasicDescription format{};
    format.mSampleRate = rateHz;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = static_cast<UInt32>(kAudioFormatFlagsNativeFloatPacked) |
                          static_cast<UInt32>(kAudioFormatFlagIsNonInterleaved);
    format.mBytesPerPacket = sizeof(float);
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = sizeof(float);
    format.mChannelsPerFrame = channels;
    format.mBitsPerChannel = 32;
    return format;
}

AudioChannelLayout PlainLayout() {
    AudioChannelLayout layout{};
    layout.mChannelLayoutTag = kAudioChannelLayoutTag_UseChannelDescriptions;
    return layout;
}

BufferList::BufferList(UInt32 buffers) {
    const std::size_t bytes = sizeof(AudioBufferList) + buffers * sizeof(AudioBuffer);
    mMemory = std::make_unique<std::byte[]>(bytes);
    mList = new (mMemory.get()) AudioBufferList{};
    mList->mNumberBuffers = buffers;
    for (UInt32 i = 0; i < buffers; ++i) {
        Buffer(i) = AudioBuffer{1, 0, nullptr};
    }
}

BufferList::BufferList(const Audio& audio, std::size_t firstFrame, UInt32 frames)
    : BufferList(static_cast<UInt32>(audio.size())) {
    for (UInt32 c = 0; c < audio.size(); ++c) {
        // The interface takes the list without const, yet only reads the samples.
        Buffer(c).mData = const_cast<float*>(audio[c].data() + firstFrame);
        Buffer(c).mDataByteSize = frames * static_cast<UInt32>(sizeof(float));
    }
}

std::vector<float> Delivery::Floats(std::size_t block) const {
    const std::vector<std::byte>& bytes = blocks.at(block);
    std::vector<float> values(bytes.size() / sizeof(float));
    if (!values.empty()) {
        std::memcpy(values.data(), bytes.data(), values.size() * sizeof(float));
    }
    return values;
}

TestAnalyzer::TestAnalyzer(const std::vector<std::string>& keys) {
    CFOwner<CFMutableArrayRef> array(CFArrayCreateMutable(kCFAllocatorDefault, 0, nullptr));
    for (const std::string& key : keys) {
        mKeyStrings.push_back(MakeString(key));
        CFArrayAppendValue(array.Get(), mKeyStrings.back().Get());
    }
    EXPECT_EQ(0, QelAudioAnalysisNew(array.Get(), Receive, this, &mHandle));
}

TestAnalyzer::TestAnalyzer(const std::vector<std::string>& keys, const StreamSetup& setup)
    : TestAnalyzer(keys) {
    EXPECT_EQ(0, Initialize(setup));
}

TestAnalyzer::~TestAnalyzer() {
    EXPECT_EQ(0, QelAudioAnalysisDispose(mHandle));
}

SInt32 TestAnalyzer::Initialize(const StreamSetup& setup) {
    const AudioStreamBasicDescription format = CanonicalFormat(setup.rateHz, setup.channels);
    const AudioChannelLayout layout = PlainLayout();
    return QelAudioAnalysisInitialize(mHandle, setup.maxFrames, &format, &layout,
                                      setup.streamLength);
}

SInt32 TestAnalyzer::Push(const Audio& audio, std::size_t firstFrame, UInt32 frames) {
    BufferList list(audio, firstFrame, frames);
    return QelAudioAnalysisPushAudio(mHandle, frames, list.Get());
}

SInt32 TestAnalyzer::Push(const Audio& audio) {
    return Push(audio, 0, static_cast<UInt32>(audio.at(0).size()));
}

void TestAnalyzer::PushInBlocks(const Audio& audio, UInt32 blockFrames) {
    const std::size_t total = audio.at(0).size();
    for (std::size_t at = 0; at < total; at += blockFrames) {
        const auto frames = static_cast<UInt32>(std::min<std::size_t>(blockFrames, total - at));
        ASSERT_EQ(0, Push(audio, at, frames)) << "at frame " << at;
    }
}

SInt32 TestAnalyzer::Process(UInt8 flush) {
    return QelAudioAnalysisProcess(mHandle, flush, nullptr, nullptr);
}

SInt32 TestAnalyzer::Reset() {
    return QelAudioAnalysisReset(mHandle);
}

std::vector<Delivery> TestAnalyzer::DeliveriesOf(const std::string& key) const {
    std::vector<Delivery> found;
    std::copy_if(mDeliveries.begin(), mDeliveries.end(), std::back_inserter(found),
                 [&](const Delivery& delivery) { return delivery.key == key; });
    return found;
}

std::vector<std::vector<float>> TestAnalyzer::Rows(const std::string& key,
                                                   std::size_t channel) const {
    std::vector<std::vector<float>> rows;
    for (const Delivery& delivery : mDeliveries) {
        if (delivery.key == key) {
            rows.push_back(delivery.Floats(channel));
        }
    }
    return rows;
}

void TestAnalyzer::Receive(QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                           QelAudioAnalysisBlock* blocks, void* refCon) {
    auto* self = static_cast<TestAnalyzer*>(refCon);
    EXPECT_EQ(self->mHandle, handle);
    Delivery delivery{ToText(key), {}};
    for (UInt32 i = 0; i < count; ++i) {
        const auto* bytes = static_cast<const std::byte*>(blocks[i].mData);
        delivery.blocks.emplace_back(bytes, bytes + blocks[i].mDataByteSize);
    }
    self->mDeliveries.push_back(std::move(delivery));
    if (self->onDelivery) {
        self->onDelivery(handle, key, count, blocks);
    }
}

} // namespace qel::test
