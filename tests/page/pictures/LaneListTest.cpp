#include "page/pictures/LaneList.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

namespace qel::page {
namespace {

TEST(LaneListTest, EveryLaneOfAPictureNamesAKeyAndItsRows) {
    for (const Lane& lane : LaneList::Get().Lanes()) {
        if (lane.kind == "picture" || lane.kind == "overlay") {
            EXPECT_NE(findKey(lane.source), nullptr) << lane.id;
            EXPECT_GT(lane.rows, 0) << lane.id;
        }
    }
}

TEST(LaneListTest, IdsAreUnique) {
    std::set<std::string> ids;
    for (const Lane& lane : LaneList::Get().Lanes()) {
        EXPECT_TRUE(ids.insert(lane.id).second) << lane.id;
    }
    EXPECT_THROW(LaneList::Get().LaneOf("no such lane"), std::out_of_range);
}

TEST(LaneListTest, ClicksCanBeHeardAndAreShort) {
    for (const Mark& mark : LaneList::Get().Marks()) {
        EXPECT_GT(mark.click.frequencyHz, 200) << mark.id;
        EXPECT_LE(mark.click.gain, 1) << mark.id;
        EXPECT_LT(mark.click.seconds, 0.1) << mark.id;
    }
}

TEST(LaneListTest, TextThatIsNoListIsRefused) {
    EXPECT_ANY_THROW(LaneList("{}"));
    EXPECT_ANY_THROW(LaneList("lanes"));
}

} // namespace
} // namespace qel::page
