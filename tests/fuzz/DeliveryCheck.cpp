#include "tests/fuzz/DeliveryCheck.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <new>
#include <string_view>
#include <vector>

namespace qel::fuzz {
namespace {

const KeyInfo& InfoOf(CFStringRef key) {
    std::array<char, 64> text{};
    Require(CFStringGetCString(key, text.data(), static_cast<CFIndex>(text.size()),
                               kCFStringEncodingASCII) != 0,
            "a key is ASCII");
    const auto* const info = std::ranges::find(kKeys, std::string_view(text.data()), &KeyInfo::key);
    Require(info != std::end(kKeys), "a delivered key is in the table");
    return *info;
}

const float* FloatsOf(const QelAudioAnalysisBlock& block) {
    return static_cast<const float*>(block.mData);
}

// The value that float `place` of a payload is.
const ValueInfo& ValueAt(const KeyInfo& info, std::size_t place) {
    switch (info.payload) {
    case PayloadKind::Vector:
        return info.values[0];
    case PayloadKind::ComplexPairs:
        return info.values[place % 2];
    default:
        return info.values[place];
    }
}

void CheckNames(UInt32 count, const QelAudioAnalysisBlock* blocks) {
    for (UInt32 i = 0; i < count; ++i) {
        const auto* const name = static_cast<CFStringRef>(blocks[i].mData);
        Require(CFGetTypeID(name) == CFStringGetTypeID(), "a name is a string");
        Require(CFStringGetLength(name) > 0, "a name is not empty");
        CFRelease(name);
    }
}

} // namespace

void DeliveryCheck::Receive(QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                            QelAudioAnalysisBlock* blocks, void* refCon) {
    auto* const check = static_cast<DeliveryCheck*>(refCon);
    const CallbackScope scope(check->mEnvironment);
    Require(handle == check->mFacts.handle, "a callback has the handle that sends it");
    check->AskForDictionary(key, count, blocks);
    check->Check(key, count, blocks);
}

void DeliveryCheck::Check(CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
    const KeyInfo& info = InfoOf(key);
    if (info.delivery == Delivery::FramesAtEnd) {
        return CheckFramesAtEnd(info, count, blocks);
    }
    Require(count == mFacts.channels, "one frame comes with a block per channel");
    if (info.payload == PayloadKind::Name) {
        return CheckNames(count, blocks);
    }
    for (UInt32 i = 0; i < count; ++i) {
        switch (info.payload) {
        case PayloadKind::Events:
            CheckEvents(info, blocks[i]);
            break;
        case PayloadKind::Partials:
            CheckPartials(blocks[i]);
            break;
        case PayloadKind::Range:
            CheckRanges(info, blocks[i]);
            break;
        case PayloadKind::Count:
            Require(blocks[i].mDataByteSize == sizeof(UInt32), "a count has four bytes");
            CheckValue(info.values[0], *static_cast<const UInt32*>(blocks[i].mData));
            break;
        default:
            Require(blocks[i].mDataByteSize == info.payloadBytes, "a block is as large as told");
            CheckFloats(info, blocks[i]);
        }
    }
}

void DeliveryCheck::CheckFloats(const KeyInfo& info, const QelAudioAnalysisBlock& block) const {
    volatile float read = 0.0f;
    for (std::size_t i = 0; i < block.mDataByteSize / sizeof(float); ++i) {
        read = FloatsOf(block)[i];
        const bool isOfNoSamples = info.delivery == Delivery::PerPush && mFacts.isEmptyPush;
        if (!isOfNoSamples) {
            CheckValue(ValueAt(info, i), static_cast<double>(read));
        }
    }
}

void DeliveryCheck::CheckEvents(const KeyInfo& info, const QelAudioAnalysisBlock& block) const {
    Require(block.mDataByteSize == sizeof(QelAudioAnalysisEventList), "events come as a list");
    const auto& list = *static_cast<const QelAudioAnalysisEventList*>(block.mData);
    volatile double read = 0.0;
    for (UInt32 i = 0; i < list.mCount; ++i) {
        read = list.mEvents[i].mTime + static_cast<double>(list.mEvents[i].mStrength);
        CheckValue(info.values[0], list.mEvents[i].mTime);
        CheckValue(info.values[1], static_cast<double>(list.mEvents[i].mStrength));
        Require(!mFacts.isPlain || i == 0 || list.mEvents[i - 1].mTime <= list.mEvents[i].mTime,
                "events come in ascending order of time");
    }
    (void)read;
}

void DeliveryCheck::CheckPartials(const QelAudioAnalysisBlock& block) const {
    Require(block.mDataByteSize == sizeof(PartialList), "partials come as a list");
    const auto& list = *static_cast<const PartialList*>(block.mData);
    for (UInt32 i = 0; i < list.mCount; ++i) {
        const PartialRecord& partial = list.mPartials[i];
        Require(partial.mIndex >= 0 && partial.mIndex < 512, "a partial lies in a bin");
        Require(!mFacts.isPlain ||
                    (std::isfinite(partial.mFrequency) && std::isfinite(partial.mMagnitude) &&
                     std::isfinite(partial.mPhase) && partial.mTime >= 0.0),
                "a partial is made of numbers");
    }
}

void DeliveryCheck::CheckRanges(const KeyInfo& info, const QelAudioAnalysisBlock& block) const {
    const auto* const records = static_cast<const QelAudioAnalysisRange*>(block.mData);
    Require(block.mDataByteSize >= sizeof *records, "a block of ranges has a record");
    for (UInt32 c = 0; c < mFacts.channels; ++c) {
        const QelAudioAnalysisRange& range = records[c];
        Require((range.mHeadroomValid | range.mNoiseFloorValid | range.mCutoffValid) <= 1 &&
                    (range.mHeadroomValid & range.mNoiseFloorValid & range.mCutoffValid) >= 0,
                "a flag of validity is 0 or 1");
        if (range.mHeadroom != -1.0f) {
            CheckValue(info.values[0], static_cast<double>(range.mHeadroom));
        }
        if (range.mNoiseFloor != 100.0f) {
            CheckValue(info.values[1], static_cast<double>(range.mNoiseFloor));
        }
        if (range.mCutoff != -1.0f) {
            CheckValue(info.values[2], static_cast<double>(range.mCutoff));
        }
    }
}

// blocks[c * F] has all F frames of channel c and tells the size of one; the others are empty.
void DeliveryCheck::CheckFramesAtEnd(const KeyInfo& info, UInt32 count,
                                     const QelAudioAnalysisBlock* blocks) const {
    if (mFacts.channels == 0) {
        return Require(count == 0, "no channel has no blocks");
    }
    Require(count % mFacts.channels == 0, "all channels have as many frames");
    const UInt32 frames = count / mFacts.channels;
    volatile float read = 0.0f;
    for (UInt32 i = 0; i < count; ++i) {
        if (i % frames != 0) {
            Require(blocks[i].mDataByteSize == 0, "frames behind the first have empty blocks");
            continue;
        }
        Require(blocks[i].mDataByteSize == info.payloadBytes, "a block tells the size of a frame");
        const std::size_t floats = std::size_t{frames} * info.payloadBytes / sizeof(float);
        for (std::size_t n = 0; n < floats; ++n) {
            read = FloatsOf(blocks[i])[n];
            CheckValue(ValueAt(info, n), static_cast<double>(read));
        }
    }
}

void DeliveryCheck::CheckValue(const ValueInfo& value, double figure) const {
    const Range& range = value.range;
    const bool isPromised = std::isfinite(range.minimum) || std::isfinite(range.maximum);
    if (!mFacts.isPlain || !isPromised) {
        return;
    }
    if (std::isnan(figure)) {
        Require(value.definition.find("ot a number") != std::string_view::npos,
                "a value that is no number of a plain stream is told of");
        return;
    }
    const double unit = range.inHalfRates ? mFacts.rateHz / 2.0 : 1.0;
    Require(figure >= range.minimum * unit && figure <= range.maximum * unit,
            "a value of a plain stream is in its range");
}

void DeliveryCheck::AskForDictionary(CFStringRef key, UInt32 count,
                                     const QelAudioAnalysisBlock* blocks) {
    if (mDictionariesLeft == 0 || !mProgram.Seldom(8)) {
        return;
    }
    --mDictionariesLeft;
    try {
        CFPropertyListRef list = nullptr;
        {
            const ClientScope scope(mEnvironment);
            list = QelAudioAnalysisCreateCFRepresentation(mFacts.handle, kCFAllocatorDefault, key,
                                                          count, blocks);
        }
        if (list != nullptr) {
            ReadAll(list);
            CFRelease(list);
        }
    } catch (const std::bad_alloc&) { // must not leave a callback
    }
}

void ReadAll(CFTypeRef object) {
    if (CFGetTypeID(object) == CFArrayGetTypeID()) {
        const auto* const array = static_cast<CFArrayRef>(object);
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
            ReadAll(CFArrayGetValueAtIndex(array, i));
        }
    } else if (CFGetTypeID(object) == CFDictionaryGetTypeID()) {
        const auto* const dictionary = static_cast<CFDictionaryRef>(object);
        const auto count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
        constexpr std::size_t kMostEntries = 64;
        std::array<const void*, kMostEntries> keys{};
        std::array<const void*, kMostEntries> values{};
        Require(count <= kMostEntries, "a dictionary has as many entries as the table has values");
        CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
        for (std::size_t i = 0; i < count; ++i) {
            Require(CFGetTypeID(keys[i]) == CFStringGetTypeID(), "dictionaries have string keys");
            ReadAll(values[i]);
        }
    } else if (CFGetTypeID(object) == CFNumberGetTypeID()) {
        double value = 0.0;
        CFNumberGetValue(static_cast<CFNumberRef>(object), kCFNumberDoubleType, &value);
    } else {
        Require(CFGetTypeID(object) == CFStringGetTypeID(), "leaves are numbers and strings");
    }
}

} // namespace qel::fuzz
