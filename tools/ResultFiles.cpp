#include "tools/ResultFiles.h"

#include "tools/ToolError.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <map>
#include <set>
#include <system_error>

namespace qel::tool {
namespace {

std::string Lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

} // namespace

void ResultFiles::Add(const std::filesystem::path& path) {
    if (mOutput == "-") {
        mFiles.emplace_back(mOutput);
        return;
    }
    const std::filesystem::path whole = std::filesystem::path(mOutput) / path;
    if (mInputs.HasPath(whole.string())) {
        throw OutputError(fmt::format("{}: is one of the files to analyze", whole.string()));
    }
    MakeDirectory(whole.parent_path());
    mFiles.emplace_back(whole.string());
}

void ResultFiles::Commit() {
    for (AtomicFile& file : mFiles) {
        file.Commit();
    }
    mFiles.clear();
}

// Remembers which directories it made, parents included, to take them away if they stay empty.
void ResultFiles::MakeDirectory(const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> missing;
    std::error_code error;
    for (std::filesystem::path at = directory;
         !at.empty() && !std::filesystem::exists(at, error) && at != at.root_path();
         at = at.parent_path()) {
        if (at.has_filename()) {
            missing.push_back(at);
        }
    }
    for (auto at = missing.rbegin(); at != missing.rend(); ++at) {
        std::filesystem::create_directory(*at, error);
        if (error) {
            break;
        }
        mMade.push_back(*at);
    }
    if (!std::filesystem::is_directory(directory, error)) {
        throw OutputError(fmt::format("{}: cannot make this directory", directory.string()));
    }
}

void ResultFiles::Drop() {
    mFiles.clear();
    std::error_code notEmpty;
    for (auto at = mMade.rbegin(); at != mMade.rend(); ++at) {
        std::filesystem::remove(*at, notEmpty);
    }
    mMade.clear();
}

std::vector<std::string> ResultFiles::UniqueNames(const std::vector<std::string>& files) {
    std::vector<std::string> names;
    std::set<std::string> taken;
    std::map<std::string, int> next; // what to try for a name that came before
    for (const std::string& file : files) {
        std::string base = std::filesystem::path(file).filename().string();
        if (base.empty() || base == "." || base == "..") {
            base = "file";
        }
        std::string name = base;
        int& number = next.try_emplace(Lowered(base), 2).first->second;
        while (!taken.insert(Lowered(name)).second) {
            name = fmt::format("{}-{}", base, number++);
        }
        names.push_back(name);
    }
    return names;
}

std::vector<std::string> ResultFiles::Directories(const std::vector<std::string>& files) {
    return files.size() > 1 ? UniqueNames(files) : std::vector<std::string>(1);
}

std::string ResultFiles::KeyName(std::string_view key) {
    std::string name(key);
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

std::string ResultFiles::ChannelSuffix(std::size_t channel, std::size_t channels) {
    return channels == 1 ? std::string() : fmt::format("-ch{}", channel);
}

} // namespace qel::tool
