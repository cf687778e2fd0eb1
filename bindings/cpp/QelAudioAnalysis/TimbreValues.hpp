/*
 * Values of the keys about timbre, phases and frequencies of bins.
 */
#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <limits>
#include <numbers>

namespace qel {

namespace detail {

inline constexpr double kTimbreOpen = std::numeric_limits<double>::infinity();
inline constexpr Range kTimbreMagnitude{0, kTimbreOpen};

} // namespace detail

inline constexpr ValueInfo kPhaseValues[] = {
    {"phase deviation",
     "rad",
     {0, std::numbers::pi},
     "Mean of |e[k]|. Near 0 where every bin holds a steady sine, about pi / 2 for noise.",
     "Bello and Sandler, Phase-based note onset detection for music signals, ICASSP, 2003"},
    {"weighted phase deviation", "magnitude rad", detail::kTimbreMagnitude,
     "Mean of m[k] |e[k]|. It grows with the level.",
     "Dixon, Onset detection revisited, DAFx, 2006"},
    {"normalized weighted phase deviation",
     "rad",
     {0, std::numbers::pi / 512},
     "\"weighted phase deviation\" divided by the sum of all m[k], deliberately not by their "
     "mean: times 512 it is the mean of |e[k]| with the weights m[k]. 0 for silence.",
     "after Dixon, Onset detection revisited, DAFx, 2006"},
    {"complex spectral differencene", "magnitude", detail::kTimbreMagnitude,
     "Sum of |m[k] - m'[k] exp(p'[k] + d'[k])|, where ' marks the frame before. It is not the "
     "difference of the complex domain that is usual: deliberately, exp is the real exponential "
     "of an angle, a factor from 0.002 to 535, and no rotation. So it stands far above 0 for "
     "steady sounds as well, and jumps from frame to frame: use \"weighted phase deviation\" or "
     "\"spectral flux\" to find onsets. In the first frame it is the sum of all m[k]. The name is "
     "spelt like that.",
     "name after Duxbury, Bello, Davies and Sandler, Complex domain onset detection for musical "
     "signals, DAFx, 2003"},
    {"rectified complex spectral difference", "magnitude", detail::kTimbreMagnitude,
     "The same number again, deliberately: the sum is rectified, not its terms, and it is never "
     "negative.",
     ""},
};

inline constexpr ValueInfo kMelCepstralValues[] = {
    {"mel frequency cepstral coefficients",
     "1",
     {-1, 1},
     "Coefficient j of 0 to 12: the sum over p from 0 to 12 of a[40 j + p] L[p], divided by the "
     "root of the sum of the squares of all 13. a[13 i + n], for i from 0 to 39, is cos(pi / 40 n "
     "(i + 0.5)) / sqrt(20), and sqrt(1/2) times that for n = 0: a table of cosines for 40 bands, "
     "which, deliberately, is read across its layout. So no coefficient is the cosine transform "
     "of L, coefficient 0 is no level and 1 no tilt. In silence, where all L[p] are -10, the "
     "vector is always the same one.",
     "after Davis and Mermelstein, Comparison of parametric representations for monosyllabic word "
     "recognition in continuously spoken sentences, IEEE Trans. ASSP 28(4), 1980; filters after "
     "Slaney, Technical Report 1998-010, Interval Research Corporation, 1998"},
};

inline constexpr ValueInfo kMelSpectrumValues[] = {
    {"mel spectrum", "magnitude", detail::kTimbreMagnitude,
     "The magnitude of bin k, twice the modulus of the discrete Fourier transform of the windowed "
     "frame. A sine of amplitude 1 at the centre of a bin gives 2048 there. Bin 0 has the terms "
     "at 0 Hz and at half the sample rate together, the root of the sum of their squares.",
     ""},
};

inline constexpr ValueInfo kCepstrumValues[] = {
    {"cepstrum", "1", detail::kTimbreMagnitude,
     "Float q: twice the modulus of the sum over the bins k from 0 to 255 of sin(pi k / 255) ln "
     "max(0.001, m[k]) e^(-2 pi i k q / 256). Float 0 is the root of the sum of the squares of "
     "the terms q = 0 and q = 128. The mean of the logarithms is not taken out, so that the first "
     "floats tell about the level: 2243 in float 0 for silence.",
     "Bogert, Healy and Tukey, The quefrency alanysis of time series for echoes, Symposium on "
     "Time Series Analysis, Wiley, 1963; Noll, Cepstrum pitch determination, J. Acoust. Soc. Am. "
     "41(2), 1967"},
};

inline constexpr ValueInfo kInstantaneousFrequencyValues[] = {
    {"instantaneous frequency",
     "Hz",
     {-detail::kTimbreOpen, detail::kTimbreOpen},
     "(w[k] |W[k]|^2 + Im(conj(W[k]) D[k])) / (2 pi |W[k]|^2), where W is the transform of the "
     "frame with a Hann window, D that with the window's time derivative, and w[k] = 2 pi k rate "
     "/ 1024. Not a number in bins where W is 0: in digital silence in all of them. Float 0 has "
     "no meaning, as the terms at 0 Hz and half the rate share its place.",
     "Auger and Flandrin, Improving the readability of time-frequency and time-scale "
     "representations by the reassignment method, IEEE Trans. Signal Processing 43(5), 1995"},
};

inline constexpr ValueInfo kReassignedSpectrumValues[] = {
    {"reassigned real data",
     "full scale",
     {-detail::kTimbreOpen, detail::kTimbreOpen},
     "Real part of what was moved to bin k of the frame: the sum over all values that met there.",
     "Nelson, Cross-spectral methods for processing speech, J. Acoust. Soc. Am. 110(5), 2001; "
     "Fulop and Fitz, Algorithms for computing the time-corrected instantaneous frequency "
     "(reassigned) spectrogram, with applications, J. Acoust. Soc. Am. 119(1), 2006"},
    {"reassigned imaginary data",
     "full scale",
     {-detail::kTimbreOpen, detail::kTimbreOpen},
     "Imaginary part of the same.",
     ""},
};

} // namespace qel
