#include "tests/pitch/ReferenceConstantQ.h"

#include "tests/harness/DoubleTransform.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace qel::test {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

float QFor(std::uint32_t binsPerOctave) {
    const float exponent = 1.0f / static_cast<float>(binsPerOctave);
    return static_cast<float>(1.0 / (static_cast<double>(std::pow(2.0f, exponent)) - 1.0));
}

std::size_t BinCountFor(const ConstantQSettings& settings) {
    const float octaves = std::log2(settings.maxFrequencyHz / settings.minFrequencyHz);
    return static_cast<std::size_t>(
        std::ceil(static_cast<float>(settings.binsPerOctave) * octaves));
}

// A carrier of Q periods under a Hamming window, divided by its length, and zeros after it.
std::vector<std::complex<double>> Kernel(std::size_t length, double q, std::size_t size) {
    std::vector<std::complex<double>> kernel(size);
    const auto count = static_cast<double>(length);
    const auto step = static_cast<float>(kTwoPi * q / count);
    for (std::size_t n = 0; n < length; ++n) {
        const double angle = kTwoPi * static_cast<double>(n) / (count - 1.0);
        const float phase = static_cast<float>(n) * step;
        kernel[n] =
            std::polar(1.0, static_cast<double>(phase)) * ((0.54 - 0.46 * std::cos(angle)) / count);
    }
    return kernel;
}

} // namespace

ReferenceConstantQ::ReferenceConstantQ(double rateHz, const ConstantQSettings& settings,
                                       std::size_t binStep)
    : mRateHz(rateHz), mSettings(settings), mQ(QFor(settings.binsPerOctave)),
      mBinCount(BinCountFor(settings)),
      mLongestKernel(static_cast<std::size_t>(
          std::ceil(mQ * rateHz / static_cast<double>(settings.minFrequencyHz)))),
      mTransformSize(std::bit_ceil(mLongestKernel)) {
    for (std::size_t bin = 0; bin < mBinCount; bin += binStep) {
        mRows.push_back(MakeRow(bin));
    }
}

float ReferenceConstantQ::CentreHz(std::size_t bin) const {
    const auto octaves =
        static_cast<float>(static_cast<double>(bin) / static_cast<double>(mSettings.binsPerOctave));
    return std::pow(2.0f, octaves) * mSettings.minFrequencyHz;
}

std::size_t ReferenceConstantQ::KernelLength(std::size_t bin) const {
    return static_cast<std::size_t>(std::ceil(mQ * mRateHz / static_cast<double>(CentreHz(bin))));
}

ReferenceConstantQ::Row ReferenceConstantQ::MakeRow(std::size_t bin) const {
    std::vector<std::complex<double>> spectrum = Kernel(KernelLength(bin), mQ, mTransformSize);
    testing::Transform(spectrum);
    const auto threshold = static_cast<double>(mSettings.threshold);
    const double scale = 1.0 / static_cast<double>(mTransformSize);
    Row row{bin, {}, {}};
    for (std::size_t m = 0; m < mTransformSize; ++m) {
        const double modulus = std::sqrt(std::norm(spectrum[m])); // quicker than std::abs
        if (modulus > threshold) {
            row.kept.push_back({m, std::conj(spectrum[m]) * scale});
        }
        if (std::abs(modulus - threshold) <= kModulusError) {
            row.doubtful.push_back(m);
        }
    }
    return row;
}

std::vector<ReferenceConstantQ::Magnitude>
ReferenceConstantQ::Magnitudes(std::span<const float> frame) const {
    std::vector<std::complex<double>> spectrum(mTransformSize);
    const std::size_t taken = std::min(frame.size(), mTransformSize);
    for (std::size_t n = 0; n < taken; ++n) {
        spectrum[n] = static_cast<double>(frame[n]);
    }
    testing::Transform(spectrum);
    const double weightAtThreshold =
        static_cast<double>(mSettings.threshold) / static_cast<double>(mTransformSize);
    std::vector<Magnitude> magnitudes;
    for (const Row& row : mRows) {
        std::complex<double> sum = 0.0;
        for (const Entry& entry : row.kept) {
            sum += entry.value * spectrum[entry.index];
        }
        double doubt = 0.0;
        for (const std::size_t m : row.doubtful) {
            doubt += weightAtThreshold * std::abs(spectrum[m]);
        }
        magnitudes.push_back({row.bin, std::abs(sum), doubt});
    }
    return magnitudes;
}

} // namespace qel::test
