#include "tests/keys/KeyRun.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

namespace qel::test {
namespace {

using Bytes = std::vector<std::byte>;

Bytes BytesOf(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::byte*>(data);
    return size == 0 ? Bytes() : Bytes(bytes, bytes + size);
}

template <class Value>
std::vector<Value> ValuesOf(const Bytes& bytes) {
    std::vector<Value> values(bytes.size() / sizeof(Value));
    if (!values.empty()) {
        std::memcpy(values.data(), bytes.data(), values.size() * sizeof(Value));
    }
    return values;
}

// Field by field, as the bytes after the last field have no content.
Bytes EventBytes(const QelAudioAnalysisEventList& list) {
    if (list.mCount == 0) {
        return {};
    }
    std::vector<QelAudioAnalysisEvent> events(list.mCount);
    std::memset(static_cast<void*>(events.data()), 0, events.size() * sizeof events[0]);
    for (UInt32 i = 0; i < list.mCount; ++i) {
        events[i].mTime = list.mEvents[i].mTime;
        events[i].mStrength = list.mEvents[i].mStrength;
    }
    return BytesOf(events.data(), events.size() * sizeof(QelAudioAnalysisEvent));
}

// The name is given back, as its receiver owns it.
Bytes NameBytes(const void* data) {
    const auto name = static_cast<CFStringRef>(data);
    const std::string text = ToText(name);
    CFRelease(name);
    return BytesOf(text.data(), text.size());
}

Bytes Content(const KeyInfo& key, const QelAudioAnalysisBlock& block, std::size_t frames) {
    switch (key.payload) {
    case PayloadKind::Events:
        return EventBytes(*static_cast<const QelAudioAnalysisEventList*>(block.mData));
    case PayloadKind::Partials: {
        const auto& list = *static_cast<const PartialList*>(block.mData);
        return BytesOf(list.mPartials, list.mCount * sizeof(PartialRecord));
    }
    case PayloadKind::Name:
        return NameBytes(block.mData);
    default:
        return BytesOf(block.mData, block.mDataByteSize * frames);
    }
}

// The key, with the one that must stand before it.
std::vector<std::string> KeyList(const KeyInfo& key) {
    std::vector<std::string> keys;
    if (!key.companion.empty()) {
        keys.emplace_back(key.companion);
    }
    keys.emplace_back(key.key);
    return keys;
}

} // namespace

std::vector<float> KeyResult::Floats(std::size_t channel) const {
    return ValuesOf<float>(channels.at(channel));
}

std::string KeyResult::Name(std::size_t channel) const {
    const std::vector<char> text = ValuesOf<char>(channels.at(channel));
    return {text.begin(), text.end()};
}

std::vector<QelAudioAnalysisEvent> KeyResult::Events(std::size_t channel) const {
    return ValuesOf<QelAudioAnalysisEvent>(channels.at(channel));
}

std::vector<PartialRecord> KeyResult::Partials(std::size_t channel) const {
    return ValuesOf<PartialRecord>(channels.at(channel));
}

QelAudioAnalysisRange KeyResult::Range(std::size_t channel) const {
    return ValuesOf<QelAudioAnalysisRange>(channels.at(channel)).at(0);
}

KeyResult KeyResult::OnlyChannel(std::size_t channel) const {
    const UInt32 each = blocks / static_cast<UInt32>(channels.size());
    return {each,
            std::vector<UInt32>(blockBytes.begin(), blockBytes.begin() + each),
            {channels.at(channel)}};
}

KeyResults OnlyChannel(const KeyResults& results, std::size_t channel) {
    KeyResults one;
    for (const KeyResult& result : results) {
        one.push_back(result.OnlyChannel(channel));
    }
    return one;
}

KeyRun::KeyRun(const KeyInfo& key, const StreamSetup& setup) : KeyRun(key, setup, KeyList(key)) {}

KeyRun::KeyRun(const KeyInfo& key, const StreamSetup& setup, const std::vector<std::string>& keys)
    : mKey(key), mChannels(setup.channels), mAnalyzer(keys) {
    mAnalyzer.onDelivery = [this](QelAudioAnalysisRef, CFStringRef name, UInt32 count,
                                  QelAudioAnalysisBlock* blocks) { Take(name, count, blocks); };
    EXPECT_EQ(0, mAnalyzer.Initialize(setup));
}

void KeyRun::Push(const Audio& audio, UInt32 blockFrames) {
    mAnalyzer.PushInBlocks(audio, blockFrames);
}

SInt32 KeyRun::PushPart(const Audio& audio, std::size_t firstFrame, UInt32 frames) {
    return mAnalyzer.Push(audio, firstFrame, frames);
}

void KeyRun::Reset() {
    EXPECT_EQ(0, mAnalyzer.Reset());
}

void KeyRun::Initialize(const StreamSetup& setup) {
    mChannels = setup.channels;
    EXPECT_EQ(0, mAnalyzer.Initialize(setup));
}

KeyOutcome KeyRun::Finish() {
    const SInt32 status = Process();
    return {std::exchange(mResults, {}), status};
}

void KeyRun::Take(CFStringRef name, UInt32 count, const QelAudioAnalysisBlock* blocks) {
    mAnalyzer.Forget(); // this class keeps what counts
    const std::string text = ToText(name);
    if (text != mKey.key) {
        const bool isName = text == "dominant key" || text == "global key";
        for (UInt32 i = 0; isName && i < count; ++i) {
            CFRelease(blocks[i].mData);
        }
        return;
    }
    const UInt32 frames = mKey.delivery == qel::Delivery::FramesAtEnd ? count / mChannels : 1;
    ASSERT_EQ(frames * mChannels, count);
    KeyResult result{count, {}, std::vector<Bytes>(mChannels)};
    for (UInt32 i = 0; i < count; ++i) {
        result.blockBytes.push_back(blocks[i].mDataByteSize);
    }
    for (UInt32 c = 0; c < mChannels && frames != 0; ++c) {
        QelAudioAnalysisBlock block = blocks[c * frames];
        if (mKey.payload == PayloadKind::Range) {
            // Every block is the array of all channels' records.
            ASSERT_EQ(mChannels * sizeof(QelAudioAnalysisRange), block.mDataByteSize);
            block.mData = static_cast<QelAudioAnalysisRange*>(block.mData) + c;
            block.mDataByteSize = sizeof(QelAudioAnalysisRange);
        }
        result.channels[c] = Content(mKey, block, frames);
    }
    mResults.push_back(std::move(result));
}

KeyOutcome AnalyzeKey(const KeyInfo& key, const Audio& audio, double rateHz, UInt32 blockFrames) {
    KeyRun run(key, {rateHz, static_cast<UInt32>(audio.size()), 4096,
                     static_cast<SInt64>(audio.at(0).size())});
    run.Push(audio, blockFrames);
    return run.Finish();
}

} // namespace qel::test
