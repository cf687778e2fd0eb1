#include "VectorTesting.h"

#include <Accelerate/vDSP.h>

namespace qel::testing {
namespace {

constexpr std::size_t kTaps[] = {0, 1, 2, 5, 8, 33, 64};

// A sum of `taps` rounded products below 1, in any order.
double Tolerance(std::size_t taps) {
    const auto count = static_cast<double>(taps);
    return (count + 1.0) * kRounding * count;
}

double Correlation(const std::vector<float>& a, const std::vector<float>& filter, std::size_t at) {
    double sum = 0.0;
    for (std::size_t p = 0; p < filter.size(); ++p) {
        sum += static_cast<double>(a[at + p]) * static_cast<double>(filter[p]);
    }
    return sum;
}

TEST(vDSPConvolutionTest, ConvCorrelatesWithTheFilterAsItStands) {
    ForEachShape([](const Shape& shape) {
        for (const std::size_t taps : kTaps) {
            const std::size_t length = shape.count + taps == 0 ? 0 : shape.count + taps - 1;
            const std::vector<float> a = Noise(length, 41);
            const std::vector<float> filter = Noise(taps, 42);
            FloatVector in(a, shape.first, shape.offset);
            FloatVector coefficients(filter, shape.second, shape.offset);
            FloatVector out(std::vector<float>(shape.count, 9.0f), shape.output, shape.offset);
            vDSP_conv(in.Data(), in.Stride(), coefficients.Data(), coefficients.Stride(),
                      out.Data(), out.Stride(), shape.count, taps);
            const std::vector<float> actual = out.Values();
            for (std::size_t n = 0; n < shape.count; ++n) {
                ASSERT_NEAR(static_cast<double>(actual[n]), Correlation(a, filter, n),
                            Tolerance(taps))
                    << taps << " taps, output " << n;
            }
            EXPECT_TRUE(out.GapsAreIntact());
        }
    });
}

TEST(vDSPConvolutionTest, ANegativeFilterStrideConvolves) {
    const std::vector<float> filter = {1.0f, 10.0f, 100.0f};
    // Two zeros in front, then an impulse: the answer is the filter itself.
    const std::vector<float> a = {0.0f, 0.0f, 1.0f, 0.0f, 0.0f};
    std::vector<float> c(3);
    vDSP_conv(a.data(), 1, filter.data() + 2, -1, c.data(), 1, 3, 3);
    EXPECT_EQ(c, filter);
    vDSP_conv(a.data(), 1, filter.data(), 1, c.data(), 1, 3, 3);
    EXPECT_EQ(c, (std::vector<float>{100.0f, 10.0f, 1.0f}));
}

TEST(vDSPConvolutionTest, TheNumberOfOutputsDoesNotChangeAnOutput) {
    const std::vector<float> a = Noise(400, 43);
    const std::vector<float> filter = Noise(48, 44);
    std::vector<float> whole(300);
    vDSP_conv(a.data(), 1, filter.data(), 1, whole.data(), 1, whole.size(), filter.size());
    for (std::size_t n = 0; n < whole.size(); n += 7) {
        float single = 0.0f;
        vDSP_conv(a.data() + n, 1, filter.data(), 1, &single, 1, 1, filter.size());
        EXPECT_EQ(single, whole[n]) << n;
    }
}

TEST(vDSPConvolutionTest, DesampKeepsEverySoManyOutputs) {
    for (const std::size_t decimation : Sizes{1, 2, 3, 7}) {
        for (const std::size_t count : Sizes{0, 1, 2, 17, 100}) {
            for (const std::size_t taps : kTaps) {
                const std::size_t length = count == 0 ? 0 : (count - 1) * decimation + taps;
                const std::vector<float> a = Noise(length, 45);
                const std::vector<float> filter = Noise(taps, 46);
                FloatVector in(a, 1, 1);
                FloatVector coefficients(filter, 1, 1);
                std::vector<float> c(count, 9.0f);
                vDSP_desamp(in.Data(), static_cast<vDSP_Stride>(decimation), coefficients.Data(),
                            c.data(), count, taps);
                for (std::size_t n = 0; n < count; ++n) {
                    ASSERT_NEAR(static_cast<double>(c[n]), Correlation(a, filter, n * decimation),
                                Tolerance(taps));
                }
            }
        }
    }
}

} // namespace
} // namespace qel::testing
