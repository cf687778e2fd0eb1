#pragma once

#include <string>
#include <utility>
#include <vector>

namespace qel::batch {

// What decides the rows of a dataset: names and values, a line each in the file "settings".
class Settings {
public:
    // The name of the setting that says which part of the files a dataset has.
    static constexpr const char* kShard = "--shard";

    // The names of those that say which versions have made a dataset.
    static constexpr const char* kVersion = "qel";
    static constexpr const char* kDecoders = "decoders";

    Settings() = default;

    // Control characters in a value are written as escapes, so that it stays in its line.
    void Add(const std::string& name, const std::string& value);

    // Replaces the value of a setting that is there.
    void Replace(const std::string& name, const std::string& value);

    // The value, empty if there is none.
    std::string Value(const std::string& name) const;

    std::string Text() const;
    static Settings Parse(const std::string& text);

    // The first setting that differs, as "--keys \"a\", not \"b\"", where a is the value here;
    // empty if none does.
    std::string Difference(const Settings& other) const;

    // Whether that is one of versions.
    static bool IsOfVersions(const std::string& difference);

    const std::vector<std::pair<std::string, std::string>>& Lines() const { return mLines; }

private:
    std::vector<std::pair<std::string, std::string>> mLines;
};

} // namespace qel::batch
