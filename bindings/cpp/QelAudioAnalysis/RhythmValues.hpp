/*
 * Values of the keys about rhythm: while audio streams, and of a whole stream.
 *
 * Symbols of the definitions of a whole stream: F is the detection function, one value per 128
 * samples, and its rate is rate / 128.
 */
#pragma once

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <limits>

namespace qel {

namespace detail {

inline constexpr double kNoEnd = std::numeric_limits<double>::infinity();

/* The longest lag looked at is below 2.1 seconds: 60 / 2.1 = 28.6 BPM, rounded. */
inline constexpr Range kTempoRange{29, kNoEnd};

} // namespace detail

inline constexpr ValueInfo kGammaTomeSpectrumValues[] = {
    {"gamma tome spectrum",
     "full scale^2",
     {0, detail::kNoEnd},
     "The energy of a band: the sum over the bins k of |X[k] G[k]|^2, where X is the plain "
     "discrete "
     "Fourier transform of the windowed frame divided by 1024. A sine of amplitude 1 in the middle "
     "of the highest band gives about 0.16.",
     "gammatone responses after Hohmann, Frequency analysis and synthesis using a Gammatone "
     "filterbank, Acta Acustica united with Acustica 88, 2002; ERB scale after Glasberg and Moore, "
     "Derivation of auditory filter shapes from notched-noise data, Hearing Research 47, 1990"},
};

inline constexpr ValueInfo kTempoValues[] = {
    {"tempo",
     "BPM",
     {20, 280},
     "60 * 172 / lag, where lag is that of the highest peak of the salience whose tempo lies "
     "between "
     "Min BPM and Max BPM (the range is that of their defaults). A peak reaches a tenth of the "
     "highest salience and stands above all lags from 20 shorter to 19 longer; of two peaks within "
     "20 lags the shorter lag stands, deliberately. Where all peaks lie outside, the one of the "
     "shortest lag decides, cut to the range.",
     "comb filters after Scheirer, Tempo and beat analysis of acoustic musical signals, J. Acoust. "
     "Soc. Am. 103(1), 1998; accents and normalised energies after Klapuri, Eronen and Astola, "
     "Analysis of the meter of acoustic musical signals, IEEE Trans. Audio, Speech, and Language "
     "Processing 14(1), 2006"},
};

inline constexpr ValueInfo kGlobalTempoValues[] = {
    {"global tempo 1", "BPM", detail::kTempoRange,
     "The tempo whose beat period is the lag of the highest peak of the autocorrelation of F, "
     "weighed with a preference for moderate tempi: a Gaussian over the logarithm of the tempo, "
     "with its centre at 120 BPM (60 with Genre Hint 0) and a standard deviation of 1.43 octaves. "
     "Rounded to whole BPM. A value outside of the range of Genre Hint is replaced by tempo 2, "
     "unless that lies outside as well.",
     "Ellis, Beat tracking by dynamic programming, J. New Music Research 36(1), 2007; Parncutt, A "
     "perceptual model of pulse salience and metrical accent in musical rhythms, Music Perception "
     "11(4), 1994; Moelants, Preferred tempo reconsidered, ICMPC, 2002"},
    {"global tempo 2", "BPM", detail::kTempoRange,
     "The best related tempo in the range of Genre Hint: three times, twice or half tempo 1, "
     "whichever has the greatest weighed autocorrelation; equal to tempo 1 if none is above 0. "
     "Rounded to whole BPM. Music has no one tempo to all listeners: look at both.",
     "the pair with its shares after McKinney, Moelants, Davies and Klapuri, Evaluation of audio "
     "beat tracking and music tempo extraction algorithms, J. New Music Research 36(1), 2007"},
    {"global tempo 1 confidence",
     "1",
     {0, 1},
     "The share of tempo 1 in the sum of both tempi's weighed autocorrelations. It compares the "
     "two "
     "and is no probability of being right. 0.5 where one tempo has taken the other's place. Below "
     "0.5 the beats follow tempo 2.",
     "after McKinney, Moelants, Davies and Klapuri 2007"},
};

inline constexpr ValueInfo kBeatsPerBarValues[] = {
    {"global number of beats per bar",
     "beats",
     {0, 7},
     "3, 4, 5 or 7, and 0 where none was found. Bars of 2 and of 8 beats count as 4, those of 6 as "
     "3.",
     "the autocorrelation by lag and phase after Eck and Casagrande, Finding meter in music using "
     "an autocorrelation phase matrix and Shannon entropy, ISMIR, 2005"},
};

inline constexpr ValueInfo kBeatValues[] = {
    {"beat time",
     "s",
     {0, detail::kNoEnd},
     "Seconds from the stream's start to the first sample of the frame of F that is the beat, in "
     "steps of 128 / rate. It is early, deliberately, by a distance that is constant while the "
     "period T in seconds of the beats is: 0.05 T + 864 / rate + 7.6e-8 rate T^2 seconds, 45 ms at "
     "120 BPM and 44100 Hz. Add it to stand on a sharp attack. The first term comes from the "
     "smoothing, which is read behind its centre; the second from the frame, whose first sample is "
     "768 samples before the attack that it sees rise most, and from rounding; the third from the "
     "removal of the slow part of F. On clicks at 60 to 200 BPM, 44100 and 48000 Hz, the mean "
     "distance was 35 to 86 ms and within 3 ms of the formula, and no beat was more than 2 ms off "
     "the mean, with a standard deviation below 1 ms. The last six beats are not so sure: they "
     "lead "
     "over to the last frame. In the dictionary it is a float, whose steps exceed a millisecond "
     "after "
     "2.3 hours.",
     "Ellis 2007"},
    {"beat confidence",
     "1",
     {0, detail::kNoEnd},
     "Strength: the magnitude of F at the beat's frame, divided by the greatest F of the section. "
     "As "
     "beats are early, F often has only begun to rise there: small values are no sign of wrong "
     "beats. "
     "Compare it between beats of one stream. A fall of F below 0 can take it above 1, and it is "
     "not "
     "a number in a section where F is 0 throughout.",
     ""},
};

inline constexpr ValueInfo kDownBeatValues[] = {
    {"down beat time",
     "s",
     {0, detail::kNoEnd},
     "The time of the beat that was chosen, as in \"beat data\", and early by the same distance. "
     "The strength that chooses the first one is read as early, often before the attack: down "
     "beats are a bar apart, yet may well stand on another beat than the first of the bar.",
     ""},
    {"down beat confidence",
     "1",
     {0, detail::kNoEnd},
     "The strength of that beat, as in \"beat data\". It does not tell how sure it is that a bar "
     "begins there.",
     ""},
};

inline constexpr ValueInfo kOnsetValues[] = {
    {"onset time",
     "s",
     {0, detail::kNoEnd},
     "Seconds from the stream's start to the sample at which D peaks, in steps of one sample. The "
     "smoothing rings in front of an event and ends at it, so that the peak stands where the first "
     "energy has come: some milliseconds behind the start of a note. In the dictionary it is a "
     "float, whose steps exceed a millisecond after 2.3 hours.",
     ""},
    {"onset strength",
     "1",
     {0, 1},
     "D at that sample, divided by the greatest D of the channel. The compression makes soft "
     "events "
     "count: it compares with a level rather than with an energy. Ripples of a tail that decays "
     "can "
     "stand as onsets of tiny strength where nothing else is near; a threshold on the strength "
     "takes "
     "them out (qel: --min-strength).",
     ""},
};

} // namespace qel
