// Tempo, beats, down beats and key by libqm-dsp, of samples on the standard input: mono, 44.1 kHz,
// float. A line per answer on the standard output: its name and its numbers.

#include <dsp/keydetection/GetKeyMode.h>
#include <dsp/onsets/DetectionFunction.h>
#include <dsp/tempotracking/DownBeat.h>
#include <dsp/tempotracking/TempoTrackV2.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <vector>

namespace {

constexpr int kRate = 44100;
constexpr unsigned kStep = 512;
constexpr unsigned kFrame = 2 * kStep;
constexpr unsigned kDecimation = 16;

std::vector<float> ReadSamples() {
    std::vector<float> samples;
    std::array<float, 4096> block;
    std::size_t count = 0;
    while ((count = std::fread(block.data(), sizeof(float), block.size(), stdin)) > 0) {
        samples.insert(samples.end(), block.begin(), block.begin() + static_cast<long>(count));
    }
    return samples;
}

double Seconds(double steps) {
    return steps * kStep / kRate;
}

void PrintRhythm(const std::vector<float>& audio) {
    DetectionFunction function(DFConfig{kStep, kFrame, DF_COMPLEXSD, 3, false, -1, -1});
    DownBeat downBeat(kRate, kDecimation, kStep);
    std::vector<double> frame(kFrame);
    std::vector<double> curve;
    for (std::size_t start = 0; start + kFrame <= audio.size(); start += kStep) {
        std::copy_n(audio.data() + start, kFrame, frame.data());
        curve.push_back(function.processTimeDomain(frame.data()));
        downBeat.pushAudioBlock(audio.data() + start);
    }
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
    std::printf("beats");
    for (const double beat : beats) {
        std::printf(" %.6f", Seconds(beat));
    }
    std::printf("\ndownbeats");
    for (const int index : downBeats) {
        std::printf(" %.6f", Seconds(beats[static_cast<std::size_t>(index)]));
    }
    std::printf("\n");
}

// The most frequent key of all frames: 1 to 12 are the majors from C up, 13 to 24 the minors, 0 is
// none.
void PrintKey(const std::vector<float>& audio) {
    GetKeyMode keys(kRate, 440.0f, 10.0, 10.0);
    std::vector<double> frame(keys.getBlockSize());
    std::array<int, 25> counts{};
    for (std::size_t start = 0; start + frame.size() <= audio.size(); start += keys.getHopSize()) {
        std::copy_n(audio.data() + start, frame.size(), frame.data());
        const int key = keys.process(frame.data());
        if (key > 0 && key <= 24) {
            ++counts[static_cast<std::size_t>(key)];
        }
    }
    std::printf("key %ld\n", std::max_element(counts.begin(), counts.end()) - counts.begin());
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<float> audio = ReadSamples();
    for (int i = 1; i < argc; ++i) {
        if (std::string_view(argv[i]) == "rhythm") {
            PrintRhythm(audio);
        }
        if (std::string_view(argv[i]) == "key") {
            PrintKey(audio);
        }
    }
    return 0;
}
