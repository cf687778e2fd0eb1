// Signals, each in a process of its own, which ends by it.
#include "output/files/Interrupt.h"

#include "output/files/OutputDirectory.h"
#include "output/files/TemporaryFile.h"
#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

namespace qel::output {
namespace {

using namespace test;

using testing::KilledBySignal;

// Makes what is to be removed, then lets signals come.
template <typename Signals>
[[noreturn]] void Work(const std::string& path, const Signals& signals) {
    Interrupt::Install();
    const OutputDirectory directory(path);
    TemporaryFile named;
    TemporaryFile nameless;
    int descriptor = -1;
    named.Open(path, 0666, descriptor, TemporaryFile::Kind::Named);
    nameless.Open(path, 0666, descriptor);
    signals();
    std::_Exit(0); // no destructor removes anything
}

class InterruptTest : public testing::Test {
protected:
    TempDirectory mDirectory;
    std::string mPath = mDirectory.File("out/deeper");
};

TEST_F(InterruptTest, TheFirstSignalIsRememberedAndEndsNothing) {
    EXPECT_EXIT(Work(mPath,
                     [] {
                         raise(SIGTERM);
                         std::_Exit(Interrupt::IsRequested() ? 7 : 8);
                     }),
                testing::ExitedWithCode(7), "");
    EXPECT_EQ(mDirectory.Entries().size(), 3u) << "the process removed nothing";
}

TEST_F(InterruptTest, TheSecondSignalEndsTheProgramAndRemovesWhatIsIncomplete) {
    for (const int second : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_EXIT(Work(mPath,
                         [second] {
                             raise(SIGINT);
                             raise(second);
                         }),
                    KilledBySignal(second), "");
        EXPECT_EQ(mDirectory.Entries(), std::vector<std::string>{});
    }
}

TEST_F(InterruptTest, TheFirstSignalDoesSoWhereNobodyCanAsk) {
    EXPECT_EXIT(Work(mPath,
                     [] {
                         const Interrupt::AtOnce atOnce;
                         raise(SIGINT);
                     }),
                KilledBySignal(SIGINT), "");
    EXPECT_EQ(mDirectory.Entries(), std::vector<std::string>{});
}

TEST_F(InterruptTest, ASignalThatCameBeforeIsToldThere) {
    EXPECT_EXIT(Work(mPath,
                     [] {
                         raise(SIGINT);
                         try {
                             const Interrupt::AtOnce atOnce;
                         } catch (const Interrupt::Requested& request) {
                             std::_Exit(request.signal == SIGINT ? 7 : 8);
                         }
                     }),
                testing::ExitedWithCode(7), "");
}

TEST_F(InterruptTest, SignalsThatAreHeldComeAfterwards) {
    EXPECT_EXIT(Work(mPath,
                     [] {
                         {
                             const Interrupt::Hold hold;
                             raise(SIGINT);
                             if (Interrupt::IsRequested()) {
                                 std::_Exit(8);
                             }
                         }
                         std::_Exit(Interrupt::IsRequested() ? 7 : 9);
                     }),
                testing::ExitedWithCode(7), "");
}

TEST_F(InterruptTest, WhatGotItsNameStays) {
    EXPECT_EXIT(Work(mPath,
                     [this] {
                         TemporaryFile file;
                         int descriptor = -1;
                         file.Open(mPath, 0666, descriptor, TemporaryFile::Kind::Named);
                         file.Publish(mPath + "/complete");
                         raise(SIGINT);
                         raise(SIGINT);
                     }),
                KilledBySignal(SIGINT), "");
    EXPECT_EQ(mDirectory.Entries(),
              (std::vector<std::string>{"out", "out/deeper", "out/deeper/complete"}));
}

} // namespace
} // namespace qel::output
