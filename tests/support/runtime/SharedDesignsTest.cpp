#include "support/runtime/SharedDesigns.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace qel::core {
namespace {

// Counts what is made.
struct Made {
    explicit Made(int wanted) : design(wanted) {
        if (wanted < 0) {
            throw std::invalid_argument("no design");
        }
        ++count;
    }

    int design;
    static inline int count = 0;
};

using Table = SharedDesigns<int, Made, 2>;

TEST(SharedDesignsTest, WhatIsHeldIsMadeOnce) {
    Table table;
    Made::count = 0;
    EXPECT_EQ(table.Find(1)->design, 1);
    EXPECT_EQ(table.Find(2)->design, 2);
    EXPECT_EQ(table.Find(1)->design, 1);
    EXPECT_EQ(Made::count, 2);
}

TEST(SharedDesignsTest, WhatWasAskedForLongestAgoGoesFirstUnlessItIsUsed) {
    Table table;
    Made::count = 0;
    const Table::Pointer used = table.Find(1);
    table.Find(2);
    table.Find(3);
    table.Find(4); // 2 goes, and 1 stays only because it is used
    EXPECT_EQ(table.Find(1), used);
    EXPECT_EQ(Made::count, 4);
    table.Find(2);
    EXPECT_EQ(Made::count, 5);
}

TEST(SharedDesignsTest, ADesignThatCannotBeMadeLeavesTheTableAsItWas) {
    Table table;
    const Table::Pointer first = table.Find(1);
    EXPECT_THROW(table.Find(-1), std::invalid_argument);
    EXPECT_THROW(table.Find(-1), std::invalid_argument);
    EXPECT_EQ(table.Find(1), first);
}

} // namespace
} // namespace qel::core
