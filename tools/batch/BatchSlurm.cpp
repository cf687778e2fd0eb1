#include "tools/batch/BatchSlurm.h"

#include "tools/qel/ToolError.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace qel::tool {
namespace {

// Slurm sends USR1 to the shell alone, a minute before the time limit of a task.
constexpr const char* kHead = R"(#!/bin/sh
# "qel batch" as a Slurm job array. To submit it: sh SCRIPT [OPTIONS OF SBATCH]
#SBATCH --job-name=qel-batch
#SBATCH --requeue
#SBATCH --open-mode=append
#SBATCH --signal=B:USR1@60
#SBATCH --cpus-per-task={jobs}

shards={shards}
out={out}
failures=3 # so often a task is begun again after it has failed

batch() {{
    exec qel batch --quiet --jobs {jobs}{options} "$@" --{sources}
}}
)";

constexpr const char* kBody = R"(
task=${SLURM_JOB_ID:-}

# Each attempt writes files of its own into the dataset of its shard and takes what others have done.
# A process that a killed attempt has left behind does no harm.
again() {
    scontrol requeue "$task"
    exit 1
}

failed() {
    [ "${SLURM_RESTART_COUNT:-0}" -ge "$failures" ] || again
    exit 1
}

# Whether there is no audio file, as the last line of the list says. To list again would not help.
is_empty() {
    tail -n 1 "$out.shards/list" 2>/dev/null | grep -q '^qel list [0-9]* 0* '
}

# One attempt at what the options say. Its message is written over blanks: a lost one would look like success.
# The file has no name while the attempt runs, so that a killed task leaves none.
attempt() {
    errors=$(mktemp) || failed
    if ! printf '%4096s' '' >"$errors"; then
        rm -f "$errors"
        failed
    fi
    exec 3<>"$errors" 4<"$errors"
    rm -f "$errors"
    limit=
    mkdir -p -- "$out.shards"
    batch "$@" 2>&3 3>&- 4<&- &
    child=$!
    trap 'limit=yes; kill -TERM "$child"' USR1
    wait "$child"
    status=$?
    if [ -n "$limit" ]; then
        wait "$child"
        again
    fi
    message=$(sed 's/ *$//' <&4)
    [ -z "$message" ] || printf '%s\n' "$message" >&2
    case $status in
        0) exit 0 ;;
        1) [ -n "$message" ] || exit 0 # errors of files are rows
            [ "$1" != --list-only ] || ! is_empty || exit 1 ;;
        2) exit 2 ;;                      # the command is refused
    esac
    failed
}

shard() {
    # The job number of the last task is that of the whole array.
    task=${SLURM_ARRAY_JOB_ID}_$SLURM_ARRAY_TASK_ID
    set -- --list "$out.shards/list" --shard "$SLURM_ARRAY_TASK_ID/$shards"
    attempt "$@" --out "$out.shards/$SLURM_ARRAY_TASK_ID"
}

merge() {
    set --
    shard=1
    while [ "$shard" -le "$shards" ]; do
        set -- "$@" "$out.shards/$shard"
        shard=$((shard + 1))
    done
    exec qel merge --replace --out "$out" -- "$@"
}

if [ -n "${SLURM_JOB_ID:-}" ]; then
    case ${1:-} in
        list) attempt --list-only --out "$out.shards/list" ;; # once for all shards
        shard) shard ;;
        merge) merge ;;
    esac
fi
list=$(sbatch --parsable --job-name=qel-list "$@" "$0" list) || exit
array=$(sbatch --parsable --array="1-$shards" --dependency="afterok:${list%%;*}" --kill-on-invalid-dep=yes \
    "$@" "$0" shard) || exit
exec sbatch --job-name=qel-merge --dependency="afterok:${array%%;*}" --kill-on-invalid-dep=yes "$@" "$0" merge
)";

std::string Quoted(std::string_view text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + '\'';
}

// The options of a command line, quoted for the shell.
class OptionText {
public:
    void Add(const char* name, const std::string& value) {
        mText += fmt::format(" {} {}", name, Quoted(value));
    }
    void Add(const char* name, const std::vector<std::string>& values) {
        for (const std::string& value : values) {
            Add(name, value);
        }
    }
    void AddFlag(const char* name, bool isSet) {
        if (isSet) {
            mText += fmt::format(" {}", name);
        }
    }
    const std::string& Text() const { return mText; }

private:
    std::string mText;
};

std::string OptionsOf(const BatchOptions& options) {
    OptionText text;
    text.Add("--files-from", options.lists);
    text.AddFlag("--null", options.isNullSeparated);
    text.Add("--match", options.matches);
    text.Add("--keys", options.keyLists);
    text.AddFlag("--all", options.allKeys);
    text.Add("--readings", options.readings);
    text.Add("--param", options.parameters);
    text.Add("--mix", options.mix == media::ChannelMix::Mono ? "mono" : "keep");
    text.Add("--block", fmt::format("{}", options.blockSamples));
    text.AddFlag("--hash", options.hashes);
    text.AddFlag("--retry-errors", options.retriesErrors);
    text.Add("--time-limit", fmt::format("{}", options.timeLimitSeconds));
    text.Add("--memory-limit", fmt::format("{}", options.memoryLimitMiB));
    return text.Text();
}

std::string SourcesOf(const BatchOptions& options) {
    std::string text;
    for (const std::string& source : options.sources) {
        text += ' ' + Quoted(source);
    }
    return text;
}

// The shards are in a directory beside the dataset, so that it needs a name.
std::string DatasetOf(std::string out) {
    while (out.ends_with('/')) {
        out.pop_back();
    }
    const std::string name = std::filesystem::path(out).filename().string();
    if (name.empty() || name == "." || name == "..") {
        throw UsageError(
            "--slurm: --out needs the name of a directory: the shards are put beside it");
    }
    return out;
}

} // namespace

std::string SlurmScript(const BatchOptions& options) {
    if (options.shard != "1/1") {
        throw UsageError("--slurm: makes the shards itself; leave --shard out");
    }
    if (options.listsOnly || !options.fileList.empty()) {
        throw UsageError("--slurm: makes the list itself; leave --list and --list-only out");
    }
    if (std::ranges::find(options.lists, "-") != options.lists.end()) {
        throw UsageError("--slurm: every task reads the list, so that --files-from needs a file");
    }
    return fmt::format(kHead, fmt::arg("jobs", std::max(options.jobs, 1u)),
                       fmt::arg("shards", options.slurmTasks),
                       fmt::arg("out", Quoted(DatasetOf(options.out))),
                       fmt::arg("options", OptionsOf(options)),
                       fmt::arg("sources", SourcesOf(options))) +
           kBody;
}

} // namespace qel::tool
