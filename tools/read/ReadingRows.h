#pragma once

#include "tools/read/ReadingFormat.h"

#include <string>
#include <vector>

namespace qel::tool {

// One JSON document: {"qel": version, "files": [one object per file]}.
class ReadingJson : public ReadingFormat {
public:
    explicit ReadingJson(const ReadOptions& options)
        : mOptions(options), mShown(ShownReadings(options)) {}
    std::string Begin() const override;
    std::string Entry(const FileReadings& file, bool isFirst) const override;
    std::string End() const override;

private:
    const ReadOptions mOptions;
    const std::vector<readings::Reading> mShown;
};

// A row of names, and a row per file, with commas or tabs between the fields.
class ReadingRows : public ReadingFormat {
public:
    explicit ReadingRows(const ReadOptions& options)
        : mIsCsv(options.format == ReadFormat::Csv), mShown(ShownReadings(options)) {}
    std::string Begin() const override;
    std::string Entry(const FileReadings& file, bool isFirst) const override;
    std::string End() const override { return ""; }

private:
    std::string Row(const std::vector<std::string>& fields) const;

    const bool mIsCsv;
    const std::vector<readings::Reading> mShown;
};

} // namespace qel::tool
