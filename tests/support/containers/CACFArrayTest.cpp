#include "support/containers/CACFArray.h"

#include "support/containers/CACFDictionary.h"

#include <gtest/gtest.h>

#include <limits>

namespace qel::core {
namespace {

CFNumberType TypeOfItem(const CACFArray& array, UInt32 index) {
    CFTypeRef item = nullptr;
    EXPECT_TRUE(array.GetCFType(index, item));
    return CFNumberGetType(static_cast<CFNumberRef>(item));
}

TEST(CACFArrayTest, AppendedValuesAreReadBackByType) {
    CACFArray array(0, true);
    const UInt8 bytes[] = {1, 2};
    CFDataRef const data = CFDataCreate(nullptr, bytes, 2);
    CFUUIDRef const uuid = CFUUIDCreateFromUUIDBytes(nullptr, CFUUIDBytes{});
    const CACFDictionary dictionary(true);
    const CACFArray inner(0, true);
    EXPECT_TRUE(array.AppendData(data));
    EXPECT_TRUE(array.AppendDictionary(dictionary.GetCFDictionary()));
    EXPECT_TRUE(array.AppendArray(inner.GetCFArray()));
    EXPECT_TRUE(array.AppendString(CFSTR("text")));
    EXPECT_TRUE(array.AppendCFType(uuid));
    CFRelease(data);
    CFRelease(uuid);
    ASSERT_EQ(array.GetNumberItems(), 5u);

    CFDataRef readData = nullptr;
    CFDictionaryRef readDictionary = nullptr;
    CFArrayRef readArray = nullptr;
    CFStringRef readString = nullptr;
    CFUUIDRef readUUID = nullptr;
    EXPECT_TRUE(array.GetData(0, readData));
    EXPECT_EQ(readData, data);
    EXPECT_TRUE(array.GetDictionary(1, readDictionary));
    EXPECT_EQ(readDictionary, dictionary.GetCFDictionary());
    EXPECT_TRUE(array.GetArray(2, readArray));
    EXPECT_EQ(readArray, inner.GetCFArray());
    EXPECT_TRUE(array.GetString(3, readString));
    EXPECT_TRUE(CFEqual(readString, CFSTR("text")));
    EXPECT_TRUE(array.GetUUID(4, readUUID));
    EXPECT_EQ(readUUID, uuid);
}

TEST(CACFArrayTest, NumbersKeepTypeAndValue) {
    CACFArray array(7, true);
    EXPECT_TRUE(array.AppendFloat64(0.1));
    EXPECT_TRUE(array.AppendFloat32(0.1f));
    EXPECT_TRUE(array.AppendUInt64(std::numeric_limits<UInt64>::max()));
    EXPECT_TRUE(array.AppendSInt64(std::numeric_limits<SInt64>::min()));
    EXPECT_TRUE(array.AppendUInt32(std::numeric_limits<UInt32>::max()));
    EXPECT_TRUE(array.AppendSInt32(-5));
    EXPECT_TRUE(array.AppendUInt32(7));

    EXPECT_EQ(TypeOfItem(array, 0), 6);
    EXPECT_EQ(TypeOfItem(array, 1), 5);
    EXPECT_EQ(TypeOfItem(array, 3), kCFNumberSInt64Type);
    EXPECT_EQ(TypeOfItem(array, 5), kCFNumberSInt32Type);

    Float64 float64 = 0;
    Float32 float32 = 0;
    UInt64 uint64 = 0;
    SInt64 sint64 = 0;
    UInt32 uint32 = 0;
    SInt32 sint32 = 0;
    EXPECT_TRUE(array.GetFloat64(0, float64));
    EXPECT_EQ(float64, 0.1);
    EXPECT_TRUE(array.GetFloat32(1, float32));
    EXPECT_EQ(float32, 0.1f);
    EXPECT_TRUE(array.GetUInt64(2, uint64));
    EXPECT_EQ(uint64, std::numeric_limits<UInt64>::max());
    EXPECT_TRUE(array.GetSInt64(3, sint64));
    EXPECT_EQ(sint64, std::numeric_limits<SInt64>::min());
    EXPECT_TRUE(array.GetUInt32(4, uint32));
    EXPECT_EQ(uint32, std::numeric_limits<UInt32>::max());
    // As a client reads it, without knowing that it was unsigned.
    EXPECT_TRUE(array.GetFloat64(4, float64));
    EXPECT_EQ(float64, 4294967295.0);
    EXPECT_TRUE(array.GetSInt32(5, sint32));
    EXPECT_EQ(sint32, -5);
    EXPECT_TRUE(array.GetFloat32(6, float32));
    EXPECT_EQ(float32, 7.0f);
    // Not exact, yet read: the nearest value.
    EXPECT_TRUE(array.GetFloat32(0, float32));
    EXPECT_EQ(float32, 0.1f);
}

TEST(CACFArrayTest, BoolsAreReadFromBooleansAndNumbers) {
    CACFArray array(0, true);
    array.AppendBool(true);
    array.AppendBool(false);
    array.AppendFloat32(0.25f);
    array.AppendSInt32(0);
    array.AppendString(CFSTR("true"));
    bool value = false;
    EXPECT_TRUE(array.GetBool(0, value));
    EXPECT_TRUE(value);
    EXPECT_TRUE(array.GetBool(1, value));
    EXPECT_FALSE(value);
    EXPECT_TRUE(array.GetBool(2, value));
    EXPECT_TRUE(value);
    EXPECT_TRUE(array.GetBool(3, value));
    EXPECT_FALSE(value);
    value = true;
    EXPECT_FALSE(array.GetBool(4, value));
    EXPECT_TRUE(value);
}

TEST(CACFArrayTest, FailedReadLeavesTheOutputAlone) {
    CACFArray array(0, true);
    array.AppendString(CFSTR("text"));
    array.AppendFloat32(1);
    Float32 number = 42;
    EXPECT_FALSE(array.GetFloat32(0, number));
    EXPECT_FALSE(array.GetFloat32(2, number));
    EXPECT_FALSE(CACFArray().GetFloat32(0, number));
    EXPECT_EQ(number, 42.0f);
    CFTypeRef item = CFSTR("mine");
    EXPECT_FALSE(array.GetCFType(2, item));
    CFStringRef string = CFSTR("mine");
    EXPECT_FALSE(array.GetString(1, string));
    EXPECT_EQ(item, CFSTR("mine"));
    EXPECT_EQ(string, CFSTR("mine"));
}

TEST(CACFArrayTest, InsertAndSetGoByIndex) {
    CACFArray array(0, true);
    EXPECT_TRUE(array.InsertSInt32(0, 3));
    EXPECT_TRUE(array.InsertFloat64(0, 1));
    EXPECT_TRUE(array.InsertUInt32(1, 2));
    EXPECT_TRUE(array.SetFloat32(3, 4)); // the end appends
    EXPECT_TRUE(array.SetSInt64(0, 10));
    EXPECT_FALSE(array.InsertSInt32(5, 0));
    EXPECT_FALSE(array.SetSInt32(5, 0));
    ASSERT_EQ(array.GetNumberItems(), 4u);
    const SInt32 expected[] = {10, 2, 3, 4};
    for (UInt32 i = 0; i < 4; ++i) {
        SInt32 value = 0;
        EXPECT_TRUE(array.GetSInt32(i, value));
        EXPECT_EQ(value, expected[i]);
    }
}

CACFNumber MakeNumber(CFNumberType type, const void* value) {
    return CACFNumber(CFNumberCreate(nullptr, type, value), true);
}

void ExpectItem(const CACFArray& array, UInt32 index, CFTypeRef expected) {
    CFTypeRef item = nullptr;
    ASSERT_TRUE(array.GetCFType(index, item));
    EXPECT_TRUE(CFEqual(item, expected)) << "item " << index;
    ASSERT_EQ(CFGetTypeID(item), CFGetTypeID(expected));
    if (CFGetTypeID(item) == CFNumberGetTypeID()) {
        EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(item)),
                  CFNumberGetType(static_cast<CFNumberRef>(expected)));
    }
}

