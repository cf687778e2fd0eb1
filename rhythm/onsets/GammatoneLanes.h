#pragma once

#include "rhythm/onsets/GammatoneBank.h"

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

} // namespace qel::core
