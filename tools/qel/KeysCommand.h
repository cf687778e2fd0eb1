#pragma once

#include <string>

namespace qel::tool {

// "qel keys" and "qel describe": the table of keys as text or JSON, to standard output. Both return
// kExitSuccess; both may throw OutputError.

// All keys: one line each, or everything about them in JSON.
int RunKeys(bool json);

// Everything about one key. Throws UsageError for an unknown one.
int RunDescribe(const std::string& key);

} // namespace qel::tool
