#include "support/runtime/FloatingPointMode.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cfenv>
#include <limits>
#include <stdexcept>

namespace qel::core {
namespace {

constexpr float kSmallestNormal = std::numeric_limits<float>::min();

// Arithmetic that the compiler can neither fold nor move across a change of mode.
float Multiply(float a, float b) {
    volatile float first = a;
    volatile float second = b;
    volatile float product = first * second;
    return product;
}

float HalfOfSmallestNormal() {
    return Multiply(kSmallestNormal, 0.5f);
}
float DenormalInput() {
    return Multiply(kSmallestNormal / 4, 4.0f);
}

// The tests change the environment; each leaves it as it found it.
class FloatingPointModeTest : public testing::Test {
protected:
    void SetUp() override { std::fegetenv(&mBefore); }
    void TearDown() override { std::fesetenv(&mBefore); }

private:
    std::fenv_t mBefore;
};

TEST_F(FloatingPointModeTest, DenormalsAreFlushedInsideAndNotOutside) {
    EXPECT_GT(HalfOfSmallestNormal(), 0.0f);
    {
        const FlushDenormalsScope scope;
        EXPECT_EQ(HalfOfSmallestNormal(), 0.0f);
        EXPECT_EQ(DenormalInput(), 0.0f);
    }
    EXPECT_GT(HalfOfSmallestNormal(), 0.0f);
    EXPECT_EQ(DenormalInput(), kSmallestNormal);
}

TEST_F(FloatingPointModeTest, RoundingIsToNearestInsideAndTheCallersOutside) {
    for (const int rounding : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        std::fesetround(rounding);
        {
            const FlushDenormalsScope scope;
            EXPECT_EQ(std::fegetround(), FE_TONEAREST);
        }
        EXPECT_EQ(std::fegetround(), rounding);
    }
}

TEST_F(FloatingPointModeTest, TheCallersFlagsAreKeptAndTheLibrarysAreNotSeen) {
    std::feclearexcept(FE_ALL_EXCEPT);
    std::feraiseexcept(FE_DIVBYZERO);
    {
        const FlushDenormalsScope scope;
        EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), 0);
        std::feraiseexcept(FE_OVERFLOW);
    }
    EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), FE_DIVBYZERO);
}

#if defined(__GLIBC__) && defined(__x86_64__)
TEST_F(FloatingPointModeTest, TrapsAreMaskedInsideAndTheCallersOutside) {
    std::feclearexcept(FE_ALL_EXCEPT);
    feenableexcept(FE_INVALID);
    {
        const FlushDenormalsScope scope;
        EXPECT_EQ(fegetexcept(), 0);
        // Would end the process if the trap were on.
        EXPECT_NE(Multiply(std::numeric_limits<float>::infinity(), 0.0f), 0.0f);
    }
    EXPECT_EQ(fegetexcept(), FE_INVALID);
    fedisableexcept(FE_ALL_EXCEPT);
}
#endif

#if defined(__x86_64__)

struct X87Image {
    unsigned int words[7]; // control, status, tags, then the last instruction and operand

    bool operator==(const X87Image&) const = default;
};

// Reading masks all exceptions, so that the image is loaded again.
X87Image ReadX87() {
    X87Image image;
    __asm__ volatile("fnstenv %0\n\tfldenv %0" : "=m"(image));
    return image;
}

void InitializeX87() {
    __asm__ volatile("fninit");
}

// Raises the flag of an inexact result, and a condition code, and rounds upward from there on.
void DisturbX87() {
    unsigned short upward = 0x0B7F;
    __asm__ volatile("fld1\n\tfldpi\n\tfdivrp\n\tftst\n\tfstp %%st(0)\n\tfldcw %0" : : "m"(upward));
}

// The unit is mostly as it is after initialization, and then neither saved nor loaded.
TEST_F(FloatingPointModeTest, TheX87UnitIsAsBeforeWhateverTheLibraryDoes) {
    InitializeX87();
    const X87Image initial = ReadX87();
    {
        const FlushDenormalsScope scope;
        EXPECT_EQ(initial, ReadX87());
        DisturbX87();
        EXPECT_NE(initial, ReadX87());
    }
    EXPECT_EQ(initial, ReadX87());
    DisturbX87();
    const X87Image disturbed = ReadX87();
    {
        const FlushDenormalsScope scope;
        EXPECT_EQ(initial, ReadX87());
        InitializeX87();
    }
    EXPECT_EQ(disturbed, ReadX87());
    InitializeX87();
}

