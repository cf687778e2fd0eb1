#include "tools/qel/CommandLine.h"

#include "output/files/Interrupt.h"
#include "output/files/OutputError.h"
#include "tools/batch/BatchArguments.h"
#include "tools/batch/BatchCommand.h"
#include "tools/qel/AnalyzeCommand.h"
#include "tools/qel/Arguments.h"
#include "tools/qel/ClicksCommand.h"
#include "tools/qel/CommandWord.h"
#include "tools/qel/KeysCommand.h"
#include "tools/qel/PlotCommand.h"
#include "tools/qel/ReportCommand.h"
#include "tools/qel/SelfTestCommand.h"
#include "tools/qel/StandardStreams.h"
#include "tools/qel/ToolError.h"
#include "tools/read/ReadArguments.h"
#include "tools/read/ReadCommand.h"

#include <QelMedia.hpp>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <exception>
#include <malloc.h>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace qel::tool {
namespace {

constexpr std::uint32_t kLargestBlock = 1048576; // 2^20 samples, 24 s at 44.1 kHz

constexpr const char* kFooter = "Exit status: 0 success; 1 a file could not be analyzed or an "
                                "output not written; 2 usage error.";

struct CommandLine {
    AnalyzeOptions analyze;
    std::string describedKey;
    bool jsonKeys = false;
    SelfTestOptions selfTest;
    ReadOptions read;
    BatchOptions batch;
    MergeOptions merge;
    ReportOptions report;
    ClicksOptions clicks;
    PlotOptions plot;
    CLI::App* reportCommand = nullptr;
    CLI::App* clicksCommand = nullptr;
    CLI::App* plotCommand = nullptr;
    CLI::App* readCommand = nullptr;
    CLI::App* analyzeCommand = nullptr;
    CLI::App* batchCommand = nullptr;
    CLI::App* mergeCommand = nullptr;
    CLI::App* keysCommand = nullptr;
    CLI::App* describeCommand = nullptr;
    CLI::App* selfTestCommand = nullptr;
};

// "\"Genre Hint\", \"Onset Sensitivity\"": docs/output.md explains them.
std::string ParameterList() {
    std::string list;
    for (const char* name :
         {"Genre Hint", "Onset Sensitivity", "complexity", "Min BPM", "Max BPM"}) {
        list += fmt::format("{}\"{}\"", list.empty() ? "" : ", ", name);
    }
    return list;
}

void AddAnalyze(CLI::App& app, CommandLine& line) {
    AnalyzeOptions& options = line.analyze;
    CLI::App* command = app.add_subcommand("analyze", "Analyze audio files");
    line.analyzeCommand = command;
    command->add_option("FILE", options.files, "Audio files")->required();
    CLI::Option* keys = AddRepeatable(
        command, "--keys", options.keyLists,
        "Keys to analyze, separated by commas (\"qel keys\" lists them). Default with json and "
        "csv: per-frame keys of up to "
        "64 values; request tempo, beats and onsets by name. Default with labels: all keys with "
        "events or a name per frame. Default with beats: \"beat data\", \"down beat data\" and "
        "\"global number of beats per bar\"");
    keys->type_name("LIST");
    command
        ->add_flag("--all", options.allKeys,
                   "Analyze all keys, including those with more than 64 values per frame and those "
                   "delivered at the end (tempo, beats, meter, onsets); with labels and beats, all "
                   "keys that the format supports")
        ->excludes(keys);
    AddChoice<OutputFormat>(command, "--format", options.format,
                            {{"json", OutputFormat::Json},
                             {"csv", OutputFormat::Csv},
                             {"labels", OutputFormat::Labels},
                             {"beats", OutputFormat::Beats}},
                            "json (default); csv; labels: one label track per "
                            "key with events or a name per frame, lines \"start "
                            "end text\"; beats: lines \"time position-in-bar\"");
    command
        ->add_option("--output", options.output,
                     "Output, default - (standard output). With json: a file. Otherwise: a "
                     "directory, in which every audio file gets its own directory; - works if the "
                     "output is a single file. Missing directories are created")
        ->type_name("PATH");
    AddChoice<media::ChannelMix>(
        command, "--mix", options.mix,
        {{"mono", media::ChannelMix::Mono}, {"keep", media::ChannelMix::Keep}},
        "mono (default): analyze the mean of all channels; keep: analyze each channel");
    command
        ->add_option(
            "--block", options.blockSamples,
            "Samples per block, 1 to 1048576, default 4096. \"temporal properties\" have one "
            "result per block; other results do not depend on it, except \"onset data\" "
            "with --mix keep")
        ->check(CLI::Range(std::uint32_t{1}, kLargestBlock))
        ->type_name("N");
    AddRepeatable(
        command, "--param", options.parameters,
        "Set a parameter, for example --param \"Genre Hint=0\"; repeatable. Parameters: " +
            ParameterList())
        ->type_name("NAME=VALUE");
    command
        ->add_option("--min-strength", options.minStrength,
                     "Leave out events (beats, down beats, onsets) with a "
                     "strength below S, in all formats; bar positions still "
                     "count all events; a number of 0 or more, default 0")
        ->type_name("S");
    command->add_flag("--overwrite", options.overwrite,
                      "Replace existing outputs; without it they are refused");
    command->add_flag("--quiet", options.quiet, "Draw no progress bar");
    command->footer(kFooter);
}

void AddSelfTest(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand(
        "selftest", "Check that this machine gives the same results as all others");
    line.selfTestCommand = command;
    CLI::Option* print = command->add_flag("--print", line.selfTest.print,
                                           "Print the digests of the results as source text");
    command
        ->add_flag("--short", line.selfTest.shortSignal,
                   "Analyze 3 s of audio instead of 13 s, for slow machines")
        ->excludes(print);
    command->footer("Exit status: 0 all results are the same; 1 a result differs.");
}

void AddCommands(CLI::App& app, CommandLine& line) {
    app.require_subcommand(1);
    app.set_version_flag("--version", fmt::format("qel {} ({})", QEL_VERSION,
                                                  fmt::join(media::libraryVersions(), ", ")));
    app.footer(kFooter);
    line.readCommand = AddRead(app, line.read);
    line.readCommand->footer(kFooter);
    AddAnalyze(app, line);
    line.batchCommand = AddBatch(app, line.batch);
    line.batchCommand->footer(kFooter);
    line.mergeCommand = AddMerge(app, line.merge);
    line.mergeCommand->footer(kFooter);
    line.reportCommand = AddReport(app, line.report);
    line.reportCommand->footer(kFooter);
    line.clicksCommand = AddClicks(app, line.clicks);
    line.clicksCommand->footer(kFooter);
    line.plotCommand = AddPlot(app, line.plot);
    line.plotCommand->footer(kFooter);
    line.keysCommand = app.add_subcommand("keys", "List the keys");
    line.keysCommand->add_flag("--json", line.jsonKeys, "Describe all keys completely, in JSON");
    line.describeCommand = app.add_subcommand("describe", "Describe one key completely");
    line.describeCommand->add_option("KEY", line.describedKey, "The key")->required();
    AddSelfTest(app, line);
}

int Run(const CommandLine& line) {
    if (line.keysCommand->parsed()) {
        return RunKeys(line.jsonKeys);
    }
    if (line.describeCommand->parsed()) {
        return RunDescribe(line.describedKey);
    }
    if (line.selfTestCommand->parsed()) {
        return RunSelfTest(line.selfTest);
    }
    if (line.readCommand->parsed()) {
        return RunRead(line.read);
    }
    if (line.batchCommand->parsed()) {
        return RunBatchCommand(line.batch);
    }
    if (line.mergeCommand->parsed()) {
        return RunMergeCommand(line.merge);
    }
    if (line.reportCommand->parsed()) {
        return RunReport(line.report);
    }
    if (line.clicksCommand->parsed()) {
        return RunClicks(line.clicks);
    }
    if (line.plotCommand->parsed()) {
        return RunPlot(line.plot);
    }
    return RunAnalyze(line.analyze);
}

// Messages of the parser may run over several lines: the first one says it.
std::string FirstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

// The parser takes "[live]" and "[one,two]" for lists and would look for files without brackets. A
// byte of 0 after them, which no argument can have of itself, keeps it from that.
std::vector<std::string> GuardBrackets(int argc, const char* const* argv) {
    std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    for (std::string& argument : arguments) {
        if (argument.starts_with('[') && argument.ends_with(']')) {
            argument += '\0';
        }
    }
    return arguments;
}

void Unguard(std::string& text) {
    std::erase(text, '\0');
}

void UnguardBrackets(CommandLine& line) {
    AnalyzeOptions& options = line.analyze;
    for (auto* texts :
         {&options.files, &options.keyLists, &options.parameters, &line.read.files, &line.read.only,
          &line.batch.sources, &line.batch.lists, &line.batch.matches, &line.batch.keyLists,
          &line.batch.readings, &line.batch.parameters, &line.merge.datasets, &line.report.files,
          &line.report.compared, &line.clicks.marks, &line.plot.values}) {
        std::for_each(texts->begin(), texts->end(), Unguard);
    }
    Unguard(options.output);
    for (std::string* text :
         {&line.read.output, &line.batch.out, &line.batch.fileList, &line.merge.out,
          &line.report.output, &line.report.pageTemplate, &line.clicks.file, &line.clicks.output,
          &line.plot.file, &line.plot.output, &line.plot.python}) {
        Unguard(*text);
    }
    Unguard(options.minStrength);
    Unguard(line.describedKey);
}

// Help and version go the way of all output, which notices when they do not arrive.
int Answer(const CLI::App& app, const CLI::Success& request) {
    std::ostringstream text;
    app.exit(request, text, text);
    StandardStreams::Print(text.str());
    return kExitSuccess;
}

int ParseAndRun(int argc, const char* const* argv) {
    CLI::App app("Extracts audio features from music files", "qel");
    CommandLine line;
    AddCommands(app, line);
    try {
        std::vector<std::string> arguments = GuardBrackets(argc, argv);
        CompleteCommandWord(arguments);
        std::reverse(arguments.begin(), arguments.end()); // as the parser wants them
        app.parse(std::move(arguments));
        UnguardBrackets(line);
    } catch (const CLI::Success& request) { // --help, --version
        return Answer(app, request);
    } catch (const CLI::ParseError& error) {
        throw UsageError(fmt::format("{}; see qel --help", FirstLine(error.what())));
    }
    return Run(line);
}

// Memory of one file serves the next. By default glibc gives the end of the heap back as soon as it
// is twice the largest block that came from the system. Whether that happens after each short file,
// which then takes 440 page faults, depends on where blocks lie.
void KeepFreedMemory() {
#ifdef __GLIBC__
    constexpr int kOwnBlockBytes = 4 << 20; // blocks of this size come from the system, and go back
    constexpr int kMostFreeBytes = 16 << 20;
    mallopt(M_MMAP_THRESHOLD, kOwnBlockBytes);
    mallopt(M_TRIM_THRESHOLD, kMostFreeBytes);
#endif
}

int Fail(const char* message, ExitStatus status) {
    StandardStreams::Complain(message);
    return status;
}

} // namespace

int RunCommandLine(int argc, const char* const* argv) {
    KeepFreedMemory();
    StandardStreams::Secure();
    output::Interrupt::Install();
    media::silenceLibraries();
    try {
        return ParseAndRun(argc, argv);
    } catch (const output::ClosedPipe&) {
        return kExitFailure;
    } catch (const UsageError& error) {
        return Fail(error.what(), kExitUsage);
    } catch (const output::Interrupt::Requested& request) {
        output::Interrupt::Die(request.signal);
    } catch (const std::bad_alloc&) {
        return Fail("out of memory", kExitFailure);
    } catch (const std::exception& error) {
        return Fail(error.what(), kExitFailure);
    }
}

} // namespace qel::tool
