#pragma once

#include "tools/read/ReadingFormat.h"

#include <string>

namespace qel::tool {

// A list as a label track: a line per entry, with begin, end and text between tabs, as those of
// "qel analyze --format labels".
class ReadingLabels : public ReadingFormat {
public:
    explicit ReadingLabels(const ReadOptions& options) : mOptions(options) {}
    std::string Begin() const override { return ""; }
    std::string Entry(const FileReadings& file, bool isFirst) const override;
    std::string End() const override { return ""; }

private:
    const ReadOptions mOptions;
};

} // namespace qel::tool
