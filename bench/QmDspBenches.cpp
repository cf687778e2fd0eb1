#include "bench/BenchAudio.h"
#include "bench/PeerBenches.h"
#include "bench/RegisterBench.h"

#include <benchmark/benchmark.h>
#include <dsp/chromagram/ConstantQ.h>
#include <dsp/keydetection/GetKeyMode.h>
#include <dsp/mfcc/MFCC.h>
#include <dsp/onsets/DetectionFunction.h>
#include <dsp/tempotracking/DownBeat.h>
#include <dsp/tempotracking/TempoTrackV2.h>
#include <dsp/transforms/FFT.h>

#include <algorithm>
#include <string>
#include <vector>

namespace qel::bench {

namespace {

constexpr int kRate = 44100;
constexpr unsigned kSongMinutes = 3;

const std::vector<float>& Song() {
    static const std::vector<float> song = [] {
        const std::vector<float>& minute = MinuteInFour();
        std::vector<float> samples;
        for (unsigned i = 0; i < kSongMinutes; ++i) {
            samples.insert(samples.end(), minute.begin(), minute.end());
        }
        return samples;
    }();
    return song;
}

// The library works on doubles. Its clients have floats, so turning them is part of the time.
void Frames(const std::vector<float>& audio, std::size_t frame, std::size_t hop, auto perFrame) {
    std::vector<double> samples(frame);
    for (std::size_t start = 0; start + frame <= audio.size(); start += hop) {
        std::copy_n(audio.data() + start, frame, samples.data());
        perFrame(samples.data(), start);
    }
}

void BenchCepstrum(benchmark::State& state) {
    MFCCConfig config(kRate);
    config.fftsize = 4096;
    config.nceps = 12; // and the one at 0
    config.window = HanningWindow;
    MFCC cepstrum(config);
    std::vector<double> out(13);
    for ([[maybe_unused]] auto _ : state) {
        Frames(MinuteOfMusic(), 4096, 2048, [&](const double* frame, std::size_t) {
            benchmark::DoNotOptimize(cepstrum.process(frame, out.data()));
        });
    }
}

// Frequencies, bins per octave and hop of our own. The frame is as long as the kernels.
void BenchConstantQ(benchmark::State& state) {
    ConstantQ constantQ(CQConfig{kRate, 90.0, 5300.0, 36, 0.0054});
    constantQ.sparsekernel();
    const int length = constantQ.getfftlength();
    const auto frameSamples = static_cast<std::size_t>(length);
    FFTReal transform(length);
    std::vector<double> real(frameSamples);
    std::vector<double> imag(frameSamples);
    std::vector<double> outReal(static_cast<std::size_t>(constantQ.getK()));
    std::vector<double> outImag(outReal.size());
    for ([[maybe_unused]] auto _ : state) {
        Frames(MinuteOfMusic(), frameSamples, 1024, [&](const double* frame, std::size_t) {
            transform.forward(frame, real.data(), imag.data());
            constantQ.process(real.data(), imag.data(), outReal.data(), outImag.data());
        });
    }
}

// The library's one key estimator, with the averages that its programs use. It looks at an eighth
// of the sample rate and is meant for frames that do not overlap; `hop` 0 is that.
void BenchKey(benchmark::State& state, std::size_t hop) {
    GetKeyMode keys(kRate, 440.0f, 10.0, 10.0);
    for ([[maybe_unused]] auto _ : state) {
        Frames(MinuteOfMusic(), keys.getBlockSize(), hop != 0 ? hop : keys.getHopSize(),
               [&](double* frame, std::size_t) { benchmark::DoNotOptimize(keys.process(frame)); });
    }
}

// Detection function, tempo, beats and down beats. The steps are those that the tempo tracker is
// made for, four times our hop.
void BenchBeats(benchmark::State& state) {
    constexpr unsigned kStep = 512;
    constexpr unsigned kDecimation = 16;
    for ([[maybe_unused]] auto _ : state) {
        DetectionFunction function(DFConfig{kStep, 2 * kStep, DF_COMPLEXSD, 3, false, -1, -1});
        DownBeat downBeat(kRate, kDecimation, kStep);
        std::vector<double> curve;
        Frames(Song(), 2 * kStep, kStep, [&](const double* frame, std::size_t start) {
            curve.push_back(function.processTimeDomain(frame));
            downBeat.pushAudioBlock(Song().data() + start);
        });
        TempoTrackV2 tracker(kRate, kStep);
        std::vector<double> periods(curve.size());
        std::vector<double> tempi;
        std::vector<double> beats;
        tracker.calculateBeatPeriod(curve, periods, tempi);
        tracker.calculateBeats(curve, periods, beats);
        std::size_t length = 0;
        const float* decimated = downBeat.getBufferedAudio(length);
        std::vector<int> downBeats;
        downBeat.findDownBeats(decimated, length, beats, downBeats);
        if (downBeats.empty()) {
            state.SkipWithError("no down beats");
        }
    }
}

} // namespace

void RegisterQmDspBenches() {
    RegisterBench("peer/libqm-dsp: MFCC", "key/mel frequency cepstral coefficients", 1,
                  BenchCepstrum);
    RegisterBench("peer/libqm-dsp: constant-Q", "key/constant q spectrum", 1, BenchConstantQ);
    RegisterBench("peer/libqm-dsp: key", "key/global key", 1,
                  [](benchmark::State& state) { BenchKey(state, 0); });
    RegisterBench("peer/libqm-dsp: key, at our hop", "key/global key", 1,
                  [](benchmark::State& state) { BenchKey(state, 512); });
    RegisterBench("peer/libqm-dsp: beats and down beats, three minutes",
                  "group/tempo, beats and meter, three minutes", kSongMinutes, BenchBeats);
}

} // namespace qel::bench
