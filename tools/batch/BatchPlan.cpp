#include "tools/batch/BatchPlan.h"

#include "tools/batch/BatchWork.h"
#include "tools/qel/KeyList.h"
#include "tools/qel/ToolError.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <sched.h>
#include <unistd.h>

namespace qel::tool {
namespace {

AnalysisPlan PlanOf(const BatchOptions& options) {
    if (options.keyLists.empty() && !options.allKeys) {
        if (!options.parameters.empty()) {
            throw UsageError("--param is for keys; name them with --keys");
        }
        return {};
    }
    AnalyzeOptions analyze;
    analyze.keyLists = options.keyLists;
    analyze.allKeys = options.allKeys;
    analyze.parameters = options.parameters;
    analyze.mix = options.mix;
    analyze.blockSamples = options.blockSamples;
    return MakePlan(analyze);
}

void RequireReadingWord(const std::string& word) {
    std::vector<std::string_view> words;
    for (const SummaryReading& summary : SummaryReadings()) {
        words.push_back(summary.word);
    }
    if (std::ranges::find(words, word) == words.end()) {
        throw UsageError(fmt::format("--readings: unknown reading \"{}\"; the readings are {}, or "
                                     "none",
                                     word, fmt::join(words, ", ")));
    }
}

std::vector<readings::Reading> ReadingsOf(const BatchOptions& options) {
    const std::vector<std::string> words = SplitList(options.readings);
    if (words == std::vector<std::string>{"none"}) {
        return {};
    }
    std::ranges::for_each(words, RequireReadingWord);
    ReadOptions read;
    read.only = options.readings;
    return ShownReadings(read);
}

// The processors that this process may use, which can be fewer than there are.
std::size_t Processors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    return sched_getaffinity(0, sizeof set, &set) == 0 ? static_cast<std::size_t>(CPU_COUNT(&set))
                                                       : 1;
}

std::string WordsOf(const std::vector<readings::Reading>& shown) {
    std::vector<std::string_view> words;
    for (const SummaryReading& summary : SummaryReadings()) {
        if (std::ranges::find(shown, summary.reading) != shown.end()) {
            words.push_back(summary.word);
        }
    }
    return words.empty() ? "none" : fmt::format("{}", fmt::join(words, ", "));
}

std::string Sorted(std::vector<std::string> texts) {
    std::ranges::sort(texts);
    texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
    return fmt::format("{}", fmt::join(texts, "\n"));
}

// Everything that decides the rows. Limits are not among them, as they are for faults.
batch::Settings SettingsOf(const BatchOptions& options, const BatchWork& work,
                           const batch::Shard& shard) {
    batch::Settings settings;
    settings.Add(batch::Settings::kVersion, QEL_VERSION);
    settings.Add(batch::Settings::kDecoders,
                 fmt::format("{}", fmt::join(media::libraryVersions(), ", ")));
    settings.Add("sources", Sorted(options.sources));
    settings.Add("--files-from", Sorted(options.lists));
    settings.Add("--null", options.isNullSeparated ? "yes" : "no");
    settings.Add("--match", Sorted(options.matches));
    settings.Add("--keys", fmt::format("{}", fmt::join(NamesOf(work.plan.keys), ", ")));
    settings.Add("--readings", WordsOf(work.shown));
    settings.Add("--param", Sorted(options.parameters));
    settings.Add("--mix", options.mix == media::ChannelMix::Mono ? "mono" : "keep");
    settings.Add("--block", fmt::format("{}", options.blockSamples));
    settings.Add("--hash", options.hashes ? "yes" : "no");
    settings.Add(batch::Settings::kShard, fmt::format("{}/{}", shard.index, shard.count));
    return settings;
}

} // namespace

batch::Shard ParseShard(const std::string& text) {
    batch::Shard shard;
    const char* const end = text.data() + text.size();
    const auto [slash, first] = std::from_chars(text.data(), end, shard.index);
    const bool isParted = first == std::errc() && slash != end && *slash == '/';
    const auto [stop, second] = std::from_chars(isParted ? slash + 1 : end, end, shard.count);
    if (!isParted || second != std::errc() || stop != end || shard.index < 1 ||
        shard.index > shard.count) {
        throw UsageError(
            fmt::format("--shard: \"{}\" is not of the form I/N with I from 1 to N", text));
    }
    return shard;
}

batch::BatchSetup MakeBatch(const BatchOptions& options) {
    if (options.sources.empty() && options.lists.empty()) {
        throw UsageError("no files; name files or directories, or a list with --files-from");
    }
    if (options.out.empty()) {
        throw UsageError("--out is empty");
    }
    if (options.listsOnly && options.shard != "1/1") {
        throw UsageError("--list-only: the list is that of all shards; leave --shard out");
    }
    const BatchWork work{PlanOf(options), ReadingsOf(options)};
    if (work.plan.keys.empty() && work.shown.empty()) {
        throw UsageError("nothing to do: name keys with --keys, or readings other than none");
    }
    batch::BatchSetup setup;
    setup.shard = ParseShard(options.shard);
    setup.dataset = options.out;
    setup.settings = SettingsOf(options, work, setup.shard);
    setup.sources = options.sources;
    setup.lists = options.lists;
    setup.matches = options.matches;
    setup.fileList = options.fileList;
    setup.isNullSeparated = options.isNullSeparated;
    setup.jobs = options.jobs == 0 ? Processors() : options.jobs;
    setup.limits = {options.timeLimitSeconds, options.memoryLimitMiB << 20};
    setup.hashes = options.hashes;
    setup.retriesErrors = options.retriesErrors;
    setup.readingColumns = work.ReadingColumns();
    setup.work = work.Work();
    const bool isShown = isatty(STDERR_FILENO) != 0 && !options.quiet;
    setup.progressDescriptor = isShown ? STDERR_FILENO : -1;
    return setup;
}

} // namespace qel::tool
