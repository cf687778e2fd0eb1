#pragma once

#include "bindings/python/src/NumberArray.h"

#include <QelAudioAnalysis/KeyInfo.hpp>
#include <QelAudioAnalysis/Result.hpp>
#include <QelAudioAnalysis/StreamSetup.hpp>

#include <nanobind/nanobind.h>

#include <cstdint>
#include <string>
#include <vector>

namespace qel::python {

// The partials of one channel, a column for each number, and how many each result has.
struct PartialColumns {
    NumberArray<std::int32_t> bin;
    NumberArray<float> frequency;
    NumberArray<float> magnitude;
    NumberArray<float> phase;
    NumberArray<double> frameNumber;
    std::vector<std::int64_t> counts;
};

// The results of one key, channel by channel. The members that are in use depend on its payload.
struct Collected {
    const KeyInfo* info = nullptr;
    KeyMetaData metaData;
    std::uint64_t results = 0; // since the start of the stream
    NumberArray<double> starts;
    std::vector<NumberArray<float>> numbers; // a count and a range count as numbers, too
    std::vector<std::vector<Event>> events;
    std::vector<std::vector<std::string>> names;
    std::vector<PartialColumns> partials;
};

// Keeps the results of a stream until they are taken.
class Collector {
public:
    // setup.lengthFrames is a hint of how much there will be.
    Collector(std::vector<Collected> keys, const StreamSetup& setup);

    // Drops results of other keys. Needs no lock of Python's.
    void Add(const Result& result);

    // What came since the last call: a dict for each key that has results, or for each key, by its
    // name. `samples`: how many were analyzed until now. Call it with Python's lock.
    nanobind::dict Take(std::uint64_t samples, bool all);

    void Reset();

private:
    nanobind::dict TakeKey(Collected& key, std::uint64_t samples) const;
    NumberArray<double> CentresOf(const Collected& key, std::uint64_t samples) const;

    std::vector<Collected> mKeys;
    StreamSetup mSetup;
};

// Numbers of one result and channel. 0: the payload is none of numbers.
std::size_t NumbersOf(const KeyInfo& info) noexcept;

} // namespace qel::python
