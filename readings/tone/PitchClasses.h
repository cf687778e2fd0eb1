#pragma once

#include <array>
#include <cstddef>

namespace qel::readings {

// How strong each pitch sounds, octaves apart together, in steps of 10 cents. After Gomez, Tonal
// description of polyphonic audio for music content processing, INFORMS J. Computing 18(3), 2006.
class PitchClasses {
public:
    static constexpr std::size_t kClasses = 12;
    static constexpr std::size_t kStepsPerClass = 10;
    using Chroma = std::array<double, kClasses>;

    void add(double hz, float weight);
    void add(const PitchClasses& other);

    // How far the tuning is from A = 440 Hz, in classes: from -0.5 to 0.5.
    double tuning() const;
    // The strength of each class, from C upwards, in that tuning.
    Chroma chroma(double tuning) const;

private:
    std::array<float, kClasses * kStepsPerClass> mSteps{};
};

} // namespace qel::readings
