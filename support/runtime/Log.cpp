#include "support/runtime/Log.h"

#include <cstdarg>
#include <syslog.h>

namespace qel::core {

void LogWarning(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    vsyslog(LOG_WARNING, format, arguments);
    va_end(arguments);
}

void LogError(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    vsyslog(LOG_ERR, format, arguments);
    va_end(arguments);
}

} // namespace qel::core
