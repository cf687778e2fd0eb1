#include "page/PageTemplate.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>
#include <string_view>

namespace qel::page {
namespace {

constexpr std::string_view kPlace = "<!-- qel: data -->";

// bin/qel has it at share/qel/report.html, in a build as where it is installed.
std::filesystem::path BesideProgram() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return program.parent_path().parent_path() / "share" / "qel" / "report.html";
}

} // namespace

PageTemplate::PageTemplate(std::filesystem::path path) {
    const bool isOwn = path.empty();
    path = isOwn ? BesideProgram() : path;
    std::ifstream file(path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)),
                           std::istreambuf_iterator<char>());
    if (text.empty()) {
        throw TemplateError(fmt::format(
            "no template of the page at {}: {}", path.string(),
            isOwn ? "run script/bootstrap and build with -DQEL_REPORT=ON, which needs Node and npm"
                  : "name the report.html that the build has made"));
    }
    const std::size_t place = text.find(kPlace);
    if (place == std::string::npos) {
        throw TemplateError(
            fmt::format("{} is no template of the page: it has no line {}", path.string(), kPlace));
    }
    mHead = text.substr(0, place);
    mTail = text.substr(place + kPlace.size());
}

} // namespace qel::page
