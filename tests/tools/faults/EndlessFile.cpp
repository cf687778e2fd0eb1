#include "tests/tools/faults/EndlessFile.h"

#include "tests/harness/TempDirectory.h"
#include "tests/harness/WavBytes.h"

#include <cstdint>
#include <filesystem>
#include <limits>

namespace qel::tool {

using namespace test;
void WriteEndless(const std::string& path, const std::string& begin) {
    constexpr std::uintmax_t kTerabyte = std::uintmax_t{1} << 40;
    WriteFile(path, begin);
    std::filesystem::resize_file(path, kTerabyte);
}

void WriteEndlessWav(const std::string& path) {
    constexpr std::uint32_t kUnknown = std::numeric_limits<std::uint32_t>::max();
    WriteEndless(path, WavBytes{.formSize = kUnknown, .dataSize = kUnknown, .data = ""}.Bytes());
}

} // namespace qel::tool
