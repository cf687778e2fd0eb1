#pragma once

#include "batch/FileWork.h"
#include "tools/qel/AnalysisPlan.h"
#include "tools/read/ReadOptions.h"

#include <string>
#include <vector>

namespace qel::tool {

// What "qel batch" does with a file: keys as arrays, readings as columns. A file is decoded once
// for the keys and once for the readings.
struct BatchWork {
    AnalysisPlan plan; // without keys: none are wanted
    std::vector<readings::Reading> shown;

    // The passes that are wanted.
    batch::FileWork Work() const;

    std::vector<std::string> ReadingColumns() const;
};

} // namespace qel::tool
