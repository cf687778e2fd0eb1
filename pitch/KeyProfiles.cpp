#include "pitch/KeyProfiles.h"

#include "elementary/Functions.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace qel::core {

namespace {

using Profile = std::array<float, kPitchClasses>;
using PerKey = std::array<float, kMusicalKeys>;

constexpr Profile kMajor = {0.4678f,   -0.25387f, 0.09936f,  -0.33488f, 0.32221f,  -0.063486f,
                            -0.21791f, 0.4426f,   -0.25203f, 0.12059f,  -0.36999f, 0.039597f};
constexpr Profile kMinor = {0.49021f,  -0.32921f, 0.026797f, 0.2494f,   -0.15248f,   -0.083309f,
                            -0.27245f, 0.41468f,  -0.07965f, -0.11405f, -0.0041909f, -0.14575f};

constexpr std::array<Profile, kMusicalKeys> MakeProfiles() {
    std::array<Profile, kMusicalKeys> profiles{};
    for (std::size_t tonic = 0; tonic < kPitchClasses; ++tonic) {
        for (std::size_t i = 0; i < kPitchClasses; ++i) {
            const std::size_t p = (tonic + i) % kPitchClasses;
            profiles[tonic][p] = kMajor[i];
            profiles[kPitchClasses + tonic][p] = kMinor[i];
        }
    }
    return profiles;
}

constexpr std::array<Profile, kMusicalKeys> kProfiles = MakeProfiles();

// The same by pitch class, so that all keys are worked on side by side.
constexpr std::array<PerKey, kPitchClasses> MakeProfileRows() {
    std::array<PerKey, kPitchClasses> rows{};
    for (std::size_t p = 0; p < kPitchClasses; ++p) {
        for (std::size_t k = 0; k < kMusicalKeys; ++k) {
            rows[p][k] = kProfiles[k][p];
        }
    }
    return rows;
}

constexpr std::array<PerKey, kPitchClasses> kProfileRows = MakeProfileRows();

// Products of the chroma and the profiles are scaled as covariances of 25 vectors would be; the
// scale goes out again, but for the last places.
constexpr float kScale = 1.0f / kMusicalKeys;

float ScaledLength(const Profile& vector) {
    float sum = 0.0f;
    for (const float x : vector) {
        sum += x * x;
    }
    return std::sqrt(kScale * sum);
}

PerKey ProfileLengths() {
    PerKey lengths{};
    std::transform(kProfiles.begin(), kProfiles.end(), lengths.begin(), ScaledLength);
    return lengths;
}

// Entry [l][i] is what one unit of pitch class l adds to coordinate i.
using CentroidMatrix = std::array<std::array<float, kTonalCentroidSize>, kPitchClasses>;

CentroidMatrix MakeCentroidMatrix() {
    // Angles are l * factor * pi / divisor, rounded to single precision.
    constexpr struct {
        float radius;
        float factor;
        double divisor;
    } kCircles[] = {{1.0f, 7.0f, 6.0}, {1.0f, 3.0f, 2.0}, {0.5f, 2.0f, 3.0}};
    CentroidMatrix matrix{};
    for (std::size_t l = 0; l < kPitchClasses; ++l) {
        for (std::size_t circle = 0; circle < std::size(kCircles); ++circle) {
            const auto& [radius, factor, divisor] = kCircles[circle];
            const double turns = static_cast<double>(factor * static_cast<float>(l));
            const auto angle = static_cast<float>(turns * std::numbers::pi / divisor);
            matrix[l][2 * circle] = radius * elementary::Sin(angle);
            matrix[l][2 * circle + 1] = radius * elementary::Cos(angle);
        }
    }
    return matrix;
}

const CFStringRef kNames[kMusicalKeys] = {
    CFSTR("C Major"),  CFSTR("C# Major"), CFSTR("D Major"),  CFSTR("D# Major"), CFSTR("E Major"),
    CFSTR("F major"),  CFSTR("F# major"), CFSTR("G Major"),  CFSTR("G# Major"), CFSTR("A Major"),
    CFSTR("A# Major"), CFSTR("B Major"),  CFSTR("C Minor"),  CFSTR("C# Minor"), CFSTR("D Minor"),
    CFSTR("D# Minor"), CFSTR("E Minor"),  CFSTR("F Minor"),  CFSTR("F# Minor"), CFSTR("G Minor"),
    CFSTR("G# Minor"), CFSTR("A Minor"),  CFSTR("A# Minor"), CFSTR("B Minor"),
};

} // namespace

const float* KeyProfile(UInt32 key) {
    return kProfiles[key].data();
}

CFStringRef KeyName(UInt32 key) {
    return kNames[key];
}

bool IsKeyName(const void* pointer) {
    return std::find(std::begin(kNames), std::end(kNames), pointer) != std::end(kNames);
}

void MakeKeyStrengthComparison(const float* chroma, float* out) {
    static const PerKey lengths = ProfileLengths();
    Profile vector{};
    float sum = 0.0f;
    vDSP_sve(chroma, 1, &sum, kPitchClasses);
    const float mean = sum / static_cast<float>(kPitchClasses);
    vDSP_vsdiv(chroma, 1, &mean, vector.data(), 1, kPitchClasses);

    PerKey products{};
    for (std::size_t p = 0; p < kPitchClasses; ++p) {
        for (std::size_t k = 0; k < kMusicalKeys; ++k) {
            products[k] += vector[p] * kProfileRows[p][k];
        }
    }
    const float length = ScaledLength(vector);
    for (std::size_t k = 0; k < kMusicalKeys; ++k) {
        const float correlation = kScale * products[k] / lengths[k] / length;
        const float size = std::fabs(correlation);
        const float cut = size > 1.0f ? correlation / size : correlation;
        out[k] = std::isnan(cut) ? 0.0f : cut;
    }
}

void ComputeTonalCentroid(const float* chroma, float* out) {
    static const CentroidMatrix matrix = MakeCentroidMatrix();
    std::array<float, kTonalCentroidSize> sums{};
    for (std::size_t l = 0; l < kPitchClasses; ++l) {
        for (std::size_t i = 0; i < kTonalCentroidSize; ++i) {
            sums[i] += chroma[l] * matrix[l][i];
        }
    }
    float size = 0.0f;
    vDSP_svemg(chroma, 1, &size, kPitchClasses);
    for (std::size_t i = 0; i < kTonalCentroidSize; ++i) {
        out[i] = sums[i] / size;
    }
}

} // namespace qel::core
