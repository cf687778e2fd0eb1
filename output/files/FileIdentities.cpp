#include "output/files/FileIdentities.h"

#include <sys/stat.h>

namespace qel::output {

FileIdentities::FileIdentities(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        struct stat info {};
        if (stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode)) {
            mFiles.emplace(info.st_dev, info.st_ino);
        }
    }
}

bool FileIdentities::HasPath(const std::string& path) const {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && mFiles.contains({info.st_dev, info.st_ino});
}

bool FileIdentities::HasDescriptor(int descriptor) const {
    struct stat info {};
    return fstat(descriptor, &info) == 0 && mFiles.contains({info.st_dev, info.st_ino});
}

} // namespace qel::output
