#include "tests/trust/Digests.h"

#include <cstring>

namespace qel::trust {
namespace {

// The text of a string, without memory of the heap.
struct Text {
    explicit Text(CFStringRef string) {
        CFStringGetCString(string, characters, sizeof characters, kCFStringEncodingASCII);
    }
    char characters[64] = {};
};

void AddEvents(Digest& digest, const QelAudioAnalysisBlock& block) {
    const auto& list = *static_cast<const QelAudioAnalysisEventList*>(block.mData);
    digest.Add(list.mCount);
    for (UInt32 i = 0; i < list.mCount; ++i) {
        digest.Add(list.mEvents[i].mTime);
        digest.Add(list.mEvents[i].mStrength);
    }
}

void AddPartials(Digest& digest, const QelAudioAnalysisBlock& block) {
    const auto& list = *static_cast<const PartialList*>(block.mData);
    digest.Add(list.mCount);
    digest.Add(list.mPartials, list.mCount * sizeof(PartialRecord));
}

void AddName(Digest& digest, const QelAudioAnalysisBlock& block) {
    const auto name = static_cast<CFStringRef>(block.mData);
    digest.Add(Text(name).characters);
    CFRelease(name);
}

// One block of a call with `count`.
void AddBlock(Digest& digest, const KeyInfo& key, UInt32 channels, UInt32 count,
              const QelAudioAnalysisBlock& block) {
    digest.Add(block.mDataByteSize);
    switch (key.payload) {
    case PayloadKind::Events:
        AddEvents(digest, block);
        break;
    case PayloadKind::Partials:
        AddPartials(digest, block);
        break;
    case PayloadKind::Name:
        AddName(digest, block);
        break;
    case PayloadKind::Range:
        digest.Add(block.mData, channels * sizeof(QelAudioAnalysisRange));
        break;
    default: {
        // Of frames at the end the first block of a channel holds all frames, the others nothing.
        const bool holdsAll = key.delivery == Delivery::FramesAtEnd && channels != 0;
        const std::size_t frames = holdsAll ? count / channels : 1;
        digest.Add(block.mData, block.mDataByteSize * frames);
        break;
    }
    }
}

} // namespace

std::vector<std::string> AllKeys() {
    std::vector<std::string> texts;
    for (const KeyInfo& key : kKeys) {
        texts.emplace_back(key.key);
    }
    return texts;
}

void Digest::Add(const void* bytes, std::size_t size) {
    constexpr std::uint64_t kOddMultiplier = 0x9E3779B97F4A7C15; // 2^64 by the golden ratio
    const auto* from = static_cast<const unsigned char*>(bytes);
    const auto mix = [this](std::uint64_t word) {
        mValue = (mValue ^ word) * kOddMultiplier;
        mValue ^= mValue >> 29;
    };
    mix(size);
    for (; size >= sizeof(std::uint64_t); size -= sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, from, sizeof word);
        mix(word);
        from += sizeof word;
    }
    if (size > 0) {
        std::uint64_t word = 0;
        std::memcpy(&word, from, size);
        mix(word);
    }
}

void Digests::Add(UInt32 channels, CFStringRef key, UInt32 count,
                  const QelAudioAnalysisBlock* blocks) {
    const Text text(key);
    for (std::size_t i = 0; i < mKeys.size(); ++i) {
        if (kKeys[i].key == text.characters) {
            mKeys[i].CountCall();
            mKeys[i].Add(count);
            for (UInt32 b = 0; b < count; ++b) {
                AddBlock(mKeys[i], kKeys[i], channels, count, blocks[b]);
            }
            return;
        }
    }
}

std::string Digests::Difference(const Digests& other) const {
    std::string text;
    for (std::size_t i = 0; i < mKeys.size(); ++i) {
        if (mKeys[i] != other.mKeys[i]) {
            text.append(kKeys[i].key).append(" (").append(std::to_string(mKeys[i].Calls()));
            text.append(" and ").append(std::to_string(other.mKeys[i].Calls())).append(" calls) ");
        }
    }
    return text;
}

} // namespace qel::trust
