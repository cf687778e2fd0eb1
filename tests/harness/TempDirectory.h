#pragma once

#include <string>
#include <vector>

namespace qel::test {

// A directory of its own for one test, removed with all it holds.
class TempDirectory {
public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::string& Path() const { return mPath; }
    std::string File(const std::string& name) const { return mPath + "/" + name; }

    // Everything below a directory of it, hidden files included, as sorted relative paths.
    std::vector<std::string> Entries(const std::string& below = ".") const;

private:
    std::string mPath;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);

} // namespace qel::test
