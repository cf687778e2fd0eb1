#pragma once

#include "batch/Row.h"

#include <string>

namespace qel::batch {

// Size and time of a file, by which a change shows. What is not there has neither.
class FileStamp {
public:
    static FileStamp Of(const std::string& path);

    const Row& Size() const { return mSize; }
    const Row& ModifiedNs() const { return mModifiedNs; }
    bool operator==(const FileStamp&) const = default;

private:
    FileStamp(Row size, Row modifiedNs);

    Row mSize;
    Row mModifiedNs;
};

} // namespace qel::batch
