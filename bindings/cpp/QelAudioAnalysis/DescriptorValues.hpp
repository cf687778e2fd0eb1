/*
 * Values of the keys that describe a waveform or a spectrum. Longer than other headers of the
 * house, as it is one table of text.
 *
 * Symbols of the definitions: m[k] is the magnitude of bin k, 0 <= k < M, of a frame of 1024
 * samples (M = 512); f[k] = k * rate / 1024 its frequency in Hz; E the sum of m[k]^2.
 */
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

/* Extreme standardized moments of 40 samples: all but one of them equal. With n samples and without
   the factor n of the usual kurtosis and sqrt(n) of the usual skewness, they are
   (n^2 - 3 n + 3) / (n (n - 1)) and (n - 2) / sqrt(n (n - 1)). */
inline constexpr Range kKurtosisOf40{0, (40.0 * 40 - 3 * 40 + 3) / (40 * 39)};
inline constexpr Range kSkewnessOf40{-38 / 39.496835316262997, 38 / 39.496835316262997};

/* The greatest ratio of one of 512 numbers to their root mean square: sqrt(512). */
inline constexpr Range kCrestOf512{0, 22.627416997969522};

} // namespace detail

inline constexpr ValueInfo kTemporalValues[] = {
    {"zero crossing rate", "crossings per sample", detail::kShare,
     "Sign changes between neighbouring samples of the push, divided by its number of samples. "
     "Times rate / 2 it estimates the frequency in Hz of a single sine. Not a number for an empty "
     "push.",
     "Kedem, Spectral analysis and discrimination by zero-crossings, Proc. IEEE 74(11), 1986; "
     "Gouyon, Pachet and Delerue, On the use of zero-crossing rate for an application of "
     "classification of percussive sounds, DAFx, 2000"},
    {"root mean square energy", "full scale", detail::kNotNegative,
     "sqrt(sum of x[n]^2 / N) over the N samples of the push; an amplitude, not an energy. 1 is "
     "full scale; a full-scale sine has 0.707.",
     ""},
    {"amplitude envelope", "full scale", detail::kAny,
     "The root mean square energy of the pushes so far, smoothed by a third-order Butterworth "
     "low-pass that takes one step per push (cut-off at 0.0059 of the rate of the pushes: it needs "
     "about 58 pushes to reach half of a step). It can swing slightly below 0 after a loud "
     "passage.",
     "Butterworth, On the theory of filter amplifiers, Experimental Wireless 7, 1930"},
};

