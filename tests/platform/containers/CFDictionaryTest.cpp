#include "ContainerObjects.h"
#include "CountingCallBacks.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qel::platform {
namespace {

// The keys, which are strings, in the order of the dictionary.
std::string KeysOf(CFDictionaryRef dictionary) {
    std::vector<const void*> keys(static_cast<std::size_t>(CFDictionaryGetCount(dictionary)));
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), nullptr);
    std::string text;
    for (const void* key : keys) {
        text += ToText(static_cast<CFStringRef>(key));
    }
    return text;
}

TEST(CFDictionaryTest, FindsValuesByTheContentOfTheKey) {
    const auto dictionary = MakeDictionary();
    CFDictionarySetValue(dictionary, MakeString("tempo"), kCFBooleanTrue);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, MakeString("tempo")), kCFBooleanTrue);
    EXPECT_TRUE(CFDictionaryContainsKey(dictionary, CFSTR("tempo")));
    EXPECT_FALSE(CFDictionaryContainsKey(dictionary, CFSTR("key")));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("key")), nullptr);
}

TEST(CFDictionaryTest, NumbersOfDifferentTypesAreTheSameKey) {
    const auto dictionary = MakeDictionary();
    CFDictionarySetValue(dictionary, MakeNumber(SInt64{3}), CFSTR("three"));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, MakeNumber(3.0)), CFSTR("three"));
}

TEST(CFDictionaryTest, AddLeavesAndSetReplaces) {
    const auto dictionary = MakeDictionary();
    CFDictionaryAddValue(dictionary, CFSTR("a"), CFSTR("1"));
    CFDictionaryAddValue(dictionary, CFSTR("a"), CFSTR("2"));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("a")), CFSTR("1"));
    CFDictionarySetValue(dictionary, CFSTR("a"), CFSTR("3"));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("a")), CFSTR("3"));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
}

TEST(CFDictionaryTest, GetValueIfPresentWritesOnlyWhatIsThere) {
    const CFOwner dictionary(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
    CFDictionaryAddValue(dictionary, Token(1), nullptr);
    const void* value = Token(9);
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(dictionary, Token(2), &value));
    EXPECT_EQ(value, Token(9));
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary, Token(1), &value));
    EXPECT_EQ(value, nullptr);
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary, Token(1), nullptr));
}

TEST(CFDictionaryTest, KeysComeInTheOrderInWhichTheyWereAdded) {
    const auto dictionary = MakeDictionary();
    for (const char* key : {"q", "w", "e", "r", "t", "y", "u", "i", "o", "p"}) {
        CFDictionarySetValue(dictionary, MakeString(key), kCFNull);
    }
    EXPECT_EQ(KeysOf(dictionary), "qwertyuiop");
    CFDictionarySetValue(dictionary, CFSTR("w"), kCFBooleanTrue);
    CFDictionaryRemoveValue(dictionary, CFSTR("e"));
    CFDictionaryRemoveValue(dictionary, CFSTR("t"));
    CFDictionarySetValue(dictionary, CFSTR("t"), kCFNull);
    EXPECT_EQ(KeysOf(dictionary), "qwryuiopt");
    EXPECT_EQ(KeysOf(CFOwner(CFDictionaryCreateCopy(nullptr, dictionary))), "qwryuiopt");
}

TEST(CFDictionaryTest, ApplyVisitsEveryPairOnceInOrder) {
    const void* keys[] = {CFSTR("a"), CFSTR("b"), CFSTR("c")};
    const void* values[] = {CFSTR("1"), CFSTR("2"), CFSTR("3")};
    const CFOwner dictionary(CFDictionaryCreate(nullptr, keys, values, 3,
                                                &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks));
    std::string visited;
    CFDictionaryApplyFunction(
        dictionary,
        [](const void* key, const void* value, void* context) {
            *static_cast<std::string*>(context) +=
                ToText(static_cast<CFStringRef>(key)) + ToText(static_cast<CFStringRef>(value));
        },
        &visited);
    EXPECT_EQ(visited, "a1b2c3");
}

