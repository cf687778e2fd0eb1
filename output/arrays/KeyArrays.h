#pragma once

#include "output/arrays/Array.h"

#include <QelAudioAnalysis/Result.hpp>

#include <cstddef>
#include <vector>

namespace qel::output {

// The results of one key of one file as arrays, which docs/batch.md describes by kinds of payload.
class KeyArrays {
public:
    KeyArrays(const KeyInfo& info, std::size_t channels);

    void Add(const Result& result);

    // The arrays with their final shapes, once.
    std::vector<Array> Take();

private:
    void AddValues(const Result& result);
    void AddEvents(const Result& result);
    void AddPartials(const Result& result);
    void FinishNames(Array& values);
    Array& Column(std::size_t index) { return mArrays[index]; }

    const KeyInfo& mInfo;
    std::size_t mChannels;
    std::size_t mResults = 0;
    std::vector<Array> mArrays;
    std::vector<std::string> mNames; // of a key whose results are names
};

} // namespace qel::output
