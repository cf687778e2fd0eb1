#include "batch/dataset/Settings.h"

#include "output/formats/Texts.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

namespace qel::batch {
namespace {

constexpr const char* kFirstLine = "qel dataset 1"; // the number of the layout

} // namespace

void Settings::Add(const std::string& name, const std::string& value) {
    mLines.emplace_back(name, output::PrintableText(value));
}

void Settings::Replace(const std::string& name, const std::string& value) {
    for (auto& line : mLines) {
        if (line.first == name) {
            line.second = value;
        }
    }
}

std::string Settings::Value(const std::string& name) const {
    const auto found = std::ranges::find(mLines, name, &std::pair<std::string, std::string>::first);
    return found == mLines.end() ? std::string() : found->second;
}

std::string Settings::Text() const {
    std::string text = fmt::format("{}\n", kFirstLine);
    for (const auto& [name, value] : mLines) {
        text += fmt::format("{}\t{}\n", name, value);
    }
    return text;
}

// A text of another layout gives no line.
Settings Settings::Parse(const std::string& text) {
    Settings settings;
    std::istringstream lines(text);
    std::string line;
    std::getline(lines, line);
    if (line != kFirstLine) {
        return settings;
    }
    while (std::getline(lines, line)) {
        const std::size_t tab = line.find('\t');
        if (tab != std::string::npos) {
            settings.mLines.emplace_back(line.substr(0, tab), line.substr(tab + 1));
        }
    }
    return settings;
}

std::string Settings::Difference(const Settings& other) const {
    for (const auto& [name, value] : mLines) {
        const std::string its = other.Value(name);
        if (value != its) {
            return fmt::format("{} \"{}\", not \"{}\"", name, value, its);
        }
    }
    return mLines.size() == other.mLines.size() ? "" : "other settings";
}

bool Settings::IsOfVersions(const std::string& difference) {
    const std::string name = difference.substr(0, difference.find(' '));
    return name == kVersion || name == kDecoders;
}

} // namespace qel::batch
