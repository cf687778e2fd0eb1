#pragma once

#include <QelAudioAnalysis/Result.hpp>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::output {

// The position of every beat in its bar, and 0 where that is not known.
//
// A beat at the time of a down beat is 1, and nothing else is: down beats alone decide where a bar
// begins, whatever its length. The beats after it count on. Those in front of the first down beat
// count back from it, the last of them being number beatsPerBar; what lies more than a bar in front
// is not known. Where beatsPerBar is 0, the distance of the first two down beats is used.
//
// Both lists ascend in time. Without down beats no position is known.
std::vector<std::size_t> BarPositions(std::span<const Event> beats,
                                      std::span<const Event> downBeats, std::uint32_t beatsPerBar);

} // namespace qel::output
