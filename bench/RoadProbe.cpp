// Measures what the library costs alone on the ways that audio takes through the programs.
//
//   qel_road_probe audio CHANNELS SECONDS    writes samples to standard output: 32-bit floats in
//                                            native byte order, 44.1 kHz, channels interleaved
//   qel_road_probe stream KEY...             a minute by the first analyzer of the process, by the
//                                            same one after a reset, and the memory of the first
//   qel_road_probe samples COUNT [KEY...]    COUNT streams of kSampleSeconds: by one analyzer that
//                                            is reset; without keys by a reader of its own each,
//                                            which gives what `qel read` prints
//   qel_road_probe threads KEY...            two minutes one after the other, and in two threads
//
// All but the first print an object of JSON with seconds, of CPU time but for the last one.

#include "bench/BareAnalyzer.h"
#include "bench/BenchAudio.h"
#include "bench/CPUTime.h"
#include "bench/ResidentMemory.h"

#include <QelReadings.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace qel::bench {

namespace {

using Keys = std::vector<std::string>;

// Whole blocks, as an analyzer here takes no others: 1.02 s.
constexpr std::size_t kSampleBlocks = 11;
// The channels are cuts of the same music, so that an encoder cannot join them.
constexpr std::size_t kChannelOffset = 30000;

void WriteAudio(std::size_t channels, double seconds) {
    const auto frames = static_cast<std::size_t>(seconds * kSampleRateHz);
    std::vector<float> frame(channels);
    for (std::size_t i = 0; i < frames; ++i) {
        for (std::size_t c = 0; c < channels; ++c) {
            const std::vector<float>& minute = c % 2 == 0 ? MinuteInFour() : MinuteOfMusic();
            frame[c] = minute[(i + c * kChannelOffset) % minute.size()];
        }
        if (std::fwrite(frame.data(), sizeof(float), channels, stdout) != channels) {
            throw std::runtime_error("standard output cannot be written");
        }
    }
    if (std::fflush(stdout) != 0) { // a full disk may show only now
        throw std::runtime_error("standard output cannot be written");
    }
}

void RunStream(BareAnalyzer& analyzer, std::span<const float> audio) {
    analyzer.Push(audio);
    analyzer.Finish();
}

void ProbeStream(const Keys& keys) {
    const std::vector<float>& minute = MinuteInFour();
    const std::size_t residentBefore = PeakResidentBytes();
    BareAnalyzer analyzer(keys);
    const double fresh = SecondsOf([&] {
        analyzer.Initialize(minute.size());
        RunStream(analyzer, minute);
    });
    const std::size_t resident = PeakResidentBytes() - residentBefore;
    analyzer.Reset();
    const double warm = SecondsOf([&] { RunStream(analyzer, minute); });
    std::printf("{\"freshSeconds\": %.9f, \"warmSeconds\": %.9f, \"residentBytes\": %zu}\n", fresh,
                warm, resident);
}

std::span<const float> Sample(std::size_t index) {
    const std::vector<float>& minute = MinuteInFour();
    constexpr std::size_t kSamples = kSampleBlocks * kBlockSamples;
    return std::span(minute).subspan(index % (minute.size() / kSamples) * kSamples, kSamples);
}

double SecondsOfSamples(std::size_t count, const Keys& keys) {
    BareAnalyzer analyzer(keys);
    analyzer.Initialize(Sample(0).size());
    RunStream(analyzer, Sample(0));
    double seconds = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        analyzer.Reset();
        seconds += SecondsOf([&] { RunStream(analyzer, Sample(i)); });
    }
    return seconds;
}

double SecondsOfReadings(std::size_t count) {
    using readings::Reading;
    constexpr Reading kPrinted[] = {Reading::Tempo, Reading::Bars, Reading::Key, Reading::Loudness,
                                    Reading::Bandwidth};
    return SecondsOf([&] {
        for (std::size_t i = 0; i < count; ++i) {
            const std::span<const float> sample = Sample(i);
            readings::Reader reader(kPrinted,
                                    {.sampleRateHz = kSampleRateHz, .lengthFrames = sample.size()});
            for (std::size_t block = 0; block < kSampleBlocks; ++block) {
                reader.push(sample.subspan(block * kBlockSamples, kBlockSamples));
            }
            reader.finish();
        }
    });
}

void ProbeSamples(std::size_t count, const Keys& keys) {
    const double seconds = keys.empty() ? SecondsOfReadings(count) : SecondsOfSamples(count, keys);
    std::printf("{\"seconds\": %.9f}\n", seconds / static_cast<double>(count));
}

void AnalyzeMinute(const Keys& keys) {
    BareAnalyzer analyzer(keys);
    analyzer.Initialize(MinuteInFour().size());
    RunStream(analyzer, MinuteInFour());
}

double WallSecondsOf(auto work) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void ProbeThreads(const Keys& keys) {
    AnalyzeMinute(keys); // what only the first analyzer of a process pays for
    const double inTurns = WallSecondsOf([&] {
        AnalyzeMinute(keys);
        AnalyzeMinute(keys);
    });
    const double atOnce = WallSecondsOf([&] {
        const std::jthread other(AnalyzeMinute, std::cref(keys));
        AnalyzeMinute(keys);
    });
    std::printf("{\"inTurnsSeconds\": %.9f, \"atOnceSeconds\": %.9f}\n", inTurns, atOnce);
}

// Returns whether the words were understood.
bool Probe(const std::string& what, const Keys& words) {
    if (what == "audio" && words.size() == 2 && std::atoi(words[0].c_str()) > 0 &&
        std::atof(words[1].c_str()) > 0) {
        WriteAudio(static_cast<std::size_t>(std::atoi(words[0].c_str())),
                   std::atof(words[1].c_str()));
    } else if (what == "stream" && !words.empty()) {
        ProbeStream(words);
    } else if (what == "samples" && !words.empty() && std::atoi(words[0].c_str()) > 0) {
        ProbeSamples(static_cast<std::size_t>(std::atoi(words[0].c_str())),
                     {words.begin() + 1, words.end()});
    } else if (what == "threads" && !words.empty()) {
        ProbeThreads(words);
    } else {
        return false;
    }
    return true;
}

} // namespace

} // namespace qel::bench

int main(int argc, char** argv) {
    try {
        const std::vector<std::string> words(argv + std::min(argc, 2), argv + argc);
        if (!qel::bench::Probe(argc > 1 ? argv[1] : "", words)) {
            std::fprintf(stderr, "usage: qel_road_probe audio CHANNELS SECONDS | stream KEY... | "
                                 "samples COUNT [KEY...] | threads KEY...\n");
            return 2;
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qel_road_probe: %s\n", error.what());
        return 1;
    }
}
