#pragma once

#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

#include <cstddef>
#include <memory>

namespace qel::core {

// The shape of a window: what its values are computed from besides their number.
enum class WindowShape { Sine, Hanning, Hamming };

struct WindowDesign {
    WindowShape shape;
    UInt32 samples;

    bool operator==(const WindowDesign&) const = default;
};

// The values of a window. Constant after construction.
class WindowValues {
public:
    // All constructors raise std::bad_alloc.
    explicit WindowValues(const WindowDesign& design);
    // A copy of `samples` values.
    WindowValues(const float* values, UInt32 samples);

    const float* Get() const { return mValues; }

private:
    void FillSine(UInt32 samples);
    void FillHanning(UInt32 samples);
    void FillHamming(UInt32 samples);

    CAAutoFree<float> mValues;
};

// The window of a processor. Those with a shape share their values with the other windows of the
// process, so that only the first analyzer, and no reset, computes sines. One thread at a time.
class SpectralWindow {
public:
    // The windows with a shape whose values stay in the process when nobody uses them, and the
    // longest of these: 128 KB. Those of all keys at one sample rate are 10.
    static constexpr std::size_t kHeld = 16;
    static constexpr UInt32 kLongestShared = 32768;

    // Both raise std::bad_alloc and then leave the window as it was.
    void SetShape(const WindowDesign& design);
    void Copy(const float* values, UInt32 samples);

    // Null before a window was set.
    const float* get() const { return mValues != nullptr ? mValues->Get() : nullptr; }
    // NOLINTNEXTLINE(google-explicit-constructor): used wherever the bare pointer is expected.
    operator const float*() const& { return get(); }
    operator const float*() const&& = delete;

private:
    std::shared_ptr<const WindowValues> mValues;
};

} // namespace qel::core
