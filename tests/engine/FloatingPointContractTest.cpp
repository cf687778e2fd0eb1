// The caller's floating-point mode is the caller's: in every callback and after every call. Inside,
// denormal numbers are flushed.

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <functional>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

namespace qel::test {
namespace {

// The control bits: rounding, masks, flushing. The sticky flags below them may change.
unsigned ControlBits() {
#if defined(__SSE__)
    return _mm_getcsr() & ~0x3Fu;
#else
    return 0;
#endif
}

void SetFlushing(bool flush) {
#if defined(__SSE__)
    constexpr unsigned kFlushToZeroAndDenormalsAreZero = 0x8040u;
    const unsigned other = _mm_getcsr() & ~kFlushToZeroAndDenormalsAreZero;
    _mm_setcsr(other | (flush ? kFlushToZeroAndDenormalsAreZero : 0u));
#else
    static_cast<void>(flush);
#endif
}

class FloatingPointContractTest : public testing::TestWithParam<std::tuple<int, bool>> {
protected:
    FloatingPointContractTest() { std::fegetenv(&mBefore); }
    ~FloatingPointContractTest() override { std::fesetenv(&mBefore); }

    // Runs the call in the mode of the parameter, and looks at the mode after it.
    void Expect(const char* name, const std::function<void()>& call) {
        std::fesetround(std::get<0>(GetParam()));
        SetFlushing(std::get<1>(GetParam()));
        const unsigned control = ControlBits();
        call();
        EXPECT_EQ(std::get<0>(GetParam()), std::fegetround()) << name;
        EXPECT_EQ(control, ControlBits()) << name;
        std::fesetenv(&mBefore);
    }

private:
    std::fenv_t mBefore{};
};

TEST_P(FloatingPointContractTest, IsRestoredInCallbacksAndAfterEveryCall) {
    const Audio audio = Noise(0.5f, 1, 2048, 1);
    const auto rounding = std::get<0>(GetParam());
    TestAnalyzer analyzer({"temporal properties", "spectrum peak properties"});
    unsigned control = 0;
    int callbacks = 0;
    analyzer.onDelivery = [&](QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                              QelAudioAnalysisBlock* blocks) {
        ++callbacks;
        EXPECT_EQ(rounding, std::fegetround());
        EXPECT_EQ(control, ControlBits());
        const CFOwner<CFPropertyListRef> list(QelAudioAnalysisCreateCFRepresentation(
            handle, kCFAllocatorDefault, key, count, blocks));
        EXPECT_EQ(rounding, std::fegetround());
        EXPECT_EQ(control, ControlBits());
    };
    Expect("Initialize", [&] { EXPECT_EQ(0, analyzer.Initialize(StreamSetup{})); });
    Expect("PushAudio", [&] {
        control = ControlBits();
        EXPECT_EQ(0, analyzer.Push(audio));
    });
    EXPECT_EQ(4, callbacks);
    Expect("Reset", [&] { EXPECT_EQ(0, analyzer.Reset()); });
    Expect("PushAudio of too many frames",
           [&] { EXPECT_EQ(-3863, analyzer.Push(Silence(1, 4097))); });
    Expect("New and Dispose", [&] { TestAnalyzer other({"spectrum"}); });
}

TEST_P(FloatingPointContractTest, IsRestoredInTheProgressCallbackAndAfterProcess) {
    TestAnalyzer analyzer({"spectrum"}, StreamSetup{});
    struct Seen {
        int rounding = -1;
        unsigned control = 0;
    } seen;
    const auto look = [](void*, float, void* refCon) {
        *static_cast<Seen*>(refCon) = {std::fegetround(), ControlBits()};
        return 0;
    };
    unsigned control = 0;
    Expect("Process", [&] {
        control = ControlBits();
        EXPECT_EQ(0, QelAudioAnalysisProcess(analyzer.Handle(), 1, look, &seen));
    });
    EXPECT_EQ(std::get<0>(GetParam()), seen.rounding);
    EXPECT_EQ(control, seen.control);
}

TEST(FloatingPointFlagsTest, AreNotRaisedByAskingForAParameter) {
    TestAnalyzer analyzer({"tempo"}, StreamSetup{});
    const CFOwner<CFStringRef> name = MakeString("complexity");
    // Below 0 it is kept as the largest whole number, which no float has exactly.
    ASSERT_EQ(0, QelAudioAnalysisSetParameter(analyzer.Handle(), name.Get(), -1.0f));
    float value = 0.0f;
    std::feclearexcept(FE_ALL_EXCEPT);
    EXPECT_EQ(0, QelAudioAnalysisGetParameter(analyzer.Handle(), name.Get(), &value));
    EXPECT_EQ(0, std::fetestexcept(FE_ALL_EXCEPT));
    EXPECT_EQ(0x1p32f, value);
}

INSTANTIATE_TEST_SUITE_P(RoundingsWithAndWithoutFlushing, FloatingPointContractTest,
                         testing::Combine(testing::Values(FE_TONEAREST, FE_DOWNWARD, FE_UPWARD,
                                                          FE_TOWARDZERO),
                                          testing::Bool()));

TEST(DenormalTest, AreFlushedWhileACallRuns) {
#if !defined(__SSE__)
    GTEST_SKIP() << "needs the SSE control word, which this processor does not have";
#else
    // 1024 samples of 1e-40 would sum to 1e-37, a normal number; flushed, nothing is left of them.
    TestAnalyzer analyzer({"spectrum"}, StreamSetup{});
    ASSERT_EQ(0, analyzer.Push(Constant(1e-40f, 1, 1024)));
    ASSERT_EQ(1u, analyzer.Deliveries().size());
    const std::vector<float> row = analyzer.Rows("spectrum")[0];
    EXPECT_EQ(std::vector<float>(row.size(), 0.0f), row);
#endif
}

TEST(DenormalTest, AreNotFlushedInACallback) {
    TestAnalyzer analyzer({"spectrum"}, StreamSetup{});
    volatile float small = 1e-38f;
    float quarter = 0.0f;
    analyzer.onDelivery = [&](QelAudioAnalysisRef, CFStringRef, UInt32, QelAudioAnalysisBlock*) {
        quarter = small * 0.25f;
    };
    ASSERT_EQ(0, analyzer.Push(Silence(1, 1024)));
    EXPECT_GT(quarter, 0.0f);
}

} // namespace
} // namespace qel::test
