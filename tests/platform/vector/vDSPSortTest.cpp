#include "VectorTesting.h"

#include <Accelerate/vDSP.h>

#include <algorithm>
#include <numeric>

namespace qel::testing {
namespace {

std::vector<vDSP_Length> Indices(std::size_t count) {
    std::vector<vDSP_Length> indices(count);
    std::iota(indices.begin(), indices.end(), vDSP_Length{0});
    return indices;
}

// Values with many ties: whole numbers from -5 to 5.
template <class Value>
std::vector<Value> Coarse(std::size_t count, unsigned seed) {
    std::vector<Value> values;
    for (const float x : Noise(count, seed)) {
        values.push_back(static_cast<Value>(std::round(x * 5.0f)));
    }
    return values;
}

// By insertion, which keeps equals in order and needs no strict order of the elements.
template <class Value>
std::vector<vDSP_Length> InsertionSort(const std::vector<Value>& values, bool ascending) {
    std::vector<vDSP_Length> sorted;
    for (vDSP_Length i = 0; i < values.size(); ++i) {
        std::size_t at = sorted.size();
        while (at > 0) {
            const Value before = values[sorted[at - 1]];
            const bool moves = std::isnan(before)      ? !std::isnan(values[i])
                               : std::isnan(values[i]) ? false
                               : ascending             ? values[i] < before
                                                       : values[i] > before;
            if (!moves) {
                break;
            }
            --at;
        }
        sorted.insert(sorted.begin() + static_cast<std::ptrdiff_t>(at), i);
    }
    return sorted;
}

TEST(vDSPSortTest, VsortAscendsAndDescends) {
    for (const std::size_t count : kCounts) {
        const std::vector<float> values = Noise(count, 31);
        for (const int order : {1, -1}) {
            std::vector<float> sorted = values;
            vDSP_vsort(sorted.data(), count, order);
            for (std::size_t n = 1; n < count; ++n) {
                EXPECT_TRUE(order > 0 ? sorted[n - 1] <= sorted[n] : sorted[n - 1] >= sorted[n]);
            }
            EXPECT_TRUE(std::is_permutation(sorted.begin(), sorted.end(), values.begin()));
        }
    }
}

TEST(vDSPSortTest, VsortPutsNaNLastInBothOrders) {
    for (const int order : {1, -1}) {
        std::vector<float> values = Noise(100, 32);
        for (std::size_t n = 0; n < values.size(); n += 3) {
            values[n] = NAN;
        }
        vDSP_vsort(values.data(), values.size(), order);
        for (std::size_t n = 0; n < 66; ++n) {
            ASSERT_FALSE(std::isnan(values[n]));
            if (n > 0) {
                EXPECT_TRUE(order > 0 ? values[n - 1] <= values[n] : values[n - 1] >= values[n]);
            }
        }
        for (std::size_t n = 66; n < 100; ++n) {
            EXPECT_TRUE(std::isnan(values[n]));
        }
    }
}

TEST(vDSPSortTest, VsortiKeepsEqualsInTheOrderOfTheirIndices) {
    for (const std::size_t count : kCounts) {
        std::vector<float> values = Coarse<float>(count, 33);
        for (std::size_t n = 5; n < count; n += 7) {
            values[n] = NAN;
        }
        for (const int order : {1, -1}) {
            std::vector<vDSP_Length> indices = Indices(count);
            vDSP_vsorti(values.data(), indices.data(), nullptr, count, order);
            EXPECT_EQ(indices, InsertionSort(values, order > 0)) << count << " order " << order;
        }
    }
}

TEST(vDSPSortTest, VsortiDSortsDoubles) {
    for (const std::size_t count : kCounts) {
        std::vector<double> values = Coarse<double>(count, 34);
        for (double& value : values) {
            value = 1.0 + value * 1e-12; // Equal as floats.
        }
        for (std::size_t n = 3; n < count; n += 11) {
            values[n] = NAN;
        }
        for (const int order : {1, -1}) {
            std::vector<vDSP_Length> indices = Indices(count);
            vDSP_vsortiD(values.data(), indices.data(), nullptr, count, order);
            EXPECT_EQ(indices, InsertionSort(values, order > 0)) << count << " order " << order;
        }
    }
}

TEST(vDSPSortTest, OnlyTheNamedIndicesAreSorted) {
    const std::vector<float> values = {5.0f, 1.0f, 4.0f, 2.0f, 3.0f};
    std::vector<vDSP_Length> indices = {4, 0, 3};
    vDSP_vsorti(values.data(), indices.data(), nullptr, indices.size(), 1);
    EXPECT_EQ(indices, (std::vector<vDSP_Length>{3, 4, 0}));
}

} // namespace
} // namespace qel::testing
