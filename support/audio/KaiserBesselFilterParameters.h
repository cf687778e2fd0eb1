#pragma once

#include <MacTypes.h>

namespace qel::core {

// The design of one resampling filter: a sinc under a Kaiser window. Of stop-band attenuation,
// transition width and length, two are given and the third is estimated. A plain value.
//
// Frequencies are fractions of the Nyquist frequency of the input: at an input rate of 44100 Hz a
// `cutoff` of 47 / 22050 is 47 Hz.
class KaiserBesselFilterParameters {
public:
    static constexpr double kMinAttenuation_dB = 20.0;
    static constexpr double kMaxAttenuation_dB = 160.0;

    enum : UInt32 { kLowPass = 0, kHighPass = 1 };

    // From length and width.
    KaiserBesselFilterParameters(double cutoff, UInt32 filterLength, double transitionBandwidth,
                                 UInt32 filterType);

    // From attenuation and length. Attenuations outside of 20 to 160 dB are clamped first.
    KaiserBesselFilterParameters(double cutoff, double stopBandAttenuation_dB, UInt32 filterLength,
                                 UInt32 filterType);

    // From attenuation, clamped likewise, and width.
    KaiserBesselFilterParameters(double cutoff, double stopBandAttenuation_dB,
                                 double transitionBandwidth, UInt32 filterType);

    bool operator==(const KaiserBesselFilterParameters&) const = default;

    // Kaiser's estimates for a filter of `filterLength` taps in which a dB of attenuation above
    // 7.95 costs 1 / (7.18 * transitionBandwidth) taps. Required by the contract: they are no
    // inverses of one another, as only the first adds a tap. Any cleanup changes the length of
    // filters, and with it all resampled values.
    //
    // The first is truncated; where that leaves 32 bits it is 0 or 2^32 - 1, and 0 for NaN.
    // The third is clamped to 20 to 160 dB.
    static UInt32 EstimateFilterLength(double attenuation_dB, double transitionBandwidth);
    static double EstimateTransitionBandwidth(double attenuation_dB, UInt32 filterLength);
    static double EstimateStopBandAttenuation_dB(double transitionBandwidth, UInt32 filterLength);

    // The window's shape for an attenuation: 0, a rectangle, below 21 dB.
    // Required by the contract: between 21 and 50 dB the factor 0.5842 stands inside of the power.
    // Kaiser's own formula, with the factor before it, changes the filters of these attenuations.
    static double EstimateAlpha(double attenuation_dB);

    double cutoff;                 // 0 marks a channel that only delays
    double stopBandAttenuation_dB; // 20 to 160
    double transitionBandwidth;    // from the end of the pass band to the start of the stop band
    double alpha;                  // shape of the Kaiser window
    UInt32 filterLength;           // taps per branch of the polyphase filter
    UInt32 filterType;             // kLowPass, or kHighPass by spectral inversion
};

} // namespace qel::core
