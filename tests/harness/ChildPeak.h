#pragma once

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qel::test {

// The greatest resident set, in bytes, of a child process that does `work`. The test fails unless
// it returns true there.
template <class Work>
double ChildPeakBytes(const Work& work) {
    const pid_t child = fork();
    if (child == 0) {
        const bool isRight = work();
        _exit(isRight && !testing::Test::HasFailure() ? 0 : 1);
    }
    int status = -1;
    rusage usage{};
    EXPECT_EQ(child, wait4(child, &status, 0, &usage));
    EXPECT_EQ(0, status);
    return static_cast<double>(usage.ru_maxrss) * 1024.0;
}

} // namespace qel::test
