// Feeds a fuzz target the files of the folders named, in order of their names: the stored corpus as
// a test, in builds without a fuzzer.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::set<std::filesystem::path> FilesBelow(const std::filesystem::path& folder) {
    std::set<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files.insert(entry.path());
        }
    }
    return files;
}

void Replay(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    const std::vector<std::uint8_t> data(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(data.data(), data.size());
}

} // namespace

int main(int argc, char** argv) {
    std::size_t count = 0;
    try {
        for (int i = 1; i < argc; ++i) {
            for (const std::filesystem::path& path : FilesBelow(argv[i])) {
                Replay(path);
                ++count;
            }
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "replay: %s\n", error.what());
        return 1;
    }
    std::printf("%zu inputs\n", count);
    return count > 0 ? 0 : 1; // An empty corpus tests nothing.
}
