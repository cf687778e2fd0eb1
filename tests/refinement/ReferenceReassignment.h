// Reassigned spectra once more, written plainly from their definition alone and in double
// precision.
//
// Every bin of a frame comes with its value and with the bin and the frame that it moves to, before
// those are rounded; each with a bound of what single precision can move it by.
#pragma once

#include "tests/timbre/ReferenceTimbre.h"

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::test {

struct ReassignedValue {
    std::complex<double> value;
    double error = 0.0; // of the real and of the imaginary part
    Bounded bin;        // counts from 1; not a number where the value is 0
    Bounded frame;      // counts from 1
};

using ReassignedFrame = std::vector<ReassignedValue>;

class ReferenceReassignment {
public:
    static constexpr std::size_t kFrame = 512;
    static constexpr std::size_t kHop = 64;
    static constexpr std::size_t kBins = kFrame / 2;

    ReferenceReassignment();

    // All three are rounded to single precision, as they are stored.
    const std::vector<double>& Window() const { return mWindow; }
    const std::vector<double>& TimeRampWindow() const { return mTimeRampWindow; }
    const std::vector<double>& DerivativeWindow() const { return mDerivativeWindow; }

    // The bins of frame `number`, counted from 1, whose samples are these.
    ReassignedFrame Frame(std::span<const double> samples, std::size_t number) const;
    // All frames of a channel.
    std::vector<ReassignedFrame> Frames(std::span<const float> samples) const;

    static constexpr std::size_t FramesIn(std::size_t samples) {
        return samples < kFrame ? 0 : (samples - kFrame) / kHop + 1;
    }
    static constexpr std::size_t SamplesFor(std::size_t frames) {
        return kFrame + (frames - 1) * kHop;
    }

private:
    std::vector<double> mWindow;
    std::vector<double> mTimeRampWindow;
    std::vector<double> mDerivativeWindow;
};

// Where the rounded number of a value may lie, both ends counted from 0 and included.
struct CellRange {
    std::size_t first = 0;
    std::size_t last = 0;
    std::size_t Count() const { return last - first + 1; }
};

// A value that may land in more than one cell.
struct UncertainValue {
    std::complex<double> value;
    double error = 0.0;
    CellRange bins;
    CellRange frames;
    std::size_t Cells() const { return bins.Count() * frames.Count(); }
};

// What is known of a matrix. A value is certain if the bounds leave it one cell, uncertain if they
// leave it two to `kMostCells`, and loose if more: that is one whose magnitude is of the size of
// rounding errors. A loose value may be in all its cells or in none.
struct ReassignedMatrix {
    static constexpr std::size_t kMostCells = 4;

    std::vector<std::complex<double>> certain; // row after row of kBins cells
    std::vector<double> error;                 // of both parts of a cell; what is loose included
    std::vector<UncertainValue> uncertain;
    std::size_t values = 0;
    std::size_t loose = 0;

    double UncertainShare() const {
        return static_cast<double>(uncertain.size()) / static_cast<double>(values);
    }
    double LooseShare() const { return static_cast<double>(loose) / static_cast<double>(values); }
};

// Into so many rows: as many as there are frames, unless old frames were lost.
ReassignedMatrix Scatter(const std::vector<ReassignedFrame>& frames, std::size_t rows);

// How a delivered matrix meets what is known of it.
struct MatrixAgreement {
    std::size_t wrongCells = 0; // cells that no choice of the uncertain values explains
    std::size_t firstWrong = 0; // index of one of them
    std::size_t openGroups = 0; // groups of uncertain values that are too many to try all choices
};

MatrixAgreement Compare(const ReassignedMatrix& expected,
                        std::span<const std::complex<float>> delivered);

} // namespace qel::test
