#pragma once

#include <MacTypes.h>

#include <cstddef>

namespace qel::core {

// The cells of a histogram that values fall into: the distance from `origin`, in cells, truncated
// and kept within 0 to `top`. Infinite and huge values go to the nearest end; NaN goes to cell 0,
// where a plain conversion of it and a clamp would put it too. `top` is 0 to 2^24, up to where
// single precision counts; `indices` has room for `count`. Any thread.

// The distance is a product with the reciprocal of a cell's width.
void IndicesByProduct(const float* values, std::size_t count, float origin, float reciprocalWidth,
                      UInt32 top, UInt32* indices);

// The distance is a quotient. At the edges of cells that may round to another cell than the
// product.
void IndicesByQuotient(const float* values, std::size_t count, float origin, float width,
                       UInt32 top, UInt32* indices);

} // namespace qel::core
