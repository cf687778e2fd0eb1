#include "rhythm/onsets/GammatoneBank.h"

#include "elementary/Functions.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <numbers>

namespace qel::core {

namespace {

constexpr int kNoMemory = 1;

// The quality and the least width of an auditory filter: a bandwidth is kMinimalBandwidth Hz plus
// its frequency divided by kQuality.
constexpr float kQuality = 9.265f;
constexpr float kMinimalBandwidth = 24.7f;
// The product of the rounded factors, one unit above the float nearest to 228.8455. With that one,
// the centre frequencies of the bands move in their last bits, and the values of the bank with
// them.
constexpr float kScaleHz = kQuality * kMinimalBandwidth;
static_assert(std::bit_cast<std::uint32_t>(kQuality) == 0x41143D71);
static_assert(std::bit_cast<std::uint32_t>(kMinimalBandwidth) == 0x41C5999A);
static_assert(std::bit_cast<std::uint32_t>(kScaleHz) == 0x4364D874);

constexpr float kPi = std::numbers::pi_v<float>;
constexpr float kTwoPi = 2.0f * kPi;
static_assert(std::bit_cast<std::uint32_t>(kPi) == 0x40490FDB);
static_assert(std::bit_cast<std::uint32_t>(kTwoPi) == 0x40C90FDB);

constexpr unsigned kOrder = 4;
constexpr int kImpulseSamples = 1024;

constexpr float kHairCellSeconds = 1.0f / (kTwoPi * 1000.0f); // the time constant of 1 kHz
static_assert(std::bit_cast<std::uint32_t>(kHairCellSeconds) == 0x3926E2D4);
// Required by the contract: stored in every filter, and read by nothing. No value depends on it.
constexpr float kHairCellConstant = 3e-5f;
static_assert(std::bit_cast<std::uint32_t>(kHairCellConstant) == 0x37FBA882);

// The states of one filter in locals, and one step of all four stages from the old values.
struct Cascade {
    Cascade(const Gfb_Filter& filter, const float* realState, const float* imagState)
        : pr(filter.realPole), pi(filter.imagPole), gain(filter.gain) {
        std::copy_n(realState, 4, re);
        std::copy_n(imagState, 4, im);
    }

    void Step(float x) {
        for (int stage = 3; stage > 0; --stage) {
            const float real = (pr * re[stage] - pi * im[stage]) + re[stage - 1];
            im[stage] = (pr * im[stage] + pi * re[stage]) + im[stage - 1];
            re[stage] = real;
        }
        const float real = (pr * re[0] - pi * im[0]) + gain * x;
        im[0] = pr * im[0] + pi * re[0];
        re[0] = real;
    }

    void Save(float* realState, float* imagState) const {
        std::copy_n(re, 4, realState);
        std::copy_n(im, 4, imagState);
    }

