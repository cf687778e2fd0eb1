#include "ContainerObjects.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace qel::platform {
namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 5000;

void InThreads(const std::function<void(int thread)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back(work, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(ThreadsTest, CountsAreExactWhenThreadsRetainAndRelease) {
    const auto number = MakeNumber(1.0);
    InThreads([&number](int) {
        for (int i = 0; i < kRounds; ++i) {
            CFRetain(number);
            CFRetain(number);
            CFRelease(number);
        }
    });
    EXPECT_EQ(CFGetRetainCount(number), 1 + kThreads * kRounds);
    for (int i = 0; i < kThreads * kRounds; ++i) {
        CFRelease(number);
    }
}

TEST(ThreadsTest, TheLastThreadDestroysWhatAllShared) {
    for (int round = 0; round < 100; ++round) {
        const CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
        const auto number = MakeNumber(2.0);
        CFArrayAppendValue(array, number);
        for (int i = 1; i < kThreads; ++i) {
            CFRetain(array);
        }
        InThreads([array](int) {
            EXPECT_EQ(CFArrayGetCount(array), 1);
            CFRelease(array);
        });
        EXPECT_EQ(CFGetRetainCount(number), 1);
    }
}

TEST(ThreadsTest, ALiteralIsTheSameInEveryThread) {
    std::vector<std::vector<CFStringRef>> seen(kThreads);
    InThreads([&seen](int thread) {
        for (int i = 0; i < 500; ++i) {
            const std::string text = "constant of the thread test " + std::to_string(i);
            const CFStringRef constant = __CFStringMakeConstantString(text.c_str());
            CFRelease(CFRetain(constant));
            seen[static_cast<std::size_t>(thread)].push_back(constant);
        }
    });
    for (const auto& constants : seen) {
        EXPECT_EQ(constants, seen[0]);
    }
    EXPECT_EQ(ToText(seen[0][499]), "constant of the thread test 499");
}

TEST(ThreadsTest, ThreadsMayReadOneDictionaryTogether) {
    const auto dictionary = MakeDictionary();
    for (SInt64 i = 0; i < 100; ++i) {
        CFDictionarySetValue(dictionary, MakeNumber(i), MakeNumber(i + 1));
    }
    InThreads([&dictionary](int) {
        for (SInt64 i = 0; i < 1000; ++i) {
            const void* value = CFDictionaryGetValue(dictionary, MakeNumber(i % 100));
            EXPECT_TRUE(CFEqual(value, MakeNumber(i % 100 + 1)));
        }
    });
}

} // namespace
} // namespace qel::platform
