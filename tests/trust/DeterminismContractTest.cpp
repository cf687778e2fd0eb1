// The same audio gives the same bytes: in every run, cut, place in memory, and process.

#include "tests/trust/DigestText.h"
#include "tests/trust/Stream.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

namespace qel::trust {
namespace {

const std::set<std::string> kPerPush = {"temporal properties"};
const std::set<std::string> kPerPushAndRange = {"temporal properties", "audio range"};
const std::set<std::string> kRange = {"audio range"};

// The keys that differ, but for those that may.
std::string Difference(const Digests& first, const Digests& second,
                       const std::set<std::string>& excepted = {}) {
    std::string text;
    for (std::size_t i = 0; i < std::size(kKeys); ++i) {
        const std::string key(kKeys[i].key);
        if (first[i] != second[i] && !excepted.contains(key)) {
            text += key + "; ";
        }
    }
    return text;
}

class DeterminismContractTest : public testing::Test {
protected:
    Digests RunAnew(const Stream& stream) const {
        Client client(mKeys.Get(), stream.setup);
        EXPECT_EQ(0, client.New());
        EXPECT_EQ(0, client.Initialize());
        return stream.Run(client);
    }

    const test::CFOwner<CFMutableArrayRef> mKeys = MakeKeyList(AllKeys());
    const Stream mStream = DigestStream();
    const Digests mExpected = RunAnew(mStream);
};

TEST_F(DeterminismContractTest, EveryKeyDelivers) {
    for (std::size_t i = 0; i < std::size(kKeys); ++i) {
        EXPECT_LT(0u, mExpected[i].Calls()) << kKeys[i].key;
    }
}

TEST_F(DeterminismContractTest, OtherAudioGivesOtherBytesForEveryKeyOfValuesThatFollowIt) {
    // That the digests see what they should: names, counts of beats and tempi may well stay.
    Stream other = mStream;
    for (float& sample : other.audio[0]) {
        sample *= 0.7f;
    }
    const Digests results = RunAnew(other);
    for (std::size_t i = 0; i < std::size(kKeys); ++i) {
        const KeyInfo& key = kKeys[i];
        const bool follows = key.payload == PayloadKind::Floats ? key.delivery != Delivery::AtEnd
                                                                : key.payload == PayloadKind::Range;
        if (follows && key.key != "tempo") {
            EXPECT_NE(mExpected[i], results[i]) << key.key;
        }
    }
}

TEST_F(DeterminismContractTest, PushesThatAreMultiplesOf512AreAllTheSameToAllKeysButThoseOfPushes) {
    for (const std::vector<UInt32>& sizes : std::vector<std::vector<UInt32>>{
             {512}, {1024, 512}, {4096}, {2560, 3584, 512}, {512, 0, 4096}}) {
        Stream stream = mStream;
        stream.pushSizes = sizes;
        EXPECT_EQ("", Difference(mExpected, RunAnew(stream), kPerPush)) << sizes.front();
    }
}

TEST_F(DeterminismContractTest,
       PushesOfAnySizeAreTheSameToAllKeysButThoseOfPushesAndOfWholeBlocks) {
    for (const std::vector<UInt32>& sizes :
         std::vector<std::vector<UInt32>>{{7, 1}, {63}, {1000, 4095}, {441}, {0, 4096, 1}}) {
        Stream stream = mStream;
        stream.pushSizes = sizes;
        EXPECT_EQ("", Difference(mExpected, RunAnew(stream), kPerPushAndRange)) << sizes.front();
    }
}

TEST_F(DeterminismContractTest, SamplesMayStandAtAnyAddressOfFloats) {
    const std::size_t length = mStream.audio[0].size();
    for (std::size_t offset = 0; offset <= 15; ++offset) {
        std::vector<float> memory(length + 32);
        void* start = memory.data();
        std::size_t room = memory.size() * sizeof(float);
        ASSERT_NE(nullptr, std::align(64, length * sizeof(float), start, room));
        float* const samples = static_cast<float*>(start) + offset;
        std::copy(mStream.audio[0].begin(), mStream.audio[0].end(), samples);

        Client client(mKeys.Get(), mStream.setup);
        EXPECT_EQ(0, client.New());
        EXPECT_EQ(0, client.Initialize());
        for (std::size_t at = 0; at < length; at += 512) {
            const float* const channel = samples + at;
            EXPECT_EQ(0, client.Push(&channel, 512));
        }
        EXPECT_EQ(0, client.Process(1));
        EXPECT_EQ("", Difference(mExpected, client.Results(), kPerPush)) << 4 * offset << " bytes";
    }
}

TEST_F(DeterminismContractTest, AResetOrAnotherInitializationForgetsEverything) {
    Client client(mKeys.Get(), mStream.setup);
    EXPECT_EQ(0, client.New());
    EXPECT_EQ(0, client.Initialize());
    // As meant, the samples that were counted for "audio range" stay over a reset.
    for (int turn = 0; turn < 2; ++turn) {
        mStream.Push(client, 11111);
        EXPECT_EQ(0, client.Reset());
        EXPECT_EQ("", Difference(mExpected, mStream.Run(client), kRange)) << "turn " << turn;
        EXPECT_EQ(0, client.Reset());
    }
    mStream.Push(client, 7777);
    EXPECT_EQ(0, client.Initialize());
    EXPECT_EQ("", Difference(mExpected, mStream.Run(client)));
}

TEST_F(DeterminismContractTest, SixteenHandlesInTurnDoNotMeet) {
    const std::size_t length = mStream.audio[0].size();
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 16; ++i) {
        clients.push_back(std::make_unique<Client>(mKeys.Get(), mStream.setup));
        EXPECT_EQ(0, clients.back()->New());
        EXPECT_EQ(0, clients.back()->Initialize());
    }
    // Each a push after the one before it, so that they stand at other places of the stream.
    constexpr UInt32 kPush = 2048;
    for (std::size_t step = 0; step < length / kPush + clients.size(); ++step) {
        for (std::size_t i = 0; i < clients.size(); ++i) {
            if (step >= i && (step - i) * kPush < length) {
                EXPECT_EQ(0, clients[i]->Push(mStream.audio, (step - i) * kPush, kPush));
            }
        }
    }
    for (const auto& client : clients) {
        EXPECT_EQ(0, client->Process(1));
        EXPECT_EQ("", Difference(mExpected, client->Results(), kPerPush));
    }
}

// Runs the program that prints digests, with `environment` before it.
std::string DigestsOfAnotherProcess(const std::string& environment) {
    std::FILE* const pipe = popen((environment + " " QEL_TRUST_DIGEST_PROGRAM).c_str(), "r");
    EXPECT_NE(nullptr, pipe);
    std::string text;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
        text += static_cast<char>(c);
    }
    EXPECT_EQ(0, pclose(pipe));
    return text;
}

TEST_F(DeterminismContractTest, OtherProcessesGiveTheSameAlsoWithOtherBytesInFreshMemory) {
    const std::string expected = DigestText(mExpected);
    EXPECT_EQ(expected, DigestsOfAnotherProcess(""));
    // The C library fills memory with such bytes when it hands it out and takes it back.
    EXPECT_EQ(expected, DigestsOfAnotherProcess("MALLOC_PERTURB_=85"));
    EXPECT_EQ(expected, DigestsOfAnotherProcess("MALLOC_PERTURB_=255 LC_ALL=C.UTF-8"));
}

} // namespace
} // namespace qel::trust
