#include "VectorTesting.h"

#include <Accelerate/vDSP.h>

#include <algorithm>
#include <limits>

namespace qel::testing {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

using Extremum = void (*)(const float*, vDSP_Stride, float*, vDSP_Length);
using IndexedExtremum = void (*)(const float*, vDSP_Stride, float*, vDSP_Length*, vDSP_Length);

struct Kind {
    Extremum function;
    bool largest;
    bool magnitudes;
    float ofNothing;
};

const Kind kKinds[] = {{vDSP_maxv, true, false, -kInfinity},
                       {vDSP_minv, false, false, kInfinity},
                       {vDSP_maxmgv, true, true, 0.0f},
                       {vDSP_minmgv, false, true, kInfinity}};

// Index of the first extremum, passing over NaN; count of the vector if there is no number.
std::size_t FirstExtremum(const std::vector<float>& a, bool largest, bool magnitudes) {
    std::size_t best = a.size();
    const auto key = [&](std::size_t n) { return magnitudes ? std::abs(a[n]) : a[n]; };
    for (std::size_t n = 0; n < a.size(); ++n) {
        if (std::isnan(a[n])) {
            continue;
        }
        if (best == a.size() || (largest ? key(n) > key(best) : key(n) < key(best))) {
            best = n;
        }
    }
    return best;
}

TEST(vDSPExtremaTest, ValuesAreThoseOfAPlainSearch) {
    for (const Kind& kind : kKinds) {
        ForEachShape([&](const Shape& shape) {
            const std::vector<float> a = Noise(shape.count, 21);
            FloatVector in(a, shape.first, shape.offset);
            float actual = -77.0f;
            kind.function(in.Data(), in.Stride(), &actual, shape.count);
            if (shape.count == 0) {
                EXPECT_EQ(actual, kind.ofNothing);
                return;
            }
            const float expected = a[FirstExtremum(a, kind.largest, kind.magnitudes)];
            EXPECT_EQ(actual, kind.magnitudes ? std::abs(expected) : expected);
        });
    }
}

TEST(vDSPExtremaTest, EveryPlaceOfTheExtremumIsFound) {
    for (const std::size_t count : kCounts) {
        for (std::size_t place = 0; place < count; place += 1 + count / 64) {
            std::vector<float> a(count, 1.0f);
            a[place] = -9.0f;
            float value = 0.0f;
            vDSP_Length index = 12345;
            vDSP_minv(a.data(), 1, &value, count);
            EXPECT_EQ(value, -9.0f);
            vDSP_maxmgvi(a.data(), 1, &value, &index, count);
            EXPECT_EQ(value, 9.0f);
            EXPECT_EQ(index, place);
            a[place] = 2.0f;
            vDSP_maxvi(a.data(), 1, &value, &index, count);
            EXPECT_EQ(value, 2.0f);
            EXPECT_EQ(index, place);
        }
    }
}

TEST(vDSPExtremaTest, TheIndexIsThatOfTheFirstOfEqualsTimesTheStride) {
    for (const auto& [function, magnitudes] :
         {std::pair<IndexedExtremum, bool>{vDSP_maxvi, false}, {vDSP_maxmgvi, true}}) {
        for (const std::size_t count : kCounts) {
            for (const vDSP_Stride stride : {1L, 2L, 3L}) {
                std::vector<float> a = Noise(count, 22);
                for (float& x : a) {
                    x = std::round(x * 3.0f); // Whole numbers from -3 to 3: ties everywhere.
                }
                FloatVector in(a, stride, 1);
                float value = -77.0f;
                vDSP_Length index = 12345;
                function(in.Data(), stride, &value, &index, count);
                const std::size_t expected = FirstExtremum(a, true, magnitudes);
                if (count == 0) {
                    EXPECT_EQ(index, 0u);
                    EXPECT_EQ(value, magnitudes ? 0.0f : -kInfinity);
                } else {
                    EXPECT_EQ(index, expected * static_cast<std::size_t>(stride));
                    EXPECT_EQ(value, magnitudes ? std::abs(a[expected]) : a[expected]);
                }
            }
        }
    }
}

TEST(vDSPExtremaTest, EqualValuesGiveIndexZero) {
    const std::vector<float> a(100, 0.5f);
    float value = 0.0f;
    vDSP_Length index = 12345;
    vDSP_maxvi(a.data(), 1, &value, &index, a.size());
    EXPECT_EQ(index, 0u);
    vDSP_maxmgvi(a.data(), 1, &value, &index, a.size());
    EXPECT_EQ(index, 0u);
}

TEST(vDSPExtremaTest, NaNIsPassedOver) {
    for (const std::size_t count : {std::size_t{3}, std::size_t{100}}) {
        std::vector<float> a(count, NAN);
        a[count - 2] = -4.0f;
        float value = 0.0f;
        vDSP_Length index = 12345;
        vDSP_maxvi(a.data(), 1, &value, &index, count);
        EXPECT_EQ(value, -4.0f);
        EXPECT_EQ(index, count - 2);
        vDSP_maxmgvi(a.data(), 1, &value, &index, count);
        EXPECT_EQ(value, 4.0f);
        EXPECT_EQ(index, count - 2);
        vDSP_minv(a.data(), 1, &value, count);
        EXPECT_EQ(value, -4.0f);
        vDSP_minmgv(a.data(), 1, &value, count);
        EXPECT_EQ(value, 4.0f);
    }
}

TEST(vDSPExtremaTest, OnlyNaNIsLikeNothing) {
    const std::vector<float> a(70, NAN);
    for (const Kind& kind : kKinds) {
        float value = -77.0f;
        kind.function(a.data(), 1, &value, a.size());
        EXPECT_EQ(value, kind.ofNothing);
    }
    float value = 0.0f;
    vDSP_Length index = 12345;
    vDSP_maxvi(a.data(), 1, &value, &index, a.size());
    EXPECT_EQ(index, 0u);
}

TEST(vDSPExtremaTest, InfinitiesAreNumbers) {
    std::vector<float> a(50, -kInfinity);
    a[0] = NAN;
    float value = 0.0f;
    vDSP_Length index = 12345;
    vDSP_maxvi(a.data(), 1, &value, &index, a.size());
    EXPECT_EQ(value, -kInfinity);
    EXPECT_EQ(index, 1u);
    vDSP_maxmgv(a.data(), 1, &value, a.size());
    EXPECT_EQ(value, kInfinity);
}

} // namespace
} // namespace qel::testing
