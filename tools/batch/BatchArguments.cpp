#include "tools/batch/BatchArguments.h"

#include "tools/qel/Arguments.h"

namespace qel::tool {
namespace {

constexpr std::uint32_t kLargestBlock = 1048576; // as of "qel analyze"
constexpr unsigned int kMostJobs = 1024;
constexpr unsigned int kMostTasks = 4'000'000;             // that Slurm can be configured for
constexpr std::uint64_t kMostMiB = std::uint64_t{1} << 24; // 16 TiB

void AddFiles(CLI::App* command, BatchOptions& options) {
    command->add_option("SOURCE", options.sources,
                        "Audio files, directories with audio files at any depth, or patterns of "
                        "paths in quotes");
    AddRepeatable(command, "--files-from", options.lists,
                  "Read names of files from a list, one per line; - is standard input")
        ->type_name("LIST");
    command->add_flag("--null", options.isNullSeparated,
                      "The names in lists end with a byte of 0, as from \"find -print0\"");
    AddRepeatable(command, "--match", options.matches,
                  "In directories, take the files whose names match, for example '*.flac'; "
                  "repeatable. Default: the usual extensions of audio files")
        ->type_name("PATTERN");
    command
        ->add_option("--shard", options.shard,
                     "Take part I of N of the sorted list of files, into a dataset of its own; "
                     "\"qel merge\" joins the parts")
        ->type_name("I/N");
    CLI::Option* only = command->add_flag(
        "--list-only", options.listsOnly,
        "Analyze nothing; write the sorted list of the files to --out, a file for --list");
    command
        ->add_option("--list", options.fileList,
                     "Take the files, or those of the shard, from a list of --list-only: the "
                     "sources are not listed again")
        ->type_name("FILE")
        ->excludes(only);
    command->add_flag("--hash", options.hashes,
                      "Store the SHA-256 of every file, and find changed files by it; without this "
                      "option, by size and time");
    command->add_flag("--retry-errors", options.retriesErrors,
                      "Analyze again the files that have an error in the dataset");
}

void AddWork(CLI::App* command, BatchOptions& options) {
    CLI::Option* keys = AddRepeatable(command, "--keys", options.keyLists,
                                      "Keys to analyze, separated by commas, into NPZ files; "
                                      "default: none");
    keys->type_name("LIST");
    command->add_flag("--all", options.allKeys, "Analyze all keys")->excludes(keys);
    AddRepeatable(command, "--readings", options.readings,
                  "Readings, separated by commas: tempo, bars, key, loudness, bandwidth; or none. "
                  "Default: all five")
        ->type_name("LIST");
    AddRepeatable(command, "--param", options.parameters,
                  "Set a parameter of the keys, as with \"qel analyze\"; repeatable")
        ->type_name("NAME=VALUE");
    AddChoice<media::ChannelMix>(
        command, "--mix", options.mix,
        {{"mono", media::ChannelMix::Mono}, {"keep", media::ChannelMix::Keep}},
        "mono (default): analyze keys of the mean of all channels; keep: of each channel");
    command
        ->add_option("--block", options.blockSamples,
                     "Samples per block, as with \"qel analyze\", default 4096")
        ->check(CLI::Range(std::uint32_t{1}, kLargestBlock))
        ->type_name("N");
}

void AddRun(CLI::App* command, BatchOptions& options) {
    command->add_option("--out", options.out, "Directory of the dataset")
        ->required()
        ->type_name("DATASET");
    command
        ->add_option("--jobs", options.jobs,
                     "Worker processes; default: one per available processor")
        ->check(CLI::Range(1u, kMostJobs))
        ->type_name("N");
    command
        ->add_option("--time-limit", options.timeLimitSeconds,
                     "Seconds that one file may take, default 900")
        ->check(NumberFrom(0.001, 1e6))
        ->type_name("S");
    command
        ->add_option("--memory-limit", options.memoryLimitMiB,
                     "MiB that the worker of one file may take, default 4096")
        ->check(CLI::Range(std::uint64_t{1}, kMostMiB))
        ->type_name("MIB");
    command
        ->add_option(
            "--slurm", options.slurmTasks,
            "Analyze nothing; print a script that runs the command as a Slurm job array of "
            "N tasks")
        ->check(CLI::Range(1u, kMostTasks))
        ->type_name("N");
    command->add_flag("--quiet", options.quiet, "Draw no progress line, print no summary");
}

} // namespace

CLI::App* AddBatch(CLI::App& app, BatchOptions& options) {
    CLI::App* command =
        app.add_subcommand("batch", "Analyze many files with several processes into a dataset; the "
                                    "same command continues a run that was stopped");
    AddFiles(command, options);
    AddWork(command, options);
    AddRun(command, options);
    return command;
}

CLI::App* AddMerge(CLI::App& app, MergeOptions& options) {
    CLI::App* command =
        app.add_subcommand("merge", "Join the datasets of all shards into one dataset");
    command->add_option("DATASET", options.datasets, "Datasets of \"qel batch --shard\"")
        ->required();
    command->add_option("--out", options.out, "Directory of the new dataset")
        ->required()
        ->type_name("DATASET");
    command->add_flag("--replace", options.replaces,
                      "Put the rows in the place of those that a dataset of the same settings has");
    return command;
}

} // namespace qel::tool
