#include "tests/harness/DoubleTransform.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>

namespace qel::testing {
namespace {

// e^(-pi i k / half) for k below `half`, which is a power of two. They are the same for every size,
// so each is made once.
const Number* Turns(std::size_t half) {
    constexpr std::size_t kMostStages = 32;
    thread_local std::array<std::vector<Number>, kMostStages> stages;
    std::vector<Number>& turns = stages.at(static_cast<std::size_t>(std::countr_zero(half)));
    if (turns.empty()) {
        turns.resize(half);
        for (std::size_t k = 0; k < half; ++k) {
            turns[k] = std::polar(1.0, -std::numbers::pi * static_cast<double>(k) /
                                           static_cast<double>(half));
        }
    }
    return turns.data();
}

// std::complex checks a product for NaN, which takes longer than the product.
Number Product(const Number& a, const Number& b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

void Butterfly(Number& low, Number& high, const Number& turn) {
    const Number turned = Product(high, turn);
    high = {low.real() - turned.real(), low.imag() - turned.imag()};
    low = {low.real() + turned.real(), low.imag() + turned.imag()};
}

void ReverseBits(std::vector<Number>& x) {
    const std::size_t size = x.size();
    for (std::size_t i = 1, j = 0; i < size; ++i) {
        std::size_t bit = size / 2;
        for (; (j & bit) != 0; bit /= 2) {
            j ^= bit;
        }
        j ^= bit;
        if (i < j) {
            std::swap(x[i], x[j]);
        }
    }
}

void Stage(Number* x, std::size_t size, std::size_t half) {
    const Number* turns = Turns(half);
    for (std::size_t start = 0; start < size; start += 2 * half) {
        for (std::size_t k = 0; k < half; ++k) {
            Butterfly(x[start + k], x[start + half + k], turns[k]);
        }
    }
}

// The stages of `half` and of twice that in one pass over memory.
void TwoStages(Number* x, std::size_t size, std::size_t half) {
    const Number* inner = Turns(half);
    const Number* outer = Turns(2 * half);
    for (std::size_t start = 0; start < size; start += 4 * half) {
        Number* at = x + start;
        for (std::size_t k = 0; k < half; ++k) {
            Number a = at[k];
            Number b = at[half + k];
            Number c = at[2 * half + k];
            Number d = at[3 * half + k];
            Butterfly(a, b, inner[k]);
            Butterfly(c, d, inner[k]);
            Butterfly(a, c, outer[k]);
            Butterfly(b, d, outer[half + k]);
            at[k] = a;
            at[half + k] = b;
            at[2 * half + k] = c;
            at[3 * half + k] = d;
        }
    }
}

} // namespace

void Transform(std::vector<Number>& x) {
    const std::size_t size = x.size();
    ReverseBits(x);
    std::size_t half = 1;
    for (; 4 * half <= size; half *= 4) {
        TwoStages(x.data(), size, half);
    }
    if (half < size) {
        Stage(x.data(), size, half);
    }
}

} // namespace qel::testing
