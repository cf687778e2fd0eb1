// Sixteen threads with a handle each. QEL_TRUST_SECONDS in the environment makes them run longer.

#include "tests/trust/SharedMemory.h"
#include "tests/trust/Stream.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace qel::trust {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kThreads = 16;
constexpr std::size_t kStreams = 4;

std::chrono::duration<double> Duration() {
    const char* const asked = std::getenv("QEL_TRUST_SECONDS");
    return std::chrono::duration<double>(asked != nullptr ? std::atof(asked) : 3.0);
}

// Streams of several rates, so that kernels, filters and transforms of several kinds come and go.
std::vector<Stream> MakeStreams() {
    std::vector<Stream> streams;
    streams.emplace_back(8000, 2, 20480, std::vector<UInt32>{512, 4096, 1536});
    streams.emplace_back(11025, 1, 25600, std::vector<UInt32>{4096});
    streams.emplace_back(8000, 1, 20480, std::vector<UInt32>{1000, 512, 77});
    streams.emplace_back(16000, 1, 36864, std::vector<UInt32>{3072, 1, 2048});
    return streams;
}

class ManyThreadsTest : public testing::Test {
protected:
    // One life of a handle. `turn` varies what happens before the stream that counts.
    Digests Live(const Stream& stream, std::size_t turn) const {
        Client client(mKeys.Get(), stream.setup);
        EXPECT_EQ(0, client.New());
        EXPECT_EQ(0, client.Initialize());
        switch (turn % 4) {
        case 1: // given up, and readied again
            stream.Push(client, 9000);
            EXPECT_EQ(0, client.Initialize());
            break;
        case 2:
            EXPECT_EQ(0, client.Reset());
            break;
        case 3: // disposed of in the middle of a stream
            stream.Push(client, 5000);
            EXPECT_EQ(0, client.Dispose());
            EXPECT_EQ(0, client.New());
            EXPECT_EQ(0, client.Initialize());
            break;
        default:
            break;
        }
        Digests results = stream.Run(client);
        if (turn % 3 == 0) {
            EXPECT_EQ(0, client.Reset());
        }
        return results;
    }

    const std::vector<Stream> mStreams = MakeStreams();
    const test::CFOwner<CFMutableArrayRef> mKeys = MakeKeyList(AllKeys());
};

TEST_F(ManyThreadsTest, SixteenHandlesGiveWhatOneByItselfGives) {
    // In a process of its own, so that the threads meet a library that has made nothing yet.
    SharedMemory<std::array<Digests, kStreams>> expected;
    ASSERT_TRUE(RunInChild([&] {
        for (std::size_t s = 0; s < kStreams; ++s) {
            (*expected)[s] = Live(mStreams[s], 0);
        }
    }));
    for (const Digests& digests : *expected) {
        for (std::size_t key = 0; key < std::size(kKeys); ++key) {
            EXPECT_LT(0u, digests[key].Calls()) << kKeys[key].key;
        }
    }

    std::atomic<int> lives = 0;
    std::atomic<int> differences = 0;
    std::barrier start(kThreads);
    const auto work = [&](std::size_t thread, Clock::time_point end) {
        start.arrive_and_wait();
        std::size_t turn = thread;
        do {
            const std::size_t s = turn % kStreams;
            const std::string difference =
                Live(mStreams[s], thread + turn / kStreams).Difference((*expected)[s]);
            if (!difference.empty()) {
                ++differences;
                ADD_FAILURE() << "stream " << s << ": " << difference;
            }
            ++lives;
            ++turn;
        } while (Clock::now() < end);
    };
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(Duration());
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back(work, thread, end);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(0, differences);
    EXPECT_LE(static_cast<int>(kThreads), lives);
    std::printf("%d lives in %zu threads\n", lives.load(), kThreads);
}

} // namespace
} // namespace qel::trust
