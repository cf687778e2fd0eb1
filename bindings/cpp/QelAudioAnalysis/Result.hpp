// What the result callback receives, and an owning copy of it.
#pragma once

#include <QelAudioAnalysis.h>
#include <QelAudioAnalysis/CFOwner.hpp>
#include <QelAudioAnalysis/Error.hpp>
#include <QelAudioAnalysis/KeyInfo.hpp>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qel {

// An event of the stream: a beat, a down beat, an onset.
struct Event {
    double timeSeconds; // from the start of the stream
    float strength;

    bool operator==(const Event&) const = default;
};

// A sinusoidal track in one frame.
struct Partial {
    std::int32_t bin;
    float frequencyHz;
    float magnitude; // linear, as in the spectrum
    float phaseRadians;
    double timeFrames; // the number of the frame, from 0

    bool operator==(const Partial&) const = default;
};

// The range of a channel in amplitude and frequency. Values that were not found are empty.
struct AudioRange {
    std::optional<float> headroom; // fraction of full scale
    std::optional<float> noiseFloorDb;
    std::optional<float> cutoffHz;

    bool operator==(const AudioRange&) const = default;
};

namespace detail {

// Whether a payload consists of floats only.
inline bool holdsFloats(const KeyInfo& info) noexcept {
    return info.payload == PayloadKind::Floats || info.payload == PayloadKind::ComplexPairs ||
           info.payload == PayloadKind::Vector;
}

// Whether a payload is single floats with names; a vector of one place is.
inline bool holdsNamedFloats(const KeyInfo& info) noexcept {
    return info.payload == PayloadKind::Floats ||
           (info.payload == PayloadKind::Vector && info.payloadBytes == sizeof(float));
}

// Position of a named value in a payload of single floats.
inline std::size_t valueIndex(const KeyInfo* info, std::string_view name) {
    if (info && holdsNamedFloats(*info)) {
        for (std::size_t i = 0; i < info->values.size(); ++i) {
            if (info->values[i].name == name) {
                return i;
            }
        }
    }
    throw Error(kAudioAnalysisErr_UnknownProperty,
                "result without a value named \"" + std::string(name) + "\"");
}

} // namespace detail

// A result that owns its numbers. Only the members for the key's payload are filled, with one entry
// per channel; the others are empty. Later versions may add members for other kinds.
struct StoredResult {
    std::string key;
    const KeyInfo* info = nullptr; // as Result::info()
    std::uint64_t frameIndex = 0;
    double timeSeconds = 0;
    std::vector<std::vector<float>> channels{};   // as Result::floats()
    std::vector<std::vector<Event>> events{};     // as Result::events()
    std::vector<std::uint32_t> counts{};          // as Result::count()
    std::vector<std::string> names{};             // as Result::name()
    std::vector<std::vector<Partial>> partials{}; // as Result::partials()
    std::vector<AudioRange> ranges{};             // as Result::range()

    // As Result::value().
    float value(std::string_view name, std::size_t channel = 0) const {
        return channels.at(channel).at(detail::valueIndex(info, name));
    }
};

// One result of one key, of a frame, a push or the stream: a view of the library's memory.
//
// Valid only until the result callback returns, and so is every span taken from it. store() makes a
// copy. Channels count from 0. A channel that does not exist throws std::out_of_range.
class Result {
public:
    Result(std::string_view key, const KeyInfo* info, std::uint64_t frameIndex, double timeSeconds,
           std::span<const QelAudioAnalysisBlock> blocks) noexcept
        : mKey(key), mInfo(info), mFrameIndex(frameIndex), mTimeSeconds(timeSeconds),
          mBlocks(blocks) {}

    // The key of the result.
    std::string_view key() const noexcept { return mKey; }

    // The key's row of the table; null for a key newer than this header.
    const KeyInfo* info() const noexcept { return mInfo; }

    // The number of the result, counted per key from 0 at the start of the stream. 0 for a result
    // of the whole stream.
    std::uint64_t frameIndex() const noexcept { return mFrameIndex; }

    // Seconds from the start of the stream to the first sample of the frame, or of the push for a
    // key that is delivered per push. Several results of one frame are spaced evenly over the hop.
    // 0 for a result of the whole stream; the events in it have their own times.
    double timeSeconds() const noexcept { return mTimeSeconds; }

    // Number of channels of the stream.
    std::size_t channels() const noexcept { return mBlocks.size(); }

    // The payload of a channel as floats: one per value, one per place of a vector, or the numbers
    // of all pairs. Throws Error with kAudioAnalysisErr_UnknownProperty for a key without a row in
    // the table, and for a key with another kind of payload.
    std::span<const float> floats(std::size_t channel = 0) const {
        require(mInfo && detail::holdsFloats(*mInfo), "floats");
        const QelAudioAnalysisBlock& block = blockOf(channel);
        return {static_cast<const float*>(block.mData), block.mDataByteSize / sizeof(float)};
    }

    // The payload of a channel as complex numbers. Throws Error as floats() does if the payload is
    // not complex pairs.
    std::span<const std::complex<float>> complexes(std::size_t channel = 0) const {
        require(mInfo && mInfo->payload == PayloadKind::ComplexPairs, "complex numbers");
        const QelAudioAnalysisBlock& block = blockOf(channel);
        return {static_cast<const std::complex<float>*>(block.mData),
                block.mDataByteSize / sizeof(std::complex<float>)};
    }

