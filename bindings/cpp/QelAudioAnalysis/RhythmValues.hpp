// Values of the keys about rhythm: while audio streams, and of a whole stream.
//
// Symbols of the definitions of a whole stream: F is the detection function, one value per 128
// samples, and its rate is rate / 128.
#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <limits>

namespace qel {

namespace detail {

inline constexpr double kNoEnd = std::numeric_limits<double>::infinity();

// The longest lag looked at is below 2.1 seconds: 60 / 2.1 = 28.6 BPM, rounded.
inline constexpr Range kTempoRange{29, kNoEnd};

} // namespace detail

inline constexpr ValueInfo kGammaTomeSpectrumValues[] = {
    {"gamma tome spectrum",
     "full scale^2",
     {0, detail::kNoEnd},
     "The energy of a band: the sum over the bins k of |X[k] G[k]|^2, where X is the discrete "
     "Fourier transform of the windowed frame divided by 1024. A sine of amplitude 1 in the "
     "middle of the highest band gives about 0.16.",
     "gammatone responses after Hohmann, Frequency analysis and synthesis using a Gammatone "
     "filterbank, Acta Acustica united with Acustica 88, 2002; ERB scale after Glasberg and Moore, "
     "Derivation of auditory filter shapes from notched-noise data, Hearing Research 47, 1990"},
};

inline constexpr ValueInfo kTempoValues[] = {
    {"tempo",
     "BPM",
     {20, 280},
     "60 * 172 / lag, where lag is the lag of the highest peak of the salience whose tempo lies "
     "between Min BPM and Max BPM (the range given is that of their defaults). A peak must (1) "
     "reach a tenth of the highest salience and (2) exceed all lags from 20 shorter to 19 longer; "
     "of two peaks within 20 lags the shorter lag wins. If all peaks lie outside the range, the "
     "one with the shortest lag decides, clipped to the range.",
     "comb filters after Scheirer, Tempo and beat analysis of acoustic musical signals, J. Acoust. "
     "Soc. Am. 103(1), 1998; accents and normalised energies after Klapuri, Eronen and Astola, "
     "Analysis of the meter of acoustic musical signals, IEEE Trans. Audio, Speech, and Language "
     "Processing 14(1), 2006"},
};

inline constexpr ValueInfo kGlobalTempoValues[] = {
    {"global tempo 1", "BPM", detail::kTempoRange,
     "The tempo whose beat period is the lag of the highest peak of the autocorrelation of F. The "
     "autocorrelation is weighted with a preference for moderate tempi: a Gaussian over the "
     "logarithm of the tempo, centred at 120 BPM (60 with Genre Hint 0), with a standard "
     "deviation of 1.43 octaves. Rounded to whole BPM. A value outside the range of Genre Hint is "
     "replaced by tempo 2, unless tempo 2 lies outside as well.",
     "Ellis, Beat tracking by dynamic programming, J. New Music Research 36(1), 2007; Parncutt, A "
     "perceptual model of pulse salience and metrical accent in musical rhythms, Music Perception "
     "11(4), 1994; Moelants, Preferred tempo reconsidered, ICMPC, 2002"},
    {"global tempo 2", "BPM", detail::kTempoRange,
     "The best related tempo in the range of Genre Hint: three times, twice or half tempo 1, "
     "whichever has the greatest weighted autocorrelation. Equal to tempo 1 if none is above 0. "
     "Rounded to whole BPM. Listeners do not agree on one tempo: look at both values.",
     "the pair with its shares after McKinney, Moelants, Davies and Klapuri, Evaluation of audio "
     "beat tracking and music tempo extraction algorithms, J. New Music Research 36(1), 2007"},
    {"global tempo 1 confidence",
     "1",
     {0, 1},
     "The share of tempo 1 in the sum of the weighted autocorrelations of both tempi. It compares "
     "the two tempi and is not a probability of being right. 1.00 says only that tempo 2 has "
     "weight 0. It is 0.5 if one tempo has replaced the other, so that both are equal. Below 0.5 "
     "the beats follow tempo 2. Example: clicks at 60 BPM give 30, 60 and 1.00, although 60 is "
     "right.",
     "after McKinney, Moelants, Davies and Klapuri 2007"},
};

inline constexpr ValueInfo kBeatsPerBarValues[] = {
    {"global number of beats per bar",
     "beats",
     {0, 7},
     "3, 4, 5 or 7, and 0 where none was found. Bars "
     "of 2 and of 8 beats count as 4, bars of 6 as 3.",
     "the autocorrelation by lag and phase after Eck and Casagrande, Finding meter in music using "
     "an autocorrelation phase matrix and Shannon entropy, ISMIR, 2005"},
};

inline constexpr ValueInfo kBeatValues[] = {
    {"beat time",
     "s",
     {0, detail::kNoEnd},
     "Seconds from the start of the stream to the first sample of the frame of F that is "
     "the beat, in steps of 128 / rate. Beat times are early. For clicks, they are early by "
     "0.05 T + 864 / rate + 7.6e-8 rate T^2 seconds, where T is the beat period in seconds: "
     "45 ms at 120 BPM and 44100 Hz. Add this to move a beat onto a sharp attack. For music "
     "the formula is about 10 ms too large: the beats of the sample recording, at 112 BPM, "
     "are 35 ms early on average (standard deviation 2.5 ms), and the formula gives 47 ms. "
     "The three terms come from (1) the smoothing, which is read after its centre; (2) the "
     "frame, whose first sample is 768 samples before the attack at which F rises most, and "
     "rounding; (3) the removal of the slow part of F. Measured on clicks at 60 to 200 BPM, "
     "44100 and 48000 Hz: the mean was 35 to 86 ms and within 3 ms of the formula, and no "
     "beat was more than 2 ms off the mean (standard deviation below 1 ms). The last six "
     "beats are less reliable, because they lead to the last frame. In the dictionary the "
     "time is a float, whose steps exceed a millisecond after 2.3 hours.",
     "Ellis 2007"},
    {"beat confidence",
     "1",
     {0, detail::kNoEnd},
     "Strength: the magnitude of F at the frame of the beat, divided by the greatest F of the "
     "section. Beats are early, so F has often only begun to rise there, and small values are no "
     "sign of wrong beats. Compare it only between beats of one stream. If F falls below 0 the "
     "value can exceed 1. It is not a number in a section where F is 0 throughout.",
     ""},
};

inline constexpr ValueInfo kDownBeatValues[] = {
    {"down beat time",
     "s",
     {0, detail::kNoEnd},
     "The time of the chosen beat, as in \"beat data\", and early by the same amount. The "
     "strengths that choose the first down beat are read early too, often before the attack. Down "
     "beats are therefore one bar apart but may fall on another beat than the first of the bar.",
     ""},
    {"down beat confidence",
     "1",
     {0, detail::kNoEnd},
     "The strength of that beat, as in \"beat data\". It does not say how certain it is that a "
     "bar begins there.",
     ""},
};

inline constexpr ValueInfo kOnsetValues[] = {
    {"onset time",
     "s",
     {0, detail::kNoEnd},
     "Seconds from the start of the stream to the sample at which D peaks, in "
     "steps of one sample. The smoothing runs backwards in time: it rises before "
     "an event and ends at it. The peak is therefore where the first energy has "
     "arrived, some milliseconds after the start of a note. In the dictionary "
     "the time is a float, whose steps exceed a millisecond after 2.3 hours.",
     ""},
    {"onset strength",
     "1",
     {0, 1},
     "D at that sample, divided by the greatest D of the channel. D is compressed, so soft events "
     "count: the value behaves like a level rather than an energy. Ripples of a decaying tail can "
     "appear as onsets of very small strength where nothing else is near. A threshold on the "
     "strength removes them (qel: --min-strength).",
     ""},
};

} // namespace qel
