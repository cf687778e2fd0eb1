#include "support/containers/CACFDictionary.h"

#include "support/containers/CACFArray.h"

#include <gtest/gtest.h>

#include <set>

namespace qel::core {
namespace {

TEST(CACFDictionaryTest, AddedValuesAreReadBackByType) {
    CACFDictionary dictionary(true);
    const UInt8 byte = 1;
    CFDataRef const data = CFDataCreate(nullptr, &byte, 1);
    CFURLRef const url = CFURLCreateWithString(nullptr, CFSTR("file:///tune"), nullptr);
    const CACFDictionary innerDictionary(true);
    const CACFArray innerArray(0, true);
    const CACFNumber number(9);
    EXPECT_TRUE(dictionary.AddData(CFSTR("data"), data));
    EXPECT_TRUE(dictionary.AddURL(CFSTR("url"), url));
    EXPECT_TRUE(dictionary.AddDictionary(CFSTR("dict"), innerDictionary.GetCFDictionary()));
    EXPECT_TRUE(dictionary.AddArray(CFSTR("array"), innerArray.GetCFArray()));
    EXPECT_TRUE(dictionary.AddString(CFSTR("string"), CFSTR("text")));
    EXPECT_TRUE(dictionary.AddNumber(CFSTR("number"), number.GetCFNumber()));
    EXPECT_TRUE(dictionary.AddCString(CFSTR("c string"), "c text"));
    EXPECT_TRUE(dictionary.AddCFTypeWithCStringKey("c key", CFSTR("value")));
    CFRelease(data);
    CFRelease(url);
    EXPECT_EQ(dictionary.Size(), 8u);

    CFDataRef readData = nullptr;
    CFTypeRef readURL = nullptr;
    CFDictionaryRef readDictionary = nullptr;
    CFArrayRef readArray = nullptr;
    CFStringRef readString = nullptr;
    SInt32 readNumber = 0;
    CFTypeRef readValue = nullptr;
    EXPECT_TRUE(dictionary.GetData(CFSTR("data"), readData));
    EXPECT_EQ(readData, data);
    EXPECT_TRUE(dictionary.GetCFType(CFSTR("url"), readURL));
    EXPECT_EQ(readURL, url);
    EXPECT_TRUE(dictionary.GetDictionary(CFSTR("dict"), readDictionary));
    EXPECT_EQ(readDictionary, innerDictionary.GetCFDictionary());
    EXPECT_TRUE(dictionary.GetArray(CFSTR("array"), readArray));
    EXPECT_EQ(readArray, innerArray.GetCFArray());
    EXPECT_TRUE(dictionary.GetString(CFSTR("string"), readString));
    EXPECT_TRUE(CFEqual(readString, CFSTR("text")));
    EXPECT_TRUE(dictionary.GetSInt32(CFSTR("number"), readNumber));
    EXPECT_EQ(readNumber, 9);
    EXPECT_TRUE(dictionary.GetString(CFSTR("c string"), readString));
    EXPECT_TRUE(CFEqual(readString, CFSTR("c text")));
    EXPECT_TRUE(dictionary.GetCFTypeWithCStringKey("c key", readValue));
    EXPECT_TRUE(CFEqual(readValue, CFSTR("value")));
}

TEST(CACFDictionaryTest, NumbersKeepTypeAndValue) {
    CACFDictionary dictionary(true);
    EXPECT_TRUE(dictionary.AddFloat64(CFSTR("f64"), 0.1));
    EXPECT_TRUE(dictionary.AddFloat32(CFSTR("f32"), 0.1f));
    EXPECT_TRUE(dictionary.AddUInt64(CFSTR("u64"), 1uLL << 40));
    EXPECT_TRUE(dictionary.AddSInt64(CFSTR("s64"), -(1LL << 40)));
    EXPECT_TRUE(dictionary.AddUInt32(CFSTR("u32"), 3000000000u));
    EXPECT_TRUE(dictionary.AddSInt32(CFSTR("s32"), -3));
    EXPECT_TRUE(dictionary.AddBool(CFSTR("bool"), true));

    const auto typeOf = [&](CFStringRef key) {
        CFTypeRef value = nullptr;
        EXPECT_TRUE(dictionary.GetCFType(key, value));
        return CFNumberGetType(static_cast<CFNumberRef>(value));
    };
    EXPECT_EQ(typeOf(CFSTR("f64")), 6);
    EXPECT_EQ(typeOf(CFSTR("f32")), 5);

    Float64 float64 = 0;
    Float32 float32 = 0;
    UInt64 uint64 = 0;
    SInt64 sint64 = 0;
    UInt32 uint32 = 0;
    SInt32 sint32 = 0;
    bool boolean = false;
    EXPECT_TRUE(dictionary.GetFloat64(CFSTR("f64"), float64));
    EXPECT_EQ(float64, 0.1);
    EXPECT_TRUE(dictionary.GetFloat32(CFSTR("f32"), float32));
    EXPECT_EQ(float32, 0.1f);
    EXPECT_TRUE(dictionary.GetUInt64(CFSTR("u64"), uint64));
    EXPECT_EQ(uint64, 1uLL << 40);
    EXPECT_TRUE(dictionary.GetSInt64(CFSTR("s64"), sint64));
    EXPECT_EQ(sint64, -(1LL << 40));
    EXPECT_TRUE(dictionary.GetUInt32(CFSTR("u32"), uint32));
    EXPECT_EQ(uint32, 3000000000u);
    EXPECT_TRUE(dictionary.GetSInt32(CFSTR("s32"), sint32));
    EXPECT_EQ(sint32, -3);
    EXPECT_TRUE(dictionary.GetBool(CFSTR("bool"), boolean));
    EXPECT_TRUE(boolean);
    EXPECT_TRUE(dictionary.GetBool(CFSTR("s32"), boolean));
    EXPECT_TRUE(boolean);
}

TEST(CACFDictionaryTest, FixedPointHas32BitsBehindThePoint) {
    CACFDictionary dictionary(true);
    dictionary.AddSInt64(CFSTR("fixed"), -(5LL << 31)); // -2.5
    Float64 value = 0;
    EXPECT_TRUE(dictionary.GetFixed64(CFSTR("fixed"), value));
    EXPECT_EQ(value, -2.5);
    EXPECT_FALSE(dictionary.GetFixed64(CFSTR("other"), value));
    EXPECT_EQ(value, -2.5);
}

TEST(CACFDictionaryTest, FailedReadLeavesTheOutputAlone) {
    CACFDictionary dictionary(true);
    dictionary.AddString(CFSTR("text"), CFSTR("1.5"));
    dictionary.AddFloat32(CFSTR("number"), 1.5f);
    Float32 number = 42;
    EXPECT_FALSE(dictionary.GetFloat32(CFSTR("text"), number));
    EXPECT_FALSE(dictionary.GetFloat32(CFSTR("missing"), number));
    EXPECT_FALSE(dictionary.GetFloat32(nullptr, number));
    EXPECT_FALSE(CACFDictionary().GetFloat32(CFSTR("number"), number));
    EXPECT_EQ(number, 42.0f);
    CFStringRef string = CFSTR("mine");
    EXPECT_FALSE(dictionary.GetString(CFSTR("number"), string));
    EXPECT_EQ(string, CFSTR("mine"));
    CFTypeRef item = nullptr;
    EXPECT_FALSE(dictionary.GetCFTypeWithCStringKey(nullptr, item));
    EXPECT_EQ(item, nullptr);
}

TEST(CACFDictionaryTest, AddingFailsWithoutADictionaryAKeyOrAValue) {
    CACFDictionary none;
    EXPECT_FALSE(none.AddFloat32(CFSTR("key"), 1));
    EXPECT_FALSE(none.AddCString(CFSTR("key"), "text"));
    EXPECT_EQ(none.Size(), 0u);
    EXPECT_FALSE(none.HasKey(CFSTR("key")));
    CACFDictionary dictionary(true);
    EXPECT_FALSE(dictionary.AddFloat32(nullptr, 1));
    EXPECT_FALSE(dictionary.AddCFType(CFSTR("key"), nullptr));
    EXPECT_FALSE(dictionary.AddCString(CFSTR("key"), nullptr));
    EXPECT_FALSE(dictionary.AddCString(CFSTR("key"), "not ASCII: \xC3\xA4"));
    EXPECT_FALSE(dictionary.AddCFTypeWithCStringKey(nullptr, CFSTR("value")));
    EXPECT_EQ(dictionary.Size(), 0u);
}

TEST(CACFDictionaryTest, KeysCompareByContentAndTheLastValueStays) {
    CACFDictionary dictionary(true);
    dictionary.AddFloat32(CFSTR("key"), 1);
    dictionary.AddFloat32(CACFString("key").GetCFString(), 2);
    EXPECT_EQ(dictionary.Size(), 1u);
    Float32 value = 0;
    EXPECT_TRUE(dictionary.GetFloat32(CFSTR("key"), value));
    EXPECT_EQ(value, 2.0f);
    EXPECT_TRUE(dictionary.HasKey(CACFString("key").GetCFString()));
    EXPECT_FALSE(dictionary.HasKey(CFSTR("Key")));
}

TEST(CACFDictionaryTest, AllKeysAreListed) {
    CACFDictionary dictionary(true);
    dictionary.AddBool(CFSTR("one"), true);
    dictionary.AddBool(CFSTR("two"), true);
    const void* keys[2] = {};
    dictionary.GetKeys(keys);
    const std::set<const void*> expected{CFSTR("one"), CFSTR("two")};
    EXPECT_EQ(std::set<const void*>(keys, keys + 2), expected);
}

TEST(CACFDictionaryTest, AssignedDictionaryIsNotMutable) {
    CACFDictionary source(true);
    CACFDictionary assigned(true);
    assigned = source;
    EXPECT_FALSE(assigned.AddFloat32(CFSTR("key"), 1));
    assigned = source.GetCFDictionary();
    EXPECT_FALSE(assigned.AddFloat32(CFSTR("key"), 1));
    EXPECT_TRUE(source.AddFloat32(CFSTR("key"), 1));
    EXPECT_TRUE(assigned.HasKey(CFSTR("key")));
}

TEST(CACFDictionaryTest, GivenMutableDictionaryIsMutable) {
    CFMutableDictionaryRef const bare = CFDictionaryCreateMutable(
        nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CACFDictionary writer(bare, true);
    EXPECT_TRUE(writer.AddFloat32(CFSTR("key"), 1));
    CACFDictionary reader(static_cast<CFDictionaryRef>(bare), false);
    EXPECT_FALSE(reader.AddFloat32(CFSTR("other"), 1));
    EXPECT_EQ(reader.Size(), 1u);
}

TEST(CACFDictionaryTest, WrapperWithoutTheReleaseFlagPassesItsReferenceOn) {
    CFDictionaryRef kept = nullptr;
    {
        CACFDictionary dictionary(false);
        dictionary.AddFloat32(CFSTR("key"), 1);
        kept = static_cast<CFDictionaryRef>(dictionary.AsPropertyList());
    }
    EXPECT_EQ(CFGetRetainCount(kept), 1);
    EXPECT_EQ(CFDictionaryGetCount(kept), 1);
    {
        CACFDictionary shared;
        shared = kept;
        const CACFDictionary copy(shared);
        EXPECT_EQ(CFGetRetainCount(kept), 3);
    }
    EXPECT_EQ(CFGetRetainCount(kept), 1);
    CFRelease(kept);
}

TEST(CACFDictionaryTest, DictionaryRetainsKeysAndValues) {
    const CACFString key("a key that is no constant");
    const CACFString value("a value that is no constant");
    {
        CACFDictionary dictionary(true);
        dictionary.AddString(key.GetCFString(), value.GetCFString());
        EXPECT_EQ(CFGetRetainCount(key.GetCFString()), 2);
        EXPECT_EQ(CFGetRetainCount(value.GetCFString()), 2);
        CACFString wrapper;
        EXPECT_TRUE(dictionary.GetCACFString(key.GetCFString(), wrapper));
        EXPECT_EQ(CFGetRetainCount(value.GetCFString()), 3);
    }
    EXPECT_EQ(CFGetRetainCount(key.GetCFString()), 1);
    EXPECT_EQ(CFGetRetainCount(value.GetCFString()), 1);
}

TEST(CACFDictionaryTest, TemporaryNumberBelongsToTheDictionaryAlone) {
    CACFDictionary dictionary(true);
    dictionary.AddFloat32(CFSTR("number"), 1.25f);
    CFTypeRef number = nullptr;
    EXPECT_TRUE(dictionary.GetCFType(CFSTR("number"), number));
    EXPECT_EQ(CFGetRetainCount(number), 1);
}

TEST(CACFDictionaryTest, NestedContainersAreReadIntoWrappers) {
    CACFDictionary dictionary(true);
    const CACFArray innerArray(0, true);
    const CACFDictionary innerDictionary(true);
    dictionary.AddArray(CFSTR("array"), innerArray.GetCFArray());
    dictionary.AddDictionary(CFSTR("dictionary"), innerDictionary.GetCFDictionary());
    CACFArray readArray;
    CACFDictionary readDictionary;
    EXPECT_TRUE(dictionary.GetCACFArray(CFSTR("array"), readArray));
    EXPECT_TRUE(dictionary.GetCACFDictionary(CFSTR("dictionary"), readDictionary));
    EXPECT_EQ(readArray.GetCFArray(), innerArray.GetCFArray());
    EXPECT_EQ(readDictionary.GetCFDictionary(), innerDictionary.GetCFDictionary());
    EXPECT_FALSE(dictionary.GetCACFArray(CFSTR("dictionary"), readArray));
    EXPECT_EQ(readArray.GetCFArray(), innerArray.GetCFArray());
}

} // namespace
} // namespace qel::core
