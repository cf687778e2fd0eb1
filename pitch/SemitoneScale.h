#pragma once

namespace qel::core {

// The scale of semitone numbers: equal-tempered semitones from the C at 261.6256 Hz.

// The nearest semitone to a frequency in Hz, halves away from zero. Not finite for 0 Hz and below,
// and for frequencies that are not finite.
float FreqToChroma(float hz);

// The frequency in Hz of a semitone. It undoes FreqToChroma only up to that one's rounding.
float ChromaToFreq(float semitone);

} // namespace qel::core
