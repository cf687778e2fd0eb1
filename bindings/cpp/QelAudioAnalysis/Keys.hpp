// All keys of this version of the library, in the order of QelAudioAnalysisGlobalCopyKeys, with
// their values and definitions. docs/keys.md, the decoding of results and the listing of the tool
// are made from kKeys. A test compares it with the library.
//
// Text, payload, delivery, frame and hop of a key come from QelAudioAnalysisKeyTable.h. A new key
// is a row there, a definition here, and a list of its values in the header of its group.
#pragma once

#include <QelAudioAnalysis/DescriptorValues.hpp>
#include <QelAudioAnalysis/KeyInfo.hpp>
#include <QelAudioAnalysis/KeyRows.hpp>
#include <QelAudioAnalysis/LoudnessValues.hpp>
#include <QelAudioAnalysis/PartialValues.hpp>
#include <QelAudioAnalysis/PitchValues.hpp>
#include <QelAudioAnalysis/RhythmValues.hpp>
#include <QelAudioAnalysis/TimbreValues.hpp>

#include <string_view>

namespace qel {

namespace detail {

inline constexpr KeyText kKeyTexts[] = {
    {RowOf::TemporalProperties, kTemporalValues,
     "Values of the waveform over the samples of one push. There is no analysis frame, so the "
     "values change with the size of the pushes. Push blocks of one size (for example 512) to get "
     "a curve with a fixed step."},
    {RowOf::GenericSpectrumProperties, kGenericSpectrumValues,
     "General values of the magnitude spectrum of one frame. Examples: "
     "Computed with qel at 44100 Hz. S is a steady sine of 1000 Hz and "
     "amplitude 0.5, N is white noise of root mean square 0.1."},
    {RowOf::SpectrumHistogramProperties, kSpectrumHistogramValues,
     "Shape of the distribution of the magnitudes m[k] of one frame. The magnitudes are counted "
     "in 40 classes h[i] of equal width (greatest - least + 1) / 40, from the least magnitude "
     "upwards. The values are moments of these 40 counts taken as samples. They are not moments "
     "of the magnitudes, and not moments of the spectrum over frequency. u is the mean count, 512 "
     "/ 40. Examples: S and N as in \"generic spectrum properties\"."},
    {RowOf::SpectrumPeakProperties, kSpectrumPeakValues,
     "Values of the spectral peaks of one frame. A peak is a bin whose magnitude exceeds "
     "that of both neighbours, so never the first or the last bin. p[0] to p[n-1] are the "
     "magnitudes of the n peaks in ascending order of frequency, b[i] their bins, and p[j] "
     "is 0 for j of n and above. S is the sum of all p[i]. Peaks are counted, not matched "
     "to harmonics: p[0] is the lowest peak, whether it is a fundamental or noise. "
     "Rounding noise has peaks too, so a clean synthetic tone has more than a hundred. A "
     "value that keeps its last value repeats that of the previous frame (0 at the start "
     "of the stream). Examples: Computed with qel at 44100 Hz. H is a 220 Hz tone with ten "
     "harmonics of amplitude 0.3 / k, N is white noise of root mean square 0.1."},
    {RowOf::SpectrumFluxProperties, kSpectrumFluxValues,
     "Change from the magnitudes q[k] of the previous frame to the "
     "magnitudes m[k] of this frame. The first frame is compared with "
     "silence. Examples: S and N as in \"generic spectrum properties\"."},
    {RowOf::PhaseProperties, kPhaseValues,
     "How phases and magnitudes change from frame to frame. m[k] is the magnitude of bin k and "
     "p[k] its phase from -pi to pi, both of a frame with a Hann window. d[k] is the phase of the "
     "previous frame minus p[k]; e[k] is the d[k] of the previous frame minus d[k]. Both are "
     "wrapped to -pi to pi, so e[k] is 0 where the phase advances at a constant rate. Before the "
     "first frame all are 0. Means are taken over 512 bins. Bin 0 has the term at half the rate "
     "as its imaginary part."},
    {RowOf::MelFrequencyCepstralCoefficients, kMelCepstralValues,
     "Non-standard MFCCs: 13 numbers that describe the spectrum from 133 to 1071 Hz, scaled to "
     "unit norm. They are not comparable with the MFCCs of other libraries. Filters: There are "
     "13, and frequencies below 133.3 Hz and above 1070.9 Hz do not count. Filter p is a triangle "
     "over the frequencies from f[p] to f[p+2] with its top at f[p+1] and an area of 1. f[p] is "
     "133.333 + 66.667 p for p from 0 to 12; f[13] = 999.76 and f[14] = 1070.91 Hz. L[p] = "
     "log10(max(1e-10, sum of the filter times \"mel spectrum\")). Use: The dot product of two "
     "vectors is the cosine of their angle; use it to compare two frames. The vector depends on "
     "the level: a gain adds the same number to all L[p], which rotates the vector."},
    {RowOf::Tempo, kTempoValues,
     "The running tempo, from the audio so far. There are two results per frame; the second one is "
     "for a time half a hop later. Computation: (1) The bands 8, 17, 26 and 35 of \"gamma tome "
     "spectrum\" are compressed, brought to twice their rate and low-pass filtered at 10 Hz. (2) "
     "Their rise, with a share of their level, is the accent. (3) Each accent band runs through "
     "feedback comb filters, one per lag, with a half-life of 3 seconds. (4) The energies of the "
     "combs, summed over the bands, are the salience of the lags. Limits: Lags are 1 to 128 "
     "accents, so tempi below 80.6 BPM are reported doubled. With the parameter \"complexity\" 1 "
     "or 2 the lags reach 256 (40.3 BPM) or 512 (20.2 BPM) from the next reset on. A regular pulse "
     "also fits the multiples of its lag: fast tempi are often reported at a half or a third, and "
     "so are slow ones if their multiples are within the longest lag. Example: clicks at 60, 90, "
     "120 and 180 BPM give 120, 89.7, 120 and 89.7. Following: A change of tempo shows after about "
     "three seconds. Without a peak the tempo of the last peaks is repeated, whichever channel "
     "they were found in; before the first peak it is Min BPM. Sample rates: The formula assumes "
     "172 accents per second, which holds at a rate of 44032 Hz. At other rates the true tempo is "
     "the value times rate / 44032, 1.0015 at 44100 Hz; the value is not corrected."},
    {RowOf::DominantKey, kDominantKeyValues,
     "The musical key that one frame fits best, out of 12 major and 12 minor keys. A frame of 186 "
     "ms (at 44100 Hz) rarely holds more than one chord, so the result follows the chords. Major "
     "keys are often reported as their parallel minor (C Major as C Minor). Key of a piece: Do "
     "not count these results. Take the mean of \"pitch class porofile key correlation\" (sic) "
     "over all frames and choose the greatest. Example: Of the sample recording, in D Major, 30 % "
     "of the frames are D Major and 23 % F# Minor; the means are 0.34 for D Major and 0.24 for A "
     "Major, the next."},
    {RowOf::FundamentalFrequency, kFundamentalFrequencyValues,
     "The frequency of the oldest of \"partials\". There is no pitch detection: after silence it "
     "is the lowest peak of the first frame that has one, be it a fundamental, hum or noise, and "
     "it follows that track as long as the track lives. When the track ends, the value jumps to "
     "the next oldest track. Smooth it, and use it only where one voice sounds. Accuracy: Even "
     "with one voice it is right in only about half of the frames. A better estimate comes from "
     "\"partials\": the lowest partial that has at least a tenth of the magnitude of the "
     "strongest one is right in 86 % of the frames, for pitches above 130 Hz."},
    {RowOf::Inharmonicity, kInharmonicityValues,
     "How far the partials of one frame lie from the harmonics of \"fundamental frequency\". If "
     "the oldest track is not the fundamental, the value is high for harmonic sounds too."},
    {RowOf::Spectrum, kSpectrumValues,
     "The spectrum of one frame: 512 pairs of real and imaginary part, twice the discrete Fourier "
     "transform of the windowed frame. Pair k belongs to the frequency k * rate / 1024. Pair 0 is "
     "not a complex number: its first float is the term at 0 Hz and its second float the term at "
     "half the sample rate, both real."},
    {RowOf::Cepstrum, kCepstrumValues,
     "The spectrum of the logarithmic spectrum of one frame: a series of harmonics appears as a "
     "peak. m[k] is twice the magnitude of bin k of the transform of the frame with a sine window. "
     "Float q belongs to a period of 2 q / rate seconds, so to a fundamental at rate / (2 q): 441 "
     "Hz for q = 50 at 44100 Hz. The lowest fundamental that shows is rate / 254. Because the "
     "frame is short, only high voices give a clear peak. The second transform is a forward one "
     "and only its magnitudes are kept; the usual definition takes the inverse transform."},
    {RowOf::MelSpectrum, kMelSpectrumValues,
     "The magnitude spectrum of one frame with a Hann window: 2048 bins, bin k at k * rate / 4096 "
     "Hz. Despite its name it has neither a mel scale nor a filter bank."},
    {RowOf::GammaTomeSpectrum, kGammaTomeSpectrumValues,
     "(sic, for gammatone) Energies of 36 gammatone bands of one frame, the lowest band first. "
     "Band r has the response G[k] = 1.30 (g(k - c) + g(k - 512 + c)) over the bins k, with g(x) = "
     "(1 + (x / b)^2)^-2. Its centre is c = 1.6146 * 1.1275^r - 1.3356 and its width b = 0.1104 (c "
     "+ 1.3356), both in bins. The centres lie at 0.28 bins (r = 0) to 106.3 bins (r = 35; 4580 Hz "
     "at 44100 Hz). At 44100 Hz, centres and widths are about a quarter of those of bands that are "
     "equally spaced on the ERB scale: the band at f Hz is a quarter as wide as the scale gives "
     "for 4 f. Each band also covers its mirror image at 512 - c (17.5 kHz for r = 35). All bands "
     "move with the sample rate. Bands 0 to 15, about a bin wide or less, have separate values "
     "near the centre. The term at half the sample rate is left out."},
    {RowOf::ConstantQSpectrum, kConstantQValues,
     "Magnitudes on a logarithmic frequency axis with 36 bins per octave. Bin k, for k from "
     "0 to 211, has its centre at 90 * 2^(k / 36) Hz, up to 5231 Hz, at any sample rate. "
     "Each value is the modulus of the inner product of the frame, which is not windowed, "
     "with a kernel. The kernel is a complex sine of 51.44 periods of the bin frequency with "
     "a Hamming window, divided by its length; spectral values up to a hundredth of its peak "
     "are set to 0. A bin is therefore as wide as the distance to the next one. Time "
     "resolution: All kernels begin at the first sample of the frame. Bin k covers the first "
     "51.44 * rate / f samples, where f is its centre. At 44100 Hz these are 434 samples in "
     "the highest bin. Above 2215 Hz they are fewer than the hop, so short high tones can "
     "fall between two frames. Low tones: Below 51.44 * rate / 8192 (277 Hz at 44100 Hz) a "
     "kernel is longer than the frame and only its first 8192 samples count. There all bins "
     "are about rate / 8192 wide, and neighbouring bins are hardly separated. Low rates: At "
     "rates below 10463 Hz the bins above rate / 2 show images of lower tones."},
    {RowOf::PitchClassProfile, kPitchClassProfileValues,
     "The strength of each pitch class in one frame, C first: float p belongs to C plus p "
     "semitones, with A at 440 Hz. The mean of the frame is subtracted, then the frame is "
     "windowed with a Hamming window, 0.54 - 0.46 cos(2 pi i / 8191). Bin k of its 8192-point "
     "transform, for k from 1 to 4095, lies at k * rate / 8192 Hz. Its magnitude counts for one "
     "semitone, the one whose frequency 261.6256 * 2^(s / 12) Hz is nearest in Hz. Semitones an "
     "octave apart are added. Limits: Tuning is not estimated. Bins are 5.4 Hz apart at 44100 Hz "
     "and wider than the semitones below 90 Hz, so bass notes may count for a neighbour. High "
     "octaves have more bins, so noise and hiss fill all pitch classes."},
    {RowOf::PitchClassPorofileKeyCorrelation, kKeyCorrelationValues,
     "(sic) How well \"pitch class profile\" fits each key: floats 0 to 11 are the major keys "
     "from C upwards, 12 to 23 the minor keys. For the key of a piece, take the mean of each "
     "float over all frames and choose the greatest."},
    {RowOf::PitchClassProfileTonalCentroid, kTonalCentroidValues,
     "The position of \"pitch class profile\" in tonal space: sine and cosine on the circles of "
     "fifths, minor thirds and major thirds. Harmonically close sounds are close in this space. "
     "The distance from frame to frame shows a change of harmony."},
    {RowOf::HarmonicPitchClassProfile, kHarmonicPitchClassProfileValues,
     "All octaves of \"constant q spectrum\" added up: 36 places, a third of a semitone apart. "
     "Place 0 belongs to 90 Hz and its octaves, which is not a note of the scale. With A at 440 "
     "Hz, F sharp is at place 1.42, G at 4.42 and A at 10.42; each semitone is 3 places higher."},
    {RowOf::Partials, kPartialValues,
     "The sinusoidal tracks that are alive in one frame, the oldest first. Peaks: magnitudes below "
     "0.001 are raised to 0.001; a bin is a peak if its magnitude is (1) above that of the "
     "previous bin, (2) not below that of the next bin and (3) above a five-hundredth (54 dB) of "
     "the greatest of the frame. The first and the last bin are never peaks. A parabola through "
     "the natural logarithms of the three magnitudes gives position and height. Continuation: the "
     "oldest track takes the nearest peak if that is less than one bin away, the next track the "
     "nearest of the remaining peaks, and so on. Remaining peaks begin tracks at the end of the "
     "list, those of one frame in order of frequency. A track without a peak stays unchanged in "
     "the list for up to 4 frames, unless the magnitude of its bin falls below a fifth of its own. "
     "Limit of rise: a track ends where it would rise too far, and its peak begins another. At its "
     "second peak 20 ln(new / old magnitude) may reach 20, a factor e. Later it may reach the "
     "larger of 1.5 times the previous rise and 0.951 L + 0.073, where L is the natural logarithm "
     "of the magnitude of the bin below the last peak. Consequence: a loud track (L = 5) may rise "
     "by a quarter from frame to frame, while a quiet one, with a magnitude below about 1 (-54 dB "
     "full scale), ends at the first rise after its second peak. Quiet tracks are therefore short: "
     "they end and start again every few frames."},
    {RowOf::InstantaneousFrequency, kInstantaneousFrequencyValues,
     "For each of 512 bins the frequency of what sounds in it: the rate at which its phase "
     "advances. The bins around a steady sine all have its frequency, more finely than the bin "
     "distance rate / 1024. Example: a 220 Hz tone gives 219.9, 220.1 and 219.7 in bins 4, 5 and "
     "6, whose centres are 172, 215 and 258 Hz. Accuracy: For 400 single sines from 150 Hz to 21 "
     "kHz, at 44100 Hz, the value was within 0.07 Hz in the nearest bin and within 0.5 Hz in the "
     "bins next to it. Where several sounds share a bin, in the bins between partials and in "
     "noise it can be any number, also below 0 and above half the rate. Use it together with "
     "\"spectrum\", near peaks."},
    {RowOf::GlobalTempo, kGlobalTempoValues,
     "Two tempi of the stream. They come from the detection function F: the mean rise from frame "
     "to frame of 40 mel bands in dB, times the mean magnitude of the lowest 40 bins, with its "
     "slow part removed. Falls count as 0, and levels more than 80 dB below the loudest band are "
     "left out. F has one value per frame of 1024 samples, with a hop of 128. There is one result "
     "for the whole stream. No result: There is none (1) if the frames of the stream cover less "
     "than 2.1 seconds, or (2) if there is no rise at all. If one channel has no result, no "
     "channel has: a silent channel next to music suppresses the result of the music. Long "
     "streams: Only the first 200000 frames count (9.7 minutes at 44100 Hz). Parameter: \"Genre "
     "Hint\" sets the range. 1, the default, is 50 to 220 BPM; 0 is 20 to 110 BPM; any other "
     "number is stored and has no effect. If the range yields fewer than two tempi, the other "
     "range is tried with the scores of the first, and it stays in force until the parameter is "
     "set again."},
    {RowOf::GlobalNumberOfBeatsPerBar, kBeatsPerBarValues,
     "One number for the stream, from the audio itself and not from its beats. The rectified and "
     "low-pass filtered samples, at 100 values per second, are correlated with themselves at all "
     "lags up to 13.5 seconds. The strongest repetition is taken as a bar, and the number of "
     "beats whose positions in that bar repeat best wins. Changes of meter are not followed. "
     "Channels: With several channels, the number of a channel comes from the sum of that channel "
     "and those before it. Memory: The 100 values per second are kept."},
    {RowOf::GlobalKey, kGlobalKeyValues,
     "One key name for the stream, from \"dominant key\" of all its frames. Every "
     "QelAudioAnalysisProcess delivers it anew, also with flush 0, for all frames since the start. "
     "Use in C: It works only after another key of its group in the list (\"dominant key\" or one "
     "of \"pitch class ...\"); before such a key, or alone, it ends the list without an error. The "
     "C++ client adds such a key. Blocks: Only the first one states its size; the blocks of the "
     "other channels have size 0 but hold a name all the same. Memory: 4 bytes per frame and "
     "channel."},
    {RowOf::OnsetData, kOnsetValues,
     "The onsets of the stream in ascending order of time, with a resolution of one sample: the "
     "peaks of a curve D at the full sample rate. The curve: S is the sum of 33 gammatone bands "
     "from 235 to 14439 Hz, one per ERB; d[n] = max(0, 0.9 (S[n] - S[n+1]) + 0.1 S[n]) is "
     "compressed to ln(1 + 10 d) / ln(11); D is the result, smoothed backwards in time by a "
     "first-order low-pass with a time constant of 882 samples (20 ms at 44100 Hz). The window: w "
     "= 2048 + N / 16 * (1 - s / 100) samples, where N is the length of the stream plus the "
     "silence of one largest push that is added at the end, and s is the parameter \"Onset "
     "Sensitivity\" in percent, 80 by default. Selection: A peak, any sample above both "
     "neighbours, is an onset if it (1) is at least a quarter of w after the previously examined "
     "peak, (2) reaches the median of D within w on both sides (for an even count, the upper one "
     "of the two middle values) and (3) is at least w after every earlier onset; a peak of "
     "strength 0.75 and above may also follow within 1024 samples. Length of the stream: The "
     "number of onsets depends on it. At 80, w is 46 ms plus 12.5 ms per second of stream, 0.8 s "
     "for a minute and 2.3 s for three. At 100, w is 2048 samples (46 ms at 44100 Hz) at any "
     "length. Example: 20 s of notes 500 ms apart give 40 onsets; the same notes followed by 160 s "
     "of silence give 7. Quality: Of two peaks close together the first wins, whatever their "
     "heights: a ripple before a note can be taken in place of the note. Onsets therefore mark "
     "notes that come out of silence; in dense music many mark only local maxima of D. "
     "Measurements: The share of notes with an onset 0 to 15 ms after their start was measured in "
     "20 s of synthetic notes that vary by 20 dB. Notes 500 ms apart, at s = 50, 80, 100: 21, 100 "
     "and 100 % if notes decay by 60 dB in 0.4 s into digital silence (90 % of these onsets are "
     "1.9 to 8 ms after the start); 6, 55 and 92 % over noise at -80 dB; 6, 33 and 50 % if notes "
     "ring on with a time constant of 0.3 s. Notes 250 ms apart, in the same order: 13, 36 and 81 "
     "%; 10, 30 and 78 %; 3, 15 and 39 %. At 100 there are also three to eight additional onsets "
     "per note in the tails. Channels: The filters have one state for all channels: each push "
     "filters channel 0, then continues with channel 1 and so on. Results of several channels "
     "therefore depend on the size of the pushes. Push mono if that matters. Memory: The whole "
     "stream is kept, 4 bytes per sample and channel, and as much again for one channel during the "
     "search."},
    {RowOf::BeatData, kBeatValues,
     "The beats of the stream in ascending order of time: the chain of frames that best joins "
     "great values of F at even distances of one period of tempo 1 (tempo 2 where the confidence "
     "is below 0.5). The tempo is that of \"global tempo\", one for the whole stream, with its "
     "parameter and its conditions. Beats may be about half to twice the period apart, because "
     "the chain follows the music. The last beat is always the last frame, whatever sounds there. "
     "Long streams: Beyond 200000 frames the stream is processed in sections of that length, each "
     "with such a last beat."},
    {RowOf::DownBeatData, kDownBeatValues,
     "The beats that begin a bar, in ascending order of time: every n-th beat of \"beat data\", "
     "counted from the strongest beat in both directions, with n from \"global number of beats "
     "per bar\". The last one that would fit is left out; if fewer than n beats follow the "
     "strongest one, that is the strongest beat itself. There is no list if the stream has no "
     "tempo or any channel has no meter. The parameter is that of \"global tempo\". Long streams: "
     "Beyond 200000 frames beats are counted back from the end of each section, so bars need not "
     "continue from one section to the next."},
    {RowOf::AudioRange, kAudioRangeValues,
     "How far the samples stay below full scale, how high the noise is, and up to which frequency "
     "the stream reaches. Levels come from the typical spectrum, made of frames with a sine window "
     "of mean square 1: for each bin the median over all frames of 10 lg(2 |X|^2 / 1024), where X "
     "is the discrete Fourier transform, then the median over 25 bins and a weighted mean over 35. "
     "Frames: A frame does not count if a tenth of its samples are 0 or its variance is below 1e-8 "
     "(-80 dB). Blocks: Every block is the array of the records of all channels: record c belongs "
     "to channel c. All records have the same three flags, which say whether any channel has the "
     "value. Pushes: They must be multiples of 512 samples. Any other push is refused with -1, "
     "unless a later group of keys answers 0, and its samples are left out. The silence of "
     "maxFrames samples that ends a stream counts if maxFrames is such a multiple. Reset: "
     "QelAudioAnalysisReset keeps the counts of samples and the last 512 samples, so the headroom "
     "after a reset covers all streams so far: use one analyzer per stream. There is no dictionary "
     "representation."},
    {RowOf::ReasignedSpectrum, kReassignedSpectrumValues,
     "(sic) A spectrogram in which each value was moved to the time and frequency of its energy. "
     "For each bin k of each frame f, a complex value S, the transform of the frame with a Hann "
     "window, is added to another bin of another frame: to the bin nearest to the frequency at "
     "which the phase of bin k advances, and to the frame nearest to f plus the distance of the "
     "centre of the energy from the middle of the frame. Bins: They run from 0 to 255 and lie at k "
     "* rate / 512 Hz; lines are one or two bins wide. Levels: Values that meet are added as "
     "complex numbers. The two sides of a line have opposite signs, so a steady tone nearly "
     "cancels (less than 1e-5 of its energy remains), and a gliding one remains where it passes "
     "from bin to bin. Read positions from it, not levels. Times: Hardly any value moves in time: "
     "the distance is divided by 512 samples instead of the hop of 64, so it is usually below half "
     "a frame. A click fills 8 frames, as in a plain spectrogram. Borders: Values that would lie "
     "outside go to the border. Values without a frequency (bins without any magnitude) go to bin "
     "0 of the first frame. The term at half the rate is left out, and the imaginary parts of the "
     "first and the last bin are 0. Blocks: There is one per frame and channel, but only blocks[c "
     "* F] holds data: all F frames of channel c one after the other, with the size of one frame. "
     "Dictionary: It reads the blocks as they come. Its row of channel c and frame f is block f * "
     "channels + c, and a block without data is an empty row. It therefore holds only the first "
     "frame of each channel. With one channel that is row 0. With several, the first frame of "
     "channel c is in block c * F, so in the row of channel (c * F) mod channels and frame (c * F) "
     "div channels. For 2 channels and F = 10 both are rows of channel 0, frames 0 and 5. Read the "
     "blocks for the other frames. Declared length: Frames beyond the declared length replace the "
     "oldest ones and corrupt those that remain. A stream of unknown length keeps only one frame. "
     "Declare the length. Memory: 9 bytes per bin, frame and channel: 95 MB for a minute at 44100 "
     "Hz. The C++ client delivers the frames as single results."},
};
static_assert(describeAllRows(kKeyTexts),
              "kKeyTexts and QEL_KEY_TABLE have the same keys in the same order");

inline constexpr JoinedKeys kJoinedKeys = joinedWithRows(kKeyTexts);

} // namespace detail

inline constexpr const auto& kKeys = detail::kJoinedKeys.keys; // an array of KeyInfo

// The row of a key; null if there is none.
constexpr const KeyInfo* findKey(std::string_view key) noexcept {
    for (const KeyInfo& row : kKeys) {
        if (row.key == key) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace qel
