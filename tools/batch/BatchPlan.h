#pragma once

#include "batch/Batch.h"
#include "tools/batch/BatchOptions.h"

namespace qel::tool {

// What the options ask for. Throws UsageError.
batch::BatchSetup MakeBatch(const BatchOptions& options);

// "3/8" is part 3 of 8. Throws UsageError.
batch::Shard ParseShard(const std::string& text);

} // namespace qel::tool
