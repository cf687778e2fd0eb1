// What results of silence and of samples of 0.5 must be, at 44100 Hz: each is a ChannelCheck.
#pragma once

#include "tests/keys/KeyRun.h"

#include <cstddef>

namespace qel::test {

// Of any payload.
void AreUnstated(const KeyResults& results, std::size_t channel); // fails
void AreNone(const KeyResults& results, std::size_t channel);
void AreAlike(const KeyResults& results, std::size_t channel); // and no list is empty
void AreAlikeAfterThree(const KeyResults& results, std::size_t channel);
void AreEmpty(const KeyResults& results, std::size_t channel); // lists

// Floats.
void AreZero(const KeyResults& results, std::size_t channel);
void AreZeroAfterTheFirst(const KeyResults& results, std::size_t channel);
void AreNoNumbers(const KeyResults& results, std::size_t channel);
void AreFinite(const KeyResults& results, std::size_t channel);
void AreOneUnitVector(const KeyResults& results, std::size_t channel);

void AreTemporalOfHalf(const KeyResults& results, std::size_t channel);
void AreGenericOfSilence(const KeyResults& results, std::size_t channel);
void HaveGreatestMagnitudeAtZeroHertz(const KeyResults& results, std::size_t channel);
void AreHistogramsOfOneClass(const KeyResults& results, std::size_t channel);
void ArePhasesOfSilence(const KeyResults& results, std::size_t channel);
void AreHannSpectraOfHalf(const KeyResults& results, std::size_t channel);
void AreMelSpectraOfHalf(const KeyResults& results, std::size_t channel);
void AreCepstraOfSilence(const KeyResults& results, std::size_t channel);
void AreGammaEnergiesOfHalf(const KeyResults& results, std::size_t channel);
void AreLowestTempi(const KeyResults& results, std::size_t channel);
void AreTempi(const KeyResults& results, std::size_t channel);
void AreGlobalTempiOrNone(const KeyResults& results, std::size_t channel);

// Names, numbers, events, ranges.
void AreCMajor(const KeyResults& results, std::size_t channel);
void AreNoMeter(const KeyResults& results, std::size_t channel);
void AreMetersOrNone(const KeyResults& results, std::size_t channel);
void AreBeatsOrNone(const KeyResults& results, std::size_t channel);
void BeginWithAnOnset(const KeyResults& results, std::size_t channel);
void AreRangesOfSilence(const KeyResults& results, std::size_t channel);
void AreRangesOfHalf(const KeyResults& results, std::size_t channel);

} // namespace qel::test
