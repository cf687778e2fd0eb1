// What pushes ask of the memory functions, each key by itself: nothing within the declared length,
// and blocks that stay where it is unknown.

#include "tests/harness/TestSignals.h"
#include "tests/trust/KeyNames.h"
#include "tests/trust/MemoryGate.h"
#include "tests/trust/Stream.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qel::trust {
namespace {

constexpr UInt32 kPushFrames = 512;
// More than the filter of the meter takes until it runs, 0.75 s.
constexpr std::size_t kFrames = 128 * kPushFrames;
// A store of a whole stream adds blocks of 64 kB.
constexpr std::size_t kBlockBytes = std::size_t{1} << 16;

struct Requests {
    long made = 0;
    long kept = 0;           // less what was given back
    std::size_t largest = 0; // bytes
};

template <class Call>
Requests CountRequests(const Call& call) {
    const long requests = MemoryGate::Requests();
    const long live = MemoryGate::Live();
    MemoryGate::TakeLargestRequest();
    call();
    return {MemoryGate::Requests() - requests, MemoryGate::Live() - live,
            MemoryGate::TakeLargestRequest()};
}

class PushAllocationKeyTest : public testing::TestWithParam<std::string> {
protected:
    static Stream MakeStream(bool isDeclared) {
        Stream stream(44100.0, 2, kFrames, {kPushFrames});
        stream.setup.maxFrames = kPushFrames;
        if (!isDeclared) {
            stream.setup.streamLength = 0;
        }
        return stream;
    }

    static long RequestsOfPushes(Client& client, const Stream& stream) {
        return CountRequests([&] { stream.Push(client, stream.audio.front().size()); }).made;
    }

    const test::CFOwner<CFMutableArrayRef> mKeys = MakeKeyList(
        GetParam() == "global key" ? std::vector<std::string>{"dominant key", GetParam()}
                                   : std::vector<std::string>{GetParam()});
};

TEST_P(PushAllocationKeyTest, NothingIsRequestedWithinTheDeclaredLength) {
    const Stream stream = MakeStream(true);
    Client client(mKeys.Get(), stream.setup);
    ASSERT_EQ(0, client.New());
    ASSERT_EQ(0, client.Initialize());
    EXPECT_EQ(0, RequestsOfPushes(client, stream));
    ASSERT_EQ(0, client.Reset());
    EXPECT_EQ(0, RequestsOfPushes(client, stream)) << "after a reset";
    client.Process(1);
    ASSERT_EQ(0, client.Reset());
    EXPECT_EQ(0, RequestsOfPushes(client, stream)) << "after a stream that has ended";
}

// The first block is there from the start.
TEST_P(PushAllocationKeyTest, NothingIsRequestedAtFirstWithAnUnknownLength) {
    const Stream stream = MakeStream(false);
    Client client(mKeys.Get(), stream.setup);
    ASSERT_EQ(0, client.New());
    ASSERT_EQ(0, client.Initialize());
    EXPECT_EQ(0, RequestsOfPushes(client, stream));
}

// Room for that is there from the start.
TEST(PushMemoryTest, RhythmKeysRequestNothingInSixMinutesOfUnknownLength) {
    constexpr UInt32 kPush = 4096;
    constexpr int kPushes = 6 * 60 * 44100 / static_cast<int>(kPush);
    const auto keys = MakeKeyList({"global tempo", "global number of beats per bar", "onset data"});
    Client client(keys.Get(), {44100.0, 1, kPush, 0});
    ASSERT_EQ(0, client.New());
    ASSERT_EQ(0, client.Initialize());
    const std::vector<float> silence(kPush);
    const float* const channel = silence.data();
    const auto push = [&] {
        for (int i = 0; i < kPushes; ++i) {
            client.Push(&channel, kPush);
        }
    };
    EXPECT_EQ(0, CountRequests(push).made);
    ASSERT_EQ(0, client.Reset());
    EXPECT_EQ(0, CountRequests(push).made) << "after a reset";
}

// After the room of the start, the list of chunks of onsets, 12 bytes for 256 samples, fills three
// blocks. Each of them adds the next one when it is half full.
TEST(PushMemoryTest, NothingIsGivenBackWhereAnUnknownLengthTakesMoreBlocks) {
    constexpr std::size_t kEntryBytes = 12;
    constexpr std::size_t kPushes = 3 * kBlockBytes / kEntryBytes * 256 / kPushFrames;
    const auto keys = MakeKeyList({"onset data"});
    Client client(keys.Get(), {44100.0, 1, kPushFrames, 0});
    ASSERT_EQ(0, client.New());
    ASSERT_EQ(0, client.Initialize());
    constexpr std::size_t kRoomAtFirst = std::size_t{1} << 24;
    const std::vector<float> noise = test::Noise(0.5f, 1, 1 << 20, 1)[0];
    const auto push = [&](std::size_t pushes) {
        for (std::size_t i = 0; i < pushes; ++i) {
            const float* const channel = noise.data() + i * kPushFrames % noise.size();
            client.Push(&channel, kPushFrames);
        }
    };
    push(kRoomAtFirst / kPushFrames);
    const Requests requests = CountRequests([&] { push(kPushes); });
    EXPECT_GE(requests.made, 3);
    EXPECT_LE(requests.made, 4);
    EXPECT_EQ(requests.made, requests.kept) << "what grows by copies gives back what it copied";
    EXPECT_LE(requests.largest, kBlockBytes);
    EXPECT_GT(requests.largest, kBlockBytes - kEntryBytes);
}

INSTANTIATE_TEST_SUITE_P(Keys, PushAllocationKeyTest, testing::ValuesIn(AllKeys()), KeyTestName);

} // namespace
} // namespace qel::trust