    float pr;
    float pi;
    float gain;
    float re[4];
    float im[4];
};

// Delays `samples` values by the length of `carried`, which holds those that are due and receives
// those that came last. A block may be shorter than the delay.
void Delay(float* out, const float* in, float* carried, int delay, int samples) {
    const int due = std::min(delay, samples);
    std::copy_n(carried, due, out);
    std::copy_n(in, samples - due, out + due);
    std::copy(carried + due, carried + delay, carried);
    std::copy_n(in + (samples - due), due, carried + (delay - due));
}

void CompensateDelays(Gfb_Analyzer* analyzer) {
    int longest = 0;
    for (int band = 0; band < analyzer->bandCount; ++band) {
        Gfb_Filter* const filter = analyzer->filters[band];
        filter->delayActive = 0;
        getFilterDelay(filter);
        longest = std::max(longest, filter->delay);
    }
    for (int band = 0; band < analyzer->bandCount; ++band) {
        adjustAdditionalFilterDelay(analyzer->filters[band], longest);
    }
}

} // namespace

void* utMalloc(int size, int* status) {
    void* const memory = size >= 0 ? std::malloc(static_cast<std::size_t>(size)) : nullptr;
    *status = memory != nullptr ? 0 : kNoMemory;
    return memory;
}

void* utCalloc(int count, int size, int* status) {
    void* const memory = count >= 0 && size >= 0 ? std::calloc(static_cast<std::size_t>(count),
                                                               static_cast<std::size_t>(size))
                                                 : nullptr;
    *status = memory != nullptr ? 0 : kNoMemory;
    return memory;
}

float Gfb_hz2erbscale(float hz) {
    return static_cast<float>(double{kQuality} * elementary::Log(double{1.0f + hz / kScaleHz}));
}

float Gfb_erbscale2hz(float erb) {
    return static_cast<float>(double{kScaleHz} * (elementary::Exp(double{erb / kQuality}) - 1.0));
}

float Gfb_factorial(unsigned n) {
    float product = 1.0f;
    // From 35 on it is infinite, whatever else would be multiplied.
    for (unsigned factor = 2; factor <= std::min(n, 35u); ++factor) {
        product *= static_cast<float>(factor);
    }
    return product;
}

float complexAbs(std::complex<float> z) {
    const float square = z.real() * z.real() + z.imag() * z.imag();
    return static_cast<float>(std::sqrt(double{square}));
}

void Gfb_Filter_new_3arg(Gfb_Filter* filter, float sampleRate, float centreFrequency,
                         unsigned order, int withHairCell) {
    *filter = Gfb_Filter{};
    const float erb = kMinimalBandwidth + centreFrequency / kQuality;
    // The equivalent rectangular bandwidth of a gammatone filter whose -3 dB bandwidth is 1.
    const unsigned twice = 2 * order - 2;
    const float divisor = Gfb_factorial(order - 1) * Gfb_factorial(order - 1);
    const auto shape =
        static_cast<float>(double{kPi} * double{Gfb_factorial(twice)} *
                           elementary::Pow(2.0, -static_cast<double>(twice)) / double{divisor});
    const float bandwidth = erb / shape;
    const auto radius =
        static_cast<float>(elementary::Exp(double{-kTwoPi * bandwidth / sampleRate}));
    const float angle = kTwoPi * centreFrequency / sampleRate;
    filter->realPole = static_cast<float>(double{radius} * elementary::Cos(double{angle}));
    filter->imagPole = static_cast<float>(double{radius} * elementary::Sin(double{angle}));
    filter->order = static_cast<float>(order);
    filter->gain = static_cast<float>(
        2.0 * elementary::Pow(double{1.0f - radius}, static_cast<double>(order)));
    filter->ihcConstant = kHairCellConstant;
    if (withHairCell != 0) {
        // Required by the contract: the weights are the other way round than in an ordinary
        // low-pass. Exchanging them changes all values of the hair cells.
        filter->ihcForward =
            static_cast<float>(elementary::Exp(double{-1.0f / (sampleRate * kHairCellSeconds)}));
        filter->ihcBack = 1.0f - filter->ihcForward;
    }
}

int Gfb_Analyzer_new(Gfb_Analyzer* analyzer, const Gfb_Parameters& parameters, int maxSamples) {
    *analyzer = Gfb_Analyzer{};
    analyzer->sampleRate = parameters.sampleRate;
    analyzer->lowerCutoff = parameters.lowerCutoff;
    analyzer->baseFrequency = parameters.baseFrequency;
    analyzer->upperCutoff = parameters.upperCutoff;
    analyzer->filtersPerERB = parameters.filtersPerERB;

    const float low = Gfb_hz2erbscale(parameters.lowerCutoff);
    const float base = Gfb_hz2erbscale(parameters.baseFrequency);
    const float high = Gfb_hz2erbscale(parameters.upperCutoff);
    const float density = parameters.filtersPerERB;
    float position = base - std::floor(density * (base - low)) / density;
    for (; position <= high && analyzer->bandCount < MAX_N_BANDS; position += 1.0f / density) {
        analyzer->centreFrequencies[analyzer->bandCount++] = Gfb_erbscale2hz(position);
    }
    if (position <= high) {
        std::printf("ERROR: constant MAX_N_BANDS is too small\n");
    }

    int status = 0;
    if (parameters.compensateDelay != 0) {
        const int bytes =
            maxSamples <= INT_MAX / int{sizeof(float)} ? maxSamples * int{sizeof(float)} : -1;
        for (float** scratch : {&analyzer->scratchReal, &analyzer->scratchImag}) {
            *scratch = static_cast<float*>(utMalloc(bytes, &status));
            if (status != 0) {
                return status;
            }
        }
    }
    for (int band = 0; band < analyzer->bandCount; ++band) {
        Gfb_Filter*& filter = analyzer->filters[band];
        filter = static_cast<Gfb_Filter*>(utMalloc(int{sizeof(Gfb_Filter)}, &status));
        if (status != 0) {
            return status;
        }
        Gfb_Filter_new_3arg(filter, parameters.sampleRate, analyzer->centreFrequencies[band],
                            kOrder, 1);
    }
    if (parameters.compensateDelay != 0) {
        CompensateDelays(analyzer);
    }
    return status;
}

void Gfb_Analyzer_remove(Gfb_Analyzer* analyzer) {
    for (int band = 0; band < analyzer->bandCount; ++band) {
        utFree(&analyzer->filters[band]);
    }
    utFree(&analyzer->scratchReal);
    utFree(&analyzer->scratchImag);
}

void getFilterDelay(Gfb_Filter* filter) {
    float impulse[kImpulseSamples] = {1.0f};
    float real[kImpulseSamples];
    float imag[kImpulseSamples];
    filter->delayActive = 0;
    gfb_Analyze(real, imag, impulse, filter, nullptr, nullptr, kImpulseSamples);
    std::fill_n(filter->realState, 4, 0.0f);
    std::fill_n(filter->imagState, 4, 0.0f);
    float greatest = 0.0f;
    filter->delay = 0;
    for (int i = 0; i < kImpulseSamples; ++i) {
        const float square = real[i] * real[i] + imag[i] * imag[i];
        if (square > greatest) {
            greatest = square;
            filter->delay = i;
        }
    }
    std::printf("delay = %d\n", filter->delay);
}

void adjustAdditionalFilterDelay(Gfb_Filter* filter, int maxDelay) {
    filter->delay = maxDelay - filter->delay;
    std::printf("additional delay = %d\n", filter->delay);
    filter->delayActive = 0;
    if (filter->delay <= 0) {
        return;
    }
    int realStatus = 0;
    int imagStatus = 0;
    constexpr int kFloat = sizeof(float);
    filter->delayReal = static_cast<float*>(utCalloc(filter->delay, kFloat, &realStatus));
    filter->delayImag = static_cast<float*>(utCalloc(filter->delay, kFloat, &imagStatus));
    if (realStatus == 0 && imagStatus == 0) {
        filter->delayActive = 1;
    } else {
        utFree(&filter->delayReal);
        utFree(&filter->delayImag);
    }
}

void gfb_Analyze(float* outReal, float* outImag, const float* input, Gfb_Filter* filter,
                 float* scratchReal, float* scratchImag, int samples) {
    const bool delays = filter->delayActive != 0;
    float* const real = delays ? scratchReal : outReal;
    float* const imag = delays ? scratchImag : outImag;
    Cascade cascade(*filter, filter->realState, filter->imagState);
    for (int i = 0; i < samples; ++i) {
        cascade.Step(input[i]);
        real[i] = cascade.re[3];
        imag[i] = cascade.im[3];
    }
    cascade.Save(filter->realState, filter->imagState);
    if (delays && samples > 0) {
        Delay(outReal, real, filter->delayReal, filter->delay, samples);
        Delay(outImag, imag, filter->delayImag, filter->delay, samples);
    }
}

void gfb_AnalyzePlusIhc(float* output, const float* input, Gfb_Filter* filter, float* realState,
                        float* imagState, float* ihcValue, float threshold, int samples) {
    Cascade cascade(*filter, realState, imagState);
    float ihc = *ihcValue;
    for (int i = 0; i < samples; ++i) {
        cascade.Step(input[i]);
        const float rectified = cascade.re[3] < 0.0f ? 0.0f : cascade.re[3];
        ihc = filter->ihcForward * rectified + filter->ihcBack * ihc;
        output[i] = ihc > threshold ? ihc : threshold;
    }
    cascade.Save(realState, imagState);
    *ihcValue = ihc;
}

} // namespace qel::core