// Inserts and sets `value`, which must then be found as `expected`.
template <typename Value>
void ExpectWritten(const char* name, bool (CACFArray::*insert)(UInt32, Value),
                   bool (CACFArray::*set)(UInt32, Value), Value value, CFTypeRef expected) {
    SCOPED_TRACE(name);
    CACFArray array(0, true);
    array.AppendString(CFSTR("first"));
    array.AppendString(CFSTR("last"));
    EXPECT_TRUE((array.*insert)(1, value));
    ASSERT_EQ(array.GetNumberItems(), 3u);
    ExpectItem(array, 0, CFSTR("first"));
    ExpectItem(array, 1, expected);
    ExpectItem(array, 2, CFSTR("last"));
    EXPECT_TRUE((array.*set)(2, value));
    ASSERT_EQ(array.GetNumberItems(), 3u);
    ExpectItem(array, 0, CFSTR("first"));
    ExpectItem(array, 1, expected);
    ExpectItem(array, 2, expected);
}

TEST(CACFArrayTest, EveryKindOfObjectIsInsertedAndSet) {
    using Array = CACFArray;
    const UInt8 bytes[] = {1, 2};
    CFDataRef const data = CFDataCreate(nullptr, bytes, 2);
    CACFDictionary dictionary(true);
    dictionary.AddFloat32(CFSTR("key"), 1);
    CACFArray inner(0, true);
    inner.AppendFloat32(2);
    CFDictionaryRef const bareDictionary = dictionary.GetCFDictionary();
    CFArrayRef const bareArray = inner.GetCFArray();
    CFStringRef const string = CFSTR("text");
    CFTypeRef const any = kCFBooleanTrue;
    ExpectWritten("type", &Array::InsertCFType, &Array::SetCFType, any, any);
    ExpectWritten("data", &Array::InsertData, &Array::SetData, data, data);
    ExpectWritten("dictionary", &Array::InsertDictionary, &Array::SetDictionary, bareDictionary,
                  bareDictionary);
    ExpectWritten("array", &Array::InsertArray, &Array::SetArray, bareArray, bareArray);
    ExpectWritten("string", &Array::InsertString, &Array::SetString, string, string);
    ExpectWritten("true", &Array::InsertBool, &Array::SetBool, true, kCFBooleanTrue);
    ExpectWritten("false", &Array::InsertBool, &Array::SetBool, false, kCFBooleanFalse);
    CFRelease(data);
}

