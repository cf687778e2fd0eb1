// Every key in a thread whose stack is as small as those of audio threads and fibres may be. Each
// life is one of a copy of this process: that which needs more is ended by the system.

#include "tests/trust/KeyLife.h"
#include "tests/trust/KeyNames.h"
#include "tests/trust/SharedMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <new>
#include <pthread.h>
#include <string>
#include <sys/mman.h>

namespace qel::trust {
namespace {

constexpr std::size_t kStackBytes = 65536;
// What docs/contract.md tells: 17 KB were measured, of which 4 are the C library's.
constexpr std::size_t kMostBytes = 24576;
constexpr unsigned char kPaint = 0xA5;

// A stack with an inaccessible page below it, painted so that its use can be told.
class PaintedStack {
public:
    PaintedStack() {
        void* const pages = mmap(nullptr, kGuardBytes + kStackBytes, PROT_READ | PROT_WRITE,
                                 MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED || mprotect(pages, kGuardBytes, PROT_NONE) != 0) {
            throw std::bad_alloc();
        }
        mFirst = static_cast<unsigned char*>(pages) + kGuardBytes;
        std::fill_n(mFirst, kStackBytes, kPaint);
    }

    template <class Body>
    bool Run(const Body& body) const {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstack(&attributes, mFirst, kStackBytes);
        const auto call = [](void* context) -> void* {
            (*static_cast<const Body*>(context))();
            return nullptr;
        };
        pthread_t thread{};
        void* const context = const_cast<Body*>(&body);
        return pthread_create(&thread, &attributes, call, context) == 0 &&
               pthread_join(thread, nullptr) == 0;
    }

    // What the thread, its C library's own part included, has touched.
    std::size_t UsedBytes() const {
        const unsigned char* const end = mFirst + kStackBytes;
        const auto isTouched = [](unsigned char byte) { return byte != kPaint; };
        return static_cast<std::size_t>(end -
                                        std::find_if(mFirst, mFirst + kStackBytes, isTouched));
    }

private:
    static constexpr std::size_t kGuardBytes = 65536;

    unsigned char* mFirst = nullptr;
};

class StackMemoryTest : public testing::TestWithParam<std::string> {};

TEST_P(StackMemoryTest, AWholeLifeTakesAtMostTwentyFourKilobytes) {
    if (QEL_SANITIZED) {
        GTEST_SKIP() << "checkers make frames larger";
    }
    SharedMemory<std::size_t> used;
    SharedMemory<int> outcome;
    *outcome = -1;
    EXPECT_TRUE(RunInChild([&] {
        KeyLife life(GetParam(), 44100, 2, 66150);
        Digests results;
        const PaintedStack stack;
        if (stack.Run([&] { *outcome = life.Run(results); })) {
            *used = stack.UsedBytes();
        }
    })) << "the stack is overrun";
    EXPECT_EQ(*outcome, int{KeyLife::kAllDelivered});
    EXPECT_GT(*used, 0u);
    EXPECT_LE(*used, kMostBytes);
    std::printf("%zu bytes\n", *used);
}

INSTANTIATE_TEST_SUITE_P(Keys, StackMemoryTest, testing::ValuesIn(AllKeys()), KeyTestName);

} // namespace
} // namespace qel::trust
