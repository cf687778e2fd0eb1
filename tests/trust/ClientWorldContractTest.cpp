// The client finds its world as it left it: after every exported function, and in every callback.

#include "tests/trust/ClientWorld.h"
#include "tests/trust/Life.h"
#include "tests/trust/OutputCapture.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cfenv>
#include <clocale>
#include <csignal>
#include <locale.h>
#include <map>
#include <string>
#include <tuple>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

namespace qel::trust {
namespace {

// A rounding mode; whether the client flushes denormals; whether it has flags raised.
using Mode = std::tuple<int, bool, bool>;

void SetMode(const Mode& mode) {
    const auto [rounding, flushes, hasFlags] = mode;
    std::feclearexcept(FE_ALL_EXCEPT);
    std::fesetround(rounding);
    if (hasFlags) {
        std::feraiseexcept(FE_OVERFLOW | FE_INVALID);
    }
#if defined(__SSE__)
    constexpr unsigned kFlushing = 0x8040;
    _mm_setcsr(flushes ? _mm_getcsr() | kFlushing : _mm_getcsr() & ~kFlushing);
#endif
}

// What the callbacks saw.
struct Witness {
    ClientWorld expected = ClientWorld::Now();
    int looks = 0;
    std::map<std::string, int> represented;
    std::string faults;

    void Look(const char* where) {
        ++looks;
        const std::string difference = expected.Difference(ClientWorld::Now());
        if (!difference.empty() && faults.size() < 1000) {
            faults.append(where).append(": ").append(difference).append("\n");
        }
    }
};

// Looks around at the start of a callback, and after the function that may be called in it.
void LookAround(Client& client, CFStringRef key, UInt32 count, QelAudioAnalysisBlock* blocks,
                void* context) {
    auto& witness = *static_cast<Witness*>(context);
    if (key == nullptr) {
        witness.Look("the progress callback");
        return;
    }
    witness.Look("the data callback");
    constexpr int kRepresentedPerKey = 3; // large dictionaries take long
    if (++witness.represented[test::ToText(key)] > kRepresentedPerKey) {
        return;
    }
    const auto list = QelAudioAnalysisCreateCFRepresentation(client.Handle(), kCFAllocatorDefault,
                                                             key, count, blocks);
    witness.Look("CreateCFRepresentation");
    if (list != nullptr) {
        CFRelease(list);
    }
}

class WorldTest : public testing::Test {
protected:
    WorldTest() { std::fegetenv(&mBefore); }
    ~WorldTest() override { std::fesetenv(&mBefore); }

    // A whole life, looked at after every step.
    Digests LiveAndLook(CFArrayRef keys, Witness& witness) const {
        Client client(keys, mLife.Setup());
        client.OnCallback(LookAround, &witness);
        for (const Step& step : mLife.Steps()) {
            step.call(client);
            witness.Look(step.name.c_str());
        }
        const test::CFOwner<CFMutableArrayRef> names(QelAudioAnalysisGlobalCopyKeys());
        witness.Look("GlobalCopyKeys");
        return client.Results();
    }

    const Life mLife;
    std::fenv_t mBefore{};
};

class ClientWorldContractTest : public WorldTest, public testing::WithParamInterface<Mode> {};

TEST_P(ClientWorldContractTest, IsAsItWasAfterEveryFunctionAndInEveryCallback) {
    const auto keys = MakeKeyList(AllKeys());
    Client undisturbed(keys.Get(), mLife.Setup());
    const Digests expected = mLife.Run(undisturbed, 0, mLife.Steps().size()).results;

    SetMode(GetParam());
    errno = EDOM;
    Witness witness;
    const Digests results = LiveAndLook(keys.Get(), witness);
    std::fesetenv(&mBefore);

    EXPECT_EQ("", witness.faults);
    EXPECT_LT(1500, witness.looks);
    EXPECT_EQ("", expected.Difference(results)) << "results depend on the client's mode";
}

INSTANTIATE_TEST_SUITE_P(Modes, ClientWorldContractTest,
                         testing::Combine(testing::Values(FE_TONEAREST, FE_DOWNWARD, FE_UPWARD,
                                                          FE_TOWARDZERO),
                                          testing::Bool(), testing::Bool()));

void Ignore(int) {}

// A world that differs in every part from the one that a process starts in.
class OwnWorldTest : public WorldTest {
protected:
    OwnWorldTest() {
        struct sigaction action {};
        action.sa_handler = Ignore;
        action.sa_flags = SA_RESTART;
        for (std::size_t i = 0; i < kSignals.size(); ++i) {
            sigaction(kSignals[i], &action, &mActions[i]);
        }
        sigset_t blocked;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGUSR2);
        pthread_sigmask(SIG_BLOCK, &blocked, &mMask);
        mOfThread = newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
        if (mOfThread != nullptr) {
            uselocale(mOfThread);
        }
    }
    ~OwnWorldTest() override {
        uselocale(LC_GLOBAL_LOCALE);
        if (mOfThread != nullptr) {
            freelocale(mOfThread);
        }
        pthread_sigmask(SIG_SETMASK, &mMask, nullptr);
        for (std::size_t i = 0; i < kSignals.size(); ++i) {
            sigaction(kSignals[i], &mActions[i], nullptr);
        }
    }

private:
    static constexpr std::array kSignals = {SIGFPE, SIGSEGV, SIGPIPE, SIGALRM, SIGUSR1};
    std::array<struct sigaction, kSignals.size()> mActions{};
    sigset_t mMask{};
    locale_t mOfThread = nullptr;
};

TEST_F(OwnWorldTest, OfHandlersMasksAndALocaleStaysTheClients) {
    const auto keys = MakeKeyList(AllKeys());
    errno = ERANGE;
    Witness witness;
    LiveAndLook(keys.Get(), witness);
    EXPECT_EQ("", witness.faults);
    EXPECT_LT(1500, witness.looks);
}

#if defined(__SSE__)
TEST_F(OwnWorldTest, OfUnmaskedExceptionsIsNotTrappedInTheLibrary) {
    const auto keys = MakeKeyList(AllKeys());
    std::feclearexcept(FE_ALL_EXCEPT);
    constexpr unsigned kTrapInvalidAndDivisionAndOverflow = 0x0680;
    _mm_setcsr(_mm_getcsr() & ~kTrapInvalidAndDivisionAndOverflow);
    Witness witness;
    Client client(keys.Get(), mLife.Setup());
    client.OnCallback(LookAround, &witness);
    const Outcome outcome = mLife.Run(client, 0, mLife.Steps().size());
    std::fesetenv(&mBefore);
    EXPECT_EQ("", witness.faults);
    EXPECT_LT(0u, outcome.results[0].Calls());
}
#endif

using OutputTest = WorldTest;

TEST_F(OutputTest, SilenceOnBothOutputsWithAllKeys) {
    const auto keys = MakeKeyList(AllKeys());
    Witness witness;
    OutputCapture capture;
    LiveAndLook(keys.Get(), witness);
    EXPECT_EQ("", capture.Text());
}

TEST_F(OutputTest, OneLineOnOutputPerStartOfTheSoundCheckAndNothingElse) {
    const auto keys = MakeKeyList({"sound check"});
    OutputCapture capture;
    {
        Client client(keys.Get(), mLife.Setup());
        EXPECT_EQ(0, client.New());
        EXPECT_EQ(0, client.Initialize());
        EXPECT_EQ(0, client.Reset());
    }
    EXPECT_EQ("Start err=-50\nStart err=-50\n", capture.Text());
}

} // namespace
} // namespace qel::trust
