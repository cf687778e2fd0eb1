#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace qel::batch {

// What is known of one file: the members are the columns of the tables (Columns.h), "readings" is
// an object with the columns of the table of readings. A member that is missing is null.
using Row = nlohmann::ordered_json;

// The words of the column "status".
namespace status {
inline constexpr const char* kOk = "ok";
inline constexpr const char* kUnreadable = "unreadable"; // not there, not permitted, no file
inline constexpr const char* kNotAudio = "not audio";
inline constexpr const char* kDamaged = "damaged";
inline constexpr const char* kRefused = "refused"; // audio that cannot be analyzed
inline constexpr const char* kChanged = "changed"; // while it was read
inline constexpr const char* kCrash = "crash";     // of the worker
inline constexpr const char* kTime = "time";       // above the limit
inline constexpr const char* kMemory = "memory";   // above the limit
} // namespace status

// A text member, empty where there is none.
inline std::string TextOf(const Row& row, const char* name) {
    const auto found = row.find(name);
    return found != row.end() && found->is_string() ? found->get<std::string>() : std::string();
}

inline bool IsOk(const Row& row) {
    return TextOf(row, "status") == status::kOk;
}

} // namespace qel::batch
