// Values of the keys that describe a waveform or a spectrum. Longer than other headers, because it
// is one table of text.
//
// Symbols of the definitions: m[k] is the magnitude of bin k, 0 <= k < M, of a frame of 1024
// samples (M = 512); f[k] = k * rate / 1024 its frequency in Hz; E the sum of m[k]^2.
#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <limits>

namespace qel {

namespace detail {

inline constexpr double kOpen = std::numeric_limits<double>::infinity();
inline constexpr Range kAny{-kOpen, kOpen};
inline constexpr Range kNotNegative{0, kOpen};
inline constexpr Range kShare{0, 1};
inline constexpr Range kUpToHalfRate{0, 1, true};

// Extreme standardized moments of 40 samples, of which all but one are equal. With n samples and
// without the factor n of the usual kurtosis and sqrt(n) of the usual skewness, they are
// (n^2 - 3 n + 3) / (n (n - 1)) and (n - 2) / sqrt(n (n - 1)).
inline constexpr Range kKurtosisOf40{0, (40.0 * 40 - 3 * 40 + 3) / (40 * 39)};
inline constexpr Range kSkewnessOf40{-38 / 39.496835316262997, 38 / 39.496835316262997};

// The greatest ratio of one of 512 numbers to their root mean square: sqrt(512).
inline constexpr Range kCrestOf512{0, 22.627416997969522};

} // namespace detail

inline constexpr ValueInfo kTemporalValues[] = {
    {"zero crossing rate", "crossings per sample", detail::kShare,
     "The number of sign changes between neighbouring samples of the push, divided by the number "
     "of samples. Multiplied by rate / 2 it estimates the frequency of a single sine in Hz. "
     "Example: a 440 Hz sine at 44100 Hz gives 0.0200 in blocks of 4096, and 0.0200 * 22050 = 441 "
     "Hz. White noise gives about 0.5. Not a number for an empty push.",
     "Kedem, Spectral analysis and discrimination by zero-crossings, Proc. IEEE 74(11), 1986; "
     "Gouyon, Pachet and Delerue, On the use of zero-crossing rate for an application of "
     "classification of percussive sounds, DAFx, 2000"},
    {"root mean square energy", "full scale", detail::kNotNegative,
     "sqrt(sum of x[n]^2 / N) over the N samples of the push. It is an amplitude, not an energy. "
     "1 is full scale; a full-scale sine gives 0.707.",
     ""},
    {"amplitude envelope", "full scale", detail::kAny,
     "The root mean square energy of the pushes so far, smoothed by a third-order "
     "Butterworth low-pass filter that takes one step per push. Its cutoff is "
     "0.0059 of the push rate, so it needs about 58 pushes to reach half of a step. "
     "Example: a full-scale sine has brought it to 0.20 after 43 pushes, on its way "
     "to 0.707. The envelope can fall slightly below 0 after a loud passage.",
     "Butterworth, On the theory of filter amplifiers, Experimental Wireless 7, 1930"},
};

inline constexpr ValueInfo kGenericSpectrumValues[] = {
    {"spectrum mean", "magnitude", detail::kNotNegative, "Mean of all m[k]. S: 1.04. N: 3.34.", ""},
    {"spectrum spread", "magnitude^2", detail::kNotNegative,
     "Variance of the magnitudes: mean of (m[k] - mean)^2, without a square root. It says nothing "
     "about the width of the spectrum around its centroid. S: 191. N: 3.02.",
     ""},
    {"spectrum geometric mean", "magnitude", detail::kNotNegative,
     "exp(mean of ln m[k]). 0 if any magnitude is 0. S: 0.000014. N: 2.80.", ""},
    {"spectrum energy", "magnitude^2", detail::kNotNegative,
     "E, the sum of all m[k]^2. S: 98400. N: 7253.", ""},
    {"spectrum energy dB",
     "dB",
     {-80, detail::kOpen},
     "20 * log10(0.0001 + E / M). The factor is 20 although E is a power, so doubling the "
     "amplitude adds 12 dB. Silence gives -80. S: 45.7. N: 23.0.",
     ""},
    {"spectral power",
     "dB",
     {-40, detail::kOpen},
     "10 * log10(0.0001 + E / M), the power in dB without calibration. Doubling the amplitude "
     "adds 6 dB. Silence gives -40. S: 22.8. N: 11.5.",
     ""},
    {"spectrum centroid",
     "bins",
     {0, 511},
     "Sum of k * m[k] divided by the sum of m[k]. The unit is bins, not Hz: multiply by rate / "
     "1024. 0 for silence. S: 23.2, which is 999 Hz. N: 252, which is 10.8 kHz.",
     "Tzanetakis and Cook, Musical genre classification of audio signals, IEEE Trans. Speech and "
     "Audio Processing 10(5), 2002 (also a bin number)"},
    {"spectrum flatness", "1", detail::kShare,
     "Geometric mean of the magnitudes divided by their mean: near 1 "
     "for noise, near 0 for a tone, 0 for silence. The cited measure "
     "uses powers; this one uses magnitudes. S: 0.000013. N: 0.84.",
     "Gray and Markel, A spectral-flatness measure for studying the "
     "autocorrelation method of linear prediction of speech analysis, IEEE "
     "Trans. ASSP 22(3), 1974; Johnston, Transform coding of audio signals "
     "using perceptual noise criteria, IEEE J. Sel. Areas Comm. 6(2), 1988"},
    {"spectrum maximum frequency", "Hz", detail::kUpToHalfRate,
     "f[k] of the bin with the greatest magnitude; the lowest such bin if several are equal. "
     "Steps of rate / 1024. S: 990.5 (bin 23).",
     ""},
    {"spectrum low energy", "1", detail::kShare,
     "Share of E in the bins from 0 Hz up to and including 100 Hz; at 44100 Hz these are three "
     "bins. 0 for silence. N: 0.006.",
     ""},
    {"spectrum rolloff", "Hz", detail::kUpToHalfRate,
     "f[k] of the bin at which the sum of m[k]^2, taken from bin 0 upwards, passes 85 % of E. "
     "Silence gives the highest bin, f[511]. The cited measure sums magnitudes; this one sums "
     "their squares. S: 1034. N: 17916.",
     "Tzanetakis and Cook 2002"},
    {"spectrum slope", "magnitude/Hz", detail::kAny,
     "Sum of m[k] * e[k] divided by the sum of e[k]^2, with e[k] = f[k] - g and g = (sum of f[k]) "
     "/ (M - 1). This is the slope of a regression line of magnitude over frequency, except that "
     "g is slightly above the mean frequency: the divisor is M - 1, not M. A flat spectrum "
     "therefore gives a small slope below 0 instead of 0. The cited measure also divides by the "
     "sum of the magnitudes. S: -0.00026. N: -0.000015.",
     "Peeters, A large set of audio features for sound description (similarity and classification) "
     "in the CUIDADO project, IRCAM, 2004"},
    {"spectrum high frequency content definition 1", "bins * magnitude^2", detail::kNotNegative,
     "Sum of k * m[k]^2. S: 2.28e6. N: 1.79e6.",
     "Masri, Computer modelling of sound for transformation and synthesis of musical signals, PhD "
     "thesis, University of Bristol, 1996"},
    {"spectrum high frequency content definition 2", "bins * magnitude", detail::kNotNegative,
     "Sum of k * m[k]: definition 1 with magnitudes "
     "in place of their squares. S: 12377. N: 430435.",
     "after Masri 1996"},
    {"spectrum crest factor", "1", detail::kCrestOf512,
     "Greatest magnitude divided by the root mean square of all magnitudes: 1 for a flat "
     "spectrum, up to sqrt(512) for a single bin, 0 for silence. The cited measure divides by the "
     "mean. S: 17.9. N: 2.5.",
     "Peeters 2004"},
    {"spectrum brightness", "1", detail::kShare,
     "Sum of m[k] above 1500 Hz divided by the sum of all m[k]. 0 for silence. It is a share of "
     "magnitudes; the cited measures take a share of energy. S: 0.0004. N: 0.93.",
     "Juslin, Cue utilization in communication of emotion in music performance, J. Exp. "
     "Psychology: Human Perception and Performance 26(6), 2000; Lartillot and "
     "Toiviainen, A Matlab toolbox for musical feature extraction from audio, DAFx, 2007"},
};

inline constexpr ValueInfo kSpectrumHistogramValues[] = {
    {"spectrum kurtosis", "1", detail::kKurtosisOf40,
     "s4 / s2^2, with s4 and s2 the sums of (h[i] - u)^4 and (h[i] - "
     "u)^2 over the 40 counts. Multiplied by 40 it is the usual "
     "kurtosis of the counts (3 is not subtracted). S: 0.951. N: 0.052.",
     "Peeters 2004 (of the spectrum; here of the counts)"},
    {"spectrum skewness", "1", detail::kSkewnessOf40,
     "s3 / s2^1.5, with s3 the sum of (h[i] - u)^3. Multiplied by sqrt(40) it is the usual "
     "skewness of the counts. S: 0.962. N: 0.077.",
     "Peeters 2004 (of the spectrum; here of the counts)"},
};

inline constexpr ValueInfo kSpectrumPeakValues[] = {
    {"spectrum peak magnitude mean", "magnitude", detail::kNotNegative,
     "Mean of p[0] to p[n-1]. 0 without peaks. H: 2.9. N: 4.5.", ""},
    {"spectrum peak harmonic centroid",
     "peaks",
     {0, 254},
     "Sum of i * p[i] divided by S: the mean number of a peak, counted from 0. It is not a "
     "frequency. 0 without peaks. H: 2.4. N: 71.",
     ""},
    {"spectrum peak harmonic deviation", "1", detail::kAny,
     "D / T. D is the sum of p[i] - (p[b[i-1]] + p[b[i]] + p[b[i+1]]) / 3 over all "
     "peaks; the first and the last peak lack a neighbour, which counts as 0. T is "
     "the sum of p[b[i]]; the value is 0 if T is 0. The list of peaks is indexed by "
     "bin number, not by peak number, so most of these terms are 0 and values are "
     "not comparable with the cited measure. Keeps its last value without peaks. H: "
     "17.6. A square wave of 220 Hz, with odd harmonics only: 22.5. N: 2.8.",
     "after Krimphoff, McAdams and Winsberg, Caractérisation du timbre des sons complexes "
     "II, J. de Physique IV 4(C5), 1994, which compares the neighbours themselves"},
    {"spectrum first tristimulus", "magnitude", detail::kNotNegative,
     "p[0]^2 / S: a squared magnitude over a plain sum, so it grows with the level. 0 without "
     "peaks. H: 53.9. The same tone at a tenth of the level gives a tenth of that.",
     "after Pollard and Jansson, the tristimulus of musical timbre, Acustica 51, 1982, where all "
     "three are shares that add up to 1"},
    {"spectrum second tristimulus", "magnitude", detail::kNotNegative,
     "(p[1]^2 + p[2]^2 + p[3]^2) / S. It grows with the level. Keeps its last value with fewer "
     "than 5 peaks. H: 20.8.",
     "after Pollard and Jansson 1982"},
    {"spectrum third tristimulus", "1", detail::kShare,
     "(p[4] + ... + p[n-1]) / S, without squares. The three values need not add up to 1. Keeps "
     "its last value with fewer than 5 peaks. H: 0.28. N: 0.97.",
     "after Pollard and Jansson 1982"},
    {"spectrum dissonance", "1", detail::kAny,
     "Sum over all pairs i < j of 5 a exp(-3.51 s d) - 5 exp(-5.75 s d), with d = f(b[j]) - "
     "f(b[i]), s = 0.24 / (0.0207 f(b[i]) + 18.96) and a the smaller of p[b[i]] and p[b[j]] "
     "(indexed by bin number, as in the harmonic deviation). The amplitude weights the first "
     "exponential only, so the sum is often negative and grows more negative with the number of "
     "peaks. A greater value does not mean a more dissonant sound. 0 with fewer than 2 peaks. "
     "Compare it only between frames of similar material and level. Example, C4 with G4 and C4 "
     "with C#4, six harmonics each of amplitude 0.2 / k: -822 for the fifth and -861 for the "
     "minor second; at a tenth of that level -778 and -960.",
     "after Sethares, Local consonance and the relationship between timbre and scale, J. "
     "Acoust. Soc. Am. 94(3), 1993, which models Plomp and Levelt, Tonal consonance and "
     "critical bandwidth, J. Acoust. Soc. Am. 38, 1965, and weights both exponentials"},
    {"spectrum regularity", "magnitude", detail::kNotNegative,
     "Sum of (p[i] - p[i+1])^2 over neighbouring peaks, divided by S. Despite its name it is "
     "greater for an irregular spectrum, and it grows with the level. Keeps its last value "
     "without peaks. H: 16.9. N: 1.08.",
     "after Jensen, Timbre models of musical sounds, PhD thesis, University of Copenhagen, 1999, "
     "which divides by the sum of squares"},
};

inline constexpr ValueInfo kSpectrumFluxValues[] = {
    {"spectrum difference", "magnitude", detail::kNotNegative,
     "Sum of sqrt(|m[k]^2 - q[k]^2|) for k from 1: changes in both directions count. Bin 0 is "
     "left out. S, steady: 2.0. N: 1758.",
     ""},
    {"spectrum flux", "magnitude", detail::kNotNegative,
     "(Sum of m[k]) - (sum of q[k]), and 0 where that is negative: the rise of the total "
     "magnitude. The cited measure sums squared differences bin by bin.",
     "after Tzanetakis and Cook 2002"},
};

inline constexpr ValueInfo kSpectrumValues[] = {
    {"spectrum real data", "magnitude", detail::kAny,
     "Real part of bin k. In pair 0: the term at 0 Hz.", ""},
    {"spectrum imaginary data", "magnitude", detail::kAny,
     "Imaginary part of bin k. In pair 0: the term at half the sample rate.", ""},
};

} // namespace qel
