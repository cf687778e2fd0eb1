#pragma once

#include <MacTypes.h>

#include <complex>
#include <cstdlib>

namespace qel::core {

// A bank of fourth-order complex gammatone filters, in a C style: plain records, free functions,
// status numbers. Each filter is a cascade of four equal one-pole complex filters; its real output
// is the band's signal, its imaginary output the Hilbert pair. Centre frequencies stand on a scale
// of equivalent rectangular bandwidths (ERB), one of them exactly at the base frequency.
//
// Sources: Hohmann, Frequency analysis and synthesis using a Gammatone filterbank, Acta Acustica
// united with Acustica 88, 2002; the scale by Glasberg and Moore, Derivation of auditory filter
// shapes from notched-noise data, Hearing Research 47, 1990.
//
// Life: Gfb_Analyzer_new, any number of gfb_Analyze per filter, Gfb_Analyzer_remove. States carry
// on from one block to the next. One thread at a time for each record.

inline constexpr int MAX_N_BANDS = 50;

// One band.
struct Gfb_Filter {
    float realPole;
    float imagPole;
    float gain;         // of the input: 2 (1 - radius)^order
    float realState[4]; // outputs of the four stages
    float imagState[4];
    float ihcForward;  // weight of the rectified sample in the hair-cell stage
    float ihcBack;     // 1 - ihcForward: weight of the stage's value before
    float ihcConstant; // 3e-5, read by nothing
    UInt32 ihcState;   // 0, read by nothing
    float order;
    UInt32 delayActive; // whether `delay` samples of compensation run
    SInt32 delay;       // first the filter's own delay, later that of the compensation
    float* delayReal;   // `delay` values each, carried between blocks; null without compensation
    float* delayImag;
};

struct Gfb_Analyzer {
    UInt32 reserved;
    float sampleRate;    // Hz, like the next three
    float lowerCutoff;   // no band lies below
    float baseFrequency; // of one band
    float upperCutoff;   // no band lies above
    float filtersPerERB;
    UInt32 reserved2;
    float centreFrequencies[MAX_N_BANDS]; // Hz
    Gfb_Filter* filters[MAX_N_BANDS];     // null from bandCount on
    SInt32 bandCount;
    float* scratchReal; // null without delay compensation, else as long as the longest block
    float* scratchImag;
};

// What Gfb_Analyzer_new is told.
struct Gfb_Parameters {
    float sampleRate; // Hz, like the next three
    float lowerCutoff;
    float upperCutoff;
    float baseFrequency;
    float filtersPerERB;
    SInt32 compensateDelay; // whether all bands are delayed to the slowest
};

// Memory from the malloc family; `status` becomes 0, or 1 where the result is null.
void* utMalloc(int size, int* status);
void* utCalloc(int count, int size, int* status);

// Frees what `pointer` points at, unless it is null, and nulls it.
template <class T>
void utFree(T** pointer) {
    if (*pointer != nullptr) {
        std::free(*pointer);
        *pointer = nullptr;
    }
}

// Hz to the number of bandwidths below it, and back.
float Gfb_hz2erbscale(float hz);
float Gfb_erbscale2hz(float erb);

float Gfb_factorial(unsigned n);
float complexAbs(std::complex<float> z);

// Makes a filter with state 0 and without delay. `sampleRate` and `centreFrequency` in Hz. The
// filter's width follows from `order`, which is 4 in this bank: gfb_Analyze always runs four
// stages. The two weights of the hair-cell stage are 0 unless `withHairCell` is not 0.
void Gfb_Filter_new_3arg(Gfb_Filter* filter, float sampleRate, float centreFrequency,
                         unsigned order, int withHairCell);

// Makes a bank for blocks of up to `maxSamples` samples. It does not look at half the sample rate.
// Beyond 50 bands it prints one line to standard output and goes on with 50. With compensation it
// prints two lines per band: its delay, and by how much it is delayed further, in samples.
// Returns 0, or 1 where memory is exhausted; the record may then be half filled, and may be
// removed.
int Gfb_Analyzer_new(Gfb_Analyzer* analyzer, const Gfb_Parameters& parameters, int maxSamples);

// Frees the filters and the scratch vectors.
//
// Required by the contract: it does not free the filters' delayReal and delayImag. They exist only
// with delay compensation, and belong to whoever asked for it, who hands each of them to utFree
// before this call. Freeing them here frees them twice.
void Gfb_Analyzer_remove(Gfb_Analyzer* analyzer);

// Sets `delay` to the sample where the envelope of the filter's answer to a unit impulse is
// greatest, looking at 1024 samples, and prints it. Leaves the filter with state 0.
void getFilterDelay(Gfb_Filter* filter);

// Turns the filter's own delay into what it lacks to `maxDelay`, prints that, and makes the vectors
// that the delay needs. Where memory is exhausted, the filter runs on without.
void adjustAdditionalFilterDelay(Gfb_Filter* filter, int maxDelay);

// Filters `samples` samples of `input`. The scratch vectors are needed by a filter with an active
// delay alone, and must then hold `samples` values. Input and outputs must not overlap. Allocates
// nothing.
//
// From one sample to the next, all stages are computed from the old values, so that each receives
// the output of the stage before it one sample late.
//
// Required by the contract: that makes three samples of delay over the cascade. Removing it changes
// all values.
void gfb_Analyze(float* outReal, float* outImag, const float* input, Gfb_Filter* filter,
                 float* scratchReal, float* scratchImag, int samples);

// The same recursion on the four plus four states given, usually the filter's own, through a model
// of the inner hair cell: the real output is rectified and smoothed, and what does not exceed
// `threshold` becomes `threshold`. `ihcValue` is the state of the smoothing. The delay plays no
// part.
void gfb_AnalyzePlusIhc(float* output, const float* input, Gfb_Filter* filter, float* realState,
                        float* imagState, float* ihcValue, float threshold, int samples);

} // namespace qel::core