inline constexpr ValueInfo kGenericSpectrumValues[] = {
    {"spectrum mean", "magnitude", detail::kNotNegative, "Mean of all m[k].", ""},
    {"spectrum spread", "magnitude^2", detail::kNotNegative,
     "Variance of the magnitudes: mean of (m[k] - mean)^2, without a root. It says nothing about "
     "the width of the spectrum around its centroid.",
     ""},
    {"spectrum geometric mean", "magnitude", detail::kNotNegative,
     "exp(mean of ln m[k]). 0 as soon as one magnitude is 0.", ""},
    {"spectrum energy", "magnitude^2", detail::kNotNegative, "E, the sum of all m[k]^2.", ""},
    {"spectrum energy dB",
     "dB",
     {-80, detail::kOpen},
     "20 * log10(0.0001 + E / M). The factor 20 stands before the logarithm of a power, so that "
     "doubling the amplitude adds 12 dB. Silence gives -80.",
     ""},
    {"spectral power",
     "dB",
     {-40, detail::kOpen},
     "10 * log10(0.0001 + E / M), the power in dB without calibration. Doubling the amplitude adds "
     "6 dB. Silence gives -40.",
     ""},
    {"spectrum centroid",
     "bins",
     {0, 511},
     "Sum of k * m[k] divided by the sum of m[k]: a position in bins, not in Hz. Times rate / 1024 "
     "it is in Hz. 0 for silence.",
     "Tzanetakis and Cook, Musical genre classification of audio signals, IEEE Trans. Speech and "
     "Audio Processing 10(5), 2002 (also a bin number)"},
    {"spectrum flatness", "1", detail::kShare,
     "Geometric mean divided by mean of the magnitudes: near 1 for noise, near 0 for a tone. 0 for "
     "silence. The cited measure takes powers where this one takes magnitudes.",
     "Gray and Markel, A spectral-flatness measure for studying the autocorrelation method of "
     "linear prediction of speech analysis, IEEE Trans. ASSP 22(3), 1974; Johnston, Transform "
     "coding "
     "of audio signals using perceptual noise criteria, IEEE J. Sel. Areas Comm. 6(2), 1988"},
    {"spectrum maximum frequency", "Hz", detail::kUpToHalfRate,
     "f[k] of the bin with the greatest magnitude, the lowest one if several are equal. Steps of "
     "rate / 1024.",
     ""},
    {"spectrum low energy", "1", detail::kShare,
     "Share of E in the bins from 0 up to and including 100 Hz. 0 for silence. At 44100 Hz these "
     "are three bins.",
     ""},
    {"spectrum rolloff", "Hz", detail::kUpToHalfRate,
     "f[k] of the bin with which the sum of m[k]^2 from bin 0 upwards passes 85 % of E. Silence "
     "gives the highest bin, f[511]. The cited measure sums magnitudes where this one sums their "
     "squares.",
     "Tzanetakis and Cook 2002"},
    {"spectrum slope", "magnitude/Hz", detail::kAny,
     "Sum of m[k] * e[k] divided by the sum of e[k]^2, with e[k] = f[k] - g and g = (sum of f[k]) "
     "/ "
     "(M - 1). That is the slope of a regression line of magnitude over frequency, but that g lies "
     "slightly above the true mean frequency, deliberately: a flat spectrum gives a small slope "
     "below 0 instead of 0. The cited measure is divided by the sum of the magnitudes as well.",
     "Peeters, A large set of audio features for sound description (similarity and classification) "
     "in the CUIDADO project, IRCAM, 2004"},
    {"spectrum high frequency content definition 1", "bins * magnitude^2", detail::kNotNegative,
     "Sum of k * m[k]^2.",
     "Masri, Computer modelling of sound for transformation and synthesis of musical signals, PhD "
     "thesis, University of Bristol, 1996"},
    {"spectrum high frequency content definition 2", "bins * magnitude", detail::kNotNegative,
     "Sum of k * m[k]: as definition 1, with magnitudes in place of their squares.",
     "after Masri 1996"},
    {"spectrum crest factor", "1", detail::kCrestOf512,
     "Greatest magnitude divided by the root mean square of all magnitudes: 1 for a flat spectrum, "
     "up to sqrt(512) for a single bin. 0 for silence. The cited measure divides by the mean.",
     "Peeters 2004"},
    {"spectrum brightness", "1", detail::kShare,
     "Sum of m[k] above 1500 Hz divided by the sum of all m[k]. 0 for silence. A share of "
     "magnitudes, where the cited measures take a share of energy.",
     "Juslin, Cue utilization in communication of emotion in music performance, J. Exp. "
     "Psychology: "
     "Human Perception and Performance 26(6), 2000; Lartillot and Toiviainen, A Matlab toolbox for "
     "musical feature extraction from audio, DAFx, 2007"},
};

inline constexpr ValueInfo kSpectrumHistogramValues[] = {
    {"spectrum kurtosis", "1", detail::kKurtosisOf40,
     "s4 / s2^2, with s4 and s2 the sums of (h[i] - u)^4 and (h[i] - u)^2 over the 40 counts. "
     "Times "
     "40 it is the usual kurtosis of the counts (3 is not subtracted).",
     "Peeters 2004 (of the spectrum; here of the counts)"},
    {"spectrum skewness", "1", detail::kSkewnessOf40,
     "s3 / s2^1.5, with s3 the sum of (h[i] - u)^3. Times sqrt(40) it is the usual skewness of the "
     "counts.",
     "Peeters 2004 (of the spectrum; here of the counts)"},
};

