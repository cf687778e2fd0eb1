#pragma once

#include "page/PageWriter.h"
#include "page/pictures/Picture.h"

#include <nlohmann/json.hpp>

#include <string>

namespace qel::page {

// Draws a picture as tiles of PNG, at as many levels of detail as it takes until one is about as
// wide as a screen: each has a quarter of the columns of the one before.
class PictureWriter {
public:
    // The id is that of the lane. With isClear the lowest value is transparent.
    PictureWriter(std::string id, const Picture& picture, bool isClear)
        : mId(std::move(id)), mPicture(picture), mIsClear(isClear) {}

    // What the page has to know of it.
    nlohmann::ordered_json Describe() const;

    // Tile t of level l is the block "picture:ID:l:t".
    void Write(PageWriter& page) const;

private:
    std::string mId;
    const Picture& mPicture;
    bool mIsClear;
};

} // namespace qel::page
