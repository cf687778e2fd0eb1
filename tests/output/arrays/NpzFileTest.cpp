// What other programs read of these files is compared by tests/batch/KeyArraysAgreementTest.py.

#include "output/arrays/NpzFile.h"

#include <gtest/gtest.h>

namespace qel::output {
namespace {

Array Numbers(const std::string& name, std::initializer_list<float> numbers) {
    Array array{.name = name, .type = "<f4", .shape = {numbers.size()}};
    for (const float number : numbers) {
        array.Append(number);
    }
    return array;
}

TEST(NpzFileTest, TheHeaderOfAnArrayIsThatOfTheFormat) {
    const std::string header = Array{.name = "a", .type = "<f4", .shape = {3, 2}}.Header();
    EXPECT_EQ(header.size() % 64, 0u);
    EXPECT_EQ(header.substr(0, 8), std::string("\x93NUMPY\x01\x00", 8));
    EXPECT_EQ(static_cast<unsigned char>(header[8]) + 256 * header[9] + 10,
              static_cast<int>(header.size()));
    EXPECT_EQ(header.substr(10, 59), "{'descr': '<f4', 'fortran_order': False, 'shape': (3, 2), }");
    EXPECT_EQ(header.back(), '\n');
}

TEST(NpzFileTest, AShapeOfOneAxisIsATuple) {
    EXPECT_NE(Numbers("a", {1, 2, 3}).Header().find("'shape': (3, )"), std::string::npos);
}

TEST(NpzFileTest, TheSameArraysGiveTheSameBytesAndDigest) {
    const NpzFile one({Numbers("a", {1, 2})});
    const NpzFile two({Numbers("a", {1, 2})});
    EXPECT_EQ(one.Bytes(), two.Bytes());
    EXPECT_EQ(one.Digest("path"), two.Digest("path"));
    EXPECT_EQ(one.Digest("path").size(), 32u);
}

TEST(NpzFileTest, TheDigestDistinguishesPathsNamesAndNumbers) {
    const std::string digest = NpzFile({Numbers("a", {1, 2})}).Digest("path");
    EXPECT_NE(NpzFile({Numbers("a", {1, 2})}).Digest("other"), digest);
    EXPECT_NE(NpzFile({Numbers("b", {1, 2})}).Digest("path"), digest);
    EXPECT_NE(NpzFile({Numbers("a", {1, 3})}).Digest("path"), digest);
}

} // namespace
} // namespace qel::output
