#include "rhythm/tempomap/GammaBankTable.h"

#include "elementary/Functions.h"

#include <cstddef>
#include <span>
#include <vector>

namespace qel::core {

namespace {

constexpr double kHeight = 1.30;
// Centres in columns: kCentreScale * kCentreRatio^band - kERBOffset. With B = 1.019 (f / 9.26449 +
// 24.7) for the bandwidth at frequency f, both in Hz, and about 171.3 Hz per column, the offset is
// 9.26449 * 24.7 / 171.3 and the ratio of bandwidths 1.019 / 9.26449.
constexpr double kCentreScale = 1.6146;
constexpr double kCentreRatio = 1.1275;
constexpr double kERBOffset = 1.3356;
constexpr double kBandwidthRatio = 0.1104;

struct Entry {
    UInt32 column;
    double modulus;
};

// The lowest bands are narrower than a column or little wider. What they pass hangs on where the
// peak falls among the columns, and is given here for every column of at least 3 % of the band's
// largest; the rule gives the others.
constexpr Entry kBand0[] = {{0, 0.3168}, {1, 0.0095}, {511, 0.0124}};
constexpr Entry kBand1[] = {{0, 0.0295}, {1, 0.0673}, {511, 0.0952}};
constexpr Entry kBand2[] = {{1, 0.3025}, {511, 0.4466}};
constexpr Entry kBand3[] = {{1, 0.6976}, {511, 0.7094}};
constexpr Entry kBand4[] = {{1, 0.5614}, {2, 0.0349}, {510, 0.0445}, {511, 0.4105}};
constexpr Entry kBand5[] = {{1, 0.1214}, {2, 0.3490}, {510, 0.4665}, {511, 0.0941}};
constexpr Entry kBand6[] = {{2, 0.8400}, {510, 0.8443}};
constexpr Entry kBand7[] = {{2, 0.5533}, {3, 0.2083}, {509, 0.2612}, {510, 0.4387}};
constexpr Entry kBand8[] = {{2, 0.0567}, {3, 0.8882}, {509, 0.9596}, {510, 0.0475}};
constexpr Entry kBand9[] = {{2, 0.0265},   {3, 0.6751},   {4, 0.3483},
                            {508, 0.4196}, {509, 0.5642}, {510, 0.0234}};
constexpr Entry kBand10[] = {{3, 0.0731},   {4, 1.0501},   {5, 0.0808},
                             {507, 0.0940}, {508, 1.0280}, {509, 0.0632}};
constexpr Entry kBand11[] = {{4, 0.3111},   {5, 0.9235},   {6, 0.0603},
                             {506, 0.0682}, {507, 1.0196}, {508, 0.2684}};
constexpr Entry kBand12[] = {{4, 0.0646},   {5, 0.7630},   {6, 0.6692},   {7, 0.0575},
                             {505, 0.0640}, {506, 0.7540}, {507, 0.6775}, {508, 0.0581}};
constexpr Entry kBand13[] = {{5, 0.1141},   {6, 1.0117},   {7, 0.5419},   {8, 0.0603},
                             {504, 0.0664}, {505, 0.6056}, {506, 0.9312}, {507, 0.1026}};
constexpr Entry kBand14[] = {{6, 0.1600},   {7, 1.0731},   {8, 0.5982},   {9, 0.0817},
                             {503, 0.0895}, {504, 0.6583}, {505, 1.0054}, {506, 0.1450}};
constexpr Entry kBand15[] = {{6, 0.0366},   {7, 0.1783},   {8, 0.9969},   {9, 0.8170},
                             {10, 0.1386},  {11, 0.0302},  {501, 0.0323}, {502, 0.1512},
                             {503, 0.8793}, {504, 0.9343}, {505, 0.1632}, {506, 0.0342}};

constexpr std::span<const Entry> kLowBands[] = {
    kBand0, kBand1, kBand2,  kBand3,  kBand4,  kBand5,  kBand6,  kBand7,
    kBand8, kBand9, kBand10, kBand11, kBand12, kBand13, kBand14, kBand15,
};

// A fourth-order response `columns` from its centre.
double Response(double columns, double bandwidth) {
    const double x = columns / bandwidth;
    const double secondOrder = 1.0 / (1.0 + x * x);
    return secondOrder * secondOrder;
}

double RuleModulus(UInt32 band, UInt32 column) {
    const double centre = kCentreScale * elementary::Pow(kCentreRatio, band) - kERBOffset;
    const double bandwidth = kBandwidthRatio * (centre + kERBOffset);
    return kHeight * (Response(column - centre, bandwidth) +
                      Response(column - (kGammaColumns - centre), bandwidth));
}

std::vector<float> MakePowers() {
    std::vector<float> powers;
    powers.reserve(std::size_t{kGammaBands} * kGammaColumns);
    for (UInt32 band = 0; band < kGammaBands; ++band) {
        for (UInt32 column = 0; column < kGammaColumns; ++column) {
            const double modulus = GammaBankModulus(band, column);
            powers.push_back(static_cast<float>(modulus * modulus));
        }
    }
    return powers;
}

} // namespace

double GammaBankModulus(UInt32 band, UInt32 column) {
    if (band < std::size(kLowBands)) {
        for (const Entry& entry : kLowBands[band]) {
            if (entry.column == column) {
                return entry.modulus;
            }
        }
    }
    return RuleModulus(band, column);
}

const float* GammaBankPowers(UInt32 band) {
    static const std::vector<float> powers = MakePowers();
    return powers.data() + std::size_t{band} * kGammaColumns;
}

} // namespace qel::core
