#include "output/files/TextSink.h"

#include "output/files/OutputError.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <string>
#include <unistd.h>

namespace qel::output {
namespace {

class TextSinkTest : public testing::Test {
protected:
    TextSinkTest() {
        if (pipe(mPipe.data()) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    ~TextSinkTest() override {
        if (mPipe[0] >= 0) {
            close(mPipe[0]);
        }
    }

    std::array<int, 2> mPipe{-1, -1};
};

TEST_F(TextSinkTest, HoldsLittleTextBackUntilItIsFlushed) {
    TextSink sink(mPipe[1], "pipe");
    sink.Append("few words");
    EXPECT_EQ(fmt::to_string(sink.Buffer()), "few words");
    sink.Flush();
    EXPECT_EQ(sink.Buffer().size(), 0u);
    std::array<char, 32> read{};
    EXPECT_EQ(::read(mPipe[0], read.data(), read.size()), 9);
    EXPECT_STREQ(read.data(), "few words");
}

TEST_F(TextSinkTest, WritesByItselfBeforeTheBufferGrowsLarge) {
    TextSink sink(mPipe[1], "pipe");
    // A pipe takes 64 KiB without a reader, which is what the buffer holds at most.
    sink.Append(std::string(65536, 'x'));
    EXPECT_EQ(sink.Buffer().size(), 0u);
}

TEST_F(TextSinkTest, AClosedPipeIsAFaultOfItsOwn) {
    std::signal(SIGPIPE, SIG_IGN);
    TextSink sink(mPipe[1], "pipe");
    close(mPipe[0]);
    mPipe[0] = -1;
    sink.Append("nobody reads this");
    EXPECT_THROW(sink.Flush(), ClosedPipe);
    std::signal(SIGPIPE, SIG_DFL);
}

} // namespace
} // namespace qel::output
