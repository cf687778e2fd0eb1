#pragma once

#include <MacTypes.h>

namespace qel::core {

// 36 fourth-order gammatone magnitude responses, equally spaced on the ERB-rate scale and laid out
// over 512 columns, one per bin of a 1024-point spectrum.
//
// Required by the contract: a column stands for a quarter of the frequency that the responses were
// made for, so that at 44100 Hz the highest band lies near 4.6 kHz, and each response comes with
// its mirror image about column 256, which sees the top of the spectrum. The table does not depend
// on the sample rate: bands move with it. Any cleanup changes all values.
//
// The scale: Glasberg and Moore, Derivation of auditory filter shapes from notched-noise data,
// Hearing Research 47, 1990. The filters: Hohmann, Frequency analysis and synthesis using a
// Gammatone filterbank, Acta Acustica 88, 2002.

inline constexpr UInt32 kGammaBands = 36;
inline constexpr UInt32 kGammaColumns = 512;

// The modulus of the response of `band`, below kGammaBands, at `column`, below kGammaColumns.
double GammaBankModulus(UInt32 band, UInt32 column);

// The squared moduli of a band: kGammaColumns floats that live as long as the process. Made at the
// first call, shared by all; any thread.
const float* GammaBankPowers(UInt32 band);

} // namespace qel::core
