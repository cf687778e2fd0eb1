/*
 * The table of keys: one row for every key that this version of the library builds, in the order of
 * QelAudioAnalysisGlobalCopyKeys. docs/keys.md, the decoding of results and the tool's listing are
 * made from it; a test holds it and the library together.
 *
 * A new key is a new row, and a list of its values in a file of its group.
 */
#pragma once

#include <QelAudioAnalysis/DescriptorValues.hpp>
#include <QelAudioAnalysis/KeyInfo.hpp>

#include <string_view>

namespace qel {

inline constexpr KeyInfo kKeys[] = {
    {"temporal properties", PayloadKind::Floats, 12, Delivery::PerPush, 0, 0, kTemporalValues,
     "Figures of the waveform, taken over the samples of one push and not over an analysis frame: "
     "they change with the size of the pushes. Push blocks of one size (for example 512) to get a "
     "curve with a fixed step."},
    {"generic spectrum properties", PayloadKind::Floats, 64, Delivery::PerFrame, 1024, 512,
     kGenericSpectrumValues, "General figures of the magnitude spectrum of one frame."},
    {"spectrum histogram properties", PayloadKind::Floats, 8, Delivery::PerFrame, 1024, 512,
     kSpectrumHistogramValues,
     "Shape of the distribution of the magnitudes m[k] of one frame. The magnitudes are counted "
     "into 40 classes h[i] of equal width (greatest - least + 1) / 40, from the least magnitude "
     "upwards. The figures are moments of these 40 counts taken as samples, not moments of the "
     "magnitudes and not of the spectrum over frequency. u is the mean count, 512 / 40."},
    {"spectrum peak properties", PayloadKind::Floats, 32, Delivery::PerFrame, 1024, 512,
     kSpectrumPeakValues,
     "Figures of the spectral peaks of one frame: the bins whose magnitude is above that of both "
     "neighbours, so never the first or the last bin. p[0] to p[n-1] are the magnitudes of the n "
     "peaks in ascending order of "
     "frequency, "
     "b[i] their bins, and p[j] for j of n and above is 0. S is the sum of all p[i]. Peaks are "
     "counted, not matched to harmonics: p[0] is the lowest peak, whether it is a fundamental or "
     "noise. Where a value says that it stays, it repeats the figure of the frame before (0 at the "
     "stream's start)."},
    {"spectrum flux properties", PayloadKind::Floats, 8, Delivery::PerFrame, 1024, 512,
     kSpectrumFluxValues,
     "Change from the magnitudes q[k] of the frame before to the magnitudes m[k] of this frame. "
     "The "
     "first frame is compared with silence."},
    {"spectrum", PayloadKind::ComplexPairs, 4096, Delivery::PerFrame, 1024, 512, kSpectrumValues,
     "The spectrum of one frame: 512 pairs of real and imaginary part, twice the discrete Fourier "
     "transform of the windowed frame. Pair k belongs to the frequency k * rate / 1024. Pair 0 is "
     "no complex number: its first float is the term at 0 Hz and its second float the term at half "
     "the sample rate, both real."},
};

/* The row of a key; null if there is none. */
constexpr const KeyInfo* findKey(std::string_view key) noexcept {
    for (const KeyInfo& row : kKeys) {
        if (row.key == key) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace qel
