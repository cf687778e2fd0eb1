#include "page/pictures/Picture.h"

#include <gtest/gtest.h>

namespace qel::page {
namespace {

TEST(PictureTest, ReducedColumnsKeepTheGreatestOfEachRow) {
    Picture picture;
    picture.rows = 2;
    picture.columnSeconds = 0.25;
    picture.values = {1, 9, 5, 2, 3, 3, 7, 0, 4, 4};
    const Picture reduced = Reduced(picture, 2);
    EXPECT_EQ(reduced.values, (std::vector<std::uint8_t>{5, 9, 7, 3, 4, 4}));
    EXPECT_EQ(reduced.columnSeconds, 0.5);
    EXPECT_EQ(Reduced(picture, 4).Columns(), 2u);
}

} // namespace
} // namespace qel::page
