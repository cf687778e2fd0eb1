#include "engine/slots/AnalyzerSlots.h"

#include "descriptors/AABagOfPropertiesGenerator.h"
#include "loudness/AABreloSoundCheckGenerator.h"
#include "loudness/AARangeMeter.h"
#include "pitch/AAChromaPropertiesGenerator.h"
#include "pitch/AAConstantQPropertiesGenerator.h"
#include "refinement/AAIFFTGenerator.h"
#include "refinement/AAReassignedSpectrumGenerator.h"
#include "rhythm/beats/AABeatFunctionGenerator.h"
#include "rhythm/onsets/AAOnsetGenerator.h"
#include "rhythm/tempomap/AAAccentBandGenerator.h"
#include "rhythm/tempomap/AATempoMapGenerator.h"
#include "timbre/AACepstralPropertiesGenerator.h"
#include "timbre/AAMFCCPropertiesGenerator.h"
#include "timbre/AAPartialTrackGenerator.h"
#include "timbre/AAPhaseBasedPropertiesGenerator.h"

namespace qel::core {

namespace {

// The private key: routed like the others, but not listed.
#define kPrivateKeySoundCheck CFSTR("sound check")

// The only keys of the slots 1, 2, 3, 6, 10, 11, 12 and 13 build anew whenever they stand in the
// list; every other slot is built once.
const KeyRoute kKeyRoutes[] = {
    {kQelAnalysisKey_PitchClassProfile, 8, true, true},
    {kQelAnalysisKey_PitchClassPorofileKeyCorrelation, 8, true, true},
    {kQelAnalysisKey_DominantKey, 8, true, true},
    {kQelAnalysisKey_PitchClassProfileTonalCentroid, 8, true, true},
    {kQelAnalysisKey_GlobalKey, 8, false, true},
    {kQelAnalysisKey_ConstantQSpectrum, 7, true, true},
    {kQelAnalysisKey_HarmonicPitchClassProfile, 7, true, true},
    {kQelAnalysisKey_MelFrequencyCepstralCoefficients, 4, true, true},
    {kQelAnalysisKey_MelSpectrum, 4, true, true},
    {kQelAnalysisKey_GlobalTempo, 5, true, true},
    {kQelAnalysisKey_BeatData, 5, true, true},
    {kQelAnalysisKey_GlobalNumberOfBeatsPerBar, 5, true, true},
    {kQelAnalysisKey_DownBeatData, 5, true, true},
    {kQelAnalysisKey_OnsetData, 6, true, false},
    {kQelAnalysisKey_PhaseProperties, 1, true, false},
    {kQelAnalysisKey_GammaTomeSpectrum, 2, true, false},
    {kQelAnalysisKey_Tempo, 3, true, false},
    {kQelAnalysisKey_TemporalProperties, 0, true, true},
    {kQelAnalysisKey_GenericSpectrumProperties, 0, true, true},
    {kQelAnalysisKey_SpectrumHistogramProperties, 0, true, true},
    {kQelAnalysisKey_SpectrumPeakProperties, 0, true, true},
    {kQelAnalysisKey_SpectrumFluxProperties, 0, true, true},
    {kQelAnalysisKey_Spectrum, 0, true, true},
    {kQelAnalysisKey_Partials, 9, true, true},
    {kQelAnalysisKey_FundamentalFrequency, 9, true, true},
    {kQelAnalysisKey_Inharmonicity, 9, true, true},
    {kQelAnalysisKey_Cepstrum, 10, true, false},
    {kQelAnalysisKey_InstantaneousFrequency, 11, true, false},
    {kPrivateKeySoundCheck, 12, true, false},
    {kQelAnalysisKey_AudioRange, 13, true, false},
    {kQelAnalysisKey_ReasignedSpectrum, 14, true, true},
};

const struct {
    CFStringRef name;
    std::size_t slot;
} kParameterRoutes[] = {
    {kQelAnalysisParameter_GenreHint, 5},        {kQelAnalysisParameter_Complexity, 3},
    {kQelAnalysisParameter_MinBPM, 3},           {kQelAnalysisParameter_MaxBPM, 3},
    {kQelAnalysisParameter_OnsetSensitivity, 6},
};

const CFStringRef kListedKeys[] = {
    kQelAnalysisKey_TemporalProperties,
    kQelAnalysisKey_GenericSpectrumProperties,
    kQelAnalysisKey_SpectrumHistogramProperties,
    kQelAnalysisKey_SpectrumPeakProperties,
    kQelAnalysisKey_SpectrumFluxProperties,
    kQelAnalysisKey_PhaseProperties,
    kQelAnalysisKey_MelFrequencyCepstralCoefficients,
    kQelAnalysisKey_Tempo,
    kQelAnalysisKey_DominantKey,
    kQelAnalysisKey_FundamentalFrequency,
    kQelAnalysisKey_Inharmonicity,
    kQelAnalysisKey_Spectrum,
    kQelAnalysisKey_Cepstrum,
    kQelAnalysisKey_MelSpectrum,
    kQelAnalysisKey_GammaTomeSpectrum,
    kQelAnalysisKey_ConstantQSpectrum,
    kQelAnalysisKey_PitchClassProfile,
    kQelAnalysisKey_PitchClassPorofileKeyCorrelation,
    kQelAnalysisKey_PitchClassProfileTonalCentroid,
    kQelAnalysisKey_HarmonicPitchClassProfile,
    kQelAnalysisKey_Partials,
    kQelAnalysisKey_InstantaneousFrequency,
    kQelAnalysisKey_GlobalTempo,
    kQelAnalysisKey_GlobalNumberOfBeatsPerBar,
    kQelAnalysisKey_GlobalKey,
    kQelAnalysisKey_OnsetData,
    kQelAnalysisKey_BeatData,
    kQelAnalysisKey_DownBeatData,
    kQelAnalysisKey_AudioRange,
    kQelAnalysisKey_ReasignedSpectrum,
};

// Frame and hop in samples, and the class, of each slot that this version has.
template <class Generator, UInt32 frameSize, UInt32 hop>
std::unique_ptr<QelAAAnalysisBase> MakeFrameBased(const GeneratorSetup& setup) {
    return std::make_unique<Generator>(setup.channels, setup.sampleRate, frameSize, hop,
                                       setup.maxFrames, setup.streamLength, setup.dataCallback,
                                       setup.refCon);
}

// A generator that works on raw pushes.
template <class Generator>
std::unique_ptr<QelAAAnalysisBase> MakePushBased(const GeneratorSetup& setup) {
    return std::make_unique<Generator>(setup.channels, setup.sampleRate, setup.maxFrames,
                                       setup.streamLength, setup.dataCallback, setup.refCon);
}

using Maker = std::unique_ptr<QelAAAnalysisBase> (*)(const GeneratorSetup&);

constexpr std::array<Maker, kNumSlots> kMakers = {
    MakeFrameBased<AABagOfPropertiesGenerator, 1024, 512>,      // 0
    MakeFrameBased<AAPhaseBasedPropertiesGenerator, 1024, 512>, // 1
    MakeFrameBased<AAAccentBandGenerator, 1024, 512>,           // 2
    MakeFrameBased<AATempoMapGenerator, 1024, 512>,             // 3
    MakeFrameBased<AAMFCCPropertiesGenerator, 4096, 2048>,      // 4
    MakeFrameBased<AABeatFunctionGenerator, 1024, 128>,         // 5
    MakePushBased<AAOnsetGenerator>,                            // 6
    MakeFrameBased<AAConstantQPropertiesGenerator, 8192, 1024>, // 7
    MakeFrameBased<AAChromaPropertiesGenerator, 8192, 512>,     // 8
    MakeFrameBased<AAPartialTrackGenerator, 1024, 512>,         // 9
    MakeFrameBased<AACepstralPropertiesGenerator, 512, 256>,    // 10
    MakeFrameBased<AAIFFTGenerator, 1024, 512>,                 // 11
    MakePushBased<AABreloSoundCheckGenerator>,                  // 12
    MakePushBased<AARangeMeter>,                                // 13
    MakeFrameBased<AAReassignedSpectrumGenerator, 512, 64>,     // 14
};

} // namespace

const KeyRoute* FindKeyRoute(CFStringRef key) {
    if (key == nullptr)
        return nullptr;
    for (const KeyRoute& route : kKeyRoutes)
        if (CFEqual(key, route.key))
            return &route;
    return nullptr;
}

std::optional<std::size_t> FindParameterSlot(CFStringRef name) {
    if (name == nullptr)
        return std::nullopt;
    for (const auto& route : kParameterRoutes)
        if (CFEqual(name, route.name))
            return route.slot;
    return std::nullopt;
}

std::unique_ptr<QelAAAnalysisBase> MakeGenerator(std::size_t slot, const GeneratorSetup& setup) {
    return kMakers[slot] != nullptr ? kMakers[slot](setup) : nullptr;
}

std::span<const CFStringRef> ListedKeys() {
    return kListedKeys;
}

} // namespace qel::core
