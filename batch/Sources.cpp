#include "batch/Sources.h"

#include "output/files/Interrupt.h"
#include "output/files/OutputError.h"
#include "output/files/OutputName.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <filesystem>
#include <fnmatch.h>
#include <glob.h>
#include <memory>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace qel::batch {
namespace {

// Ends of names that files with audio have, in small letters.
constexpr std::array<std::string_view, 62> kEnds{
    "3gp",  "aac", "ac3",  "adts", "aea",  "aif", "aifc", "aiff", "alac", "amr", "ape",
    "asf",  "au",  "avi",  "caf",  "dff",  "dsf", "dts",  "eac3", "flac", "flv", "gsm",
    "m2ts", "m4a", "m4b",  "m4r",  "m4v",  "mka", "mkv",  "mlp",  "mov",  "mp+", "mp1",
    "mp2",  "mp3", "mp4",  "mpa",  "mpc",  "mpg", "mpeg", "mpp",  "mts",  "oga", "ogg",
    "ogv",  "oma", "opus", "ra",   "rf64", "rm",  "shn",  "snd",  "spx",  "tak", "ts",
    "tta",  "voc", "w64",  "wav",  "webm", "wma", "wv"};

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};
struct FileCloser {
    void operator()(std::FILE* file) const {
        if (file != stdin) {
            std::fclose(file);
        }
    }
};

[[noreturn]] void FailToRead(const std::string& list, const std::string& reason) {
    throw output::OutputError(fmt::format("{}: cannot read this list: {}", list, reason));
}

bool IsDirectory(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// A file that a link leads to, or a link that leads nowhere: the attempt to read it says why.
bool IsFileBehindLink(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

bool IsThere(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

bool HasUsualEnd(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos) {
        return false;
    }
    std::string end = name.substr(dot + 1);
    std::ranges::transform(end, end.begin(), [](char c) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    });
    return std::ranges::find(kEnds, end) != kEnds.end();
}

// The same for all ways to write a path, as far as they do not lead over links.
std::string Plain(const std::string& path) {
    std::string plain = std::filesystem::path(path).lexically_normal().string();
    while (plain.size() > 1 && plain.back() == '/') {
        plain.pop_back();
    }
    return plain;
}

// d_type is not known to all file systems.
unsigned char TypeOf(const std::string& path, const dirent& entry) {
    struct stat status {};
    if (entry.d_type != DT_UNKNOWN || lstat(path.c_str(), &status) != 0) {
        return entry.d_type;
    }
    return static_cast<unsigned char>(IFTODT(status.st_mode));
}

} // namespace

bool Sources::IsMatch(const std::string& name) const {
    return mMatches.empty() ? HasUsualEnd(name)
                            : std::ranges::any_of(mMatches, [&](const std::string& pattern) {
                                  return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
                              });
}

// The source itself, or what it is a pattern of.
std::vector<std::string> Sources::PathsOf(const std::string& source) {
    if (IsThere(source)) {
        return {source};
    }
    glob_t found{};
    if (!IsPattern(source) || glob(source.c_str(), GLOB_NOSORT, nullptr, &found) != 0) {
        return {};
    }
    const std::unique_ptr<glob_t, void (*)(glob_t*)> owner(&found, globfree);
    return {found.gl_pathv, found.gl_pathv + found.gl_pathc};
}

bool Sources::IsAnything(const std::string& source) {
    return !PathsOf(source).empty();
}

void Sources::RequireList(const std::string& list) {
    if (list == "-") {
        return;
    }
    if (access(list.c_str(), R_OK) != 0) {
        FailToRead(list, std::strerror(errno));
    }
    if (IsDirectory(list)) {
        FailToRead(list, std::strerror(EISDIR));
    }
}

void Sources::AddSource(const std::string& source) {
    for (const std::string& path : PathsOf(source)) {
        AddPath(path);
    }
}

void Sources::AddList(const std::string& list, bool isNullSeparated) {
    const std::unique_ptr<std::FILE, FileCloser> file(list == "-" ? stdin
                                                                  : std::fopen(list.c_str(), "re"));
    const auto fail = [&] {
        output::Interrupt::Check();
        FailToRead(list, std::strerror(errno));
    };
    if (!file) {
        fail();
    }
    const char end = isNullSeparated ? '\0' : '\n';
    const std::unique_ptr<char*, void (*)(char**)> line(
        new char*(nullptr), [](char** text) { free(*text), delete text; });
    std::size_t room = 0;
    ssize_t length = 0;
    while ((length = getdelim(line.get(), &room, end, file.get())) > 0) {
        std::string path(*line, static_cast<std::size_t>(length));
        if (path.back() == end) {
            path.pop_back();
        }
        if (path.find('\0') != std::string::npos) {
            FailToRead(list, "a line has a byte of 0; --null reads such lists");
        }
        if (!path.empty()) {
            AddPath(path);
        }
    }
    if (std::ferror(file.get()) != 0) {
        fail();
    }
}

void Sources::AddPath(const std::string& path) {
    output::Interrupt::Check();
    const std::string plain = Plain(path);
    if (!IsDirectory(plain)) {
        mTake(plain, IdentityOf(plain), "");
        return;
    }
    for (mDirectories = {plain}; !mDirectories.empty();) {
        const std::string next = std::move(mDirectories.back());
        mDirectories.pop_back();
        AddDirectory(next);
    }
}

// Files of one directory mostly come one after the other.
std::string Sources::IdentityOf(const std::string& path) {
    const std::filesystem::path whole(path);
    const std::string parent = whole.parent_path().string();
    if (parent != mParent) {
        mParent = parent;
        mParentIdentity = output::AbsolutePath(whole).parent_path().string();
    }
    return (std::filesystem::path(mParentIdentity) / whole.filename()).string();
}

void Sources::AddDirectory(const std::string& path) {
    std::error_code ignored;
    const std::string identity = std::filesystem::weakly_canonical(path, ignored).string();
    const auto fail = [&](int error) {
        mTake(path, identity, fmt::format("cannot list this directory: {}", std::strerror(error)));
    };
    const std::unique_ptr<DIR, DirectoryCloser> directory(opendir(path.c_str()));
    if (!directory) {
        fail(errno);
        return;
    }
    for (;;) {
        output::Interrupt::Check();
        errno = 0;
        const dirent* const entry = readdir(directory.get());
        if (entry == nullptr) {
            if (errno != 0) {
                fail(errno);
            }
            return;
        }
        AddEntry(path, identity, *entry);
    }
}

void Sources::AddEntry(const std::string& directory, const std::string& identity,
                       const dirent& entry) {
    const std::string name = entry.d_name;
    if (name == "." || name == "..") {
        return;
    }
    const std::string path =
        directory == "." ? name : (std::filesystem::path(directory) / name).string();
    const unsigned char type = TypeOf(path, entry);
    if (type == DT_DIR) {
        mDirectories.push_back(path);
    } else if (IsMatch(name) && (type == DT_REG || (type == DT_LNK && IsFileBehindLink(path)))) {
        mTake(path, (std::filesystem::path(identity) / name).string(), "");
    }
}

} // namespace qel::batch