TEST(CACFArrayTest, EveryKindOfNumberIsInsertedAndSet) {
    using Array = CACFArray;
    const Float64 float64 = 0.1;
    const Float32 float32 = 0.1f;
    const SInt64 sint64 = std::numeric_limits<SInt64>::min();
    const SInt32 sint32 = -5;
    // Beyond the signed range, where the next wider number, or the same bits, stand for them.
    const UInt32 uint32 = 4000000000u;
    const SInt64 uint32Stored = 4000000000;
    const UInt64 uint64 = std::numeric_limits<UInt64>::max() - 4;
    const SInt64 uint64Stored = -5;
    ExpectWritten("Float64", &Array::InsertFloat64, &Array::SetFloat64, float64,
                  MakeNumber(kCFNumberFloat64Type, &float64).GetCFNumber());
    ExpectWritten("Float32", &Array::InsertFloat32, &Array::SetFloat32, float32,
                  MakeNumber(kCFNumberFloat32Type, &float32).GetCFNumber());
    ExpectWritten("SInt64", &Array::InsertSInt64, &Array::SetSInt64, sint64,
                  MakeNumber(kCFNumberSInt64Type, &sint64).GetCFNumber());
    ExpectWritten("SInt32", &Array::InsertSInt32, &Array::SetSInt32, sint32,
                  MakeNumber(kCFNumberSInt32Type, &sint32).GetCFNumber());
    ExpectWritten("UInt32", &Array::InsertUInt32, &Array::SetUInt32, uint32,
                  MakeNumber(kCFNumberSInt64Type, &uint32Stored).GetCFNumber());
    ExpectWritten("UInt64", &Array::InsertUInt64, &Array::SetUInt64, uint64,
                  MakeNumber(kCFNumberSInt64Type, &uint64Stored).GetCFNumber());
}

TEST(CACFArrayTest, ItemsAreFoundByContent) {
    CACFArray array(0, true);
    array.AppendString(CFSTR("first"));
    array.AppendFloat32(2.5f);
    UInt32 index = 99;
    EXPECT_TRUE(array.GetIndexOfItem(CACFNumber(2.5f).GetCFNumber(), index));
    EXPECT_EQ(index, 1u);
    EXPECT_TRUE(array.HasItem(CACFString("first").GetCFString()));
    EXPECT_FALSE(array.GetIndexOfItem(CFSTR("third"), index));
    EXPECT_EQ(index, 1u);
    EXPECT_FALSE(array.HasItem(nullptr));
    EXPECT_FALSE(CACFArray().HasItem(CFSTR("first")));
}

TEST(CACFArrayTest, WritingFailsWithoutAnArrayOrAValue) {
    CACFArray none;
    EXPECT_FALSE(none.AppendFloat32(1));
    EXPECT_FALSE(none.InsertFloat32(0, 1));
    EXPECT_FALSE(none.SetFloat32(0, 1));
    EXPECT_EQ(none.GetNumberItems(), 0u);
    CACFArray array(0, true);
    EXPECT_FALSE(array.AppendCFType(nullptr));
    EXPECT_FALSE(array.AppendString(nullptr));
    EXPECT_EQ(array.GetNumberItems(), 0u);
}