inline constexpr ValueInfo kSpectrumPeakValues[] = {
    {"spectrum peak magnitude mean", "magnitude", detail::kNotNegative,
     "Mean of p[0] to p[n-1]. 0 without peaks.", ""},
    {"spectrum peak harmonic centroid",
     "peaks",
     {0, 254},
     "Sum of i * p[i] divided by S: the mean number of a peak counted from 0, not a frequency. 0 "
     "without peaks.",
     ""},
    {"spectrum peak harmonic deviation", "1", detail::kAny,
     "D / T. D is the sum of p[i] - (p[b[i-1]] + p[b[i]] + p[b[i+1]]) / 3 over all peaks (the "
     "first "
     "and the last lack a neighbour, which counts as 0), T the sum of p[b[i]], 0 if T is 0. The "
     "list "
     "of peaks is read at bin numbers here, deliberately, so that most of these terms are 0. Stays "
     "without peaks.",
     "after Krimphoff, McAdams and Winsberg, Caractérisation du timbre des sons complexes II, J. "
     "de "
     "Physique IV 4(C5), 1994, which compares the neighbours themselves"},
    {"spectrum first tristimulus", "magnitude", detail::kNotNegative,
     "p[0]^2 / S: a squared magnitude over a plain sum, so that it grows with the level. 0 without "
     "peaks.",
     "after Pollard and Jansson, the tristimulus of musical timbre, Acustica 51, 1982, where all "
     "three are shares that add up to 1"},
    {"spectrum second tristimulus", "magnitude", detail::kNotNegative,
     "(p[1]^2 + p[2]^2 + p[3]^2) / S. Grows with the level. Stays with fewer than 5 peaks.",
     "after Pollard and Jansson 1982"},
    {"spectrum third tristimulus", "1", detail::kShare,
     "(p[4] + ... + p[n-1]) / S, without squares: the three need not add up to 1. Stays with fewer "
     "than 5 peaks.",
     "after Pollard and Jansson 1982"},
    {"spectrum dissonance", "1", detail::kAny,
     "Sum over all pairs i < j of 5 a exp(-3.51 s d) - 5 exp(-5.75 s d), with d = f(b[j]) - "
     "f(b[i]), "
     "s = 0.24 / (0.0207 f(b[i]) + 18.96) and a the lesser of p[b[i]] and p[b[j]] (read at bin "
     "numbers, as in the harmonic deviation). The amplitude weighs the first exponential only, "
     "deliberately, so that the sum is often negative. 0 with fewer than 2 peaks. Compare it only "
     "between frames of like material.",
     "after Sethares, Local consonance and the relationship between timbre and scale, J. Acoust. "
     "Soc. Am. 94(3), 1993, which models Plomp and Levelt, Tonal consonance and critical "
     "bandwidth, "
     "J. Acoust. Soc. Am. 38, 1965, and weighs both exponentials"},
    {"spectrum regularity", "magnitude", detail::kNotNegative,
     "Sum of (p[i] - p[i+1])^2 over neighbouring peaks, divided by S. In spite of its name it is "
     "larger for an irregular spectrum, and it grows with the level. Stays without peaks.",
     "after Jensen, Timbre models of musical sounds, PhD thesis, University of Copenhagen, 1999, "
     "which divides by the sum of squares"},
};

inline constexpr ValueInfo kSpectrumFluxValues[] = {
    {"spectrum difference", "magnitude", detail::kNotNegative,
     "Sum of sqrt(|m[k]^2 - q[k]^2|) for k from 1: changes in both directions count. Bin 0 is left "
     "out.",
     ""},
    {"spectrum flux", "magnitude", detail::kNotNegative,
     "(Sum of m[k]) - (sum of q[k]), and 0 where that is negative: the rise of the total "
     "magnitude. "
     "The cited measure sums squared differences bin by bin.",
     "after Tzanetakis and Cook 2002"},
};

inline constexpr ValueInfo kSpectrumValues[] = {
    {"spectrum real data", "magnitude", detail::kAny,
     "Real part of bin k; in pair 0 the term at 0 Hz.", ""},
    {"spectrum imaginary data", "magnitude", detail::kAny,
     "Imaginary part of bin k; in pair 0 the term at half the sample rate.", ""},
};

} // namespace qel
