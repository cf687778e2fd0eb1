#include "bench/KeyFloor.h"

namespace qel::bench {

namespace {

// "temporal properties" keeps no frames of its own, yet its group's frames are transformed.
constexpr unsigned kDescriptorFrame = 1024;
constexpr unsigned kDescriptorHop = 512;
// The kernels of the constant-Q spectrum are longer than its frames, which are filled up with
// zeros. The figure is that of 44.1 kHz.
constexpr unsigned kConstantQTransform = 32768;
// A frame of the reassigned spectrum is transformed under three windows.
constexpr unsigned kReassignedWindows = 3;

} // namespace

KeyFloor KeyFloor::Of(const KeyInfo& key) {
    if (key.key == "onset data") {
        return {0, 0, 0, 0};
    }
    if (key.key == "temporal properties") {
        return {kDescriptorFrame, kDescriptorHop, kDescriptorFrame, 1};
    }
    const bool isConstantQ =
        key.key == "constant q spectrum" || key.key == "harmonic pitch class profile";
    const unsigned transform = isConstantQ ? kConstantQTransform : key.frameSamples;
    const unsigned windows = key.key == "reasigned spectrum" ? kReassignedWindows : 1;
    return {key.frameSamples, key.hopSamples, transform, windows};
}

std::string KeyFloor::Name() const {
    if (frameSamples == 0) {
        return "floor/scalar gammatone filters";
    }
    std::string name = "floor/transforms of " + std::to_string(transformSamples) + ", hop " +
                       std::to_string(hopSamples);
    if (windows > 1) {
        name += ", " + std::to_string(windows) + " per frame";
    }
    return name;
}

} // namespace qel::bench
