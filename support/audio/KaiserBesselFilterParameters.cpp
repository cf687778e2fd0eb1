#include "support/audio/KaiserBesselFilterParameters.h"

#include "elementary/Functions.h"

#include <algorithm>
#include <limits>

namespace qel::core {
namespace {

constexpr double kAttenuationOfNoTaps_dB = 7.95;
constexpr double kAttenuationPerTapAndWidth_dB = 7.18;

double ClampAttenuation_dB(double attenuation_dB) {
    return std::clamp(attenuation_dB, KaiserBesselFilterParameters::kMinAttenuation_dB,
                      KaiserBesselFilterParameters::kMaxAttenuation_dB);
}

} // namespace

KaiserBesselFilterParameters::KaiserBesselFilterParameters(double cutoff_, UInt32 filterLength_,
                                                           double transitionBandwidth_,
                                                           UInt32 filterType_)
    : cutoff(cutoff_),
      stopBandAttenuation_dB(EstimateStopBandAttenuation_dB(transitionBandwidth_, filterLength_)),
      transitionBandwidth(transitionBandwidth_), alpha(EstimateAlpha(stopBandAttenuation_dB)),
      filterLength(filterLength_), filterType(filterType_) {}

KaiserBesselFilterParameters::KaiserBesselFilterParameters(double cutoff_,
                                                           double stopBandAttenuation_dB_,
                                                           UInt32 filterLength_, UInt32 filterType_)
    : cutoff(cutoff_), stopBandAttenuation_dB(ClampAttenuation_dB(stopBandAttenuation_dB_)),
      transitionBandwidth(EstimateTransitionBandwidth(stopBandAttenuation_dB, filterLength_)),
      alpha(EstimateAlpha(stopBandAttenuation_dB)), filterLength(filterLength_),
      filterType(filterType_) {}

KaiserBesselFilterParameters::KaiserBesselFilterParameters(double cutoff_,
                                                           double stopBandAttenuation_dB_,
                                                           double transitionBandwidth_,
                                                           UInt32 filterType_)
    : cutoff(cutoff_), stopBandAttenuation_dB(ClampAttenuation_dB(stopBandAttenuation_dB_)),
      transitionBandwidth(transitionBandwidth_), alpha(EstimateAlpha(stopBandAttenuation_dB)),
      filterLength(EstimateFilterLength(stopBandAttenuation_dB, transitionBandwidth_)),
      filterType(filterType_) {}

UInt32 KaiserBesselFilterParameters::EstimateFilterLength(double attenuation_dB,
                                                          double transitionBandwidth) {
    const double length = 1.0 + (attenuation_dB - kAttenuationOfNoTaps_dB) /
                                    (kAttenuationPerTapAndWidth_dB * transitionBandwidth);
    constexpr UInt32 kLongest = std::numeric_limits<UInt32>::max();
    if (length >= static_cast<double>(kLongest)) {
        return kLongest;
    }
    return length > 0.0 ? static_cast<UInt32>(length) : 0;
}

double KaiserBesselFilterParameters::EstimateTransitionBandwidth(double attenuation_dB,
                                                                 UInt32 filterLength) {
    return (attenuation_dB - kAttenuationOfNoTaps_dB) /
           (kAttenuationPerTapAndWidth_dB * filterLength);
}

double KaiserBesselFilterParameters::EstimateStopBandAttenuation_dB(double transitionBandwidth,
                                                                    UInt32 filterLength) {
    return ClampAttenuation_dB(kAttenuationOfNoTaps_dB +
                               kAttenuationPerTapAndWidth_dB * transitionBandwidth * filterLength);
}

double KaiserBesselFilterParameters::EstimateAlpha(double attenuation_dB) {
    if (attenuation_dB > 50.0) {
        return 0.1102 * (attenuation_dB - 8.7);
    }
    if (attenuation_dB >= 21.0) {
        const double above = attenuation_dB - 21.0;
        return 0.07886 * above + elementary::Pow(above * 0.5842, 0.4);
    }
    return 0.0;
}

} // namespace qel::core
