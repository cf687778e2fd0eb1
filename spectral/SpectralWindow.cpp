#include "spectral/SpectralWindow.h"

#include "elementary/Functions.h"
#include "support/runtime/SharedDesigns.h"

#include <algorithm>
#include <numbers>

namespace qel::core {

WindowValues::WindowValues(const WindowDesign& design) : mValues(design.samples, false) {
    switch (design.shape) {
    case WindowShape::Sine:
        FillSine(design.samples);
        break;
    case WindowShape::Hanning:
        FillHanning(design.samples);
        break;
    case WindowShape::Hamming:
        FillHamming(design.samples);
        break;
    }
}

WindowValues::WindowValues(const float* values, UInt32 samples) : mValues(samples, false) {
    std::copy_n(values, samples, mValues.get());
}

void WindowValues::FillSine(UInt32 samples) {
    const double step = std::numbers::pi / (samples - 1.0);
    for (UInt32 i = 0; i < samples; ++i) {
        mValues[i] = static_cast<float>(elementary::Sin(i * step));
    }
}

void WindowValues::FillHanning(UInt32 samples) {
    for (UInt32 i = 0; i < samples; ++i) {
        const double phase = 2.0 * std::numbers::pi * (i + 1.0) / (samples + 1.0);
        mValues[i] = static_cast<float>(0.5 * (1.0 - elementary::Cos(phase)));
    }
}

void WindowValues::FillHamming(UInt32 samples) {
    // The coefficients are single-precision values, widened.
    constexpr double kOffset = 0.54f;
    constexpr double kSwing = -0.46f;
    const double step = 2.0 * std::numbers::pi / (samples - 1.0);
    for (UInt32 i = 0; i < samples; ++i) {
        mValues[i] = static_cast<float>(kOffset + kSwing * elementary::Cos(i * step));
    }
}

void SpectralWindow::SetShape(const WindowDesign& design) {
    if (design.samples > kLongestShared) {
        mValues = std::make_shared<const WindowValues>(design);
        return;
    }
    static auto& table = *new SharedDesigns<WindowDesign, WindowValues, kHeld>;
    mValues = table.Find(design);
}

void SpectralWindow::Copy(const float* values, UInt32 samples) {
    mValues = std::make_shared<const WindowValues>(values, samples);
}

} // namespace qel::core
