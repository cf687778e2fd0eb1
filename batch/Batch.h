#pragma once

#include "batch/FileWork.h"
#include "batch/dataset/Catalog.h"
#include "batch/dataset/Settings.h"
#include "batch/dataset/Tables.h"
#include "batch/workers/BatchProgress.h"
#include "batch/workers/Limits.h"

#include <cstddef>
#include <string>
#include <vector>

namespace qel::batch {

// A run over many files.
struct BatchSetup {
    std::string dataset;
    Settings settings; // all that decides the rows
    std::vector<std::string> sources;
    std::vector<std::string> lists;
    std::vector<std::string> matches;
    std::string fileList; // a file of ListFiles, instead of listing the sources again; empty: none
    bool isNullSeparated = false;
    Shard shard;
    std::size_t jobs = 1;
    Limits limits;
    bool hashes = false;
    bool retriesErrors = false;
    std::vector<std::string> readingColumns;
    FileWork work;
    int progressDescriptor = -1; // where the progress line is drawn; -1: nowhere
};

// What a run found and left.
struct BatchReport {
    BatchState state;
    std::int64_t earlier = 0;   // files whose rows are those of earlier runs
    std::int64_t begunOnly = 0; // files that earlier runs had begun and not finished
    std::int64_t listed = 0;    // files of all shards
    std::vector<StatusCount> statuses;
};

// Runs it to its end. Throws Refusal before anything is changed; output::OutputError if the dataset
// cannot be written, or output::Interrupt::Requested: the same call goes on then where this one has
// stopped.
BatchReport RunBatch(const BatchSetup& setup);

// Analyzes nothing: writes the sorted list of the files to setup.dataset, a file. Throws as
// RunBatch. Returns the number of files.
std::int64_t ListFiles(const BatchSetup& setup);

// Throws Refusal if a source does not exist, output::OutputError if a list of names cannot be read.
void RequireSources(const BatchSetup& setup);

} // namespace qel::batch
