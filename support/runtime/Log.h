#pragma once

namespace qel::core {

// Writes one line to the system's log, formatted as by printf; besides, %m stands for the text of
// errno. Lines go where the program has directed its log (openlog, setlogmask); without that, under
// the program's name and the facility "user". From any thread.
[[gnu::format(printf, 1, 2)]] void LogWarning(const char* format, ...); // priority LOG_WARNING
[[gnu::format(printf, 1, 2)]] void LogError(const char* format, ...);   // priority LOG_ERR

} // namespace qel::core
