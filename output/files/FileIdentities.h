#pragma once

#include <set>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace qel::output {

// The files behind a list of names, whatever other names they have.
class FileIdentities {
public:
    FileIdentities() = default;

    // Names of what is missing or no regular file stand for nothing.
    explicit FileIdentities(const std::vector<std::string>& paths);

    // Whether one of the files stands there; links are followed.
    bool HasPath(const std::string& path) const;

    // Whether one of the files is open there.
    bool HasDescriptor(int descriptor) const;

private:
    std::set<std::pair<dev_t, ino_t>> mFiles;
};

} // namespace qel::output
