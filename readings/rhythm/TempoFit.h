#pragma once

#include "readings/rhythm/BeatFinder.h"

#include <QelReadings.hpp>

#include <optional>
#include <span>

namespace qel::readings {

// The grid of equal distances that fits beats best, by least squares with weights that fall for
// beats far off it (Huber, Robust estimation of a location parameter, Annals of Mathematical
// Statistics 35(1), 1964). None for fewer than 4 beats, and none where half of the beats lie
// further than an eighth of a beat off it: the tempo drifts, or there is none.
std::optional<Grid> fitGrid(std::span<const double> beatSeconds, double bpm);

// The tempo, and how far to trust it.
Tempo tempoOf(const BeatFinder::Result& beats, const std::optional<Grid>& grid);

// How far to trust the number of beats per bar.
float barStrength(const BarFinder::Result& bars, const BeatFinder::Result& beats);

} // namespace qel::readings
