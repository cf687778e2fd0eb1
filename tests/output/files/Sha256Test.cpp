#include "output/files/Sha256.h"

#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>

namespace qel::output {
namespace {

using namespace test;

std::string Hexadecimal(std::string_view text) {
    std::string digits;
    for (const std::uint8_t byte : Sha256(text)) {
        digits += fmt::format("{:02x}", byte);
    }
    return digits;
}

// The examples that NIST publishes for FIPS 180-4: one block, two blocks, and no byte at all.
TEST(Sha256Test, ThePublishedExamplesHaveTheirDigests) {
    EXPECT_EQ(Hexadecimal("abc"),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Hexadecimal("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(Hexadecimal(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

// Where the end and the length fall into the last block, begin another, or fill one just so. Bytes
// above 127 are in it as well.
TEST(Sha256Test, EveryLengthAroundABlockHasTheDigestThatAShellComputes) {
    const TempDirectory directory;
    for (const std::size_t length : {1u, 54u, 55u, 56u, 57u, 63u, 64u, 65u, 119u, 120u, 4096u}) {
        std::string text;
        for (std::size_t i = 0; i < length; ++i) {
            text += static_cast<char>(i * 37 + length);
        }
        WriteFile(directory.File("text"), text);
        const ChildResult shell = RunChild({"sha256sum", directory.File("text")});
        ASSERT_EQ(shell.status, 0) << shell.err;
        EXPECT_EQ(Hexadecimal(text), shell.out.substr(0, 64)) << length;
    }
}

TEST(Sha256Test, PiecesOfAnySizeGiveTheDigestOfTheWhole) {
    std::string text;
    for (int i = 0; i < 300; ++i) {
        text += static_cast<char>(i * 31);
    }
    for (std::size_t piece = 1; piece <= text.size(); ++piece) {
        Sha256Sum sum;
        for (std::size_t at = 0; at < text.size(); at += piece) {
            sum.Add(std::string_view(text).substr(at, piece));
        }
        EXPECT_EQ(sum.Digest(), Sha256(text)) << piece;
    }
}

} // namespace
} // namespace qel::output
