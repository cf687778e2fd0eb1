#pragma once

#include "tools/read/ReadingFormat.h"

#include <string>
#include <vector>

namespace qel::tool {

// One block per file, for people: the path, and a line per reading. A file that failed has no
// block.
class ReadingText : public ReadingFormat {
public:
    explicit ReadingText(const ReadOptions& options)
        : mOptions(options), mShown(ShownReadings(options)) {}
    std::string Begin() const override { return ""; }
    std::string Entry(const FileReadings& file, bool isFirst) const override;
    std::string End() const override { return ""; }

private:
    const ReadOptions mOptions;
    const std::vector<readings::Reading> mShown;
};

} // namespace qel::tool
