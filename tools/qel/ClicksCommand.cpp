#include "tools/qel/ClicksCommand.h"

#include "output/files/AtomicFile.h"
#include "output/files/Interrupt.h"
#include "output/files/OutputDirectory.h"
#include "page/ClickMixer.h"
#include "page/WavFormat.h"
#include "page/pictures/LaneList.h"
#include "tools/qel/Arguments.h"
#include "tools/qel/FileRun.h"
#include "tools/qel/KeyList.h"
#include "tools/qel/ToolError.h"
#include "tools/read/FileReadings.h"

#include <QelMedia.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <unistd.h>

namespace qel::tool {
namespace {

using readings::Reading;

constexpr const char* kBeats = "beats";
constexpr const char* kDownBeats = "downbeats";
constexpr const char* kOnsets = "onsets";

std::set<std::string> MarksOf(const ClicksOptions& options) {
    std::set<std::string> marks;
    for (const std::string& word : SplitList(options.marks)) {
        if (word != kBeats && word != kDownBeats && word != kOnsets) {
            throw UsageError(fmt::format("--on: unknown word \"{}\"; the words are {}, {}, {}",
                                         word, kBeats, kDownBeats, kOnsets));
        }
        marks.insert(word);
    }
    return options.marks.empty() ? std::set<std::string>{kBeats, kDownBeats} : marks;
}

// The times of some marks, shifted. A down beat has no click as a beat beside its own.
struct ClickTimes {
    std::vector<double> beats;
    std::vector<double> downBeats;
    std::vector<double> onsets;
};

ClickTimes TimesOf(const readings::Answers& answers, const std::set<std::string>& marks,
                   double shiftSeconds) {
    ClickTimes times;
    const bool wantsDownBeats = marks.contains(kDownBeats);
    for (const readings::Beat& beat : answers.beats->beats) {
        const bool isDownBeat = beat.position == 1 && wantsDownBeats;
        if (isDownBeat) {
            times.downBeats.push_back(beat.seconds + shiftSeconds);
        } else if (marks.contains(kBeats)) {
            times.beats.push_back(beat.seconds + shiftSeconds);
        }
    }
    if (marks.contains(kOnsets)) {
        for (const readings::Onset& onset : *answers.onsets) {
            times.onsets.push_back(onset.seconds + shiftSeconds);
        }
    }
    return times;
}

page::ClickMixer MixerFor(const ClickTimes& times, double sampleRateHz) {
    const page::LaneList& list = page::LaneList::Get();
    page::ClickMixer mixer(sampleRateHz);
    mixer.Add(list.MarkOf("beats").click, times.beats);
    mixer.Add(list.MarkOf("downBeats").click, times.downBeats);
    mixer.Add(list.MarkOf("onsets").click, times.onsets);
    return mixer;
}

// Decodes the file once more and writes it with clicks. Its length is known by then.
void WriteMix(const std::string& path, std::int64_t frames, page::ClickMixer mixer,
              output::TextSink& sink) {
    media::Reader file(path, {.isCancelled = output::Interrupt::IsRequested});
    const auto size = static_cast<std::uint64_t>(frames) * file.channels() * sizeof(std::int16_t);
    if (size > page::kMostWavBytes) {
        throw ToolError(fmt::format("is too long: {} bytes of samples do not fit a WAV", size));
    }
    sink.Append(page::WavHeader(file.sampleRateHz(), file.channels(), size));
    std::vector<std::vector<float>> mixed(file.channels());
    std::vector<float*> channels(file.channels());
    for (media::Block block = file.read(); block.frames > 0; block = file.read()) {
        for (std::size_t c = 0; c < mixed.size(); ++c) {
            mixed[c].assign(block.channels[c], block.channels[c] + block.frames);
            channels[c] = mixed[c].data();
        }
        mixer.Mix(channels, block.frames);
        const std::vector<const float*> written(channels.begin(), channels.end());
        sink.Append(page::WavSamples(written, block.frames));
    }
}

} // namespace

CLI::App* AddClicks(CLI::App& app, ClicksOptions& options) {
    CLI::App* command = app.add_subcommand(
        "clicks", "Write an audio file with clicks on its beats, to judge them by ear");
    command->add_option("FILE", options.file, "Audio file")->required();
    command->add_option("--output", options.output, "The mix: 16 bits, rate and channels of FILE")
        ->required()
        ->type_name("OUT.wav");
    AddRepeatable(command, "--on", options.marks,
                  "What clicks, separated by commas: beats, downbeats, onsets. Default: "
                  "beats,downbeats")
        ->type_name("LIST");
    command
        ->add_option("--shift", options.shiftMilliseconds,
                     "Delay the clicks by MS milliseconds; -1000 to 1000, default 0")
        ->check(NumberFrom(-1000, 1000))
        ->type_name("MS");
    command->add_flag("--overwrite", options.overwrite,
                      "Replace an existing output; without this option it is refused");
    command->add_flag("--quiet", options.quiet, "Draw no progress bar");
    return command;
}

int RunClicks(const ClicksOptions& options) {
    const std::set<std::string> marks = MarksOf(options);
    if (options.output.empty()) {
        throw UsageError("--output is empty");
    }
    RefuseToOverwriteInput({options.file}, options.output);
    std::optional<output::OutputDirectory> directory; // outlives the file
    if (options.output != "-") {
        directory.emplace(std::filesystem::path(options.output).parent_path());
    }
    ProgressBar progress(STDERR_FILENO, isatty(STDERR_FILENO) != 0 && !options.quiet);
    const auto work = [&] {
        output::AtomicFile output(options.output, options.overwrite ? output::Existing::Replace
                                                                    : output::Existing::Refuse);
        const std::vector asked{Reading::Beats, Reading::Bars, Reading::Onsets};
        const FileReadings file = ReadOneFile(options.file, asked, progress);
        const ClickTimes times = TimesOf(file.answers, marks, options.shiftMilliseconds / 1000);
        const std::int64_t frames = std::llround(file.answers.seconds * file.sampleRateHz);
        WriteMix(options.file, frames, MixerFor(times, file.sampleRateHz), output.Sink());
        output.Commit();
        return file.warnings;
    };
    return TryFile(options.file, progress, work, [](const std::string&) {}) ? kExitSuccess
                                                                            : kExitFailure;
}

} // namespace qel::tool
