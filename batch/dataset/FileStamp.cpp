#include "batch/dataset/FileStamp.h"

#include <sys/stat.h>

namespace qel::batch {
namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;

} // namespace

FileStamp FileStamp::Of(const std::string& path) {
    FileStamp stamp;
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        stamp.mSize = static_cast<std::int64_t>(status.st_size);
        stamp.mModifiedNs = status.st_mtim.tv_sec * kNanoseconds + status.st_mtim.tv_nsec;
    }
    return stamp;
}

} // namespace qel::batch
