#pragma once

#include "tools/read/FileReadings.h"
#include "tools/read/ReadOptions.h"

#include <nlohmann/json.hpp>

#include <vector>

namespace qel::tool {

// The readings of a file as named values, for JSON and tables. docs/output.md explains the fields.

// The fields of the file and of the readings shown, in their order. Null is what does not exist;
// where the file has failed, that is all but path and error.
nlohmann::ordered_json FieldsOf(const FileReadings& file,
                                const std::vector<readings::Reading>& shown);

// The lists that are asked for, as arrays; null where the file has failed.
nlohmann::ordered_json ListsOf(const FileReadings& file, const ReadOptions& options);

} // namespace qel::tool
