#include "page/PageReader.h"

#include "page/PageWriter.h"

#include <fstream>
#include <string>
#include <string_view>

namespace qel::page {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kBegin = "id=\"qel:page\">";
constexpr std::string_view kEnd = "</script>";
constexpr std::size_t kMostBytes = 4194304; // of the template's head and the description

std::string HeadOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string head(kMostBytes, '\0');
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(file.gcount()));
    return head;
}

// Whether both are the text that a page shows for it.
bool IsName(const Json& song, const std::filesystem::path& file) {
    return song.value("name", std::string()) == ShownText(file.filename().string());
}

} // namespace

std::optional<Json> DescriptionOf(const std::filesystem::path& page) {
    const std::string head = HeadOf(page);
    const std::size_t begin = head.find(kBegin);
    const std::size_t end = begin == std::string::npos ? begin : head.find(kEnd, begin);
    if (end == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t first = begin + kBegin.size();
    Json description = Json::parse(head.substr(first, end - first), nullptr, false);
    return description.is_object() ? std::optional(std::move(description)) : std::nullopt;
}

std::optional<Json> CurrentSongOf(const std::filesystem::path& page,
                                  const std::filesystem::path& file, bool hasAudio) {
    std::error_code error;
    const auto written = std::filesystem::last_write_time(page, error);
    if (error || written < std::filesystem::last_write_time(file, error) || error) {
        return std::nullopt;
    }
    const std::uintmax_t bytes = std::filesystem::file_size(file, error);
    const std::optional<Json> description = DescriptionOf(page);
    if (error || !description || description->value("kind", Json()) != Json("song") ||
        description->value("generator", Json()) != Json("qel " QEL_VERSION) ||
        description->value("audio", Json()).is_object() != hasAudio ||
        description->contains("runs")) {
        return std::nullopt;
    }
    const Json song = description->value("song", Json::object());
    const bool isSame = IsName(song, file) && song.value("bytes", Json()) == Json(bytes);
    return isSame ? std::optional(song) : std::nullopt;
}

} // namespace qel::page
