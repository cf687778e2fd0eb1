#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace qel::page {

// No template, or none that can be filled. what() is one line that says what to do.
struct TemplateError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The page without a song, which the folder report/ is built into: one file of HTML with a place
// for the data.
class PageTemplate {
public:
    // No template: the page is its data alone, for programs that read it.
    PageTemplate() = default;

    // An empty path is the template that was installed or built beside this program. Throws
    // TemplateError.
    explicit PageTemplate(std::filesystem::path path);

    // The text before and after the data.
    const std::string& Head() const { return mHead; }
    const std::string& Tail() const { return mTail; }

private:
    std::string mHead;
    std::string mTail;
};

} // namespace qel::page
