/*
 * The one declaration of all keys. Library, C++ client and documentation read their sizes, frames,
 * hops and texts from these rows. Clients in C rarely need this file: QelAudioAnalysisNames.h has
 * the strings, docs/keys.md has the rest in readable form.
 *
 * To read a table, define a macro with its columns as parameters and pass the name of the macro:
 *
 *     #define ROW(symbol, text, slot, payload, bytes, delivery, results, companion) text,
 *     const char* const texts[] = {QEL_KEY_TABLE(ROW)};
 *     #undef ROW
 *
 * The columns are tokens and literals, so this file includes nothing. Rows and columns may be added
 * in later versions.
 */
#pragma once

/* clang-format off */

/*
 * A slot is the part of the library that computes a group of keys. One row per slot, in the order
 * of the numbers:
 *
 *   slot      its number
 *   frame     samples of an analysis frame; 0 without frames
 *   hop       samples from frame to frame; 0 without frames
 *   push      the number of samples of a push must be a multiple of this
 *   creation  Once: the first of its keys in a list creates it.
 *             Anew: each of its keys in a list creates it again and replaces the one before.
 */
#define QEL_SLOT_TABLE(QEL_SLOT) \
    QEL_SLOT( 0, 1024,  512,   1, Once) \
    QEL_SLOT( 1, 1024,  512,   1, Anew) \
    QEL_SLOT( 2, 1024,  512,   1, Anew) \
    QEL_SLOT( 3, 1024,  512,   1, Anew) \
    QEL_SLOT( 4, 4096, 2048,   1, Once) \
    QEL_SLOT( 5, 1024,  128,   1, Once) \
    QEL_SLOT( 6,    0,    0,   1, Anew) \
    QEL_SLOT( 7, 8192, 1024,   1, Once) \
    QEL_SLOT( 8, 8192,  512,   1, Once) \
    QEL_SLOT( 9, 1024,  512,   1, Once) \
    QEL_SLOT(10,  512,  256,   1, Anew) \
    QEL_SLOT(11, 1024,  512,   1, Anew) \
    QEL_SLOT(12,    0,    0,   1, Anew) \
    QEL_SLOT(13, 1024,  512, 512, Anew) \
    QEL_SLOT(14,  512,   64,   1, Once)

/*
 * One row per key, in the order of QelAudioAnalysisGlobalCopyKeys:
 *
 *   symbol     kQelAnalysisKey_<symbol> is its name in QelAudioAnalysisNames.h
 *   text       the key itself, misspellings included
 *   slot       the slot that computes it; its frame and hop are those of the key, but a key that is
 *              delivered per push has none
 *   payload    the content of a block, a member of qel::PayloadKind
 *   bytes      of one block; for Range, of the record of one channel
 *   delivery   when results arrive, a member of qel::Delivery
 *   results    per frame
 *   companion  not empty if the key creates no slot: a key of the same slot that must come before it
 */
#define QEL_KEY_TABLE(QEL_KEY) \
    QEL_KEY(TemporalProperties, "temporal properties", \
            0, Floats, 12, PerPush, 1, "") \
    QEL_KEY(GenericSpectrumProperties, "generic spectrum properties", \
            0, Floats, 64, PerFrame, 1, "") \
    QEL_KEY(SpectrumHistogramProperties, "spectrum histogram properties", \
            0, Floats, 8, PerFrame, 1, "") \
    QEL_KEY(SpectrumPeakProperties, "spectrum peak properties", \
            0, Floats, 32, PerFrame, 1, "") \
    QEL_KEY(SpectrumFluxProperties, "spectrum flux properties", \
            0, Floats, 8, PerFrame, 1, "") \
    QEL_KEY(PhaseProperties, "phase properties", \
            1, Floats, 20, PerFrame, 1, "") \
    QEL_KEY(MelFrequencyCepstralCoefficients, "mel frequency cepstral coefficients", \
            4, Vector, 52, PerFrame, 1, "") \
    QEL_KEY(Tempo, "tempo", \
            3, Vector, 4, PerFrame, 2, "") \
    QEL_KEY(DominantKey, "dominant key", \
            8, Name, 8, PerFrame, 1, "") \
    QEL_KEY(FundamentalFrequency, "fundamental frequency", \
            9, Vector, 4, PerFrame, 1, "") \
    QEL_KEY(Inharmonicity, "inharmonicity", \
            9, Vector, 4, PerFrame, 1, "") \
    QEL_KEY(Spectrum, "spectrum", \
            0, ComplexPairs, 4096, PerFrame, 1, "") \
    QEL_KEY(Cepstrum, "cepstrum", \
            10, Vector, 512, PerFrame, 1, "") \
    QEL_KEY(MelSpectrum, "mel spectrum", \
            4, Vector, 8192, PerFrame, 1, "") \
    QEL_KEY(GammaTomeSpectrum, "gamma tome spectrum", \
            2, Vector, 144, PerFrame, 1, "") \
    QEL_KEY(ConstantQSpectrum, "constant q spectrum", \
            7, Vector, 848, PerFrame, 1, "") \
    QEL_KEY(PitchClassProfile, "pitch class profile", \
            8, Vector, 48, PerFrame, 1, "") \
    QEL_KEY(PitchClassPorofileKeyCorrelation, "pitch class porofile key correlation", \
            8, Vector, 96, PerFrame, 1, "") \
    QEL_KEY(PitchClassProfileTonalCentroid, "pitch class profile tonal centroid", \
            8, Vector, 24, PerFrame, 1, "") \
    QEL_KEY(HarmonicPitchClassProfile, "harmonic pitch class profile", \
            7, Vector, 144, PerFrame, 1, "") \
    QEL_KEY(Partials, "partials", \
            9, Partials, 16, PerFrame, 1, "") \
    QEL_KEY(InstantaneousFrequency, "instantaneous frequency", \
            11, Vector, 2048, PerFrame, 1, "") \
    QEL_KEY(GlobalTempo, "global tempo", \
            5, Floats, 12, AtEnd, 1, "") \
    QEL_KEY(GlobalNumberOfBeatsPerBar, "global number of beats per bar", \
            5, Count, 4, AtEnd, 1, "") \
    QEL_KEY(GlobalKey, "global key", \
            8, Name, 8, AtEnd, 1, "pitch class profile") \
    QEL_KEY(OnsetData, "onset data", \
            6, Events, 16, AtEnd, 1, "") \
    QEL_KEY(BeatData, "beat data", \
            5, Events, 16, AtEnd, 1, "") \
    QEL_KEY(DownBeatData, "down beat data", \
            5, Events, 16, AtEnd, 1, "") \
    QEL_KEY(AudioRange, "audio range", \
            13, Range, 24, AtEnd, 1, "") \
    QEL_KEY(ReasignedSpectrum, "reasigned spectrum", \
            14, ComplexPairs, 2048, FramesAtEnd, 1, "")

/* clang-format on */

/* How many rows there are. */
#define QEL_ADD_ROW(...) +1 /* NOLINT(bugprone-macro-parentheses): a term of the sums below */
enum {
    kQelAnalysisSlotCount = 0 QEL_SLOT_TABLE(QEL_ADD_ROW),
    kQelAnalysisKeyCount = 0 QEL_KEY_TABLE(QEL_ADD_ROW)
};
#undef QEL_ADD_ROW
