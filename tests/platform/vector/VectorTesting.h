// What the tests of the vector functions share: vectors of any stride and alignment that notice
// stray writes, the shapes that every function is tried with, and repeatable noise.
#pragma once

#include <Accelerate/vDSPTypes.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace qel::testing {

// Half the distance from 1 to the next float: the relative error of one rounding.
inline constexpr double kRounding = 0x1p-24;

inline std::vector<float> Noise(std::size_t count, unsigned seed, float low = -1.0f,
                                float high = 1.0f) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> distribution(low, high);
    std::vector<float> values(count);
    for (float& value : values) {
        value = distribution(generator);
    }
    return values;
}

// A vector of any stride in memory that ends with its last element, so that the address sanitizer
// sees every read beyond it, and that begins `offset` elements into its allocation, so that it is
// not aligned to more than one element.
template <class T>
class StridedVector {
public:
    StridedVector(const std::vector<T>& values, vDSP_Stride stride, std::size_t offset = 0)
        : mCount(values.size()), mStride(stride), mOffset(offset),
          mStorage(offset + Extent(values.size(), stride), kGap) {
        for (std::size_t n = 0; n < mCount; ++n) {
            mStorage[Place(n)] = values[n];
        }
    }

    // Where element 0 stands.
    T* Data() { return mStorage.data() + (mCount == 0 ? mOffset : Place(0)); }
    vDSP_Stride Stride() const { return mStride; }

    std::vector<T> Values() const {
        std::vector<T> values(mCount);
        for (std::size_t n = 0; n < mCount; ++n) {
            values[n] = mStorage[Place(n)];
        }
        return values;
    }

    // Whether nothing was written between and around the elements.
    bool GapsAreIntact() const {
        std::vector<bool> isElement(mStorage.size(), false);
        for (std::size_t n = 0; n < mCount; ++n) {
            isElement[Place(n)] = true;
        }
        for (std::size_t i = 0; i < mStorage.size(); ++i) {
            if (!isElement[i] && mStorage[i] != kGap) {
                return false;
            }
        }
        return true;
    }

private:
    static constexpr T kGap = static_cast<T>(-98765);

    static std::size_t Step(vDSP_Stride stride) {
        return static_cast<std::size_t>(stride < 0 ? -stride : stride);
    }
    static std::size_t Extent(std::size_t count, vDSP_Stride stride) {
        return count == 0 ? 0 : (count - 1) * Step(stride) + 1;
    }
    std::size_t Place(std::size_t n) const {
        return mOffset + (mStride < 0 ? mCount - 1 - n : n) * Step(mStride);
    }

    std::size_t mCount;
    vDSP_Stride mStride;
    std::size_t mOffset;
    std::vector<T> mStorage;
};

using FloatVector = StridedVector<float>;

// One way of laying out two inputs and an output.
struct Shape {
    std::size_t count;
    std::size_t offset;
    vDSP_Stride first;
    vDSP_Stride second;
    vDSP_Stride output;

    std::string Name() const {
        return "count " + std::to_string(count) + ", offset " + std::to_string(offset) +
               ", strides " + std::to_string(first) + " " + std::to_string(second) + " " +
               std::to_string(output);
    }
};

// A list of sizes to loop over.
using Sizes = std::initializer_list<std::size_t>;

inline constexpr std::size_t kCounts[] = {0, 1, 2, 3, 5, 7, 8, 15, 16, 17, 31, 33, 64, 100, 1023};

// Calls test(shape) for every count, aligned and not, with equal, mixed and negative strides.
template <class Test>
void ForEachShape(const Test& test) {
    static constexpr vDSP_Stride kStrides[][3] = {{1, 1, 1}, {2, 2, 2},    {3, 1, 1},
                                                  {1, 3, 2}, {-1, -1, -1}, {1, -2, 3}};
    for (const std::size_t count : kCounts) {
        for (const std::size_t offset : {std::size_t{0}, std::size_t{1}}) {
            for (const auto& strides : kStrides) {
                const Shape shape{count, offset, strides[0], strides[1], strides[2]};
                SCOPED_TRACE(shape.Name());
                test(shape);
                if (::testing::Test::HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

// Distance of `actual` from `exact` in units in the last place of the float nearest to `exact`.
inline double UlpDistance(float actual, double exact) {
    const auto nearest = static_cast<float>(exact);
    if (actual == nearest) {
        return std::abs(static_cast<double>(actual) - exact) == 0.0 ? 0.0 : 0.5;
    }
    const float magnitude = std::abs(nearest);
    const double unit =
        static_cast<double>(std::nextafter(magnitude, INFINITY)) - static_cast<double>(magnitude);
    return std::abs(static_cast<double>(actual) - exact) / unit;
}

} // namespace qel::testing
