#include "loudness/soundcheck/CriticalBands.h"

#include "elementary/Functions.h"

namespace qel::core {

namespace {

constexpr double kTransformSize = 1024.0;

struct BandEdge {
    UInt16 nominal; // Hz
    UInt16 upper;   // Hz
};

// The critical-band rates of E. Zwicker, "Subdivision of the audible frequency range into critical
// bands", J. Acoust. Soc. Am. 33 (1961), the last band drawn out to 22050 Hz.
constexpr std::array<BandEdge, kNumCriticalBands> kBandEdges = {{
    {50, 100},    {150, 200},   {250, 300},     {350, 400},     {450, 510},
    {570, 630},   {700, 770},   {840, 920},     {1000, 1080},   {1175, 1270},
    {1370, 1480}, {1600, 1720}, {1850, 2000},   {2150, 2320},   {2500, 2700},
    {2900, 3150}, {3400, 3700}, {4000, 4400},   {4800, 5300},   {5800, 6400},
    {7000, 7700}, {8500, 9500}, {10500, 12000}, {13500, 15500}, {19500, 22050},
}};

// The threshold of hearing in quiet in dB, after E. Terhardt, "Calculating virtual pitch", Hearing
// Research 1 (1979).
double HearingThreshold(double kiloHertz) {
    const double fromMostSensitive = kiloHertz - 3.3;
    return 3.64 * elementary::Pow(kiloHertz, -0.8) -
           6.5 * elementary::Exp(-0.6 * fromMostSensitive * fromMostSensitive) +
           0.001 * elementary::Pow(kiloHertz, 4.0);
}

UInt16 NearestBin(UInt16 hertz, UInt32 sampleRate) {
    return static_cast<UInt16>(0.5 + hertz * kTransformSize / sampleRate);
}

} // namespace

void ComputeCriticalBands(UInt32 sampleRate, CriticalBands& bands) {
    UInt16 lower = 0;
    for (std::size_t b = 0; b < kNumCriticalBands; ++b) {
        const auto [nominal, upper] = kBandEdges[b];
        if (upper > sampleRate / 2) {
            bands[b] = {0, 0, 0.0f};
        } else {
            const double threshold = HearingThreshold(nominal / 1000.0);
            bands[b] = {NearestBin(lower, sampleRate), NearestBin(upper, sampleRate),
                        static_cast<float>(elementary::Pow(10.0, -threshold / 10.0))};
        }
        lower = upper;
    }
}

} // namespace qel::core
