#include "bindings/python/src/Collector.h"

#include "bindings/python/src/Arrays.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <limits>

namespace qel::python {
namespace {

void AddRange(NumberArray<float>& numbers, const AudioRange& range) {
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    numbers.Append(range.headroom.value_or(kNone));
    numbers.Append(range.noiseFloorDb.value_or(kNone));
    numbers.Append(range.cutoffHz.value_or(kNone));
}

template <class Value>
void AddColumn(NumberArray<Value>& column, const std::vector<Partial>& partials,
               Value Partial::*member) {
    const std::span<Value> end = column.Extend(partials.size());
    for (std::size_t i = 0; i < end.size(); ++i) {
        end[i] = partials[i].*member;
    }
}

void AddPartials(PartialColumns& columns, const std::vector<Partial>& partials) {
    AddColumn(columns.bin, partials, &Partial::bin);
    AddColumn(columns.frequency, partials, &Partial::frequencyHz);
    AddColumn(columns.magnitude, partials, &Partial::magnitude);
    AddColumn(columns.phase, partials, &Partial::phaseRadians);
    AddColumn(columns.frameNumber, partials, &Partial::timeFrames);
    columns.counts.push_back(static_cast<std::int64_t>(partials.size()));
}

void AddChannel(Collected& key, const Result& result, std::size_t channel) {
    switch (key.info->payload) {
    case PayloadKind::Events: {
        const std::vector<Event> events = result.events(channel);
        key.events[channel].insert(key.events[channel].end(), events.begin(), events.end());
        break;
    }
    case PayloadKind::Name:
        key.names[channel].push_back(result.name(channel));
        break;
    case PayloadKind::Partials:
        AddPartials(key.partials[channel], result.partials(channel));
        break;
    case PayloadKind::Count:
        key.numbers[channel].Append(static_cast<float>(result.count(channel)));
        break;
    case PayloadKind::Range:
        AddRange(key.numbers[channel], result.range(channel));
        break;
    default:
        key.numbers[channel].Append(result.floats(channel));
    }
}

// The arrays of all channels as one: the memory of the first channel moves, and the numbers of the
// others follow its own. `array`: takes the array of a channel.
template <class Channel, class Array = std::identity>
auto Joined(std::vector<Channel>& channels, Array array = {}) {
    std::size_t size = 0;
    for (Channel& channel : channels) {
        size += std::invoke(array, channel).Size();
    }
    auto joined = std::move(std::invoke(array, channels.front()));
    joined.Reserve(size);
    for (std::size_t c = 1; c < channels.size(); ++c) {
        joined.Append(std::invoke(array, channels[c]).All());
        std::invoke(array, channels[c]).Clear();
    }
    return joined;
}

// One member of all records of all channels.
template <class Record, class Value>
std::vector<Value> MembersOf(const std::vector<std::vector<Record>>& channels,
                             Value Record::*member) {
    std::vector<Value> values;
    for (const std::vector<Record>& channel : channels) {
        std::transform(channel.begin(), channel.end(), std::back_inserter(values),
                       [member](const Record& record) { return record.*member; });
    }
    return values;
}

template <class Record>
void ClearAll(std::vector<std::vector<Record>>& channels) {
    for (std::vector<Record>& channel : channels) {
        channel.clear();
    }
}

// Where the events of each channel begin, and where the last ones end.
nb::dict TakeEvents(Collected& key) {
    nb::dict taken;
    std::vector<std::int64_t> offsets{0};
    for (const std::vector<Event>& events : key.events) {
        offsets.push_back(offsets.back() + static_cast<std::int64_t>(events.size()));
    }
    taken["offsets"] = ArrayOf(std::move(offsets));
    taken["times"] = ArrayOf(MembersOf(key.events, &Event::timeSeconds));
    taken["strengths"] = ArrayOf(MembersOf(key.events, &Event::strength));
    ClearAll(key.events);
    return taken;
}

// The same for each result: those of channel c have row c.
nb::object OffsetsOf(const std::vector<PartialColumns>& channels) {
    std::vector<std::int64_t> offsets;
    std::int64_t end = 0;
    for (const PartialColumns& channel : channels) {
        offsets.push_back(end);
        for (const std::int64_t count : channel.counts) {
            end += count;
            offsets.push_back(end);
        }
    }
    const std::array<std::size_t, 2> shape{channels.size(), channels.front().counts.size() + 1};
    return ArrayOf(std::move(offsets), shape);
}

nb::dict TakePartials(Collected& key) {
    nb::dict taken;
    taken["offsets"] = OffsetsOf(key.partials);
    taken["bin"] = ArrayOf(Joined(key.partials, &PartialColumns::bin));
    taken["frequency"] = ArrayOf(Joined(key.partials, &PartialColumns::frequency));
    taken["magnitude"] = ArrayOf(Joined(key.partials, &PartialColumns::magnitude));
    taken["phase"] = ArrayOf(Joined(key.partials, &PartialColumns::phase));
    taken["frame_number"] = ArrayOf(Joined(key.partials, &PartialColumns::frameNumber));
    for (PartialColumns& channel : key.partials) {
        channel.counts.clear();
    }
    return taken;
}

nb::dict TakeNames(Collected& key) {
    nb::dict taken;
    taken["values"] = nb::cast(key.names);
    ClearAll(key.names);
    return taken;
}

nb::dict TakeNumbers(Collected& key) {
    nb::dict taken;
    const std::array<std::size_t, 3> shape{key.numbers.size(), key.starts.Size(),
                                           NumbersOf(*key.info)};
    taken["values"] = ArrayOf(Joined(key.numbers), shape);
    return taken;
}

nb::dict TakePayload(Collected& key) {
    switch (key.info->payload) {
    case PayloadKind::Events:
        return TakeEvents(key);
    case PayloadKind::Name:
        return TakeNames(key);
    case PayloadKind::Partials:
        return TakePartials(key);
    default:
        return TakeNumbers(key);
    }
}

// What a stream of the stated length has; 0 if none is stated.
std::size_t ResultsExpected(const Collected& key, const StreamSetup& setup) {
    constexpr std::size_t kMore = 16; // of the silence at the end
    const bool hasFrames = key.metaData.hopSamples != 0 && key.info->delivery != Delivery::AtEnd;
    return hasFrames && setup.lengthFrames != 0
               ? setup.lengthFrames / key.metaData.hopSamples * key.info->resultsPerFrame + kMore
               : 0;
}

} // namespace

std::size_t NumbersOf(const KeyInfo& info) noexcept {
    switch (info.payload) {
    case PayloadKind::Floats:
    case PayloadKind::ComplexPairs:
    case PayloadKind::Vector:
        return info.payloadBytes / sizeof(float);
    case PayloadKind::Count:
    case PayloadKind::Range:
        return info.values.size();
    default:
        return 0;
    }
}

Collector::Collector(std::vector<Collected> keys, const StreamSetup& setup)
    : mKeys(std::move(keys)), mSetup(setup) {
    for (Collected& key : mKeys) {
        key.numbers.resize(setup.channels);
        key.events.resize(setup.channels);
        key.names.resize(setup.channels);
        key.partials.resize(setup.channels);
        key.starts.Reserve(ResultsExpected(key, setup));
        for (NumberArray<float>& numbers : key.numbers) {
            numbers.Reserve(ResultsExpected(key, setup) * NumbersOf(*key.info));
        }
    }
}

void Collector::Add(const Result& result) {
    const auto key = std::find_if(mKeys.begin(), mKeys.end(), [&](const Collected& candidate) {
        return candidate.info == result.info();
    });
    if (key == mKeys.end()) {
        return;
    }
    for (std::size_t c = 0; c < result.channels(); ++c) {
        AddChannel(*key, result, c);
    }
    key->starts.Append(result.timeSeconds());
    ++key->results;
}

// The middle of the frame; of the push; of the stream.
NumberArray<double> Collector::CentresOf(const Collected& key, std::uint64_t samples) const {
    const std::span<const double> starts = key.starts.All();
    NumberArray<double> centres;
    centres.Reserve(starts.size());
    const bool hasFrames =
        key.info->delivery != Delivery::PerPush && key.info->delivery != Delivery::AtEnd;
    const double half = key.metaData.frameSamples / (2 * mSetup.sampleRateHz);
    const double end = static_cast<double>(samples) / mSetup.sampleRateHz;
    for (std::size_t i = 0; i < starts.size(); ++i) {
        const double next = i + 1 < starts.size() ? starts[i + 1] : end;
        centres.Append(hasFrames ? starts[i] + half : (starts[i] + next) / 2);
    }
    return centres;
}

nb::dict Collector::TakeKey(Collected& key, std::uint64_t samples) const {
    NumberArray<double> centres = CentresOf(key, samples);
    nb::dict taken = TakePayload(key);
    taken["starts"] = ArrayOf(std::move(key.starts));
    taken["centres"] = ArrayOf(std::move(centres));
    taken["frame"] = key.metaData.frameSamples;
    taken["hop"] = key.metaData.hopSamples / key.info->resultsPerFrame;
    taken["delivered"] = key.results != 0;
    return taken;
}

nb::dict Collector::Take(std::uint64_t samples, bool all) {
    nb::dict taken;
    for (Collected& key : mKeys) {
        if (all || key.starts.Size() != 0) {
            taken[nb::str(key.info->key.data(), key.info->key.size())] = TakeKey(key, samples);
        }
    }
    return taken;
}

void Collector::Reset() {
    for (Collected& key : mKeys) {
        key.results = 0;
        key.starts.Clear();
        ClearAll(key.events);
        ClearAll(key.names);
        for (NumberArray<float>& numbers : key.numbers) {
            numbers.Clear();
        }
        key.partials = std::vector<PartialColumns>(key.partials.size());
    }
}

} // namespace qel::python
