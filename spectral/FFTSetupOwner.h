#pragma once

#include <Accelerate/Accelerate.h>

#include <memory>
#include <type_traits>

namespace qel::core {

struct DestroyFFTSetup {
    void operator()(FFTSetup setup) const { vDSP_destroy_fftsetup(setup); }
};

// Owner of what vDSP_create_fftsetup made; may hold null.
using FFTSetupOwner = std::unique_ptr<std::remove_pointer_t<FFTSetup>, DestroyFFTSetup>;

} // namespace qel::core
