#pragma once

#include "pitch/ConstantQKernel.h"

#include <cstddef>
#include <memory>

namespace qel::core {

// The kernels of the process: those in use, and those of the last few designs that were asked for,
// so that one analyzer after another of a few sample rates finds them made.
class SharedConstantQKernels {
public:
    // The designs whose kernels stay when nobody uses them, at less than 200 KB each for audio.
    static constexpr std::size_t kHeld = 4;

    // The kernel of a design: the one that there is in the process, else a new one. Any thread.
    // Raises std::bad_alloc.
    static std::shared_ptr<const ConstantQKernel> Find(const ConstantQDesign& design);
};

} // namespace qel::core
