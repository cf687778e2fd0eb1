#include "VectorTesting.h"

#include <Accelerate/vDSP.h>

#include <algorithm>

namespace qel::testing {
namespace {

struct Crossings {
    vDSP_Length last = 0;
    vDSP_Length count = 0;

    bool operator==(const Crossings&) const = default;
};

Crossings PlainSearch(const std::vector<float>& a, vDSP_Length stride, vDSP_Length limit) {
    Crossings crossings;
    for (std::size_t n = 1; n < a.size() && crossings.count < limit; ++n) {
        if ((a[n] < 0.0f) != (a[n - 1] < 0.0f)) {
            ++crossings.count;
            crossings.last = n * stride;
        }
    }
    return crossings;
}

Crossings Search(FloatVector& in, std::size_t count, vDSP_Length limit) {
    Crossings crossings{777, 777};
    vDSP_nzcros(in.Data(), in.Stride(), limit, &crossings.last, &crossings.count, count);
    return crossings;
}

TEST(vDSPZeroCrossingsTest, CountAndPlaceAreThoseOfAPlainSearch) {
    for (const std::size_t count : Sizes{0, 1, 2, 3, 7, 8, 63, 64, 65, 127, 128, 129, 1023}) {
        for (const vDSP_Stride stride : {1L, 2L, 3L}) {
            for (const std::size_t offset : {std::size_t{0}, std::size_t{1}}) {
                const std::vector<float> a = Noise(count, static_cast<unsigned>(count));
                FloatVector in(a, stride, offset);
                for (const std::size_t limit : {std::size_t{0}, std::size_t{1}, std::size_t{2},
                                                std::size_t{30}, std::size_t{100}, count}) {
                    EXPECT_EQ(Search(in, count, limit),
                              PlainSearch(a, static_cast<vDSP_Length>(stride), limit))
                        << count << " elements, stride " << stride << ", limit " << limit;
                }
            }
        }
    }
}

TEST(vDSPZeroCrossingsTest, AnAlternatingSignCrossesAtEveryStep) {
    std::vector<float> a(200);
    for (std::size_t n = 0; n < a.size(); ++n) {
        a[n] = n % 2 == 0 ? 1.0f : -1.0f;
    }
    FloatVector in(a, 1);
    EXPECT_EQ(Search(in, a.size(), a.size()), (Crossings{199, 199}));
    EXPECT_EQ(Search(in, a.size(), 70), (Crossings{70, 70}));
}

TEST(vDSPZeroCrossingsTest, ZerosOfBothSignsAndNaNAreOnThePositiveSide) {
    FloatVector zeros({1.0f, 0.0f, -0.0f, 0.0f, NAN, 1.0f, -0.0f}, 1);
    EXPECT_EQ(Search(zeros, 7, 7), (Crossings{0, 0}));
    FloatVector mixed({-1.0f, 0.0f, -1.0f, -0.0f, -1.0f, NAN}, 1);
    EXPECT_EQ(Search(mixed, 6, 6), (Crossings{5, 5}));
}

TEST(vDSPZeroCrossingsTest, SilenceAndASingleElementDoNotCross) {
    FloatVector silence(std::vector<float>(1000), 1);
    EXPECT_EQ(Search(silence, 1000, 1000), (Crossings{0, 0}));
    FloatVector one({-1.0f}, 1);
    EXPECT_EQ(Search(one, 1, 1), (Crossings{0, 0}));
}

} // namespace
} // namespace qel::testing