    // A copy of the events of a channel, in ascending order of time. Throws Error as floats() does
    // if the payload is not events.
    std::vector<Event> events(std::size_t channel = 0) const {
        require(mInfo && mInfo->payload == PayloadKind::Events, "events");
        const auto list = recordOf<QelAudioAnalysisEventList>(channel);
        std::vector<Event> events;
        events.reserve(list.mCount);
        for (UInt32 i = 0; i < list.mCount; ++i) {
            events.push_back({list.mEvents[i].mTime, list.mEvents[i].mStrength});
        }
        return events;
    }

    // A copy of the partials of a channel, the oldest track first. Throws Error as floats() does if
    // the payload is not partials.
    std::vector<Partial> partials(std::size_t channel = 0) const {
        require(mInfo && mInfo->payload == PayloadKind::Partials, "partials");
        const auto list = recordOf<PartialList>(channel);
        std::vector<Partial> partials;
        partials.reserve(list.mCount);
        for (UInt32 i = 0; i < list.mCount; ++i) {
            const PartialRecord& record = list.mPartials[i];
            partials.push_back(
                {record.mIndex, record.mFrequency, record.mMagnitude, record.mPhase, record.mTime});
        }
        return partials;
    }

    // The range of a channel. Throws Error as floats() does if the payload is not a range.
    AudioRange range(std::size_t channel = 0) const {
        require(mInfo && mInfo->payload == PayloadKind::Range, "range");
        constexpr float kNoLevel = 100;
        constexpr float kNone = -1;
        const auto record = recordOf<QelAudioAnalysisRange>(channel, channel);
        const auto unless = [](float none, float value) {
            return value == none ? std::nullopt : std::optional(value);
        };
        return {unless(kNone, record.mHeadroom), unless(kNoLevel, record.mNoiseFloor),
                unless(kNone, record.mCutoff)};
    }

    // The count of a channel. Throws Error as floats() does if the payload is not a count.
    std::uint32_t count(std::size_t channel = 0) const {
        require(mInfo && mInfo->payload == PayloadKind::Count, "count");
        return recordOf<std::uint32_t>(channel);
    }

    // A copy of the name of a channel. Throws Error as floats() does if the payload is not a name.
    // The client releases the library's string after the result callback.
    std::string name(std::size_t channel = 0) const {
        require(mInfo && mInfo->payload == PayloadKind::Name, "name");
        // The block may have no size.
        const auto string = static_cast<CFStringRef>(blockOf(channel).mData);
        return string ? detail::textOf(string) : std::string();
    }

    // One value by its name in the table. Throws Error with kAudioAnalysisErr_UnknownProperty if
    // the key has no single value of that name.
    float value(std::string_view name, std::size_t channel = 0) const {
        const std::size_t index = detail::valueIndex(mInfo, name);
        return floats(channel)[index];
    }

    // The bytes of the payload, for any key; for a name, the reference.
    std::span<const std::byte> bytes(std::size_t channel = 0) const {
        const QelAudioAnalysisBlock& block = blockOf(channel);
        if (mInfo && mInfo->payload == PayloadKind::Name) {
            return std::as_bytes(std::span(&block.mData, 1));
        }
        return {static_cast<const std::byte*>(block.mData), block.mDataByteSize};
    }

    // An owning copy. Throws Error with kAudioAnalysisErr_UnknownProperty for a key without a row
    // in the table.
    StoredResult store() const {
        StoredResult stored{std::string(mKey), mInfo, mFrameIndex, mTimeSeconds};
        for (std::size_t c = 0; c < channels(); ++c) {
            if (mInfo && mInfo->payload == PayloadKind::Events) {
                stored.events.push_back(events(c));
            } else if (mInfo && mInfo->payload == PayloadKind::Count) {
                stored.counts.push_back(count(c));
            } else if (mInfo && mInfo->payload == PayloadKind::Name) {
                stored.names.push_back(name(c));
            } else if (mInfo && mInfo->payload == PayloadKind::Partials) {
                stored.partials.push_back(partials(c));
            } else if (mInfo && mInfo->payload == PayloadKind::Range) {
                stored.ranges.push_back(range(c));
            } else {
                const std::span<const float> values = floats(c);
                stored.channels.emplace_back(values.begin(), values.end());
            }
        }
        return stored;
    }

private:
    void require(bool holds, const char* what) const {
        if (!mInfo) {
            throw Error(kAudioAnalysisErr_UnknownProperty,
                        "payload of \"" + std::string(mKey) + "\" not known to this header");
        }
        if (!holds) {
            throw Error(kAudioAnalysisErr_UnknownProperty,
                        "no " + std::string(what) + " in \"" + std::string(mKey) + "\"");
        }
    }
    // A record of a payload; all zero if the block is too small.
    template <class Record>
    Record recordOf(std::size_t channel, std::size_t index = 0) const {
        const QelAudioAnalysisBlock& block = blockOf(channel);
        Record record{};
        if (block.mDataByteSize / sizeof record > index) {
            std::memcpy(&record, static_cast<const Record*>(block.mData) + index, sizeof record);
        }
        return record;
    }
    const QelAudioAnalysisBlock& blockOf(std::size_t channel) const {
        if (channel >= mBlocks.size()) {
            throw std::out_of_range("qel::Result: no channel " + std::to_string(channel));
        }
        return mBlocks[channel];
    }

    std::string_view mKey;
    const KeyInfo* mInfo;
    std::uint64_t mFrameIndex;
    double mTimeSeconds;
    std::span<const QelAudioAnalysisBlock> mBlocks;
};

} // namespace qel
