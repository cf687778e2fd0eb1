// FIPS 180-4, Secure Hash Standard, sections 4.1.2, 5.1.1 and 6.2.

#include "output/files/Sha256.h"

#include <fmt/format.h>

#include <bit>
#include <cstddef>
#include <string>

namespace qel::output {
namespace {

constexpr std::size_t kBlockBytes = 64;
constexpr std::size_t kLengthBytes = 8; // the length in bits, at the end of the last block
constexpr std::size_t kRounds = 64;

using State = std::array<std::uint32_t, 8>;
__extension__ using Wide = unsigned __int128;

constexpr std::array<unsigned int, kRounds> FindPrimes() {
    std::array<unsigned int, kRounds> primes{};
    std::size_t found = 0;
    for (unsigned int candidate = 2; found < primes.size(); ++candidate) {
        bool isPrime = true;
        for (std::size_t i = 0; i < found; ++i) {
            isPrime = isPrime && candidate % primes[i] != 0;
        }
        if (isPrime) {
            primes[found++] = candidate;
        }
    }
    return primes;
}

constexpr std::array<unsigned int, kRounds> kPrimes = FindPrimes();

constexpr Wide Power(Wide base, int exponent) {
    return exponent == 0 ? 1 : base * Power(base, exponent - 1);
}

// The first 32 bits of the fraction of a prime's root. The largest whole number whose square or
// cube is not above prime * 2^(32 * degree) is the root with 32 bits of fraction.
constexpr std::uint32_t RootFraction(unsigned int prime, int degree) {
    const Wide bound = static_cast<Wide>(prime) << (32 * degree);
    std::uint64_t root = 0;
    for (int bit = 36; bit >= 0; --bit) { // the roots of 311 are below 2^5
        const std::uint64_t candidate = root | std::uint64_t{1} << bit;
        if (Power(candidate, degree) <= bound) {
            root = candidate;
        }
    }
    return static_cast<std::uint32_t>(root);
}

// The initial state is of the square roots of the first 8 primes, and the constants of the rounds
// are of the cube roots of the first 64.
template <std::size_t kCount>
constexpr std::array<std::uint32_t, kCount> RootFractions(int degree) {
    std::array<std::uint32_t, kCount> fractions{};
    for (std::size_t i = 0; i < kCount; ++i) {
        fractions[i] = RootFraction(kPrimes[i], degree);
    }
    return fractions;
}

constexpr State kInitial = RootFractions<8>(2);
constexpr std::array<std::uint32_t, kRounds> kConstants = RootFractions<kRounds>(3);

std::array<std::uint32_t, kRounds> ScheduleOf(const char* block) {
    std::array<std::uint32_t, kRounds> words{};
    for (std::size_t i = 0; i < kBlockBytes; ++i) {
        words[i / 4] = words[i / 4] << 8 | static_cast<unsigned char>(block[i]);
    }
    for (std::size_t i = kBlockBytes / 4; i < kRounds; ++i) {
        const std::uint32_t a = words[i - 15];
        const std::uint32_t b = words[i - 2];
        words[i] = words[i - 16] + words[i - 7] + (std::rotr(a, 7) ^ std::rotr(a, 18) ^ a >> 3) +
                   (std::rotr(b, 17) ^ std::rotr(b, 19) ^ b >> 10);
    }
    return words;
}

void AddBlock(State& state, const char* block) {
    const std::array<std::uint32_t, kRounds> words = ScheduleOf(block);
    auto [a, b, c, d, e, f, g, h] = state;
    for (std::size_t i = 0; i < kRounds; ++i) {
        const std::uint32_t sum = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
        const std::uint32_t first = h + sum + ((e & f) ^ (~e & g)) + kConstants[i] + words[i];
        const std::uint32_t second =
            (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + first;
        d = c;
        c = b;
        b = a;
        a = first + second;
    }
    const State added{a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < state.size(); ++i) {
        state[i] += added[i];
    }
}

} // namespace

Sha256Sum::Sha256Sum() : mState(kInitial) {}

void Sha256Sum::Add(std::string_view bytes) {
    mBytes += bytes.size();
    if (!mRest.empty()) {
        const std::string_view filling = bytes.substr(0, kBlockBytes - mRest.size());
        mRest += filling;
        bytes.remove_prefix(filling.size());
        if (mRest.size() < kBlockBytes) {
            return;
        }
        AddBlock(mState, mRest.data());
        mRest.clear();
    }
    for (; bytes.size() >= kBlockBytes; bytes.remove_prefix(kBlockBytes)) {
        AddBlock(mState, bytes.data());
    }
    mRest = bytes;
}

// The text ends with one bit, zeros up to the end of a block, and its length in bits.
std::array<std::uint8_t, 32> Sha256Sum::Digest() {
    const std::uint64_t bits = mBytes * 8;
    std::string end(1, '\x80');
    while ((mRest.size() + end.size()) % kBlockBytes != kBlockBytes - kLengthBytes) {
        end += '\0';
    }
    for (std::size_t i = 0; i < kLengthBytes; ++i) {
        end += static_cast<char>(bits >> (8 * (kLengthBytes - 1 - i)) & 0xFF);
    }
    Add(end);
    std::array<std::uint8_t, 32> digest{};
    for (std::size_t i = 0; i < digest.size(); ++i) {
        digest[i] = static_cast<std::uint8_t>(mState[i / 4] >> (24 - 8 * (i % 4)));
    }
    return digest;
}

std::array<std::uint8_t, 32> Sha256(std::string_view text) {
    Sha256Sum sum;
    sum.Add(text);
    return sum.Digest();
}

std::string Hexadecimal(const std::array<std::uint8_t, 32>& digest, std::size_t bytes) {
    std::string digits;
    for (std::size_t i = 0; i < bytes; ++i) {
        digits += fmt::format("{:02x}", digest[i]);
    }
    return digits;
}

} // namespace qel::output
