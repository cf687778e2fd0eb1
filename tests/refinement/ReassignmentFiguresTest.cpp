// Where closed forms put the values of "reasigned spectrum".

#include "tests/refinement/ReassignmentTesting.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace qel::test {
namespace {

using Complex = std::complex<double>;

constexpr double kPi = std::numbers::pi;
constexpr std::size_t kFrame = ReferenceReassignment::kFrame;
constexpr auto kSize = static_cast<double>(kFrame);

double Window(std::size_t i) {
    return 0.5 * (1.0 - std::cos(2.0 * kPi * static_cast<double>(i + 1) / (kSize + 1.0)));
}

// A frame of the spectrogram; bin 0 without the value at half the rate.
std::vector<Complex> SpectrumOfFrame(const std::vector<float>& samples, std::size_t frame) {
    std::vector<Complex> bins =
        SpectrumOf(FrameAt(samples, frame * kHop, kFrame), ReferenceHannWindow(kFrame)).bins;
    for (Complex& bin : bins) {
        bin /= 2.0;
    }
    bins.front() = bins.front().real();
    return bins;
}

double EnergyOf(const std::vector<Complex>& bins) {
    double energy = 0.0;
    for (const Complex& bin : bins) {
        energy += std::norm(bin);
    }
    return energy;
}

// Of a sample at p, all three spectra are real multiples of one another: no bin moves. Its delay is
// (p - 255.5) / 512 of a frame, less than half, so that no row moves either: delays are parts of a
// frame's length where rows are an eighth of it apart. So a click stays in the eight rows whose
// frames hold it, as a w[p] e^(-2 pi i k p / 512).
TEST(ReassignmentFiguresTest, AClickStaysInTheEightRowsThatHoldIt) {
    constexpr std::size_t kAt = 1333;
    constexpr double kHeight = 0.5;
    const ReassignedResult result =
        Reassign(Impulses(ReferenceReassignment::SamplesFor(40), {{kAt, float{kHeight}}}));
    ASSERT_EQ(40u, result.frames);
    std::size_t rowsWithClick = 0;
    for (std::size_t row = 0; row < result.frames; ++row) {
        const bool holds = row * kHop <= kAt && kAt < row * kHop + kFrame;
        rowsWithClick += holds ? 1 : 0;
        for (std::size_t k = 0; k < kBins; ++k) {
            Complex expected;
            if (holds) {
                const std::size_t p = kAt - row * kHop;
                expected = std::polar(kHeight * Window(p),
                                      -2.0 * kPi * static_cast<double>(k * p % kFrame) / kSize);
            }
            if (k == kBins - 1) {
                expected = expected.real();
            }
            // Some roundings of a transform of which all bins are alike.
            ASSERT_NEAR(expected.real(), result.Cell(row, k).real(), 20.0 * kRoundoff * kHeight);
            ASSERT_NEAR(expected.imag(), result.Cell(row, k).imag(), 20.0 * kRoundoff * kHeight);
        }
    }
    EXPECT_EQ(8u, rowsWithClick);
}

TEST(ReassignmentFiguresTest, TheFirstFrameIsInRowZero) {
    const ReassignedResult result =
        Reassign(Impulses(ReferenceReassignment::SamplesFor(5), {{kHop - 1, 1.0f}}));
    ASSERT_EQ(5u, result.frames);
    EXPECT_NEAR(Window(kHop - 1), std::abs(result.Cell(0, 77)), 1e-5);
    for (std::size_t row = 1; row < 5; ++row) {
        EXPECT_EQ(0.0, qel::test::EnergyOf(result.Row(row))) << row;
    }
}

// A pair of clicks in the frame of row `row`, first the one at p, with the sum `sum` in bin 0.
void AddPair(std::vector<float>& samples, std::size_t row, std::size_t p, std::size_t q,
             double sum) {
    samples[row * kHop + p] = static_cast<float>(1.0 / Window(p));
    samples[row * kHop + q] = static_cast<float>((sum - 1.0) / Window(q));
}

// What column 0 has of the bins 0 of all frames, when the times are rounded to single precision,
// and then to the nearest whole number: of two as near, to the even one.
std::vector<double> ColumnZeroOf(const std::vector<float>& samples, std::size_t rows) {
    std::vector<double> sums(rows);
    std::vector<double> moments(rows);
    for (std::size_t at = 0; at < samples.size(); ++at) {
        for (std::size_t f = at < kFrame ? 0 : (at - kFrame) / kHop + 1;
             samples[at] != 0.0f && f < rows && f * kHop <= at; ++f) {
            const std::size_t i = at - f * kHop;
            const double value = static_cast<double>(samples[at]) * Window(i);
            sums[f] += value;
            moments[f] += value * (static_cast<double>(i) - 255.5) / kSize;
        }
    }
    std::vector<double> column(rows);
    for (std::size_t f = 0; f < rows; ++f) {
        if (sums[f] != 0.0) {
            const double frame = static_cast<double>(f + 1) + moments[f] / sums[f];
            const float rounded = std::nearbyint(static_cast<float>(frame));
            column[static_cast<std::size_t>(rounded) - 1] += sums[f];
        }
    }
    return column;
}

void ExpectColumnZero(const std::vector<double>& expected, const ReassignedResult& result) {
    ASSERT_EQ(expected.size(), result.frames);
    for (std::size_t row = 0; row < result.frames; ++row) {
        EXPECT_NEAR(expected[row], result.Cell(row, 0).real(), 1e-5) << row;
    }
}

// Two clicks whose values in a bin are u and v have the delay
// (|u|^2 d1 + |v|^2 d2 + Re(u v*)(d1 + d2)) / |u + v|^2: where they nearly cancel, it goes beyond
// half a frame, and the value into another row. With u = 1 at p, v = -0.98 four samples before it
// and d1 - d2 = 4 / 512, bin 0 has d1 + 49 (d1 - d2) = d1 + 0.3828; from d1 = (375 - 255.5) / 512 =
// 0.2334 that makes 0.6162, so that its 0.02 is one row down. Mirrored about the frame's middle, it
// is one row up. The frames next to this one have d1 less and more by an eighth, so that of all
// frames with both clicks each one's bin 0 either moves or not.
TEST(ReassignmentFiguresTest, AValueWhoseCentreLiesOutsideItsFrameGoesToAnotherRow) {
    constexpr std::size_t kRow = 10;
    for (const bool toLater : {true, false}) {
        const std::size_t p = toLater ? 375 : 136; // one mirrors the other about 255.5
        const std::size_t q = toLater ? p - 4 : p + 4;
        Audio audio = Silence(1, ReferenceReassignment::SamplesFor(30));
        AddPair(audio[0], kRow, p, q, 0.02);
        const std::vector<double> expected = ColumnZeroOf(audio[0], 30);
        EXPECT_NE(0.0, expected[toLater ? kRow + 1 : kRow - 1]);
        ExpectColumnZero(expected, Reassign(audio));
    }
}

// From frame 4096 on, times are multiples of 2^-11, so that a delay within 2^-12 of a half is a
// half. From the even frame it goes down, to that frame; from the odd frame up, to the next.
TEST(ReassignmentFiguresTest, AValueBetweenTwoRowsGoesToTheEvenFrame) {
    constexpr std::size_t kFrames = 5100;
    constexpr std::size_t kEven = 5000;
    constexpr std::size_t kOdd = 5031;
    constexpr std::size_t kP = 375;
    constexpr double kDelay = (static_cast<double>(kP) - 255.5) / kSize;
    const double sum = 1.0 / (1.0 + (0.5 - kDelay) / (4.0 / kSize));
    Audio audio = Silence(1, ReferenceReassignment::SamplesFor(kFrames));
    AddPair(audio[0], kEven - 1, kP, kP - 4, sum);
    AddPair(audio[0], kOdd - 1, kP, kP - 4, sum);
    const ReassignedResult result = Reassign(audio);
    ExpectColumnZero(ColumnZeroOf(audio[0], kFrames), result);
    EXPECT_NEAR(sum, result.Cell(kEven - 1, 0).real(), 1e-5);
    EXPECT_NEAR(0.0, result.Cell(kOdd - 1, 0).real(), 1e-5);
}

// All bins of a constant point at bin 0. There are no bins below that, so that half of a Hann
// window's line stays: 1 and one neighbour of -1/2. The line sums to x[0] w[0], nearly 0, so that
// this is half of bin 0. Columns 1 and up have what lies too far from the line to be moved all the
// way: each less than a thousandth of bin 1's former value.
TEST(ReassignmentFiguresTest, AConstantGathersInColumnZero) {
    constexpr double kLevel = 0.5;
    const ReassignedResult result =
        Reassign(Constant(float{kLevel}, 1, ReferenceReassignment::SamplesFor(20)));
    ASSERT_EQ(20u, result.frames);
    const double bin0 = kLevel * (kSize + 1.0) / 2.0;
    const double bin1 = bin0 / 2.0;
    for (std::size_t row = 0; row < 20; ++row) {
        const Complex cell(result.Cell(row, 0));
        EXPECT_NEAR(bin0 / 2.0, cell.real(), 1e-3 * bin1);
        // Bin 1 is turned by half a sample against the window's middle.
        EXPECT_NEAR(-bin1 * std::sin(kPi / kSize), cell.imag(), 1e-3 * bin1);
        for (std::size_t k = 1; k < kBins; ++k) {
            EXPECT_LT(std::abs(result.Cell(row, k)), 1e-3 * bin1) << k;
        }
    }
}

// At half the rate likewise: its own bin is lost, and the topmost one holds its neighbour, real.
TEST(ReassignmentFiguresTest, HalfTheRateIsInTheLastColumn) {
    Audio audio = Silence(1, ReferenceReassignment::SamplesFor(4));
    for (std::size_t i = 0; i < audio[0].size(); ++i) {
        audio[0][i] = i % 2 == 0 ? 0.5f : -0.5f;
    }
    const ReassignedResult result = Reassign(audio);
    const double neighbour = 0.5 * (kSize + 1.0) / 4.0;
    for (std::size_t row = 0; row < 4; ++row) {
        EXPECT_NEAR(-neighbour, result.Cell(row, kBins - 1).real(), 1e-3 * neighbour);
        EXPECT_NEAR(0.0, result.Cell(row, kBins - 1).imag(), 1e-3 * neighbour);
        EXPECT_LT(std::abs(result.Cell(row, kBins - 2)), 1e-3 * neighbour);
        EXPECT_LT(std::abs(result.Cell(row, kBins - 3)), 1e-3 * neighbour);
    }
}

// A steady tone gathers in its own column, and vanishes there: the values around its peak are
// -1/2, 1 and -1/2 of it, as neighbouring bins have opposite phases; all bins of a frame sum to its
// first windowed sample. A spectrogram has the peak 512 A / 4 and the energy 1.5 times its square.
// Values that were not brought into one column would keep theirs.
class ReassignedToneTest : public testing::TestWithParam<double> {};

TEST_P(ReassignedToneTest, GathersInItsColumnAndCancels) {
    constexpr double kAmplitude = 0.5;
    const double bin = GetParam();
    const Audio audio =
        Sine(44100.0, bin * 44100.0 / kSize, kAmplitude, ReferenceReassignment::SamplesFor(20));
    const double peak = kAmplitude * (kSize + 1.0) / 4.0;
    const ReassignedResult result = Reassign(audio);
    for (std::size_t row = 0; row < 20; ++row) {
        EXPECT_NEAR(1.5 * peak * peak, EnergyOf(SpectrumOfFrame(audio[0], row)),
                    0.01 * peak * peak);
        EXPECT_LT(qel::test::EnergyOf(result.Row(row)), 1e-5 * peak * peak);
    }
}

INSTANTIATE_TEST_SUITE_P(Bins, ReassignedToneTest,
                         testing::Values(20.0, 100.0, 100.3, 151.8, 200.25));

// Products of two spectra keep their sign, so that every value goes where its opposite goes.
TEST(ReassignmentFiguresTest, TheOppositeSoundGivesTheOppositeMatrix) {
    Audio audio = MusicLike(44100.0, 2, 20000, 41);
    std::transform(audio[0].begin(), audio[0].end(), audio[1].begin(),
                   [](float sample) { return -sample; });
    const ReassignedResult result = Reassign(audio);
    for (std::size_t i = 0; i < result.channels[0].size(); ++i) {
        ASSERT_EQ(result.channels[0][i], -result.channels[1][i]) << i;
    }
}

// A chirp of half a bin per frame length. In a spectrogram, 2 / 1.5 times the integral of
// (sin(pi d) / (pi d (1 - d^2)))^2 from 1 on is more than one bin from the line: 8.1 percent; and
// the root mean square distance is sqrt(1/3) bin. Reassigned, a bin at the distance d points
// kappa d beside the line, where kappa = s^2 / (1 + s^2), s = 2 pi 0.5 / (2 pi^2) = 0.159, is 0.025
// (of the Gaussian with a Hann window's curvature), and rounding adds up to half a bin: so that all
// the main lobe is within 0.55 bin. Most of it cancels: what stays is where the line crosses from
// one column into the next.
struct Ridge {
    double energy = 0.0;
    double beyondOneBin = 0.0;
    double moment = 0.0; // times distance from the line
    void Add(double cellEnergy, double distance) {
        energy += cellEnergy;
        beyondOneBin += std::abs(distance) > 1.0 ? cellEnergy : 0.0;
        moment += cellEnergy * distance;
    }
};

TEST(ReassignmentFiguresTest, TheRidgeOfAChirpIsNarrowerThanInASpectrogram) {
    constexpr double kFirstBin = 30.0;
    constexpr double kBinsPerFrame = 0.5;
    constexpr double kAmplitude = 0.5;
    constexpr std::size_t kFrames = 640;
    Audio audio = Silence(1, ReferenceReassignment::SamplesFor(kFrames));
    for (std::size_t i = 0; i < audio[0].size(); ++i) {
        const double frames = static_cast<double>(i) / kSize;
        const double turns = (kFirstBin + 0.5 * kBinsPerFrame * frames) * frames;
        audio[0][i] = static_cast<float>(kAmplitude * std::cos(2.0 * kPi * std::fmod(turns, 1.0)));
    }
    const ReassignedResult result = Reassign(audio);
    ASSERT_EQ(kFrames, result.frames);
    Ridge plain;
    Ridge reassigned;
    for (std::size_t row = 0; row < kFrames; ++row) {
        const double middle = (static_cast<double>(row * kHop) + 255.5) / kSize;
        const double line = kFirstBin + kBinsPerFrame * middle;
        const std::vector<Complex> spectrum = SpectrumOfFrame(audio[0], row);
        for (std::size_t k = 0; k < kBins; ++k) {
            const double distance = static_cast<double>(k) - line;
            plain.Add(std::norm(spectrum[k]), distance);
            reassigned.Add(std::norm(Complex(result.Cell(row, k))), distance);
        }
    }
    EXPECT_NEAR(0.081, plain.beyondOneBin / plain.energy, 0.01);
    EXPECT_LT(reassigned.beyondOneBin, 0.001 * reassigned.energy);
    EXPECT_NEAR(0.0, reassigned.moment / reassigned.energy, 0.05);
    EXPECT_LT(reassigned.energy, 0.1 * plain.energy);
    EXPECT_GT(reassigned.energy, 0.01 * plain.energy);
}

} // namespace
} // namespace qel::test
