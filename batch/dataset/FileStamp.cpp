#include "batch/dataset/FileStamp.h"

#include <sys/stat.h>
#include <utility>

namespace qel::batch {
namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;

} // namespace

FileStamp::FileStamp(Row size, Row modifiedNs)
    : mSize(std::move(size)), mModifiedNs(std::move(modifiedNs)) {}

FileStamp FileStamp::Of(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return {nullptr, nullptr};
    }
    return {static_cast<std::int64_t>(status.st_size),
            status.st_mtim.tv_sec * kNanoseconds + status.st_mtim.tv_nsec};
}

} // namespace qel::batch
