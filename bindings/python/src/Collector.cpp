#include "bindings/python/src/Collector.h"

#include "bindings/python/src/Arrays.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace qel::python {
namespace {

using Channels = std::vector<std::vector<float>>;

void AddRange(std::vector<float>& numbers, const AudioRange& range) {
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    numbers.insert(numbers.end(),
                   {range.headroom.value_or(kNone), range.noiseFloorDb.value_or(kNone),
                    range.cutoffHz.value_or(kNone)});
}

void AddPartials(Collected& key, const Result& result, std::size_t channel) {
    const std::vector<Partial> partials = result.partials(channel);
    key.partials[channel].insert(key.partials[channel].end(), partials.begin(), partials.end());
    key.partialCounts[channel].push_back(static_cast<std::int64_t>(partials.size()));
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
        AddPartials(key, result, channel);
        break;
    case PayloadKind::Count:
        key.numbers[channel].push_back(static_cast<float>(result.count(channel)));
        break;
    case PayloadKind::Range:
        AddRange(key.numbers[channel], result.range(channel));
        break;
    default: {
        const std::span<const float> numbers = result.floats(channel);
        key.numbers[channel].insert(key.numbers[channel].end(), numbers.begin(), numbers.end());
    }
    }
}

// The numbers of the only channel move; those of several come one after the other.
std::vector<float> Joined(Channels& channels) {
    std::vector<float> joined = std::move(channels.front());
    channels.front().clear();
    std::size_t size = joined.size();
    for (const std::vector<float>& channel : channels) {
        size += channel.size();
    }
    joined.reserve(size);
    for (std::size_t c = 1; c < channels.size(); ++c) {
        joined.insert(joined.end(), channels[c].begin(), channels[c].end());
        channels[c].clear();
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
nb::object OffsetsOf(const std::vector<std::vector<std::int64_t>>& counts) {
    std::vector<std::int64_t> offsets;
    std::int64_t end = 0;
    for (const std::vector<std::int64_t>& channel : counts) {
        offsets.push_back(end);
        for (const std::int64_t count : channel) {
            end += count;
            offsets.push_back(end);
        }
    }
    const std::array<std::size_t, 2> shape{counts.size(), counts.front().size() + 1};
    return ArrayOf(std::move(offsets), shape);
}

nb::dict TakePartials(Collected& key) {
    nb::dict taken;
    taken["offsets"] = OffsetsOf(key.partialCounts);
    taken["bin"] = ArrayOf(MembersOf(key.partials, &Partial::bin));
    taken["frequency"] = ArrayOf(MembersOf(key.partials, &Partial::frequencyHz));
    taken["magnitude"] = ArrayOf(MembersOf(key.partials, &Partial::magnitude));
    taken["phase"] = ArrayOf(MembersOf(key.partials, &Partial::phaseRadians));
    taken["frame_number"] = ArrayOf(MembersOf(key.partials, &Partial::timeFrames));
    ClearAll(key.partials);
    ClearAll(key.partialCounts);
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
    const std::array<std::size_t, 3> shape{key.numbers.size(), key.starts.size(),
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
        key.partialCounts.resize(setup.channels);
        key.starts.reserve(ResultsExpected(key, setup));
        for (std::vector<float>& numbers : key.numbers) {
            numbers.reserve(ResultsExpected(key, setup) * NumbersOf(*key.info));
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
    key->starts.push_back(result.timeSeconds());
    ++key->results;
}

// The middle of the frame; of the push; of the stream.
std::vector<double> Collector::CentresOf(const Collected& key, std::uint64_t samples) const {
    std::vector<double> centres = key.starts;
    const double end = static_cast<double>(samples) / mSetup.sampleRateHz;
    if (key.info->delivery == Delivery::PerPush || key.info->delivery == Delivery::AtEnd) {
        for (std::size_t i = 0; i < centres.size(); ++i) {
            centres[i] =
                (key.starts[i] + (i + 1 < key.starts.size() ? key.starts[i + 1] : end)) / 2;
        }
        return centres;
    }
    for (double& centre : centres) {
        centre += key.metaData.frameSamples / (2 * mSetup.sampleRateHz);
    }
    return centres;
}

nb::dict Collector::TakeKey(Collected& key, std::uint64_t samples) const {
    std::vector<double> centres = CentresOf(key, samples);
    nb::dict taken = TakePayload(key);
    taken["starts"] = ArrayOf(std::move(key.starts));
    taken["centres"] = ArrayOf(std::move(centres));
    taken["frame"] = key.metaData.frameSamples;
    taken["hop"] = key.metaData.hopSamples / key.info->resultsPerFrame;
    taken["delivered"] = key.results != 0;
    key.starts.clear();
    return taken;
}

nb::dict Collector::Take(std::uint64_t samples, bool all) {
    nb::dict taken;
    for (Collected& key : mKeys) {
        if (all || !key.starts.empty()) {
            taken[nb::str(key.info->key.data(), key.info->key.size())] = TakeKey(key, samples);
        }
    }
    return taken;
}

void Collector::Reset() {
    for (Collected& key : mKeys) {
        key.results = 0;
        key.starts.clear();
        ClearAll(key.numbers);
        ClearAll(key.events);
        ClearAll(key.names);
        ClearAll(key.partials);
        ClearAll(key.partialCounts);
    }
}

} // namespace qel::python
