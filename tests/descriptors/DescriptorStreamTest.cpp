// How the keys of one frame follow each other.

#include "tests/descriptors/DescriptorAssertions.h"
#include "tests/harness/TestSignals.h"

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
TEST(DescriptorStreamTest, KeysOfOneFrameAreDeliveredInOneOrderWhateverTheirOrderInTheList) {
    TestAnalyzer analyzer({kSpectrum, kFlux, kPeak, kHistogram, kGeneric, kTemporal},
                          {kRate, 1, 4096, 0});
    ASSERT_EQ(0, analyzer.Push(Noise(0.5f, 1, 1536, 1)));
    std::vector<std::string> order;
    for (const Delivery& delivery : analyzer.Deliveries()) {
        order.push_back(delivery.key);
    }
    const std::vector<std::string> expected = {kTemporal, kGeneric,  kHistogram, kPeak,
                                               kFlux,     kSpectrum, kGeneric,   kHistogram,
                                               kPeak,     kFlux,     kSpectrum};
    EXPECT_EQ(expected, order);
}

} // namespace
} // namespace qel::test
