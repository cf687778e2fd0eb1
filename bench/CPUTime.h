#pragma once

#include <ctime>

namespace qel::bench {

// CPU time of the whole process so far.
inline double CPUSeconds() {
    timespec now = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

inline double SecondsOf(auto work) {
    const double start = CPUSeconds();
    work();
    return CPUSeconds() - start;
}

} // namespace qel::bench
