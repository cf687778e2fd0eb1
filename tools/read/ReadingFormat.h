#pragma once

#include "tools/read/FileReadings.h"
#include "tools/read/ReadOptions.h"

#include <memory>
#include <string>

namespace qel::tool {

// How the readings of files become text. The text of a run is Begin, Entry for every file, End.
class ReadingFormat {
public:
    virtual ~ReadingFormat() = default;
    virtual std::string Begin() const = 0;
    // Of a file that failed, too; isFirst: it is the first entry.
    virtual std::string Entry(const FileReadings& file, bool isFirst) const = 0;
    virtual std::string End() const = 0;
};

std::unique_ptr<ReadingFormat> MakeReadingFormat(const ReadOptions& options);

} // namespace qel::tool
