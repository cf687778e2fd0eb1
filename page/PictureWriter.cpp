#include "page/PictureWriter.h"

#include "page/pictures/PngImage.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace qel::page {
namespace {

constexpr std::size_t kTileColumns = 1024;
constexpr std::size_t kLevelFactor = 4;
constexpr std::size_t kFewColumns = 2048; // no coarser level is needed

std::size_t Tiles(std::size_t columns) {
    return (columns + kTileColumns - 1) / kTileColumns;
}

std::size_t Coarser(std::size_t columns) {
    return (columns + kLevelFactor - 1) / kLevelFactor;
}

// The columns of a tile, as rows from the top.
std::vector<std::uint8_t> Pixels(const Picture& picture, std::size_t first, std::size_t columns) {
    std::vector<std::uint8_t> pixels(columns * picture.rows);
    for (std::size_t row = 0; row < picture.rows; ++row) {
        std::uint8_t* line = pixels.data() + (picture.rows - 1 - row) * columns;
        for (std::size_t column = 0; column < columns; ++column) {
            line[column] = picture.values[(first + column) * picture.rows + row];
        }
    }
    return pixels;
}

} // namespace

nlohmann::ordered_json PictureWriter::Describe() const {
    nlohmann::ordered_json levels = nlohmann::ordered_json::array();
    double columnSeconds = mPicture.columnSeconds;
    std::size_t columns = mPicture.Columns();
    bool isLast = false;
    while (!isLast) {
        levels.push_back({{"columns", columns}, {"columnSeconds", columnSeconds}});
        isLast = columns <= kFewColumns;
        columns = Coarser(columns);
        columnSeconds *= kLevelFactor;
    }
    const bool isEmpty =
        std::ranges::all_of(mPicture.values, [](std::uint8_t value) { return value == 0; });
    return {{"rows", mPicture.rows},
            {"firstSeconds", mPicture.firstSeconds},
            {"lowest", mPicture.lowest},
            {"highest", mPicture.highest},
            {"tileColumns", kTileColumns},
            {"isEmpty", isEmpty},
            {"levels", levels}};
}

void PictureWriter::Write(PageWriter& page) const {
    Picture level = mPicture;
    for (int number = 0;; ++number) {
        const std::size_t columns = level.Columns();
        for (std::size_t tile = 0; tile < Tiles(columns); ++tile) {
            const std::size_t first = tile * kTileColumns;
            const std::size_t width = std::min(kTileColumns, columns - first);
            page.Add(fmt::format("picture:{}:{}:{}", mId, number, tile),
                     PngImage(Pixels(level, first, width), width, level.rows, PerceptualColours(),
                              mIsClear));
        }
        if (columns <= kFewColumns) {
            return;
        }
        level = Reduced(level, kLevelFactor);
    }
}

} // namespace qel::page
