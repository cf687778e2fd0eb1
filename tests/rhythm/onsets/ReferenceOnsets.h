// Onsets once more, written plainly from their definition alone, in double precision. Tests hold
// the library to it. Single precision stands where it is part of the definition: the coefficients
// of the filters, the constants, the reach of the window.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::test {

// One band: four complex one-pole stages in a row, each of which gets what the one before it put
// out a sample earlier.
struct ReferenceBand {
    double centreHz = 0.0;
    double realPole = 0.0;
    double imagPole = 0.0;
    double gain = 0.0;
    std::array<double, 4> real{}; // the stages' outputs
    std::array<double, 4> imag{};

    // The output of the last stage.
    void Step(double sample);
};

ReferenceBand MakeReferenceBand(double rateHz, double centreHz);

// The bank of the onsets: one band per step of the ERB scale, from 235 Hz up to 14500 Hz.
std::vector<ReferenceBand> MakeReferenceBank(double rateHz);

// The sum of the bands' real outputs by channel. The audio comes in blocks of `blockFrames`, of
// which the bank takes the channels in turn, running straight on from one into the next; then, if
// `silentFrames` is not 0, comes one block of as many zeros in each channel.
std::vector<std::vector<double>> BandSum(const std::vector<std::vector<float>>& audio,
                                         double rateHz, std::size_t blockFrames,
                                         std::size_t silentFrames);

// Differences, rectified, compressed and smoothed backward in time; the maximum is 1.
std::vector<double> OnsetCurve(std::span<const double> bandSum);

// In samples; below 0 where the sensitivity is far above 100.
int OnsetWindow(std::size_t frames, float sensitivity);

// The value one place above the middle of x[lo] to x[hi], as a full sort tells. x[x.size()] is 0.
double InclusiveMedian(std::span<const double> x, std::size_t lo, std::size_t hi);

// Two neighbours of the curve that differ by less than this share of them may come out in any order
// in single precision: the smoothing's product and sum and both quotients are rounded by 6e-8 each;
// what came before moves both alike.
inline constexpr double kNeighbourDoubt = 3e-7;
// The same for values that are no neighbours, and for the strengths: the smoothing keeps roundings
// for 882 samples, 882 * 6e-8, and the bank adds as much in the narrow bands' poles.
inline constexpr double kLevelDoubt = 1e-4;

inline constexpr double kFaint = 1e-9;

// What decisions are in doubt. Of a curve that is known exactly, all are 0.
struct Doubts {
    double neighbour = kNeighbourDoubt;
    double level = kLevelDoubt;
    // Far below everything, the compression counts in units of 2.2e-16 / ln 11.
    double least = 1e-17;
    // Peaks below this are left out: there are some in the last ringing of the filters, in digital
    // silence. As the curve falls by no more than the smoothing's pole per sample backward in time,
    // nothing of note stands within 18000 samples after them.
    double faint = kFaint;
};

// What is greater than `faint` and both neighbours, or may be.
struct Peak {
    std::size_t frame = 0;
    bool isSure = false;
};
std::vector<Peak> PeaksOf(std::span<const double> curve, const Doubts& doubts = {});

struct ReferenceOnset {
    std::size_t frame = 0;
    double strength = 0.0;
};
using ReferenceOnsetList = std::vector<ReferenceOnset>;

// Whether just these onsets come out of a curve, to the sample, with strengths as exact as levels
// are. Every decision must fall as it does here; where it is in doubt, either way is right, in
// every combination.
struct Agreement {
    bool holds = false;
    std::size_t frame = 0; // of the candidate that fits no more; the end, if all fit
};
Agreement Agrees(std::span<const double> curve, int window, const ReferenceOnsetList& found,
                 const Doubts& doubts = {});

} // namespace qel::test
