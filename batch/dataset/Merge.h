#pragma once

#include "batch/dataset/Tables.h"

#include <string>
#include <vector>

namespace qel::batch {

// Joins the datasets of all shards of one run into a new one, which is then that of a run without
// shards. Returns what the new one has.
//
// Throws Refusal, naming datasets and shards, if a shard is missing, is there twice, is not
// complete, has other settings or was made from another list of files; output::OutputError if the
// new dataset cannot be written.
std::vector<StatusCount> Merge(const std::vector<std::string>& datasets, const std::string& out);

} // namespace qel::batch
