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
#include <QelAudioAnalysis/LoudnessValues.hpp>
#include <QelAudioAnalysis/PartialValues.hpp>
#include <QelAudioAnalysis/PitchValues.hpp>
#include <QelAudioAnalysis/RhythmValues.hpp>
#include <QelAudioAnalysis/TimbreValues.hpp>

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
    {"phase properties", PayloadKind::Floats, 20, Delivery::PerFrame, 1024, 512, kPhaseValues,
     "How phases and magnitudes change from frame to frame. m[k] is the magnitude of bin k, p[k] "
     "its phase from -pi to pi, both of a frame with a Hann window; d[k] is the phase of the "
     "frame before minus p[k], and e[k] the d[k] of the frame before minus d[k], both brought to "
     "-pi to pi. So e[k] is 0 where the phase goes on at its rate. Before the first frame all are "
     "0. Means are taken over 512 bins. Bin 0 counts with the term at half the rate for its "
     "imaginary part."},
    {"mel frequency cepstral coefficients", PayloadKind::Vector, 52, Delivery::PerFrame, 4096, 2048,
     kMelCepstralValues,
     "13 numbers that describe the coarse spectrum below 1.1 kHz, a vector of length 1. They are "
     "made of 13 filters, deliberately, and what lies above 1070.9 Hz or below 133.3 Hz does not "
     "count: filter p is a triangle over the frequencies from f[p] to f[p+2] with its top at "
     "f[p+1] and an area of 1, with f[p] = 133.333 + 66.667 p for p from 0 to 12, f[13] = 999.76 "
     "and f[14] = 1070.91 Hz. L[p] = log10(max(1e-10, sum of the filter times \"mel spectrum\")). "
     "Compare them with each other (the sum of products of two vectors is the cosine of their "
     "angle) and not with coefficients from elsewhere. They depend on the level: a gain adds the "
     "same number to all L[p], which turns the vector."},
    {"tempo", PayloadKind::Vector, 4, Delivery::PerFrame, 1024, 512, kTempoValues,
     "The tempo while audio streams, from what was heard so far: two results per frame, the second "
     "one for half a hop later. The bands 8, 17, 26 and 35 of \"gamma tome spectrum\" are "
     "compressed, brought to twice their rate and low-passed at 10 Hz; their rise with a share of "
     "their level is the accent. Each accent band runs through feedback comb filters, one per lag, "
     "that forget to a half in 3 seconds, and the energies that they keep, summed over the bands, "
     "are the salience of the lags. Lags are 1 to 128 accents, so that tempi below 80.6 BPM come "
     "out doubled; with the parameter \"complexity\" 1 or 2 they reach 256 (40.3 BPM) or 512 "
     "(20.2 BPM), from the next reset on. A regular pulse fits the multiples of its lag as well: "
     "fast ones often come out at a half or a third, and slow ones too where there is room for the "
     "multiples. A change of tempo is followed some three seconds behind. Where there is no peak, "
     "the "
     "tempo of the last peaks stays, deliberately whichever channel they were found in; before the "
     "first it is Min BPM. The figures are made for 172 accents per second: with rate the sample "
     "rate in Hz, the tempo that is heard is the value times rate / 44032, deliberately without a "
     "correction for other rates than 44100 Hz.",
     2},
    {"dominant key", PayloadKind::Name, 8, Delivery::PerFrame, 8192, 512, kDominantKeyValues,
     "The musical key that one frame fits best, out of 12 major and 12 minor keys. A frame of 186 "
     "ms "
     "(at 44100 Hz) hardly holds more than a chord: expect the key to follow the chords."},
    {"fundamental frequency", PayloadKind::Vector, 4, Delivery::PerFrame, 1024, 512,
     kFundamentalFrequencyValues,
     "The frequency of the oldest of \"partials\". No pitch is looked for: after silence it is the "
     "lowest peak of the first frame that has one, be it a fundamental, hum or noise, and it stays "
     "with that track as long as it lives. When the track ends, the value jumps to the track that "
     "is "
     "then the oldest. Smooth it, and take it for a pitch only where one voice sounds."},
    {"inharmonicity", PayloadKind::Vector, 4, Delivery::PerFrame, 1024, 512, kInharmonicityValues,
     "How far the partials of one frame lie from the harmonics of \"fundamental frequency\", "
     "whatever that is: where the oldest track is no fundamental, it is high for harmonic sounds "
     "too."},
    {"spectrum", PayloadKind::ComplexPairs, 4096, Delivery::PerFrame, 1024, 512, kSpectrumValues,
     "The spectrum of one frame: 512 pairs of real and imaginary part, twice the discrete Fourier "
     "transform of the windowed frame. Pair k belongs to the frequency k * rate / 1024. Pair 0 is "
     "no complex number: its first float is the term at 0 Hz and its second float the term at half "
     "the sample rate, both real."},
    {"cepstrum", PayloadKind::Vector, 512, Delivery::PerFrame, 512, 256, kCepstrumValues,
     "Spectrum of the logarithmic spectrum of one frame: a row of harmonics stands as a peak. "
     "m[k] is twice the magnitude of bin k of the frame's transform with a sine window. Float q "
     "belongs to a period of 2 q / rate seconds, that is to a fundamental at rate / (2 q): 441 Hz "
     "for q = 50 at 44100 Hz. It reaches down to rate / 254, and by the length of the frame high "
     "voices alone come out clearly. It is a forward transform with magnitudes; the phases of the "
     "usual inverse one are lost."},
    {"mel spectrum", PayloadKind::Vector, 8192, Delivery::PerFrame, 4096, 2048, kMelSpectrumValues,
     "The plain magnitude spectrum of one frame, with a Hann window: 2048 bins, bin k at k * rate "
     "/ 4096 Hz. Deliberately, in spite of its name, there is neither a mel scale nor a filter "
     "bank in it."},
    {"gamma tome spectrum", PayloadKind::Vector, 144, Delivery::PerFrame, 1024, 512,
     kGammaTomeSpectrumValues,
     "Energies of 36 gammatone bands of one frame, the lowest band first. Band r has the response "
     "G[k] = 1.30 (g(k - c) + g(k - 512 + c)) over the bins k, with g(x) = (1 + (x / b)^2)^-2, the "
     "centre c = 1.6146 * 1.1275^r - 1.3356 and the width b = 0.1104 (c + 1.3356), both in bins. "
     "Centres lie at 0.28 bins (r = 0) to 106.3 bins (r = 35; 4580 Hz at 44100 Hz) and are equally "
     "spaced on the ERB scale. Deliberately, they lie at a quarter of the frequencies that have "
     "such widths on it; each band also takes in its mirror image at 512 - c (17.5 kHz for r = "
     "35); "
     "and all move with the sample rate. Bands 0 to 15, about a bin wide or less, have values "
     "of their own near the centre. The term at half the sample rate is left out."},
    {"constant q spectrum", PayloadKind::Vector, 848, Delivery::PerFrame, 8192, 1024,
     kConstantQValues,
     "Magnitudes on a logarithmic frequency axis, 36 bins per octave: bin k, for k from 0 to 211, "
     "has "
     "its centre at 90 * 2^(k / 36) Hz, up to 5231 Hz, at any sample rate. Each is the modulus of "
     "the "
     "inner product of the frame, which has no window, with a kernel: a complex sine of 51.44 "
     "periods of the bin's frequency, with a Hamming window and divided by its length, whose "
     "spectrum is set to 0 up to a hundredth of its peak. So a bin is as wide as the distance to "
     "the "
     "next one. All kernels begin at the frame's first sample: bin k is about the first 51.44 * "
     "rate "
     "/ f samples of the frame, where f is its centre. At 44100 Hz these are 434 samples in the "
     "highest bin, and above 2215 Hz fewer than the hop, so that short high tones can fall between "
     "two frames. Below 51.44 * rate / 8192 (277 Hz at 44100 Hz) a kernel is longer than the "
     "frame, "
     "which it meets with its first 8192 samples only, deliberately: there all bins are about rate "
     "/ "
     "8192 wide, and neighbours are hardly told apart. At rates below 10463 Hz the bins above rate "
     "/ "
     "2 show images of lower tones."},
    {"pitch class profile", PayloadKind::Vector, 48, Delivery::PerFrame, 8192, 512,
     kPitchClassProfileValues,
     "How much sounds of each pitch class in one frame, C first: float p belongs to C raised by p "
     "semitones, at an A of 440 Hz. The mean is taken out of the frame, then it is windowed with a "
     "Hamming window, 0.54 - 0.46 cos(2 pi i / 8191). Bin k of its 8192-point transform, for k "
     "from "
     "1 to 4095, lies at k * rate / 8192 Hz and counts with its magnitude for one semitone, the "
     "one "
     "whose frequency 261.6256 * 2^(s / 12) Hz is nearest in Hz. Semitones an octave apart are "
     "added. "
     "No tuning is looked for. Bins are 5.4 Hz apart at 44100 Hz and wider than the semitones "
     "below "
     "90 Hz: bass notes may count for a neighbour. High octaves have more bins, so that noise and "
     "hiss fill all pitch classes."},
    {"pitch class porofile key correlation", PayloadKind::Vector, 96, Delivery::PerFrame, 8192, 512,
     kKeyCorrelationValues,
     "How well \"pitch class profile\" fits each key: floats 0 to 11 are the major keys from C "
     "upwards, 12 to 23 the minor keys."},
    {"pitch class profile tonal centroid", PayloadKind::Vector, 24, Delivery::PerFrame, 8192, 512,
     kTonalCentroidValues,
     "The place of \"pitch class profile\" in tonal space: sine and cosine on the circles of "
     "fifths, minor thirds and major thirds. What is harmonically near lies near; the distance "
     "from "
     "frame to frame shows a change of harmony."},
    {"harmonic pitch class profile", PayloadKind::Vector, 144, Delivery::PerFrame, 8192, 1024,
     kHarmonicPitchClassProfileValues,
     "All octaves of \"constant q spectrum\" laid over each other: 36 places, a third of a "
     "semitone "
     "apart. Place 0 belongs to 90 Hz and its octaves and is no pitch class: with A at 440 Hz, the "
     "notes of the scale stand at the places 1.42 (F sharp), 4.42 (G) and so on, each semitone 3 "
     "places higher, A at 10.42."},
    {"partials", PayloadKind::Partials, 16, Delivery::PerFrame, 1024, 512, kPartialValues,
     "The sinusoidal tracks that live in one frame, the oldest first. A peak is a bin whose "
     "magnitude, raised to 0.001 where it is less, lies above that of the bin before and not below "
     "that of the bin behind, and above a five-hundredth (54 dB) of the frame's greatest; the "
     "first "
     "and the last bin are none. The parabola through the natural logarithms of the three "
     "magnitudes gives its place and height. The oldest track takes the nearest peak if that is "
     "less than one bin away, the next one the nearest that is left, and so on; peaks that are "
     "left "
     "begin tracks at the list's end, those of one frame by frequency. A track without a peak "
     "stays "
     "in the list as it was for up to 4 frames, unless the magnitude of its bin falls below a "
     "fifth "
     "of its own. A track ends where it would rise too far, and its peak begins another: further "
     "than a limit for 20 ln(new / old magnitude) of 20, a factor e, at its second peak, and later "
     "of the larger of 1.5 times the rise before and 0.951 L + 0.073, where L is the natural "
     "logarithm of the magnitude of the bin below the last peak, deliberately. So a loud track (L "
     "= 5) may rise by a "
     "quarter from frame to frame, while a quiet one, with a magnitude below about 1 (-54 dB full "
     "scale), ends at the first rise after its second peak: such tracks are short, and begin anew "
     "all the time."},
    {"instantaneous frequency", PayloadKind::Vector, 2048, Delivery::PerFrame, 1024, 512,
     kInstantaneousFrequencyValues,
     "For each of 512 bins the frequency of what sounds in it: the rate at which its phase "
     "advances. The bins around a steady sine all have its frequency, more finely than the "
     "distance of the bins, rate / 1024: of 400 single sines from 150 Hz to 21 kHz, at 44100 Hz, "
     "it was within 0.07 Hz in the nearest bin and within 0.5 Hz in the next to both sides. Where "
     "several sounds share a bin, and in the bins between partials and of noise, it can be any "
     "number, below 0 and above half the rate included: look at it together with \"spectrum\", "
     "near peaks."},
    {"global tempo", PayloadKind::Floats, 12, Delivery::AtEnd, 1024, 128, kGlobalTempoValues,
     "Two tempi of the stream, from its detection function F: the mean rise from frame to frame of "
     "40 mel bands in dB (falls count as 0, and what lies 80 dB below the loudest band is left "
     "out), times the mean magnitude of the lowest 40 bins, without its slow part. Frames of 1024 "
     "samples at hop 128 make F; there is one result for all of them. A stream whose frames cover "
     "less than 2.1 seconds, and one without any rise, has no result. If one channel has none, no "
     "channel has: a silent channel beside music takes the music's away. Beyond 200000 frames (9.7 "
     "minutes at 44100 Hz) only the first 200000 decide. The parameter \"Genre Hint\" sets the "
     "range: "
     "1, the default, is 50 to 220 BPM; 0 is 20 to 110 BPM; any other number is kept and changes "
     "nothing. Where the range yields less than two tempi the other one is tried, with the scores "
     "of "
     "the first, and stays for all that follows until the parameter is set again, deliberately."},
    {"global number of beats per bar", PayloadKind::Count, 4, Delivery::AtEnd, 1024, 128,
     kBeatsPerBarValues,
     "One number for the stream, from the audio itself and not from its beats: the rectified and "
     "low-passed samples, at 100 values per second, are correlated with themselves at all lags up "
     "to "
     "13.5 seconds. The strongest repetition is taken for a bar, and the number of beats whose "
     "places "
     "in that bar repeat best wins. Changes of meter are not followed. With several channels, the "
     "number of a channel comes from the sum of that channel and those before it, deliberately. "
     "Keeps those values in memory."},
    {"global key", PayloadKind::Name, 8, Delivery::AtEnd, 8192, 512, kGlobalKeyValues,
     "One key for the stream, from \"dominant key\" of all its frames. Every "
     "QelAudioAnalysisProcess "
     "delivers it anew, with flush 0 as well, for all frames since the start. In C, it works only "
     "behind another key of its group in the list (\"dominant key\" or one of \"pitch class "
     "...\"); before them or alone it ends the list in silence, deliberately. The C++ client sees "
     "to "
     "that. Only the first block tells its size, deliberately; those of the other channels have "
     "size "
     "0 and hold a name all the same. Keeps 4 bytes per frame and channel in memory.",
     1, "pitch class profile"},
    {"onset data", PayloadKind::Events, 16, Delivery::AtEnd, 0, 0, kOnsetValues,
     "The onsets of the stream in ascending order of time, exact to one sample: the peaks "
     "of a curve D at the full sample rate. S is the sum of 33 gammatone bands from 235 to "
     "14439 Hz, one per ERB; d[n] = max(0, 0.9 (S[n] - S[n+1]) + 0.1 S[n]), compressed to "
     "ln(1 + 10 d) / ln(11), and D is that, smoothed backward in time by a first-order "
     "low-pass with a time constant of 882 samples (20 ms at 44100 Hz). A peak is any "
     "sample above both neighbours, and it is an onset if it stands a quarter of the "
     "window w behind the peak looked at before, reaches the median of D within w to both "
     "sides (of the values in order, the one above the middle), and lies w behind every "
     "onset before it; one of strength 0.75 and above may also follow within 1024 samples. "
     "w = 2048 + N / 16 * (1 - s / 100) samples, where N is the length of the stream, with "
     "the largest push of silence that the end adds, and s the parameter \"Onset "
     "Sensitivity\" in percent, 80 by default. So w grows with the stream, deliberately: "
     "at 80 it is 46 ms plus 12.5 ms per second of stream, 0.8 s for a minute and 2.3 s "
     "for three. At 100 it is 2048 samples (46 ms at 44100 Hz) at any length. Of two near "
     "peaks the first wins, whatever their heights, deliberately: a ripple in what sounds "
     "before a note can stand in its place, so that onsets mark notes which come out of "
     "silence, and in dense music more often merely samples of D. Shares of notes that "
     "have an onset 0 to 15 ms behind their start, in 20 s of synthetic notes that vary by "
     "20 dB, 500 ms apart, at s = 50, 80, 100: 21, 100 and 100 % where notes decay by 60 "
     "dB in 0.4 s into digital silence (there, 90 % of the onsets lie 1.9 to 8 ms behind "
     "the start); 6, 55 and 92 % with noise at -80 dB beneath; 6, 33 and 50 % where notes "
     "ring on, with a time constant of 0.3 s. Notes 250 ms apart, in the same order: 13, "
     "36 and 81 %; 10, 30 and 78 %; 3, 15 and 39 %. At 100, three to eight more onsets per "
     "note stand in the tails. With several channels the bands run on from channel to "
     "channel, deliberately, so that results of stereo depend on the size of the pushes: "
     "push mono where that matters. Keeps the whole stream in memory: 4 bytes per sample "
     "and channel, and that of one channel again while onsets are looked for."},
    {"beat data", PayloadKind::Events, 16, Delivery::AtEnd, 1024, 128, kBeatValues,
     "The beats of the stream in ascending order of time: the chain of frames that best joins "
     "strong "
     "values of F with even distances of one period of tempo 1 (tempo 2 where the confidence is "
     "below "
     "0.5). The tempo is that of \"global tempo\", one for the whole stream, with its parameter "
     "and "
     "its conditions; beats may be about half to twice its period apart, as the chain gives way to "
     "the "
     "music. The last beat always stands at the last frame, whatever is heard there, deliberately. "
     "Beyond 200000 frames the stream is worked on in sections of that length, each with such a "
     "last "
     "beat."},
    {"down beat data", PayloadKind::Events, 16, Delivery::AtEnd, 1024, 128, kDownBeatValues,
     "The beats that begin a bar, in ascending order of time: every n-th one of \"beat data\" "
     "counted "
     "from the strongest beat in both directions, with n from \"global number of beats per bar\". "
     "Deliberately, the last one that would fit is left out: where fewer than n beats follow the "
     "strongest one, that is the strongest beat itself. No list where the stream has no tempo or "
     "some "
     "channel no meter. The parameter is that of \"global tempo\". Beyond 200000 frames beats are "
     "counted back from the end of each section, so that bars need not carry on from one to the "
     "next."},
    {"audio range",
     PayloadKind::Range,
     24,
     Delivery::AtEnd,
     1024,
     512,
     kAudioRangeValues,
     "How far the stream reaches up to full scale, down to its noise and up in frequency. The "
     "typical spectrum is made of frames with a sine window of mean square 1: for each bin the "
     "median over all frames of 10 lg(2 |X|^2 / 1024), where X is the plain discrete Fourier "
     "transform, then the median over 25 bins and a weighted mean over 35. A frame does not count "
     "if a tenth of its samples are 0 or its variance is below 1e-8 (-80 dB). Every block is the "
     "array of all channels' records, deliberately: record c belongs to channel c, and all have "
     "the same three flags, which tell whether any channel has the value. Pushes must be multiples "
     "of 512 samples; any other is refused with -1, unless a later group of keys answers 0, and "
     "its samples are left out. The silence of maxFrames samples that the end of a stream brings "
     "counts, if that is such a multiple. QelAudioAnalysisReset leaves the counts of samples as "
     "they are, and the last 512 samples too, deliberately: the headroom behind it is about all "
     "streams so far, so that an analyzer for each stream is the better choice. There is no "
     "dictionary.",
     1,
     {},
     512},
    {"reasigned spectrum", PayloadKind::ComplexPairs, 2048, Delivery::FramesAtEnd, 512, 64,
     kReassignedSpectrumValues,
     "A spectrogram whose values were moved to where their energy lies. For each bin k of each "
     "frame f, "
     "a complex value S, the transform of the frame with a Hann window, is added to another bin of "
     "another frame: to the bin nearest to the frequency with which the phase of bin k advances, "
     "and "
     "the frame nearest to f plus the distance of the energy's centre from the middle of the "
     "frame. "
     "Bins run from 0 to 255 and lie at k * rate / 512 Hz; lines come out one or two bins wide. "
     "Values "
     "that meet are added as complex numbers, deliberately: those of the two sides of a line have "
     "opposite signs, so that a steady tone nearly cancels (less than 1e-5 of its energy is left), "
     "and "
     "a gliding one stays where it passes from bin to bin. Read places from it, not levels. In "
     "time "
     "hardly anything moves: the distance is in units of 512 samples, deliberately, not of the "
     "hop, so "
     "that it stays below half a frame number, and a click fills 8 frames as in the plain "
     "spectrogram. "
     "What would lie outside goes to the border, and what has no frequency (bins without any "
     "magnitude) to bin 0 of the first frame. The term at half the rate is left out, and the "
     "imaginary parts of the first and the last bin are 0, deliberately. There is one block per "
     "frame and channel, but blocks[c * F] alone holds data: all F frames of channel c one behind "
     "the other; its size is that of one frame. The dictionary takes the blocks as they come: its "
     "row of channel c and frame f is block f * channels + c, and a block without data is an empty "
     "row. So it holds the first frame of each channel alone. That of one channel is row 0; that "
     "of channel c of several is in block c * F, hence in the row of channel (c * F) mod channels "
     "and frame (c * F) div channels. For 2 channels and F = 10 both are rows of channel 0, frames "
     "0 and 5. Read the blocks for the others. Frames beyond the length that was declared push the "
     "oldest ones out and spoil those "
     "that stay, and a stream of unknown length keeps one: state the length. Takes 24 bytes per "
     "bin, frame and channel: 254 MB for a minute at 44100 Hz. The C++ client makes results of the "
     "frames, one after another."},
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
