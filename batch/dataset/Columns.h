#pragma once

#include <array>

namespace qel::batch {

// The columns of the tables of a dataset. A row that is read is the same in every run with the same
// files; what is not is in the table "runs".
struct Column {
    const char* name;
    const char* type;
};

inline constexpr std::array kFileColumns{
    Column{"size", "INTEGER"},          // bytes
    Column{"hash", "TEXT"},             // SHA-256 of the content, with --hash
    Column{"format", "TEXT"},           // the container's short name
    Column{"codec", "TEXT"},            //
    Column{"decoder", "TEXT"},          // with its library's version
    Column{"duration_seconds", "REAL"}, // of the audio that was decoded
    Column{"sample_rate_hz", "INTEGER"},
    Column{"channels", "INTEGER"},
    Column{"status", "TEXT"},
    Column{"error", "TEXT"},
    Column{"warnings", "TEXT"},        // lines
    Column{"arrays", "TEXT"},          // path of the NPZ file within the dataset
    Column{"arrays_bytes", "INTEGER"}, // its size
};

inline constexpr std::array kRunColumns{
    Column{"modified_ns", "INTEGER"}, // of the file, nanoseconds since 1970
    Column{"seconds", "REAL"},        // that the analysis took
    Column{"tries", "INTEGER"},
};

} // namespace qel::batch