// A vector unit of long ago leaves them in use, with nothing else to see.
TEST_F(FloatingPointModeTest, X87RegistersInUseAreFreeInsideAndInUseAgainOutside) {
    InitializeX87();
    __asm__ volatile("pxor %%mm0, %%mm0" : : : "mm0");
    const X87Image inUse = ReadX87();
    EXPECT_NE(0xFFFFu, inUse.words[2] & 0xFFFFu);
    {
        const FlushDenormalsScope scope;
        EXPECT_EQ(0xFFFFu, ReadX87().words[2] & 0xFFFFu);
    }
    EXPECT_EQ(inUse.words[2], ReadX87().words[2]);
    InitializeX87();
}

#endif

TEST_F(FloatingPointModeTest, EnvironmentIsRestoredWhenAnExceptionLeaves) {
    std::fesetround(FE_UPWARD);
    EXPECT_THROW(
        {
            const FlushDenormalsScope scope;
            throw std::runtime_error("leaves");
        },
        std::runtime_error);
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
    EXPECT_GT(HalfOfSmallestNormal(), 0.0f);
}

TEST_F(FloatingPointModeTest, ErrnoIsTheCallersAfterwards) {
    errno = EDOM;
    {
        const FlushDenormalsScope scope;
        errno = ERANGE;
    }
    EXPECT_EQ(errno, EDOM);
}

TEST_F(FloatingPointModeTest, CallbackRunsInTheClientsEnvironment) {
    std::fesetround(FE_DOWNWARD);
    errno = EDOM;
    FlushDenormalsScope* current = nullptr;
    {
        const FlushDenormalsScope scope(current);
        errno = ERANGE;
        {
            const ClientFloatingPointScope callback(current);
            EXPECT_EQ(std::fegetround(), FE_DOWNWARD);
            EXPECT_GT(HalfOfSmallestNormal(), 0.0f);
            EXPECT_EQ(errno, EDOM);
        }
        EXPECT_EQ(std::fegetround(), FE_TONEAREST);
        EXPECT_EQ(HalfOfSmallestNormal(), 0.0f);
    }
    EXPECT_EQ(std::fegetround(), FE_DOWNWARD);
}

TEST_F(FloatingPointModeTest, WhatACallbackChangesIsKeptAsTheClients) {
    FlushDenormalsScope* current = nullptr;
    {
        const FlushDenormalsScope scope(current);
        {
            const ClientFloatingPointScope callback(current);
            std::fesetround(FE_UPWARD);
            errno = EILSEQ;
        }
        EXPECT_EQ(std::fegetround(), FE_TONEAREST);
        const ClientFloatingPointScope again(current);
        EXPECT_EQ(std::fegetround(), FE_UPWARD);
        EXPECT_EQ(errno, EILSEQ);
    }
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
    EXPECT_EQ(errno, EILSEQ);
}

TEST_F(FloatingPointModeTest, ThrowingCallbackReturnsToTheLibrarysModeAndThenToTheClients) {
    std::fesetround(FE_UPWARD);
    FlushDenormalsScope* current = nullptr;
    {
        const FlushDenormalsScope scope(current);
        try {
            const ClientFloatingPointScope callback(current);
            throw std::runtime_error("leaves");
        } catch (const std::runtime_error&) {
            EXPECT_EQ(std::fegetround(), FE_TONEAREST);
            EXPECT_EQ(HalfOfSmallestNormal(), 0.0f);
        }
    }
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
}

TEST_F(FloatingPointModeTest, ExportedFunctionWithinACallbackNests) {
    std::fesetround(FE_DOWNWARD);
    FlushDenormalsScope* current = nullptr;
    {
        const FlushDenormalsScope outer(current);
        {
            const ClientFloatingPointScope callback(current);
            {
                const FlushDenormalsScope inner(current);
                EXPECT_EQ(current, &inner);
                EXPECT_EQ(std::fegetround(), FE_TONEAREST);
                EXPECT_EQ(HalfOfSmallestNormal(), 0.0f);
                const ClientFloatingPointScope innerCallback(current);
                EXPECT_EQ(std::fegetround(), FE_DOWNWARD);
            }
            EXPECT_EQ(current, &outer);
            EXPECT_EQ(std::fegetround(), FE_DOWNWARD);
            EXPECT_GT(HalfOfSmallestNormal(), 0.0f);
        }
        EXPECT_EQ(std::fegetround(), FE_TONEAREST);
        EXPECT_EQ(HalfOfSmallestNormal(), 0.0f);
    }
    EXPECT_EQ(current, nullptr);
    EXPECT_EQ(std::fegetround(), FE_DOWNWARD);
}

TEST_F(FloatingPointModeTest, CallbackWithoutAScopeChangesNothing) {
    std::fesetround(FE_UPWARD);
    {
        const ClientFloatingPointScope callback(nullptr);
        EXPECT_EQ(std::fegetround(), FE_UPWARD);
    }
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
}

} // namespace
} // namespace qel::core
