#pragma once

#include "batch/Batch.h"
#include "tools/batch/BatchOptions.h"

namespace qel::tool {

// What the options ask for. Throws UsageError.
batch::BatchSetup MakeBatch(const BatchOptions& options);

// "3/8" is the third of eight shards. Throws UsageError.
batch::Shard ParseShard(const std::string& text);

} // namespace qel::tool
