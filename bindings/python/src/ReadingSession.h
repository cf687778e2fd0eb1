#pragma once

#include "bindings/python/src/Arrays.h"

#include <QelReadings.hpp>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace qel::python {

// One stream and its readings. Its methods are called with Python's lock and work without it.
class ReadingSession {
public:
    // `readings`: names of ReadingNames(). `mfcc`: the settings of readings::TimbreSettings.
    ReadingSession(const std::vector<std::string>& readings, double sampleRateHz,
                   std::uint32_t channels, std::uint64_t lengthFrames,
                   const std::map<std::string, double>& mfcc);

    void Push(const Samples& samples, nb::handle tick);

    // A dict for each reading, by its name. Once.
    nb::dict Finish();

private:
    // Shared with work that was left to itself.
    std::shared_ptr<readings::Reader> mReader;
};

// In the order of the enumeration.
std::vector<std::string> ReadingNames();

} // namespace qel::python
