#include "tests/harness/TempDirectory.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace qel::test {

TempDirectory::TempDirectory()
    : mPath((std::filesystem::temp_directory_path() / "qel-test.XXXXXX").string()) {
    if (mkdtemp(mPath.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
}

TempDirectory::~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

std::vector<std::string> TempDirectory::Entries(const std::string& below) const {
    const std::filesystem::path root = std::filesystem::path(mPath) / below;
    std::vector<std::string> entries;
    if (std::filesystem::exists(root)) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
            entries.push_back(entry.path().lexically_relative(root).string());
        }
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

} // namespace qel::test
