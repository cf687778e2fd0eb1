#include "VectorTesting.h"

#include <Accelerate/vDSP.h>

namespace qel::testing {
namespace {

TEST(vDSPMatrixTest, MmulMultipliesRowAfterRow) {
    for (const std::size_t rows : Sizes{0, 1, 3, 20}) {
        for (const std::size_t columns : Sizes{1, 2, 7, 8, 17, 40, 129}) {
            for (const std::size_t inner : Sizes{0, 1, 5, 40, 70}) {
                for (const vDSP_Stride stride : {1L, 2L}) {
                    const std::vector<float> a = Noise(rows * inner, 51);
                    const std::vector<float> b = Noise(inner * columns, 52);
                    FloatVector left(a, stride, 1);
                    FloatVector right(b, stride, 1);
                    FloatVector product(std::vector<float>(rows * columns, 9.0f), stride, 1);
                    vDSP_mmul(left.Data(), stride, right.Data(), stride, product.Data(), stride,
                              rows, columns, inner);
                    const std::vector<float> c = product.Values();
                    // `inner` rounded products below 1, summed in any order.
                    const auto terms = static_cast<double>(inner);
                    const double tolerance = (terms + 1.0) * kRounding * terms;
                    for (std::size_t m = 0; m < rows; ++m) {
                        for (std::size_t n = 0; n < columns; ++n) {
                            double sum = 0.0;
                            for (std::size_t p = 0; p < inner; ++p) {
                                sum += static_cast<double>(a[m * inner + p]) *
                                       static_cast<double>(b[p * columns + n]);
                            }
                            ASSERT_NEAR(static_cast<double>(c[m * columns + n]), sum, tolerance)
                                << rows << " x " << inner << " x " << columns;
                        }
                    }
                    EXPECT_TRUE(product.GapsAreIntact());
                }
            }
        }
    }
}

TEST(vDSPMatrixTest, TheShapeIsMByPTimesPByN) {
    const float a[] = {1, 2, 3, 4, 5, 6};                   // 2 x 3
    const float b[] = {1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 1, 1}; // 3 x 4
    float c[8];
    vDSP_mmul(a, 1, b, 1, c, 1, 2, 4, 3);
    const std::vector<float> expected = {1, 2, 3, 6, 4, 5, 6, 15};
    EXPECT_EQ(std::vector<float>(c, c + 8), expected);
}

} // namespace
} // namespace qel::testing
