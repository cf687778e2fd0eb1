#pragma once

#include "rhythm/onsets/GammatoneBands.h"
#include "rhythm/onsets/GammatoneBank.h"
#include "rhythm/onsets/LowPassRun.h"

#include <cstddef>

namespace qel::core {

// The sum over the bands of the real outputs of gfb_Analyze, many bands at a time.
//
// analyzer   a bank without delay compensation; its filters' states run on as with gfb_Analyze, to
//            the last bit
// input      `samples` samples
// sum        receives as many; does not overlap `input`
//
// Each band's output is that of gfb_Analyze to the last bit. The sum is formed in single precision
// in sixteen partial sums and is the same on every processor; it differs from a sum in the bands'
// order by some 1e-6 of the bands' magnitudes.
// Allocates nothing. One thread at a time for each record.
void gfb_AnalyzeSum(float* sum, const float* input, Gfb_Analyzer* analyzer, int samples);

// The same in parts: the bank into lanes, which had none; a block, and further ones; the filters'
// states back into the bank. With each sample, `run` goes on by kLowPassStepsPerSample steps, in
// the time that the filters wait, as long as it has as many left.
void gfb_LoadBands(const Gfb_Analyzer& analyzer, GammatoneBands& bands);
void gfb_SumBands(float* sum, const float* input, GammatoneBands& bands, std::size_t samples,
                  LowPassRun& run);
void gfb_SaveBands(const GammatoneBands& bands, Gfb_Analyzer& analyzer);

} // namespace qel::core
