#pragma once

#include <QelAudioAnalysis/Result.hpp>

#include <cstdint>

namespace qel::selftest {

// 64 bits in place of all results of a key: of every number of every channel, in order. The hash is
// FNV-1a (G. Fowler, L. C. Noll, K.-P. Vo) over the bytes of the numbers, least significant first.
// Whatever is no number counts as one and the same, as processors differ in its sign.
class KeyDigest {
public:
    void Add(const Result& result);

    std::uint64_t Value() const { return mHash; }

private:
    void AddChannel(const Result& result, std::size_t channel);
    void AddInteger(std::uint64_t value);
    void AddNumber(float value);
    void AddNumber(double value);

    std::uint64_t mHash = 14695981039346656037u; // the hash of nothing
};

} // namespace qel::selftest