TEST(CFDictionaryTest, OfEqualKeysAtCreationTheFirstStays) {
    const void* keys[] = {CFSTR("a"), CFSTR("a")};
    const void* values[] = {CFSTR("1"), CFSTR("2")};
    const CFOwner dictionary(CFDictionaryCreate(nullptr, keys, values, 2,
                                                &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("a")), CFSTR("1"));
}

TEST(CFDictionaryTest, ImpossibleArgumentsMakeNoDictionary) {
    const void* one[] = {CFSTR("a")};
    EXPECT_EQ(CFDictionaryCreate(nullptr, one, one, -1, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreate(nullptr, nullptr, one, 1, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreate(nullptr, one, nullptr, 1, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreateCopy(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreateMutableCopy(nullptr, 0, nullptr), nullptr);
}

TEST(CFDictionaryTest, CapacityIsOnlyAHint) {
    for (const CFIndex capacity : {CFIndex{-5}, CFIndex{0}, CFIndex{3}, CFIndex{1} << 60}) {
        const CFOwner dictionary(CFDictionaryCreateMutable(nullptr, capacity, nullptr, nullptr));
        ASSERT_NE(static_cast<CFMutableDictionaryRef>(dictionary), nullptr);
        for (std::uintptr_t i = 0; i < 100; ++i) {
            CFDictionaryAddValue(dictionary, Token(i), Token(i + 1));
        }
        EXPECT_EQ(CFDictionaryGetCount(dictionary), 100);
        EXPECT_EQ(CFDictionaryGetValue(dictionary, Token(50)), Token(51));
    }
}

TEST(CFDictionaryTest, WithoutCallbacksKeysAreTheirAddresses) {
    const auto word = MakeString("word");
    const auto sameWord = MakeString("word");
    const CFOwner dictionary(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
    CFDictionaryAddValue(dictionary, word, Token(1));
    EXPECT_TRUE(CFDictionaryContainsKey(dictionary, word));
    EXPECT_FALSE(CFDictionaryContainsKey(dictionary, sameWord));
    EXPECT_EQ(CFGetRetainCount(word), 1);
    const CFOwner copy(CFDictionaryCreateMutableCopy(nullptr, 0, dictionary));
    EXPECT_FALSE(CFDictionaryContainsKey(copy, sameWord));
    EXPECT_EQ(CFGetRetainCount(word), 1);
}

TEST(CFDictionaryTest, KeysAndValuesAreRetainedOnceAndReleasedOnce) {
    const Counted key(1);
    const Counted sameKey(1);
    const Counted value(2);
    const Counted otherValue(3);
    {
        const CFOwner dictionary(
            CFDictionaryCreateMutable(nullptr, 0, &kCountedKeyCallBacks, &kCountedValueCallBacks));
        CFDictionaryAddValue(dictionary, &key, &value);
        CFDictionaryAddValue(dictionary, &sameKey, &otherValue);
        EXPECT_EQ(sameKey.retains, 0);
        EXPECT_EQ(otherValue.retains, 0);
        CFDictionarySetValue(dictionary, &sameKey, &otherValue);
        EXPECT_EQ(key.owners, 1);
        EXPECT_EQ(sameKey.retains, 0);
        EXPECT_EQ(value.owners, 0);
        EXPECT_EQ(otherValue.owners, 1);
        CFDictionarySetValue(dictionary, &key, &otherValue);
        EXPECT_EQ(otherValue.owners, 1);
        const CFOwner copy(CFDictionaryCreateCopy(nullptr, dictionary));
        EXPECT_EQ(key.owners, 2);
        CFDictionaryRemoveValue(dictionary, &sameKey);
        CFDictionaryRemoveValue(dictionary, &sameKey);
        EXPECT_EQ(key.owners, 1);
        EXPECT_EQ(otherValue.owners, 1);
        CFDictionaryAddValue(dictionary, &sameKey, &value);
        CFDictionaryRemoveAllValues(dictionary);
        EXPECT_EQ(sameKey.owners, 0);
        EXPECT_EQ(value.owners, 0);
        EXPECT_EQ(CFDictionaryGetCount(dictionary), 0);
    }
    EXPECT_EQ(key.owners, 0);
    EXPECT_EQ(otherValue.owners, 0);
}

TEST(CFDictionaryTest, AnImmutableDictionaryStaysAsItIs) {
    const void* key = CFSTR("a");
    const void* value = CFSTR("1");
    const CFOwner dictionary(CFDictionaryCreate(nullptr, &key, &value, 1,
                                                &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks));
    auto* const cast = const_cast<CFMutableDictionaryRef>(static_cast<CFDictionaryRef>(dictionary));
    CFDictionaryAddValue(cast, CFSTR("b"), value);
    CFDictionarySetValue(cast, CFSTR("a"), CFSTR("2"));
    CFDictionaryRemoveValue(cast, CFSTR("a"));
    CFDictionaryRemoveAllValues(cast);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("a")), value);
}

TEST(CFDictionaryTest, ANullDictionaryAcceptsEverything) {
    CFDictionaryAddValue(nullptr, Token(1), Token(1));
    CFDictionarySetValue(nullptr, Token(1), Token(1));
    CFDictionaryRemoveValue(nullptr, Token(1));
    CFDictionaryRemoveAllValues(nullptr);
    CFDictionaryGetKeysAndValues(nullptr, nullptr, nullptr);
    CFDictionaryApplyFunction(nullptr, nullptr, nullptr);
    CFDictionaryApplyFunction(MakeDictionary(), nullptr, nullptr);
    EXPECT_EQ(CFDictionaryGetCount(nullptr), 0);
    EXPECT_EQ(CFDictionaryGetValue(nullptr, Token(1)), nullptr);
    EXPECT_FALSE(CFDictionaryContainsKey(nullptr, Token(1)));
}

TEST(CFDictionaryTest, EqualContentInAnyOrderIsEqualAndHashesAlike) {
    const auto forth = MakeDictionary();
    const auto back = MakeDictionary();
    for (SInt64 i = 0; i < 40; ++i) {
        const auto inner = MakeDictionary();
        CFDictionarySetValue(inner, CFSTR("half"), MakeNumber(0.5 * static_cast<double>(i)));
        CFDictionarySetValue(forth, MakeNumber(i), inner);
    }
    for (SInt64 i = 39; i >= 0; --i) {
        const auto inner = MakeDictionary();
        CFDictionarySetValue(inner, MakeString("half"), MakeNumber(0.5 * static_cast<double>(i)));
        CFDictionarySetValue(back, MakeNumber(static_cast<double>(i)), inner);
    }
    EXPECT_TRUE(CFEqual(forth, back));
    EXPECT_EQ(CFHash(forth), CFHash(back));
    CFDictionarySetValue(back, MakeNumber(SInt64{7}), kCFNull);
    EXPECT_FALSE(CFEqual(forth, back));
    EXPECT_NE(CFHash(forth), CFHash(back));
    CFDictionaryRemoveValue(back, MakeNumber(SInt64{7}));
    EXPECT_FALSE(CFEqual(forth, back));
}

TEST(CFDictionaryTest, CopiedStringKeysAreFoundByContent) {
    const CFOwner dictionary(CFDictionaryCreateMutable(
        nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(dictionary, MakeString("a"), CFSTR("1"));
    CFDictionarySetValue(dictionary, MakeNumber(SInt64{1}), CFSTR("2"));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("a")), CFSTR("1"));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, MakeNumber(SInt64{1})), CFSTR("2"));
}

} // namespace
} // namespace qel::platform
