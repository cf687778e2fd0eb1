// The constant-Q magnitudes once more, written plainly from their definition alone and in double
// precision. Tests hold the library to them.
//
// Four steps stay in single precision, because the definition says so and a whole number or a
// comparison hangs on them: the Q, the number of bins, the centre frequencies, which give the
// kernels' lengths, and the phase of the carrier, whose rounding grows with the sample's number.
//
// A kernel's spectral value counts where its modulus is above the threshold. A modulus closer to it
// than rounding can move it may fall on either side. Every magnitude therefore comes with what such
// values, taken together, can add to it or take from it.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::test {

struct ConstantQSettings {
    float minFrequencyHz = 90.0f;
    float maxFrequencyHz = 5250.0f;
    std::uint32_t binsPerOctave = 36;
    float threshold = 0.0054f;
};

// By how much rounding may move the modulus of a kernel's spectral value. A kernel's samples sum up
// to 0.54 at most and are rounded to 24 bits, and so are the 20 steps of the longest transform.
inline constexpr double kModulusError = 0.54 * 20.0 / 16777216.0;

class ReferenceConstantQ {
public:
    struct Magnitude {
        std::size_t bin;
        double value;
        double doubt; // what the values at the threshold can change
    };

    // Every bin whose number is a multiple of `binStep`, which saves time where the kernels are
    // long.
    explicit ReferenceConstantQ(double rateHz, const ConstantQSettings& settings = {},
                                std::size_t binStep = 1);

    double Q() const { return mQ; }
    std::size_t BinCount() const { return mBinCount; }
    std::size_t TransformSize() const { return mTransformSize; }
    std::size_t LongestKernel() const { return mLongestKernel; }
    float CentreHz(std::size_t bin) const;
    std::size_t KernelLength(std::size_t bin) const;

    // A frame shorter than the transform is followed by zeros. Of a longer one the first samples
    // count: no kernel is longer than its transform.
    std::vector<Magnitude> Magnitudes(std::span<const float> frame) const;

private:
    struct Entry {
        std::size_t index;
        std::complex<double> value;
    };
    struct Row {
        std::size_t bin;
        std::vector<Entry> kept;
        std::vector<std::size_t> doubtful;
    };
    Row MakeRow(std::size_t bin) const;

    double mRateHz;
    ConstantQSettings mSettings;
    float mQ;
    std::size_t mBinCount;
    std::size_t mLongestKernel;
    std::size_t mTransformSize;
    std::vector<Row> mRows;
};

} // namespace qel::test
