// 64 bits in place of all that a key delivered: for tests that compare whole runs to the last byte.
#pragma once

#include <QelAudioAnalysis.h>
#include <QelAudioAnalysis/Keys.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

namespace qel::trust {

// The texts of all keys there are.
std::vector<std::string> AllKeys();

// What a key delivered, in order.
class Digest {
public:
    void Add(const void* bytes, std::size_t size);
    template <class Value>
    void Add(const Value& value) {
        Add(&value, sizeof value);
    }
    void CountCall() { ++mCalls; }

    std::uint64_t Value() const { return mValue; }
    std::uint64_t Calls() const { return mCalls; }
    bool operator==(const Digest&) const = default;

private:
    std::uint64_t mValue = 0x243F6A8885A308D3; // digits of pi: any number but 0
    std::uint64_t mCalls = 0;
};

class Digests {
public:
    // The content of one call of the data callback: payloads, what they point at, and sizes. It
    // allocates nothing, and gives back the names that the callback owns.
    void Add(UInt32 channels, CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks);

    // By the place in the table of keys.
    const Digest& operator[](std::size_t key) const { return mKeys[key]; }
    bool operator==(const Digests&) const = default;

    // The keys that differ, for a person to read; empty if none does.
    std::string Difference(const Digests& other) const;

private:
    std::array<Digest, std::size(kKeys)> mKeys{};
};

} // namespace qel::trust
