// Long random runs of operations beside a container of the standard library that says what is
// right.

#include "ContainerObjects.h"
#include "CountingCallBacks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace qel::platform {
namespace {

constexpr int kOperations = 20000;

// A fixed stream of numbers: the generator's output is the same in every implementation.
class Dice {
public:
    explicit Dice(unsigned seed) : mEngine(seed) {}
    int Below(int end) { return static_cast<int>(mEngine() % static_cast<unsigned>(end)); }

private:
    std::mt19937 mEngine;
};

TEST(ContainersAgreementTest, AnArrayDoesWhatAVectorDoes) {
    Dice dice(1);
    std::deque<Counted> pool;
    for (int i = 0; i < 20; ++i) {
        pool.emplace_back(i);
    }
    std::vector<const void*> model;
    CFOwner array(CFArrayCreateMutable(nullptr, 0, &kCountedArrayCallBacks));
    for (int step = 0; step < kOperations; ++step) {
        const int count = static_cast<int>(model.size());
        const int index = dice.Below(count + 2) - 1;
        const void* value = &pool[static_cast<std::size_t>(dice.Below(20))];
        const bool isInside = index >= 0 && index < count;
        switch (dice.Below(count > 60 ? 40 : 8)) {
        case 0:
        case 1:
            CFArrayAppendValue(array, value);
            model.push_back(value);
            break;
        case 2:
            CFArrayInsertValueAtIndex(array, index, value);
            if (index >= 0) {
                model.insert(model.begin() + index, value);
            }
            break;
        case 3:
            CFArraySetValueAtIndex(array, index, value);
            if (isInside) {
                model[static_cast<std::size_t>(index)] = value;
            } else if (index == count) {
                model.push_back(value);
            }
            break;
        case 4:
            if (dice.Below(100) == 0) {
                CFArrayRemoveAllValues(array);
                model.clear();
            }
            break;
        default:
            CFArrayRemoveValueAtIndex(array, index);
            if (isInside) {
                model.erase(model.begin() + index);
            }
        }
        ASSERT_EQ(CFArrayGetCount(array), static_cast<CFIndex>(model.size()));
        std::vector<const void*> values(model.size());
        CFArrayGetValues(array, CFRangeMake(0, CFArrayGetCount(array)), values.data());
        ASSERT_EQ(values, model) << step;
    }
    for (const Counted& value : pool) {
        EXPECT_EQ(value.owners, std::count(model.begin(), model.end(), &value));
    }
}

// Checks every pair, in whatever order, against the model.
void ExpectSameContent(CFDictionaryRef dictionary, const std::map<int, const void*>& model) {
    ASSERT_EQ(CFDictionaryGetCount(dictionary), static_cast<CFIndex>(model.size()));
    std::vector<const void*> keys(model.size());
    std::vector<const void*> values(model.size());
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    std::map<int, const void*> content;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        content[static_cast<const Counted*>(keys[i])->name] = values[i];
    }
    ASSERT_EQ(content, model);
}

TEST(ContainersAgreementTest, ADictionaryDoesWhatAMapDoes) {
    Dice dice(2);
    constexpr int kNames = 200;
    // Two keys of every name, as equal keys need not be the same.
    std::deque<Counted> keys;
    std::deque<Counted> values;
    for (int i = 0; i < 2 * kNames; ++i) {
        keys.emplace_back(i % kNames);
        values.emplace_back(i);
    }
    std::map<int, const void*> model;
    {
        CFOwner dictionary(
            CFDictionaryCreateMutable(nullptr, 0, &kCountedKeyCallBacks, &kCountedValueCallBacks));
        for (int step = 0; step < kOperations; ++step) {
            const Counted& key = keys[static_cast<std::size_t>(dice.Below(2 * kNames))];
            const Counted* value = &values[static_cast<std::size_t>(dice.Below(2 * kNames))];
            switch (dice.Below(5)) {
            case 0:
                CFDictionaryAddValue(dictionary, &key, value);
                model.try_emplace(key.name, value);
                break;
            case 1:
                CFDictionarySetValue(dictionary, &key, value);
                model[key.name] = value;
                break;
            case 2:
                if (dice.Below(500) == 0) {
                    CFDictionaryRemoveAllValues(dictionary);
                    model.clear();
                }
                break;
            default:
                CFDictionaryRemoveValue(dictionary, &key);
                model.erase(key.name);
            }
            const Counted& asked = keys[static_cast<std::size_t>(dice.Below(2 * kNames))];
            const auto found = model.find(asked.name);
            ASSERT_EQ(CFDictionaryContainsKey(dictionary, &asked), found != model.end());
            ASSERT_EQ(CFDictionaryGetValue(dictionary, &asked),
                      found == model.end() ? nullptr : found->second);
            if (step % 50 == 0) {
                ASSERT_NO_FATAL_FAILURE(ExpectSameContent(dictionary, model)) << step;
            }
        }
        for (const Counted& value : values) {
            const auto holds = [&value](const auto& pair) { return pair.second == &value; };
            EXPECT_EQ(value.owners, std::count_if(model.begin(), model.end(), holds));
        }
    }
    for (std::size_t i = 0; i < keys.size(); ++i) {
        EXPECT_EQ(keys[i].owners, 0);
        EXPECT_EQ(values[i].owners, 0);
    }
}

TEST(ContainersAgreementTest, ManyStringKeysAreAllFound) {
    constexpr SInt64 kKeys = 5000;
    const auto dictionary = MakeDictionary();
    for (SInt64 i = 0; i < kKeys; ++i) {
        CFDictionarySetValue(dictionary, MakeString("key " + std::to_string(i)), MakeNumber(i));
    }
    ASSERT_EQ(CFDictionaryGetCount(dictionary), kKeys);
    for (SInt64 i = 0; i < kKeys; ++i) {
        const auto* number = static_cast<CFNumberRef>(
            CFDictionaryGetValue(dictionary, MakeString("key " + std::to_string(i))));
        SInt64 value = -1;
        ASSERT_TRUE(CFNumberGetValue(number, kCFNumberSInt64Type, &value));
        ASSERT_EQ(value, i);
    }
    EXPECT_FALSE(CFDictionaryContainsKey(dictionary, CFSTR("key 5000")));
}

} // namespace
} // namespace qel::platform
