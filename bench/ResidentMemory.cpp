#include "bench/ResidentMemory.h"

#include <fstream>
#include <stdexcept>
#include <string>

namespace qel::bench {

std::size_t PeakResidentBytes() {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        std::size_t kilobytes = 0;
        if (word == "VmHWM:" && status >> kilobytes) {
            return 1024 * kilobytes;
        }
    }
    throw std::runtime_error("no peak of resident memory in /proc/self/status");
}

} // namespace qel::bench
