#include "batch/dataset/Dataset.h"

#include "batch/Refusal.h"
#include "batch/dataset/NewTables.h"
#include "output/files/AtomicFile.h"
#include "output/files/OutputError.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace qel::batch {
namespace {

constexpr mode_t kModeOfNewDirectories = 0777; // less the umask

std::string SettingsPath(const std::string& directory) {
    return directory + "/settings";
}

[[noreturn]] void Fail(const std::string& path, const char* what) {
    throw output::OutputError(fmt::format("{}: cannot {}: {}", path, what, std::strerror(errno)));
}

bool Exists(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0;
}

// Waits until what was written to a file or a directory is on the disk.
void Sync(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool isDone = descriptor >= 0 && fsync(descriptor) == 0;
    const int error = errno;
    if (descriptor >= 0) {
        close(descriptor);
    }
    if (!isDone) {
        errno = error;
        Fail(path, "write");
    }
}

bool IsEmptyOrMissing(const std::string& directory) {
    std::error_code error;
    const std::filesystem::directory_iterator first(directory, error);
    return error || first == std::filesystem::directory_iterator();
}

} // namespace

Dataset::Dataset(std::string directory, const Settings& settings)
    : mDirectory(std::move(directory)), mSettings(settings), mMade((RequireRoom(), mDirectory)) {}

void Dataset::Begin() const {
    MakeFolder("parts");
    MakeFolder("arrays");
    NewTables::RemoveLeft(Parts(), PartNames());
    if (Exists(SettingsPath(mDirectory))) {
        return;
    }
    try {
        output::AtomicFile file(SettingsPath(mDirectory), output::Existing::Refuse);
        file.Sink().Append(mSettings.Text());
        file.Commit();
    } catch (const output::OutputExists&) { // another process has just made it
        RequireRoom();
    }
}

// Settings are written last, and to a new directory alone: what has parts and no settings was left
// by a run that was killed just there.
void Dataset::RequireRoom() const {
    if (Exists(SettingsPath(mDirectory))) {
        const std::string difference = SettingsOf(mDirectory).Difference(mSettings);
        if (!difference.empty()) {
            throw Refusal(fmt::format(
                "{}: was made with {}; {}, or name another dataset", mDirectory, difference,
                Settings::IsOfVersions(difference) ? "use that version" : "repeat its options"));
        }
    } else if (!IsEmptyOrMissing(mDirectory) && !Exists(mDirectory + "/parts")) {
        throw Refusal(
            fmt::format("{}: is not empty, and no dataset; name another directory", mDirectory));
    }
}

void Dataset::MakeFolder(const std::string& name) const {
    const std::string path = mDirectory + '/' + name;
    if (mkdir(path.c_str(), kModeOfNewDirectories) != 0 && errno != EEXIST) {
        Fail(path, "make this directory");
    }
}

Settings Dataset::SettingsOf(const std::string& directory) {
    std::ifstream file(SettingsPath(directory), std::ios::binary);
    if (!file) {
        throw Refusal(
            fmt::format("{}: is no dataset: it has no readable file \"settings\"", directory));
    }
    Settings settings = Settings::Parse({std::istreambuf_iterator<char>(file), {}});
    if (settings.Lines().empty()) {
        throw Refusal(fmt::format("{}: its settings are damaged, or those of another version of "
                                  "qel; use that version, or name another dataset",
                                  directory));
    }
    return settings;
}

bool Dataset::IsThere() const {
    return Exists(SettingsPath(mDirectory));
}

bool Dataset::HasTables() const {
    return Exists(TablesOf(mDirectory));
}

std::vector<std::string> Dataset::PartNames() const {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator at(Parts(), error), end; !error && at != end;
         at.increment(error)) {
        names.push_back(at->path().filename().string());
    }
    if (error) {
        throw output::OutputError(
            fmt::format("{}: cannot list this directory: {}", Parts(), error.message()));
    }
    std::ranges::sort(names);
    return names;
}

void Dataset::Publish(const std::string& attempt, const Tables::Content& content) const {
    const NewTables file(Parts(), attempt);
    Tables::Write(file.Path(), content);
    if (!Exists(file.Path())) {
        FailByOther();
    }
    Sync(file.Path());
    if (std::rename(file.Path().c_str(), TablesOf(mDirectory).c_str()) != 0) {
        if (errno == ENOENT) {
            FailByOther();
        }
        Fail(TablesOf(mDirectory), "write");
    }
    Sync(mDirectory);
}

void Dataset::FailByOther() const {
    throw output::OutputError(fmt::format(
        "{}: {}", mDirectory,
        IsThere() ? "another run is writing to this dataset; run the command again after that run "
                    "has ended"
                  : "it was removed meanwhile; run the command again"));
}

void Dataset::RemoveParts(const std::vector<std::string>& names) const {
    for (const std::string& name : names) {
        unlink((Parts() + '/' + name).c_str());
    }
}

// The time comes first, so that names sort by it; the random number distinguishes machines.
std::string Dataset::NewAttempt() {
    std::random_device random;
    const std::time_t now = std::time(nullptr);
    std::tm time{};
    gmtime_r(&now, &time);
    return fmt::format("{:04}{:02}{:02}T{:02}{:02}{:02}-{:08x}{:08x}", time.tm_year + 1900,
                       time.tm_mon + 1, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec,
                       random(), random());
}

} // namespace qel::batch
