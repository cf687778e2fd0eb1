// Analyzes one stream by each key and each reading, one after the other, for callgrind to count.
//
//   qel_instruction_probe [SUBJECT...]
//   qel_instruction_probe --list     names the subjects and analyzes nothing
//   qel_instruction_probe --build    says what built the library, as figures of two builds differ
//
// prints the name of a subject before its stream, such as "key/tempo" or "reading/onsets".
// Callgrind counts within qel_counted_stream, and writes a file whenever that ends, so that there
// is one per subject. Only the pushes and the end of a stream are in it: setting up, the audio and
// the start of the process do not count. bench/report/instructions.py has the options.

#include "bench/BareAnalyzer.h"
#include "bench/BenchAudio.h"
#include "bench/CountedStream.h"

#include <QelAudioAnalysis.hpp>
#include <QelReadings.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qel::bench {

namespace {

using readings::Reading;

// Six seconds: a bar of four at the tempo of the music three times over, and a frame of every key.
constexpr std::size_t kBlocks = 64;

struct NamedReading {
    std::string_view name;
    Reading reading;
};

constexpr NamedReading kReadings[] = {
    {"tempo", Reading::Tempo},         {"beats", Reading::Beats},
    {"bars", Reading::Bars},           {"key", Reading::Key},
    {"onsets", Reading::Onsets},       {"pitch", Reading::Pitch},
    {"timbre", Reading::Timbre},       {"loudness", Reading::Loudness},
    {"bandwidth", Reading::Bandwidth}, {"running tempo", Reading::RunningTempo},
};

std::span<const float> Audio() {
    return std::span(MinuteInFour()).first(kBlocks * kBlockSamples);
}

void CountKeys(const std::vector<std::string>& keys) {
    BareAnalyzer analyzer(keys);
    analyzer.Initialize(Audio().size());
    qel_counted_stream([&] {
        analyzer.Push(Audio());
        analyzer.Finish();
    });
    if (analyzer.Results() == 0) {
        throw std::runtime_error("no results");
    }
}

void CountReadings(std::span<const Reading> wanted) {
    readings::Reader reader(wanted,
                            {.sampleRateHz = kSampleRateHz, .lengthFrames = Audio().size()});
    qel_counted_stream([&] {
        for (std::size_t block = 0; block < kBlocks; ++block) {
            reader.push(Audio().subspan(block * kBlockSamples, kBlockSamples));
        }
        reader.finish();
    });
}

struct Subject {
    std::string name;
    std::function<void()> count;
};

void AddKeys(std::vector<Subject>& subjects) {
    std::vector<std::string> all;
    for (const KeyInfo& info : kKeys) {
        const std::string key(info.key);
        all.push_back(key);
        subjects.push_back({"key/" + key, [key] { CountKeys({key}); }});
    }
    subjects.push_back({"all keys", [all] { CountKeys(all); }});
}

void AddReadings(std::vector<Subject>& subjects) {
    if (std::size(kReadings) != readings::allReadings().size()) {
        throw std::logic_error("there are readings without a name here");
    }
    for (const NamedReading& named : kReadings) {
        subjects.push_back({"reading/" + std::string(named.name), [reading = named.reading] {
                                CountReadings({&reading, 1});
                            }});
    }
    subjects.push_back({"all readings", [] { CountReadings(readings::allReadings()); }});
}

// All, or those of these names.
std::vector<Subject> FindSubjects(std::span<const std::string> names) {
    std::vector<Subject> subjects;
    AddKeys(subjects);
    AddReadings(subjects);
    for (const std::string& name : names) {
        if (std::ranges::find(subjects, name, &Subject::name) == subjects.end()) {
            throw std::runtime_error("there is no subject '" + name + "'");
        }
    }
    if (!names.empty()) {
        std::erase_if(subjects, [names](const Subject& subject) {
            return std::ranges::find(names, subject.name) == names.end();
        });
    }
    return subjects;
}

void Probe(std::span<const std::string> words) {
    if (words.size() == 1 && words.front() == "--build") {
        std::puts(QEL_BENCH_BUILD);
        return;
    }
    const bool isList = words.size() == 1 && words.front() == "--list";
    for (const Subject& subject : FindSubjects(words.subspan(isList ? 1 : 0))) {
        std::puts(subject.name.c_str());
        if (!isList) {
            subject.count();
        }
    }
}

} // namespace

} // namespace qel::bench

int main(int argc, char** argv) {
    try {
        const std::vector<std::string> words(argv + 1, argv + argc);
        qel::bench::Probe(words);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qel_instruction_probe: %s\n", error.what());
        return 1;
    }
}
