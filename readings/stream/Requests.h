#pragma once

#include <QelReadings.hpp>

#include <span>
#include <vector>

namespace qel::readings {

// What a reader was asked for, and of which stream. Both raise std::invalid_argument for what no
// reader takes.
std::vector<Reading> requireKnown(std::span<const Reading> readings);
const Setup& requireUsable(const Setup& setup);

} // namespace qel::readings
