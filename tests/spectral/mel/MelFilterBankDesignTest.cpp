// The weights of both designs.

#include "tests/spectral/mel/OpenMelProcessor.h"
#include "tests/spectral/mel/PublishedMelScale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace qel::core {
namespace {

using test::HzOf;
using test::MelOf;
using test::OpenMelProcessor;
using Doubles = std::vector<double>;

constexpr double kRatesHz[] = {44100, 48000, 22050, 8000};

double Triangle(double hz, const double* edges) {
    const double rise = (hz - edges[0]) / (edges[1] - edges[0]);
    const double fall = (edges[2] - hz) / (edges[2] - edges[1]);
    return 2 / (edges[2] - edges[0]) * std::max(0.0, std::min(rise, fall));
}

Doubles SecondDesignEdges(std::size_t filters, double rateHz) {
    Doubles edges(filters + 2);
    for (std::size_t i = 0; i < edges.size(); ++i) {
        const double t = static_cast<double>(i) / static_cast<double>(filters + 1);
        edges[i] = HzOf(MelOf(rateHz / 2) * t);
    }
    return edges;
}

// Edges as the constants of the design give them, the third part of 400 Hz being the lowest.
Doubles FirstDesignEdges(std::size_t linear, std::size_t filters) {
    Doubles edges(filters + 2);
    for (std::size_t i = 0; i < edges.size(); ++i) {
        edges[i] = i < linear ? (400 + 200 * static_cast<double>(i)) / 3
                              : (200 + 200 * static_cast<double>(linear)) / 3 *
                                    std::pow(6.4, static_cast<double>(i - linear + 1) / 27);
    }
    return edges;
}

// An edge is wrong by some 2e-6 of itself: roundings of the scale, as above. A weight then is wrong
// by that over the width of the side that the bin is on, as a part of the height; next to an edge
// this may make a weight of a bin that has none, or the other way round.
void ExpectWeights(const OpenMelProcessor& processor, double rateHz, const Doubles& edges) {
    const std::size_t filters = edges.size() - 2;
    const std::vector<float> dense = processor.DenseWeights();
    ASSERT_EQ(processor.mFilterWeights->NumFilters(), filters);
    ASSERT_EQ(dense.size(), filters * processor.mNumBins);
    const double binHz = rateHz / (2.0 * processor.mNumBins);
    for (std::size_t b = 0; b < filters; ++b) {
        const double height = 2 / (edges[b + 2] - edges[b]);
        const double side = std::min(edges[b + 1] - edges[b], edges[b + 2] - edges[b + 1]);
        const double tolerance = height * (4e-6 * edges[b + 2] / side + 1e-6);
        for (std::size_t j = 0; j < processor.mNumBins; ++j) {
            const double expected = Triangle(static_cast<double>(j) * binHz, edges.data() + b);
            ASSERT_NEAR(double{dense[j * filters + b]}, expected, tolerance)
                << rateHz << " Hz, filter " << b << ", bin " << j;
        }
    }
}

TEST(MelFilterBankDesignTest, SecondDesignHasTheWeightsOfItsFormula) {
    for (const double rateHz : kRatesHz) {
        for (const UInt32 filters : {1u, 13u, 40u}) {
            const OpenMelProcessor processor(1024, filters, rateHz);
            ExpectWeights(processor, rateHz, SecondDesignEdges(filters, rateHz));
        }
    }
}

TEST(MelFilterBankDesignTest, FirstDesignHasTheWeightsOfItsFormula) {
    for (const double rateHz : kRatesHz) {
        for (const UInt32 filters : {1u, 13u}) {
            OpenMelProcessor processor(4096, filters, rateHz);
            processor.MakeFilterWeights1();
            EXPECT_EQ(processor.mNumFilters, filters);
            ExpectWeights(processor, rateHz, FirstDesignEdges(filters, filters));
        }
    }
}

TEST(MelFilterBankDesignTest, FirstDesignReadsTheNumberInForce) {
    // Before the other design has set it, that is the room for filters.
    OpenMelProcessor processor(4096, 13, 44100);
    processor.AllocateBuffers();
    EXPECT_EQ(processor.mNumFilters, 40u);
    processor.MakeFilterWeights1();
    EXPECT_EQ(processor.mNumFilters, 40u);
    ExpectWeights(processor, 44100, FirstDesignEdges(13, 40));
}

TEST(MelFilterBankDesignTest, FirstDesignEndsBelow1071HertzWhateverTheRate) {
    for (const double rateHz : kRatesHz) {
        OpenMelProcessor processor(8192, 13, rateHz);
        processor.MakeFilterWeights1();
        const std::vector<float> dense = processor.DenseWeights();
        double lowest = rateHz;
        double highest = 0;
        for (std::size_t i = 0; i < dense.size(); ++i) {
            if (dense[i] != 0.0f) {
                const double hz = static_cast<double>(i / 13) * rateHz / 8192;
                lowest = std::min(lowest, hz);
                highest = std::max(highest, hz);
            }
        }
        const double binHz = rateHz / 8192;
        EXPECT_GT(lowest, 133.3332);
        EXPECT_LE(lowest, 133.3334 + binHz);
        EXPECT_LT(highest, 1070.92);
        EXPECT_GE(highest, 1070.90 - binHz);
    }
}

TEST(MelFilterBankDesignTest, BinAtTheCentreHasTheFullHeightAndBinsAtTheEdgesNone) {
    // Bins every 66.67 Hz stand on the edges, but for rounding: 2 * 16 * 200 / 3 = 2133.33 Hz.
    const double rateHz = 2 * 16 * double{66.66666412353516f};
    OpenMelProcessor processor(32, 5, rateHz);
    processor.MakeFilterWeights1();
    const std::vector<float> dense = processor.DenseWeights();
    for (std::size_t b = 0; b < 3; ++b) {
        for (std::size_t j = 0; j < processor.mNumBins; ++j) {
            // Edges at bins b + 2, b + 3 and b + 4, the height 2 / 133.33 Hz; edges and bins are
            // rounded by some 3e-5 Hz of the 66.67 Hz between them.
            const double expected = j == b + 3 ? 1 / (200 / 3.0) : 0;
            EXPECT_NEAR(double{dense[j * 5 + b]}, expected, 1e-6 * 0.015) << b << ", " << j;
        }
    }
}

TEST(MelFilterBankDesignTest, TrianglesHaveUnitArea) {
    // Bins fine enough that their sum is the area, but for the three corners: the trapezoidal rule
    // errs by at most an eighth of the square of the step times the change of slope at each, which
    // is what the tolerance adds up, beside 1e-4 for the single-precision edges.
    for (const double rateHz : kRatesHz) {
        constexpr UInt32 kLength = 65536;
        const OpenMelProcessor processor(kLength, 40, rateHz);
        const Doubles edges = SecondDesignEdges(40, rateHz);
        const std::vector<float> dense = processor.DenseWeights();
        const double binHz = rateHz / kLength;
        for (std::size_t b = 0; b < 40; ++b) {
            double area = 0;
            for (std::size_t j = 0; j < processor.mNumBins; ++j) {
                area += double{dense[j * 40 + b]} * binHz;
            }
            const double height = 2 / (edges[b + 2] - edges[b]);
            const double slopes =
                height / (edges[b + 1] - edges[b]) + height / (edges[b + 2] - edges[b + 1]);
            const double tolerance = 2 * slopes * binHz * binHz / 8 + 1e-4;
            ASSERT_LT(tolerance, 1e-3);
            EXPECT_NEAR(area, 1, tolerance) << rateHz << ", " << b;
        }
    }
}

TEST(MelFilterBankDesignTest, FirstBinHasNoWeight) {
    OpenMelProcessor processor(1024, 13, 44100);
    for (int design = 2; design >= 1; --design) {
        if (design == 1) {
            processor.MakeFilterWeights1();
        }
        const std::vector<float> dense = processor.DenseWeights();
        EXPECT_EQ(std::vector<float>(dense.begin(), dense.begin() + 13), std::vector<float>(13, 0));
        EXPECT_GT(*std::max_element(dense.begin(), dense.end()), 0.0f);
    }
}

TEST(MelFilterBankDesignTest, SecondDesignComesFromTheConstructorAndAgainTheSame) {
    OpenMelProcessor processor(1024, 40, 44100);
    const std::vector<float> first = processor.DenseWeights();
    processor.MakeFilterWeights1();
    EXPECT_NE(processor.DenseWeights(), first);
    processor.MakeFilterWeights2();
    EXPECT_EQ(processor.DenseWeights(), first);
}

} // namespace
} // namespace qel::core
