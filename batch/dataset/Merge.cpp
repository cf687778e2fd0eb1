#include "batch/dataset/Merge.h"

#include "batch/Refusal.h"
#include "batch/dataset/Dataset.h"
#include "output/files/Interrupt.h"
#include "output/files/OutputError.h"
#include "output/formats/Texts.h"

#include <fmt/format.h>

#include <filesystem>
#include <map>
#include <optional>
#include <system_error>

namespace qel::batch {
namespace {

// The dataset of one shard.
struct Source {
    std::string directory;
    Settings settings;
    ListFacts list;
    std::vector<std::string> readings;
};

Source OpenSource(const std::string& directory) {
    const Settings settings = Dataset::SettingsOf(directory);
    const std::string file = Dataset::TablesOf(directory);
    if (!std::filesystem::exists(file)) {
        throw Refusal(fmt::format("{}: is not complete; run its command again", directory));
    }
    Tables tables(directory, file);
    return {directory, settings, tables.List(), tables.ReadingColumns()};
}

// How many files of a list are a shard's.
std::int64_t ShareOf(const ListFacts& list) {
    return (list.listed - list.shard.index + list.shard.count) / list.shard.count;
}

void RequireSame(const Source& first, const Source& other) {
    Settings expected = first.settings;
    expected.Replace(Settings::kShard, other.settings.Value(Settings::kShard));
    const std::string difference = expected.Difference(other.settings);
    if (!difference.empty()) {
        throw Refusal(fmt::format("{} and {}: have different settings: {}", first.directory,
                                  other.directory, difference));
    }
    if (first.list.shard.count != other.list.shard.count) {
        throw Refusal(fmt::format("{} is one of {} shards, and {} one of {}", first.directory,
                                  first.list.shard.count, other.directory, other.list.shard.count));
    }
    if (first.list.listed != other.list.listed || first.list.digest != other.list.digest) {
        throw Refusal(fmt::format("{} and {}: were made from different lists, of {} and {}; "
                                  "run both again",
                                  first.directory, other.directory, first.list.listed,
                                  output::CountText(other.list.listed, "file")));
    }
}

// The shards by their numbers, each of them once.
std::map<std::int64_t, Source> Ordered(const std::vector<std::string>& datasets) {
    std::map<std::int64_t, Source> sources;
    std::optional<Source> first;
    for (const std::string& directory : datasets) {
        Source source = OpenSource(directory);
        if (first) {
            RequireSame(*first, source);
        } else {
            first = source;
        }
        const std::int64_t index = source.list.shard.index;
        if (source.list.files != ShareOf(source.list)) {
            throw Refusal(fmt::format(
                "{}: has {} of the {} of shard {}/{}", directory, source.list.files,
                output::CountText(ShareOf(source.list), "file"), index, source.list.shard.count));
        }
        const auto [at, isNew] = sources.emplace(index, std::move(source));
        if (!isNew) {
            throw Refusal(fmt::format("shard {}/{} is both {} and {}", index,
                                      at->second.list.shard.count, at->second.directory,
                                      directory));
        }
    }
    for (std::int64_t index = 1; index <= first->list.shard.count; ++index) {
        if (!sources.contains(index)) {
            throw Refusal(fmt::format("shard {}/{} is missing", index, first->list.shard.count));
        }
    }
    return sources;
}

bool HasSizeOf(const std::filesystem::path& source, const std::filesystem::path& target) {
    std::error_code noSource;
    std::error_code noTarget;
    const std::uintmax_t size = std::filesystem::file_size(source, noSource);
    return size == std::filesystem::file_size(target, noTarget) && !noSource && !noTarget;
}

// A second name where the file system allows one, else a copy.
void TakeArrays(const std::string& from, const std::string& to, const std::string& name) {
    const std::filesystem::path target = to + '/' + name;
    const std::filesystem::path source = from + '/' + name;
    std::error_code error;
    std::filesystem::create_directories(target.parent_path(), error);
    if (HasSizeOf(source, target)) {
        return; // the name depends on the content
    }
    std::filesystem::remove(target, error);
    std::filesystem::create_hard_link(source, target, error);
    if (error && !HasSizeOf(source, target)) { // another merge may have been faster
        std::filesystem::copy_file(source, target,
                                   std::filesystem::copy_options::overwrite_existing, error);
        if (error) {
            throw output::OutputError(
                fmt::format("{}: cannot copy {} to {}: {}", from, name, to, error.message()));
        }
    }
}

void TakeRows(const std::map<std::int64_t, Source>& sources, const Dataset& out,
              const std::function<void(const Row&)>& take) {
    for (const auto& entry : sources) {
        const std::string& directory = entry.second.directory;
        Tables(directory, Dataset::TablesOf(directory)).ForEachRow([&](const Row& row) {
            output::Interrupt::Check();
            const std::string arrays = TextOf(row, "arrays");
            if (!arrays.empty()) {
                TakeArrays(directory, out.Directory(), arrays);
            }
            take(row);
        });
    }
}

} // namespace

std::vector<StatusCount> Merge(const std::vector<std::string>& datasets, const std::string& out,
                               Earlier earlier) {
    const std::map<std::int64_t, Source> sources = Ordered(datasets);
    const Source& first = sources.begin()->second;
    Settings settings = first.settings;
    settings.Replace(Settings::kShard, "1/1");
    const Dataset dataset(out, settings);
    if (earlier == Earlier::Refuse && dataset.HasTables()) {
        throw Refusal(
            fmt::format("{}: exists already; --replace renews it, or name another dataset", out));
    }
    dataset.Begin();
    const std::vector<std::string> remains = dataset.PartNames();
    ListFacts whole = first.list;
    whole.shard = {1, 1};
    whole.files = whole.listed;
    const Tables::Content content{
        .dataset = out,
        .settings = settings,
        .list = whole,
        .readings = first.readings,
        .rows = [&](const auto& take) { TakeRows(sources, dataset, take); }};
    dataset.Publish(Dataset::NewAttempt(), content);
    dataset.RemoveParts(remains);
    return Tables(out, Dataset::TablesOf(out)).Statuses();
}

} // namespace qel::batch
