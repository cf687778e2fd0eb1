// A client that goes on after std::bad_alloc with a handle that is half made: nothing is promised
// of its results, but that every call ends, that nothing is lost, and that the next initialization
// makes it whole. Each key by itself, so that no key shields another of its group.

#include "tests/trust/KeyNames.h"
#include "tests/trust/MemoryGate.h"
#include "tests/trust/Stream.h"
#include "tests/trust/Stride.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <new>
#include <string>
#include <vector>

namespace qel::trust {
namespace {

constexpr long kMostRequests = 20000;
constexpr std::size_t kFramesAfterwards = 3000;

class KeyMemoryTest : public testing::TestWithParam<std::string> {
protected:
    KeyMemoryTest() {
        EXPECT_EQ(0, mHolder.New());
        EXPECT_EQ(0, mHolder.Initialize());
        mExpected = mStream.Run(mHolder);
    }

    // Refuses one request of the call. Whether there was one.
    static bool Refuse(long granted, const std::function<void()>& call) {
        MemoryGate::Close(granted, MemoryGate::Refuse::kOnce);
        try {
            call();
        } catch (const std::bad_alloc&) {
        }
        return MemoryGate::Open();
    }

    void GoOn(Client& client) const {
        mStream.Push(client, kFramesAfterwards);
        client.AskProperties();
        client.SetParameters();
        client.Process(0);
        client.Process(1);
    }

    // Refuses each request of the call in turn (each RequestStride()th) and goes on, after a reset
    // too. `asks` tells whether there are any.
    void RefuseEveryRequest(const std::function<void(Client&)>& prepare,
                            const std::function<void(Client&)>& call, bool asks = true) const {
        const long stride = RequestStride();
        for (long n = 0; n < kMostRequests; n += stride) {
            SCOPED_TRACE(n);
            const long before = MemoryGate::Live();
            bool refused = false;
            {
                Client client(mKeys.Get(), mStream.setup);
                EXPECT_EQ(0, client.New());
                prepare(client);
                refused = Refuse(n, [&] { call(client); });
                GoOn(client);
                client.Reset();
                GoOn(client);
                EXPECT_EQ(0, client.Initialize());
                EXPECT_EQ("", mExpected.Difference(mStream.Run(client)));
            }
            EXPECT_EQ(before, MemoryGate::Live());
            ASSERT_FALSE(HasFailure());
            if (!refused) {
                EXPECT_EQ(asks, n > 0);
                std::printf("%ld refused\n", (n + stride - 1) / stride);
                return;
            }
        }
        FAIL() << "the call never went through";
    }

    const Stream mStream{8000, 2, 9000, {512, 1024, 4096}};
    const test::CFOwner<CFMutableArrayRef> mKeys = MakeKeyList(
        GetParam() == "global key" ? std::vector<std::string>{"dominant key", GetParam()}
                                   : std::vector<std::string>{GetParam()});
    // Lives all the time, so that the others share its kernels instead of designing their own.
    Client mHolder{mKeys.Get(), mStream.setup};
    Digests mExpected;
};

TEST_P(KeyMemoryTest, WhatFollowsARefusedInitializeEnds) {
    RefuseEveryRequest([](Client&) {}, [](Client& client) { client.Initialize(); });
}

TEST_P(KeyMemoryTest, WhatFollowsARefusedResetEnds) {
    RefuseEveryRequest(
        [this](Client& client) {
            EXPECT_EQ(0, client.Initialize());
            mStream.Push(client, kFramesAfterwards);
        },
        [](Client& client) { client.Reset(); }, GetParam() != "audio range");
}

// What is delivered while audio streams has its room since Initialize.
TEST_P(KeyMemoryTest, WhatFollowsARefusedStreamEnds) {
    const Delivery delivery = findKey(GetParam())->delivery;
    const bool asks = delivery == Delivery::AtEnd || delivery == Delivery::FramesAtEnd;
    RefuseEveryRequest([](Client& client) { EXPECT_EQ(0, client.Initialize()); },
                       [this](Client& client) { mStream.Run(client); }, asks);
}

INSTANTIATE_TEST_SUITE_P(Keys, KeyMemoryTest, testing::ValuesIn(AllKeys()), KeyTestName);

} // namespace
} // namespace qel::trust
