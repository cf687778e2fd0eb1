#include "support/runtime/Log.h"

#include <gtest/gtest.h>

#include <string>
#include <syslog.h>

namespace qel::core {
namespace {

// What `log` writes while only lines of `priority` are let through. With LOG_PERROR a line goes to
// the standard error too, as "name: text".
template <typename Call>
std::string Logged(int priority, const Call& log) {
    openlog("name", LOG_PERROR, LOG_USER);
    const int before = setlogmask(LOG_MASK(priority));
    testing::internal::CaptureStderr();
    log();
    const std::string text = testing::internal::GetCapturedStderr();
    setlogmask(before);
    closelog();
    return text;
}

void Warn() {
    LogWarning("%d of %s at %.2f", 3, "four", 0.5);
}

void Fail() {
    LogError("%u, %s", 7u, "eight");
}

TEST(LogTest, AWarningIsFormattedAndHasTheWarningsPriority) {
    EXPECT_EQ(Logged(LOG_WARNING, Warn), "name: 3 of four at 0.50\n");
    EXPECT_EQ(Logged(LOG_ERR, Warn), "");
    EXPECT_EQ(Logged(LOG_NOTICE, Warn), "");
}

TEST(LogTest, AnErrorIsFormattedAndHasTheErrorsPriority) {
    EXPECT_EQ(Logged(LOG_ERR, Fail), "name: 7, eight\n");
    EXPECT_EQ(Logged(LOG_WARNING, Fail), "");
    EXPECT_EQ(Logged(LOG_CRIT, Fail), "");
}

} // namespace
} // namespace qel::core
