#include "loudness/soundcheck/BlockBufferer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <numeric>
#include <string>
#include <vector>

namespace qel::core {
namespace {

using Bytes = std::vector<unsigned char>;

// Keeps what it is called with, and answers the scripted statuses first, then 0.
struct Receiver {
    struct Call {
        const unsigned char* place;
        Bytes bytes;
    };
    std::vector<Call> calls;
    std::deque<SInt32> statuses;

    static SInt32 Receive(void* self, const unsigned char* bytes, unsigned int byteCount) {
        auto* receiver = static_cast<Receiver*>(self);
        receiver->calls.push_back({bytes, Bytes(bytes, bytes + byteCount)});
        if (receiver->statuses.empty()) {
            return 0;
        }
        const SInt32 status = receiver->statuses.front();
        receiver->statuses.pop_front();
        return status;
    }

    Bytes All() const {
        Bytes all;
        for (const Call& call : calls) {
            all.insert(all.end(), call.bytes.begin(), call.bytes.end());
        }
        return all;
    }
    std::string Text(std::size_t call) const {
        return {calls.at(call).bytes.begin(), calls.at(call).bytes.end()};
    }
};

Bytes Counting(std::size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}

SInt32 Add(BlockBufferer& bufferer, const std::string& text) {
    return bufferer.AddInput(reinterpret_cast<const unsigned char*>(text.data()),
                             static_cast<unsigned int>(text.size()));
}

TEST(BlockBuffererTest, OneLargeCallDeliversAllWholeBlocksInOneCallbackFromTheCallersMemory) {
    Receiver receiver;
    BlockBufferer bufferer(Receiver::Receive, &receiver, 8);
    const Bytes input = Counting(8 * 5 + 3);
    EXPECT_EQ(0, bufferer.AddInput(input.data(), 43));
    ASSERT_EQ(1u, receiver.calls.size());
    EXPECT_EQ(input.data(), receiver.calls[0].place);
    EXPECT_EQ(Bytes(input.begin(), input.begin() + 40), receiver.calls[0].bytes);
}

TEST(BlockBuffererTest, ByteByByteDeliversTheBlocksOfOneLargeCall) {
    Receiver receiver;
    BlockBufferer bufferer(Receiver::Receive, &receiver, 8);
    const Bytes input = Counting(8 * 5 + 3);
    for (const unsigned char& byte : input) {
        EXPECT_EQ(0, bufferer.AddInput(&byte, 1));
    }
    ASSERT_EQ(5u, receiver.calls.size());
    for (const Receiver::Call& call : receiver.calls) {
        EXPECT_EQ(8u, call.bytes.size());
    }
    EXPECT_EQ(Bytes(input.begin(), input.begin() + 40), receiver.All());
}

TEST(BlockBuffererTest, PiecesOfEverySizeDeliverTheSameBytesInWholeBlocks) {
    const Bytes input = Counting(200);
    for (std::size_t blockSize = 1; blockSize <= 20; ++blockSize) {
        for (std::size_t piece = 1; piece <= 50; ++piece) {
            Receiver receiver;
            BlockBufferer bufferer(Receiver::Receive, &receiver, static_cast<UInt32>(blockSize));
            for (std::size_t at = 0; at < input.size(); at += piece) {
                const auto count = static_cast<unsigned int>(std::min(piece, input.size() - at));
                ASSERT_EQ(0, bufferer.AddInput(input.data() + at, count));
            }
            const auto whole = static_cast<std::ptrdiff_t>(200 / blockSize * blockSize);
            EXPECT_EQ(Bytes(input.begin(), input.begin() + whole), receiver.All())
                << blockSize << ' ' << piece;
            for (const Receiver::Call& call : receiver.calls) {
                EXPECT_EQ(0u, call.bytes.size() % blockSize) << blockSize << ' ' << piece;
            }
        }
    }
}

TEST(BlockBuffererTest, APieceThatCompletesABlockGoesOnWithWholeBlocksFromItsOwnMemory) {
    Receiver receiver;
    BlockBufferer bufferer(Receiver::Receive, &receiver, 4);
    EXPECT_EQ(0, Add(bufferer, "abc"));
    EXPECT_TRUE(receiver.calls.empty());
    const std::string second = "defghijklm";
    EXPECT_EQ(0, Add(bufferer, second));
    ASSERT_EQ(2u, receiver.calls.size());
    EXPECT_EQ("abcd", receiver.Text(0));
    EXPECT_EQ("efghijkl", receiver.Text(1));
    EXPECT_EQ(reinterpret_cast<const unsigned char*>(second.data()) + 1, receiver.calls[1].place);
    EXPECT_EQ(0, Add(bufferer, "nop"));
    ASSERT_EQ(3u, receiver.calls.size());
    EXPECT_EQ("mnop", receiver.Text(2));
}

TEST(BlockBuffererTest, AnEmptyPieceDoesNothing) {
    Receiver receiver;
    BlockBufferer bufferer(Receiver::Receive, &receiver, 4);
    EXPECT_EQ(0, bufferer.AddInput(nullptr, 0));
    EXPECT_EQ(0, Add(bufferer, "abc"));
    EXPECT_EQ(0, bufferer.AddInput(nullptr, 0));
    EXPECT_TRUE(receiver.calls.empty());
    EXPECT_EQ(0, Add(bufferer, "d"));
    ASSERT_EQ(1u, receiver.calls.size());
    EXPECT_EQ("abcd", receiver.Text(0));
}

TEST(BlockBuffererTest, AStatusForAKeptBlockIsReturnedAtOnceAndTheBlockComesAgain) {
    Receiver receiver;
    BlockBufferer bufferer(Receiver::Receive, &receiver, 4);
    receiver.statuses = {-7};
    EXPECT_EQ(0, Add(bufferer, "ab"));
    EXPECT_EQ(-7, Add(bufferer, "cdefghij"));
    ASSERT_EQ(1u, receiver.calls.size());
    EXPECT_EQ(0, bufferer.AddInput(nullptr, 0));
    ASSERT_EQ(2u, receiver.calls.size());
    EXPECT_EQ("abcd", receiver.Text(1));
    EXPECT_EQ(0, Add(bufferer, "klmn"));
    ASSERT_EQ(3u, receiver.calls.size());
    EXPECT_EQ("klmn", receiver.Text(2));
}

TEST(BlockBuffererTest, AStatusForWholeBlocksIsReturnedAtOnceAndTheRestOfThePieceIsLost) {
    Receiver receiver;
    BlockBufferer bufferer(Receiver::Receive, &receiver, 4);
    receiver.statuses = {-7};
    EXPECT_EQ(-7, Add(bufferer, "abcdef"));
    EXPECT_EQ(0, Add(bufferer, "ghi"));
    ASSERT_EQ(1u, receiver.calls.size());
    EXPECT_EQ(0, Add(bufferer, "j"));
    ASSERT_EQ(2u, receiver.calls.size());
    EXPECT_EQ("ghij", receiver.Text(1));
}

TEST(BlockBuffererTest, AKeptBlockComesAgainIfTheWholeBlocksAfterItGaveAStatus) {
    Receiver receiver;
    BlockBufferer bufferer(Receiver::Receive, &receiver, 4);
    receiver.statuses = {0, -7};
    EXPECT_EQ(0, Add(bufferer, "ab"));
    EXPECT_EQ(-7, Add(bufferer, "cdefghij"));
    EXPECT_EQ(0, Add(bufferer, "k"));
    ASSERT_EQ(3u, receiver.calls.size());
    EXPECT_EQ("abcd", receiver.Text(0));
    EXPECT_EQ("efgh", receiver.Text(1));
    EXPECT_EQ("abcd", receiver.Text(2));
    EXPECT_EQ(0, Add(bufferer, "lmn"));
    ASSERT_EQ(4u, receiver.calls.size());
    EXPECT_EQ("klmn", receiver.Text(3));
}

TEST(BlockBuffererTest, BlocksOfNoBytesTakeNothing) {
    Receiver receiver;
    BlockBufferer bufferer(Receiver::Receive, &receiver, 0);
    EXPECT_EQ(-50, Add(bufferer, "abc"));
    EXPECT_EQ(-50, bufferer.AddInput(nullptr, 0));
    EXPECT_TRUE(receiver.calls.empty());
}

TEST(BlockBuffererTest, BytesWithoutAPlaceAreRefusedAndWhatIsKeptStays) {
    Receiver receiver;
    BlockBufferer bufferer(Receiver::Receive, &receiver, 4);
    EXPECT_EQ(0, Add(bufferer, "abc"));
    EXPECT_EQ(-50, bufferer.AddInput(nullptr, 9));
    EXPECT_EQ(0, Add(bufferer, "d"));
    ASSERT_EQ(1u, receiver.calls.size());
    EXPECT_EQ("abcd", receiver.Text(0));
}

} // namespace
} // namespace qel::core