TEST(CACFArrayTest, AssignedArrayIsNotMutable) {
    CACFArray source(0, true);
    CACFArray fromWrapper(0, true);
    fromWrapper = source;
    EXPECT_FALSE(fromWrapper.AppendFloat32(1));
    CACFArray fromBare(0, true);
    fromBare = source.GetCFArray();
    EXPECT_FALSE(fromBare.AppendFloat32(1));
    EXPECT_FALSE(fromBare.InsertFloat32(0, 1));
    EXPECT_FALSE(fromBare.SetFloat32(0, 1));
    EXPECT_TRUE(source.AppendFloat32(1));
    EXPECT_EQ(fromBare.GetNumberItems(), 1u);
}

TEST(CACFArrayTest, TypeOfTheGivenArrayDecidesMutability) {
    CFMutableArrayRef const bare = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CACFArray writer(bare, false);
    EXPECT_TRUE(writer.AppendFloat32(1));
    CACFArray reader(static_cast<CFArrayRef>(bare), true);
    EXPECT_FALSE(reader.AppendFloat32(1));
    EXPECT_EQ(reader.GetNumberItems(), 1u);
}

TEST(CACFArrayTest, ReleaseFlagDecidesWhoGivesTheReferenceBack) {
    CFArrayRef kept = nullptr;
    {
        const CACFArray array(0, false);
        kept = array.GetCFArray();
        const CACFArray copy(array); // without the flag no reference is taken
        EXPECT_EQ(CFGetRetainCount(kept), 1);
    }
    EXPECT_EQ(CFGetRetainCount(kept), 1);
    {
        const CACFArray owner(kept, true); // takes the reference over
        EXPECT_EQ(CFGetRetainCount(kept), 1);
        const CACFArray copy(owner);
        EXPECT_EQ(CFGetRetainCount(kept), 2);
        CACFArray assigned;
        assigned = kept;
        EXPECT_EQ(CFGetRetainCount(kept), 3);
        assigned = assigned.GetCFArray();
        EXPECT_EQ(CFGetRetainCount(kept), 3);
        assigned = owner;
        EXPECT_EQ(CFGetRetainCount(kept), 3);
        CFRetain(kept);
    }
    EXPECT_EQ(CFGetRetainCount(kept), 1);
    CFRelease(kept);
}

TEST(CACFArrayTest, ArrayRetainsWhatItHoldsAndReadersTakeNothing) {
    const CACFString text("text that is no constant");
    CACFArray array(0, true);
    array.AppendString(text.GetCFString());
    EXPECT_EQ(CFGetRetainCount(text.GetCFString()), 2);
    CFStringRef bare = nullptr;
    array.GetString(0, bare);
    EXPECT_EQ(CFGetRetainCount(bare), 2);
    {
        CACFString wrapper;
        EXPECT_TRUE(array.GetCACFString(0, wrapper));
        EXPECT_EQ(CFGetRetainCount(bare), 3);
    }
    EXPECT_EQ(CFGetRetainCount(bare), 2);
    array = nullptr;
    EXPECT_EQ(CFGetRetainCount(text.GetCFString()), 1);
}

TEST(CACFArrayTest, NestedContainersAreReadIntoWrappers) {
    CACFArray array(0, true);
    const CACFArray innerArray(0, true);
    const CACFDictionary innerDictionary(true);
    array.AppendArray(innerArray.GetCFArray());
    array.AppendDictionary(innerDictionary.GetCFDictionary());
    CACFArray readArray;
    CACFDictionary readDictionary;
    EXPECT_TRUE(array.GetCACFArray(0, readArray));
    EXPECT_TRUE(array.GetCACFDictionary(1, readDictionary));
    EXPECT_EQ(CFGetRetainCount(innerArray.GetCFArray()), 3);
    EXPECT_EQ(CFGetRetainCount(innerDictionary.GetCFDictionary()), 3);
    EXPECT_FALSE(readArray.AppendFloat32(1));
    EXPECT_FALSE(array.GetCACFArray(1, readArray));
    EXPECT_EQ(readArray.GetCFArray(), innerArray.GetCFArray());
    CACFString string(CFSTR("mine"), false);
    EXPECT_FALSE(array.GetCACFString(0, string));
    EXPECT_EQ(string.GetCFString(), CFSTR("mine"));
    // An array read into its own wrapper lives on when its outer one goes.
    EXPECT_TRUE(array.GetCACFArray(0, array));
    EXPECT_EQ(array.GetCFArray(), innerArray.GetCFArray());
}

} // namespace
} // namespace qel::core
