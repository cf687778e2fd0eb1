// Values of the keys about timbre, phases and frequencies of bins.
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
     "Mean of |e[k]|: near 0 where every bin holds a steady sine, about pi / 2 for noise. Bins "
     "count alike whatever their magnitude. Example: a single steady sine gives 0.78, because the "
     "rounding noise in the other bins counts too; white noise gives 1.55.",
     "Bello and Sandler, Phase-based note onset detection for music signals, ICASSP, 2003"},
    {"weighted phase deviation", "magnitude rad", detail::kTimbreMagnitude,
     "Mean of m[k] |e[k]|. It grows with the level. Example: 0.00003 for a steady sine of "
     "amplitude 0.5, 5.1 for white noise of root mean square 0.1.",
     "Dixon, Onset detection revisited, DAFx, 2006"},
    {"normalized weighted phase deviation",
     "rad",
     {0, std::numbers::pi / 512},
     "\"weighted phase deviation\" divided by the sum of all m[k], not by their mean as in the "
     "cited measure. Multiplied by 512 it is the mean of |e[k]| with the weights m[k]. 0 for "
     "silence. Example: white noise gives 0.00299, and 512 * 0.00299 = 1.53 rad.",
     "after Dixon, Onset detection revisited, DAFx, 2006"},
    {"complex spectral differencene", "magnitude", detail::kTimbreMagnitude,
     "(sic) Sum of |m[k] - m'[k] exp(p'[k] + d'[k])|, where ' marks the previous frame. Required "
     "by the contract: exp(phase), not exp(i phase), so the exponential is a real factor from "
     "0.002 to 535 instead of a rotation. The value is therefore not the usual complex-domain "
     "difference. It is far above 0 for steady sounds too and jumps from frame to frame: a steady "
     "sine of amplitude 0.5 gives 3550. To find onsets use \"weighted phase deviation\" or "
     "\"spectrum flux\" instead. In the first frame it is the sum of all m[k].",
     "name after Duxbury, Bello, Davies and Sandler, Complex domain onset detection for musical "
     "signals, DAFx, 2003"},
    {"rectified complex spectral difference", "magnitude", detail::kTimbreMagnitude,
     "The same number as \"complex spectral differencene\" (sic). The sum is rectified instead of "
     "its terms, and the sum is never negative.",
     ""},
};

inline constexpr ValueInfo kMelCepstralValues[] = {
    {"mel frequency cepstral coefficients",
     "1",
     {-1, 1},
     "Coefficient j of 0 to 12: the sum over p from 0 to 12 of a[40 j + p] L[p], divided by the "
     "square root of the sum of the squares of all 13. a[13 i + n], for i from 0 to 39, is cos(pi "
     "/ 40 n (i + 0.5)) / sqrt(20), multiplied by sqrt(1/2) for n = 0. This is a table of cosines "
     "for 40 bands with 13 numbers per band, and it is read as if it had 40 per row. No "
     "coefficient is therefore a term of a cosine transform of L; coefficient 0 is not a level and "
     "coefficient 1 not a tilt. In silence all L[p] are -10, and the vector is always the same; "
     "its first coefficient is -0.985.",
     "after Davis and Mermelstein, Comparison of parametric representations for monosyllabic word "
     "recognition in continuously spoken sentences, IEEE Trans. ASSP 28(4), 1980; filters after "
     "Slaney, Technical Report 1998-010, Interval Research Corporation, 1998"},
};

inline constexpr ValueInfo kMelSpectrumValues[] = {
    {"mel spectrum", "magnitude", detail::kTimbreMagnitude,
     "The magnitude of bin k: twice the modulus of the discrete Fourier transform of the windowed "
     "frame. A sine of amplitude 1 at the centre of a bin gives 2048 there. Bin 0 is the square "
     "root of the sum of the squares of the terms at 0 Hz and at half the sample rate.",
     ""},
};

inline constexpr ValueInfo kCepstrumValues[] = {
    {"cepstrum", "1", detail::kTimbreMagnitude,
     "Float q: twice the modulus of the sum over the bins k from 0 to 255 of sin(pi k / 255) ln "
     "max(0.001, m[k]) e^(-2 pi i k q / 256). Float 0 is the square root of the sum of the "
     "squares of the terms q = 0 and q = 128. The mean of the logarithms is not removed, so the "
     "first floats follow the level: 2243 in float 0 for silence.",
     "Bogert, Healy and Tukey, The quefrency alanysis of time series "
     "for echoes, Symposium on Time Series Analysis, Wiley, 1963; Noll, "
     "Cepstrum pitch determination, J. Acoust. Soc. Am. 41(2), 1967"},
};

inline constexpr ValueInfo kInstantaneousFrequencyValues[] = {
    {"instantaneous frequency",
     "Hz",
     {-detail::kTimbreOpen, detail::kTimbreOpen},
     "(w[k] |W[k]|^2 + Im(conj(W[k]) D[k])) / (2 pi |W[k]|^2), where W is the transform of the "
     "frame with a Hann window, D the transform with the time derivative of the window, and w[k] "
     "= 2 pi k rate / 1024. Not a number in bins where W is 0; in digital silence these are all "
     "bins. Float 0 has no meaning, because the terms at 0 Hz and at half the rate share it.",
     "Auger and Flandrin, Improving the readability of time-frequency and time-scale "
     "representations by the reassignment method, IEEE Trans. Signal Processing 43(5), 1995"},
};

inline constexpr ValueInfo kReassignedSpectrumValues[] = {
    {"reassigned real data",
     "full scale",
     {-detail::kTimbreOpen, detail::kTimbreOpen},
     "Real part of what was moved to bin k of the frame: "
     "the sum of all values that were moved there.",
     "Nelson, Cross-spectral methods for processing speech, J. Acoust. Soc. Am. 110(5), 2001; "
     "Fulop and Fitz, Algorithms for computing the time-corrected instantaneous frequency "
     "(reassigned) spectrogram, with applications, J. Acoust. Soc. Am. 119(1), 2006"},
    {"reassigned imaginary data",
     "full scale",
     {-detail::kTimbreOpen, detail::kTimbreOpen},
     "Imaginary part of the same sum.",
     ""},
};

} // namespace qel
