#pragma once

#include "batch/dataset/Tables.h"

#include <string>
#include <vector>

namespace qel::batch {

// What happens to a dataset that has the name of the new one.
enum class Earlier { Refuse, Replace };

// Joins the datasets of all shards of one run into a new one, which is then that of a run without
// shards. Returns what the new one has.
//
// Throws Refusal, naming datasets and shards, if a shard is missing, is there twice, is not
// complete, has other settings or was made from another list of files, or if out is there and is
// not to be replaced, or has other settings; output::OutputError if the new dataset cannot be
// written. The tables of an earlier dataset are replaced in one step, at the end.
std::vector<StatusCount> Merge(const std::vector<std::string>& datasets, const std::string& out,
                               Earlier earlier = Earlier::Refuse);

} // namespace qel::batch
