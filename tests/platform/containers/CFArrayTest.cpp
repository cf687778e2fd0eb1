#include "ContainerObjects.h"
#include "CountingCallBacks.h"

#include <gtest/gtest.h>

#include <vector>

namespace qel::platform {
namespace {

CFRange WholeOf(CFArrayRef array) {
    return CFRangeMake(0, CFArrayGetCount(array));
}

// A mutable array without callbacks that holds the tokens 1 to count.
CFOwner<CFMutableArrayRef> TokensUpTo(std::uintptr_t count) {
    CFOwner array(CFArrayCreateMutable(nullptr, 0, nullptr));
    for (std::uintptr_t i = 1; i <= count; ++i) {
        CFArrayAppendValue(array, Token(i));
    }
    return array;
}

std::vector<const void*> ValuesOf(CFArrayRef array) {
    std::vector<const void*> values(static_cast<std::size_t>(CFArrayGetCount(array)));
    CFArrayGetValues(array, WholeOf(array), values.data());
    return values;
}

using Values = std::vector<const void*>;

TEST(CFArrayTest, KeepsTheValuesThatItWasMadeOf) {
    const void* values[] = {CFSTR("a"), CFSTR("b"), CFSTR("c")};
    const CFOwner array(CFArrayCreate(nullptr, values, 3, &kCFTypeArrayCallBacks));
    ASSERT_EQ(CFArrayGetCount(array), 3);
    for (CFIndex i = 0; i < 3; ++i) {
        EXPECT_EQ(CFArrayGetValueAtIndex(array, i), values[i]);
    }
}

TEST(CFArrayTest, ImpossibleArgumentsMakeNoArray) {
    const void* values[] = {CFSTR("a")};
    EXPECT_EQ(CFArrayCreate(nullptr, values, -1, &kCFTypeArrayCallBacks), nullptr);
    EXPECT_EQ(CFArrayCreate(nullptr, nullptr, 1, &kCFTypeArrayCallBacks), nullptr);
    EXPECT_EQ(CFArrayCreateCopy(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFArrayCreateMutableCopy(nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(CFArrayGetCount(CFOwner(CFArrayCreate(nullptr, nullptr, 0, nullptr))), 0);
}

TEST(CFArrayTest, CapacityIsOnlyAHint) {
    for (const CFIndex capacity : {CFIndex{-5}, CFIndex{0}, CFIndex{2}, CFIndex{1} << 60}) {
        const CFOwner array(CFArrayCreateMutable(nullptr, capacity, nullptr));
        ASSERT_NE(static_cast<CFMutableArrayRef>(array), nullptr);
        EXPECT_EQ(CFArrayGetCount(array), 0);
        for (std::uintptr_t i = 0; i < 100; ++i) {
            CFArrayAppendValue(array, Token(i));
        }
        EXPECT_EQ(CFArrayGetCount(array), 100);
    }
}

TEST(CFArrayTest, InsertSetAndRemoveWorkAtEveryIndex) {
    const auto array = TokensUpTo(3);
    CFArrayInsertValueAtIndex(array, 0, Token(10));
    CFArrayInsertValueAtIndex(array, 2, Token(11));
    CFArrayInsertValueAtIndex(array, 5, Token(12));
    EXPECT_EQ(ValuesOf(array),
              (Values{Token(10), Token(1), Token(11), Token(2), Token(3), Token(12)}));
    CFArraySetValueAtIndex(array, 0, Token(20));
    CFArraySetValueAtIndex(array, 6, Token(21));
    CFArrayRemoveValueAtIndex(array, 1);
    CFArrayRemoveValueAtIndex(array, 5);
    EXPECT_EQ(ValuesOf(array), (Values{Token(20), Token(11), Token(2), Token(3), Token(12)}));
    CFArrayRemoveAllValues(array);
    EXPECT_EQ(CFArrayGetCount(array), 0);
}

TEST(CFArrayTest, AnIndexOutOfRangeChangesAndReadsNothing) {
    const auto array = TokensUpTo(2);
    for (const CFIndex index : {CFIndex{-1}, CFIndex{3}, CFIndex{1} << 62}) {
        CFArrayInsertValueAtIndex(array, index, Token(9));
        CFArraySetValueAtIndex(array, index, Token(9));
        CFArrayRemoveValueAtIndex(array, index);
        EXPECT_EQ(CFArrayGetValueAtIndex(array, index), nullptr);
    }
    CFArrayRemoveValueAtIndex(array, 2);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 2), nullptr);
    EXPECT_EQ(ValuesOf(array), (Values{Token(1), Token(2)}));
}

TEST(CFArrayTest, AnImmutableArrayStaysAsItIs) {
    const CFOwner copy(CFArrayCreateCopy(nullptr, TokensUpTo(2)));
    auto* const cast = const_cast<CFMutableArrayRef>(static_cast<CFArrayRef>(copy));
    CFArrayAppendValue(cast, Token(9));
    CFArrayInsertValueAtIndex(cast, 0, Token(9));
    CFArraySetValueAtIndex(cast, 0, Token(9));
    CFArraySetValueAtIndex(cast, 2, Token(9));
    CFArrayRemoveValueAtIndex(cast, 0);
    CFArrayRemoveAllValues(cast);
    EXPECT_EQ(ValuesOf(copy), (Values{Token(1), Token(2)}));
}

TEST(CFArrayTest, ANullArrayAcceptsEverything) {
    CFArrayAppendValue(nullptr, Token(1));
    CFArrayInsertValueAtIndex(nullptr, 0, Token(1));
    CFArraySetValueAtIndex(nullptr, 0, Token(1));
    CFArrayRemoveValueAtIndex(nullptr, 0);
    CFArrayRemoveAllValues(nullptr);
    CFArrayGetValues(nullptr, CFRangeMake(0, 1), nullptr);
    EXPECT_EQ(CFArrayGetCount(nullptr), 0);
    EXPECT_EQ(CFArrayGetValueAtIndex(nullptr, 0), nullptr);
    EXPECT_FALSE(CFArrayContainsValue(nullptr, CFRangeMake(0, 1), Token(1)));
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(nullptr, CFRangeMake(0, 1), Token(1)), kCFNotFound);
}

TEST(CFArrayTest, GetValuesWritesAWholeRangeOrNothing) {
    const auto array = TokensUpTo(4);
    const void* values[2] = {nullptr, nullptr};
    for (const CFRange range : {CFRangeMake(3, 2), CFRangeMake(-1, 2), CFRangeMake(5, 0),
                                CFRangeMake(1, -1), CFRangeMake(2, CFIndex{1} << 62)}) {
        CFArrayGetValues(array, range, values);
        EXPECT_EQ(values[0], nullptr);
    }
    CFArrayGetValues(array, CFRangeMake(1, 2), values);
    EXPECT_EQ(values[0], Token(2));
    EXPECT_EQ(values[1], Token(3));
}

TEST(CFArrayTest, SearchKeepsToTheRange) {
    const auto array = TokensUpTo(3);
    CFArrayAppendValue(array, Token(2));
    const auto indexOf = [&array](CFIndex location, CFIndex length, std::uintptr_t token) {
        return CFArrayGetFirstIndexOfValue(array, CFRangeMake(location, length), Token(token));
    };
    EXPECT_EQ(indexOf(0, 4, 2), 1);
    EXPECT_EQ(indexOf(2, 2, 2), 3);
    EXPECT_EQ(indexOf(2, 1, 2), kCFNotFound);
    EXPECT_EQ(indexOf(0, 4, 5), kCFNotFound);
    EXPECT_EQ(indexOf(0, 100, 3), 2);
    EXPECT_EQ(indexOf(-2, 3, 1), 0);
    EXPECT_EQ(indexOf(-2, 2, 1), kCFNotFound);
    EXPECT_EQ(indexOf(4, 1, 2), kCFNotFound);
    EXPECT_EQ(indexOf(0, -1, 1), kCFNotFound);
}

TEST(CFArrayTest, ObjectsAreFoundByContentAndBarePointersByAddress) {
    const auto word = MakeString("word");
    const auto sameWord = MakeString("word");
    const void* values[] = {static_cast<CFStringRef>(word)};
    const CFOwner objects(CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks));
    const CFOwner pointers(CFArrayCreate(nullptr, values, 1, nullptr));
    EXPECT_TRUE(CFArrayContainsValue(objects, CFRangeMake(0, 1), sameWord));
    EXPECT_FALSE(CFArrayContainsValue(pointers, CFRangeMake(0, 1), sameWord));
    EXPECT_TRUE(CFArrayContainsValue(pointers, CFRangeMake(0, 1), word));
}

TEST(CFArrayTest, EachValueIsRetainedOnceAndReleasedOnce) {
    const Counted first(1);
    const Counted second(2);
    {
        const CFOwner array(CFArrayCreateMutable(nullptr, 0, &kCountedArrayCallBacks));
        CFArrayAppendValue(array, &first);
        CFArrayInsertValueAtIndex(array, 0, &first);
        EXPECT_EQ(first.owners, 2);
        CFArraySetValueAtIndex(array, 0, &second);
        EXPECT_EQ(first.owners, 1);
        EXPECT_EQ(second.owners, 1);
        // Setting the only value to itself must not let it die on the way.
        CFArraySetValueAtIndex(array, 0, &second);
        EXPECT_EQ(second.owners, 1);
        CFArrayRemoveValueAtIndex(array, 1);
        EXPECT_EQ(first.owners, 0);
        const CFOwner copy(CFArrayCreateCopy(nullptr, array));
        EXPECT_EQ(second.owners, 2);
        CFArrayRemoveAllValues(array);
        EXPECT_EQ(second.owners, 1);
    }
    EXPECT_EQ(first.owners, 0);
    EXPECT_EQ(second.owners, 0);
}

TEST(CFArrayTest, AnArrayWithoutCallbacksRetainsNothingAndNeitherDoItsCopies) {
    const auto number = MakeNumber(1.0);
    const void* values[] = {static_cast<CFNumberRef>(number)};
    const CFOwner array(CFArrayCreate(nullptr, values, 1, nullptr));
    const CFOwner copy(CFArrayCreateCopy(nullptr, array));
    const CFOwner changeable(CFArrayCreateMutableCopy(nullptr, 0, array));
    CFArrayAppendValue(changeable, number);
    EXPECT_EQ(CFGetRetainCount(number), 1);
    EXPECT_EQ(CFArrayGetCount(changeable), 2);
    EXPECT_TRUE(CFEqual(array, copy));
}

TEST(CFArrayTest, AMutableCopyGoesItsOwnWay) {
    const auto array = TokensUpTo(2);
    const CFOwner copy(CFArrayCreateMutableCopy(nullptr, 0, array));
    CFArrayAppendValue(copy, Token(3));
    EXPECT_EQ(CFArrayGetCount(array), 2);
    EXPECT_EQ(CFArrayGetCount(copy), 3);
}

TEST(CFArrayTest, NestedArraysOfEqualContentAreEqualAndHashAlike) {
    const auto make = [](double last) {
        auto outer = MakeArray();
        for (int i = 0; i < 3; ++i) {
            const auto inner = MakeArray();
            CFArrayAppendValue(inner, MakeNumber(SInt64{i}));
            CFArrayAppendValue(inner, MakeString("word"));
            CFArrayAppendValue(inner, MakeNumber(last));
            CFArrayAppendValue(outer, inner);
        }
        return outer;
    };
    const auto array = make(1.0);
    const auto same = make(1.0);
    const auto other = make(2.0);
    EXPECT_TRUE(CFEqual(array, same));
    EXPECT_EQ(CFHash(array), CFHash(same));
    EXPECT_FALSE(CFEqual(array, other));
    EXPECT_NE(CFHash(array), CFHash(other));
    EXPECT_TRUE(CFEqual(array, CFOwner(CFArrayCreateCopy(nullptr, array))));
}

TEST(CFArrayTest, OrderLengthAndCallbacksMatterToEquality) {
    const void* forth[] = {CFSTR("a"), CFSTR("b")};
    const void* back[] = {CFSTR("b"), CFSTR("a")};
    const CFOwner array(CFArrayCreate(nullptr, forth, 2, &kCFTypeArrayCallBacks));
    EXPECT_FALSE(CFEqual(array, CFOwner(CFArrayCreate(nullptr, back, 2, &kCFTypeArrayCallBacks))));
    EXPECT_FALSE(CFEqual(array, CFOwner(CFArrayCreate(nullptr, forth, 1, &kCFTypeArrayCallBacks))));
    EXPECT_FALSE(CFEqual(array, CFOwner(CFArrayCreate(nullptr, forth, 2, nullptr))));
}

} // namespace
} // namespace qel::platform
