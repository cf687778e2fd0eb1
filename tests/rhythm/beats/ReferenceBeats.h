// Tempo, beats, meter and down beats once more, written plainly from their definitions alone:
// direct sums, no short cuts but exact ones. Tests hold the library to it.
//
// Sums run in double precision. Single precision stands where it decides a result: window
// positions that are summed up step by step, truncations, lags, the running score of the beat
// tracker, the low-pass of the rectified audio.
//
// ReferenceFunction.cpp: the detection function. ReferenceTempo.cpp: tempi.
// ReferenceTracking.cpp: beats and down beats. ReferenceMeter.cpp: meter.
#pragma once

#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::test {

inline constexpr std::size_t kBeatFrameSize = 1024; // samples
inline constexpr std::size_t kBeatHopSize = 128;    // samples
inline constexpr std::size_t kSectionFrames = 200000;

// Function frames per second.
double FunctionRate(double rateHz);

// Whole frames in a stretch of audio.
std::size_t NumFunctionFrames(std::size_t samples);

// One value per whole frame: the mean of the low magnitudes times the mean rise of the mel bands
// in decibels, without its slow part.
std::vector<double> DetectionFunction(std::span<const float> samples, double rateHz);

// Two tempi in whole BPM and the share of the first one's score in both.
struct Tempi {
    std::int32_t status = 0; // 0, -1 without any tempo, -3864 for less than 2.1 seconds
    float tempo1 = 0.0f;
    float tempo2 = 0.0f;
    float confidence = 0.0f;
    std::uint32_t hint = 1; // the genre hint that the estimate left behind
};

// `hint` 0 or 1 sets the range of tempi.
Tempi EstimateTempi(std::span<const double> function, double rateHz, std::uint32_t hint = 1);

struct ReferenceBeat {
    std::size_t frame = 0; // of the section
    double strength = 0.0;
};

struct Tracking {
    std::vector<ReferenceBeat> beats; // as they are found, the last one first
    float period = 0.0f;              // function frames
    // By how much the chosen predecessors stood above the next best, as a share of the best; the
    // least along the chain. Below about 1e-6 rounding decides.
    double narrowestChoice = 1.0;

    std::vector<float> score; // by frame
    std::vector<float> transition;

    // By how much a predecessor of a frame falls short of the best one, as a share of the best: 0
    // for the best itself, 1 for one that the search does not look at.
    double Shortfall(std::size_t frame, std::size_t predecessor) const;
};

// `smoothedValues`: how many values of the full convolution with the smoothing window exist, as
// after a stop; the others are 0.
Tracking TrackBeats(std::span<const double> section, double rateHz, const Tempi& tempi,
                    std::size_t smoothedValues = static_cast<std::size_t>(-1));

// Frames from a peak of the function to the peak that it leaves in the smoothed function: the
// smoothing window is read a little behind its centre, so beats stand early.
double SmoothingShift(float period);

// The rectified audio after its low-pass, at the audio's rate.
std::vector<float> RectifiedAudio(std::span<const float> samples);

// That signal at 100 Hz. The rate must be a multiple of 100 Hz.
std::vector<double> ResampleTo100Hz(std::span<const float> signal, double rateHz);

struct MeterPeak {
    double value = 0.0;
    std::size_t position = 0; // index into the curve
};

// What is read out of a curve of 1350 values, the signal's repetition at shifts of 10 ms.
struct MeterReading {
    std::vector<double> withoutTrend;
    std::vector<double> belowBar; // weighted and smoothed, without the bar's lobe
    std::vector<MeterPeak> peaks; // of what stands above a tenth of the bar, in the order of taking
    double barFrames = 0.0;       // in 10 ms
};
MeterReading ReadMeter(std::vector<double> repetition);

// Adds to the score of each beat count from 2 to 8 the mean height of the peaks where it would
// divide the bar. Required by the contract: the scores of earlier channels are
// divided again.
using MeterScoreList = std::array<double, 7>;
void AddMeterScores(const std::vector<MeterPeak>& peaks, double barFrames, MeterScoreList& scores);

struct Meters {
    std::vector<std::uint32_t> meters; // by channel, 0 where there is none
    std::vector<double> barFrames;     // by channel, in 10 ms
    bool anyFailed = false;
};

// Later channels add to the matrices and scores of the earlier ones. `signals` are at 100 Hz.
Meters FindMeters(const std::vector<std::vector<double>>& signals);

// Indices of `strengths`, in ascending order, that are down beats. `strengths` in the order in
// which the beats were found.
std::vector<std::size_t> DownBeatIndices(std::span<const float> strengths, std::uint32_t meter);

} // namespace qel::test
