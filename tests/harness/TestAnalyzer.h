// One analyzer, driven through the exported functions and nothing else, that keeps every result it
// delivers. For tests of the exported functions and of what the keys deliver.
#pragma once

#include "tests/harness/CFOwner.h"

#include <QelAudioAnalysis.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qel::test {

// One vector of samples per channel, all of one length.
using Audio = std::vector<std::vector<float>>;

// The canonical format: 32-bit float, packed, one buffer per channel.
AudioStreamBasicDescription CanonicalFormat(double rateHz, UInt32 channels);

// The smallest layout that initialization may be given: the header and one description.
AudioChannelLayout PlainLayout();

// An AudioBufferList over a stretch of planar audio, which it does not copy.
class BufferList {
public:
    BufferList(const Audio& audio, std::size_t firstFrame, UInt32 frames);
    explicit BufferList(UInt32 buffers); // every buffer without data and of size 0
    AudioBufferList* Get() { return mList; }
    AudioBuffer& Buffer(UInt32 channel) { return mList->mBuffers[channel]; }

private:
    std::unique_ptr<std::byte[]> mMemory;
    AudioBufferList* mList;
};

struct StreamSetup {
    double rateHz = 44100.0;
    UInt32 channels = 1;
    UInt32 maxFrames = 4096;
    SInt64 streamLength = 0;
};

// What one call of the data callback brought.
struct Delivery {
    std::string key;
    std::vector<std::vector<std::byte>> blocks;

    bool operator==(const Delivery&) const = default;
    std::vector<float> Floats(std::size_t block) const;
};

class TestAnalyzer {
public:
    explicit TestAnalyzer(const std::vector<std::string>& keys);
    // Made and initialized; the test fails if that gives another status than 0.
    TestAnalyzer(const std::vector<std::string>& keys, const StreamSetup& setup);
    ~TestAnalyzer();
    TestAnalyzer(const TestAnalyzer&) = delete;
    TestAnalyzer& operator=(const TestAnalyzer&) = delete;

    SInt32 Initialize(const StreamSetup& setup);
    SInt32 Push(const Audio& audio, std::size_t firstFrame, UInt32 frames);
    SInt32 Push(const Audio& audio); // all of it, in one push
    // All of it in blocks, the last one as short as need be; every push must give 0.
    void PushInBlocks(const Audio& audio, UInt32 blockFrames);
    SInt32 Process(UInt8 flush = 1);
    SInt32 Reset();

    QelAudioAnalysisRef Handle() const { return mHandle; }
    const std::vector<Delivery>& Deliveries() const { return mDeliveries; }
    std::vector<Delivery> DeliveriesOf(const std::string& key) const;
    // The floats of one channel, one row per delivery of the key.
    std::vector<std::vector<float>> Rows(const std::string& key, std::size_t channel = 0) const;
    void Forget() { mDeliveries.clear(); }

    // Called, if set, within every data callback, with the callback's own arguments.
    std::function<void(QelAudioAnalysisRef, CFStringRef, UInt32, QelAudioAnalysisBlock*)>
        onDelivery;

private:
    static void Receive(QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                        QelAudioAnalysisBlock* blocks, void* refCon);

    std::vector<CFOwner<CFStringRef>> mKeyStrings;
    QelAudioAnalysisRef mHandle = nullptr;
    std::vector<Delivery> mDeliveries;
};

} // namespace qel::test
