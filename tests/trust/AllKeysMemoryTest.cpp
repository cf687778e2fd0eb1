// Memory that runs out in an analyzer of all keys, and in the functions that need no stream.

#include "tests/trust/Life.h"
#include "tests/trust/MemoryGate.h"
#include "tests/trust/SharedMemory.h"
#include "tests/trust/Stride.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <new>
#include <set>
#include <string>

namespace qel::trust {
namespace {

using Refuse = MemoryGate::Refuse;

constexpr long kMostRequests = 20000;

// Whether std::bad_alloc left the call when the request after `granted` others was refused.
// `refused` tells whether there was such a request.
template <class Call>
bool ThrowsWithout(long granted, bool& refused, const Call& call) {
    bool thrown = false;
    MemoryGate::Close(granted, Refuse::kOnce);
    try {
        call();
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    refused = MemoryGate::Open();
    return thrown;
}

class AllKeysMemoryTest : public testing::Test {
protected:
    AllKeysMemoryTest() {
        EXPECT_EQ(0, mHolder.New());
        mExpected = RunAll(mHolder);
    }

    Outcome RunAll(Client& client) const { return mLife.RunFromInitialize(client); }

    // Refuses every request of the call in turn (each RequestStride()th), on a handle that
    // `prepare` readied. After each the handle is initialized again, and some of them are made to
    // live a whole life.
    template <class Prepare, class Call>
    void RefuseEveryRequest(const Prepare& prepare, const Call& call) {
        constexpr long kRequestsPerWholeLife = 100;
        const long stride = RequestStride();
        for (long n = 0; n < kMostRequests; n += stride) {
            SCOPED_TRACE(n);
            const long before = MemoryGate::Live();
            bool refused = false;
            {
                Client client(mKeys.Get(), mLife.Setup());
                prepare(client);
                EXPECT_EQ(ThrowsWithout(n, refused, [&] { call(client); }), refused);
                if (n % kRequestsPerWholeLife < stride) {
                    EXPECT_TRUE(mExpected == RunAll(client));
                } else {
                    EXPECT_EQ(0, client.Initialize());
                }
            }
            EXPECT_EQ(before, MemoryGate::Live());
            if (!refused) {
                EXPECT_GT(n, 0);
                std::printf("%ld refused\n", (n + stride - 1) / stride);
                return;
            }
            ASSERT_FALSE(HasFailure());
        }
        FAIL() << "the call never went through";
    }

    const Life mLife;
    const test::CFOwner<CFMutableArrayRef> mKeys = MakeKeyList(AllKeys());
    // Lives all the time, so that the others share its kernels instead of designing their own.
    Client mHolder{mKeys.Get(), mLife.Setup()};
    Outcome mExpected;
};

TEST_F(AllKeysMemoryTest, InitializeIsToldAndCanBeRepeated) {
    RefuseEveryRequest([](Client& client) { EXPECT_EQ(0, client.New()); },
                       [](Client& client) { client.Initialize(); });
}

TEST_F(AllKeysMemoryTest, ResetIsToldAndInitializeCanBeRepeated) {
    RefuseEveryRequest(
        [](Client& client) {
            EXPECT_EQ(0, client.New());
            EXPECT_EQ(0, client.Initialize());
        },
        [](Client& client) { client.Reset(); });
}

// Within a data callback, with the callback's own arguments, for the first delivery of each key.
struct Representations {
    std::set<std::string> keys;
    long refusals = 0;
};

void RepresentWithoutMemory(Client& client, CFStringRef key, UInt32 count,
                            QelAudioAnalysisBlock* blocks, void* context) {
    auto& seen = *static_cast<Representations*>(context);
    if (key == nullptr || !seen.keys.insert(test::ToText(key)).second) {
        return;
    }
    const auto represent = [&] {
        return QelAudioAnalysisCreateCFRepresentation(client.Handle(), kCFAllocatorDefault, key,
                                                      count, blocks);
    };
    // The names of values are made once per process.
    if (CFPropertyListRef first = represent()) {
        CFRelease(first);
    }
    const long before = MemoryGate::Live();
    // A dictionary of spectra has a number object for every value: of those, some.
    constexpr long kFirst = 64;
    constexpr long kStride = 61;
    bool refused = true;
    for (long n = 0; refused && n < 1000000; n += n < kFirst ? 1 : kStride) {
        CFPropertyListRef list = nullptr;
        const bool thrown = ThrowsWithout(n, refused, [&] { list = represent(); });
        const bool isTold = refused == thrown;
        if (list != nullptr) {
            CFRelease(list);
        }
        if (!isTold || before != MemoryGate::Live()) {
            ADD_FAILURE() << test::ToText(key) << ", request " << n << (isTold ? "" : " not told")
                          << ", blocks lost " << MemoryGate::Live() - before;
            return; // which keeps memory itself
        }
        seen.refusals += refused ? 1 : 0;
    }
    EXPECT_FALSE(refused);
}

TEST_F(AllKeysMemoryTest, RepresentationsAreToldAndDisturbNothing) {
    Representations seen;
    Client client(mKeys.Get(), mLife.Setup());
    EXPECT_EQ(0, client.New());
    client.OnCallback(RepresentWithoutMemory, &seen);
    const Outcome outcome = RunAll(client);
    EXPECT_EQ("", mExpected.results.Difference(outcome.results));
    EXPECT_EQ(std::size(kKeys), seen.keys.size());
    EXPECT_LT(0, seen.refusals);
    std::printf("%ld refused\n", seen.refusals);
}

TEST(OutOfMemoryTest, TheListOfKeysIsNullOrBadAllocComesOutAndTheNextOneIsWhole) {
    // In processes that have not used the library before: the strings are made there.
    SharedMemory<bool> refused;
    *refused = true;
    long n = 0;
    for (; *refused; ++n) {
        ASSERT_LT(n, kMostRequests);
        SharedMemory<bool> fine;
        EXPECT_TRUE(RunInChild([&] {
            CFMutableArrayRef list = nullptr;
            const bool thrown =
                ThrowsWithout(n, *refused, [&] { list = QelAudioAnalysisGlobalCopyKeys(); });
            *fine = *refused == (thrown || list == nullptr);
            const test::CFOwner<CFMutableArrayRef> first(list);
            const test::CFOwner<CFMutableArrayRef> again(QelAudioAnalysisGlobalCopyKeys());
            *fine = *fine && CFArrayGetCount(again.Get()) == std::ssize(kKeys);
        }));
        EXPECT_TRUE(*fine) << "request " << n;
    }
    EXPECT_LT(1, n);
}

} // namespace
} // namespace qel::trust
