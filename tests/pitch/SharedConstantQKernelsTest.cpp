// Who has which kernels, and for how long.

#include "pitch/SharedConstantQKernels.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace qel::core {
namespace {

ConstantQDesign DesignAt(double rateHz) {
    return {90.0f, 5250.0f, 36, rateHz, 0.0054f};
}

using Kernel = std::shared_ptr<const ConstantQKernel>;

// Asks for as many other designs as are held.
void FillWithOthers(double rateHz) {
    for (std::size_t n = 0; n < SharedConstantQKernels::kHeld; ++n) {
        SharedConstantQKernels::Find(DesignAt(rateHz + static_cast<double>(n)));
    }
}

TEST(SharedConstantQKernelsTest, EqualDesignsShareOneKernel) {
    const Kernel first = SharedConstantQKernels::Find(DesignAt(8000));
    EXPECT_EQ(first, SharedConstantQKernels::Find(DesignAt(8000)));
    EXPECT_NE(first, SharedConstantQKernels::Find(DesignAt(8001)));
    ConstantQDesign forFrames = DesignAt(8000);
    forFrames.frameSamples = 1024;
    EXPECT_NE(first, SharedConstantQKernels::Find(forFrames));
}

TEST(SharedConstantQKernelsTest, TheLastDesignsStayWhenNobodyUsesThem) {
    FillWithOthers(300);
    std::vector<std::weak_ptr<const ConstantQKernel>> watched;
    for (std::size_t n = 0; n < SharedConstantQKernels::kHeld; ++n) {
        watched.push_back(SharedConstantQKernels::Find(DesignAt(400 + static_cast<double>(n))));
    }
    for (std::size_t n = 0; n < watched.size(); ++n) {
        ASSERT_FALSE(watched[n].expired()) << n;
        EXPECT_EQ(watched[n].lock(),
                  SharedConstantQKernels::Find(DesignAt(400 + static_cast<double>(n))));
    }
}

// Who goes through many sample rates does not fill the memory.
TEST(SharedConstantQKernelsTest, TheOneThatWasAskedForLongestAgoGoesFirst) {
    FillWithOthers(500);
    const std::weak_ptr<const ConstantQKernel> first = SharedConstantQKernels::Find(DesignAt(500));
    const std::weak_ptr<const ConstantQKernel> second = SharedConstantQKernels::Find(DesignAt(501));
    SharedConstantQKernels::Find(DesignAt(500));
    for (std::size_t n = 1; n < SharedConstantQKernels::kHeld; ++n) {
        EXPECT_FALSE(first.expired()) << n;
        SharedConstantQKernels::Find(DesignAt(600 + static_cast<double>(n)));
    }
    EXPECT_TRUE(second.expired());
    EXPECT_FALSE(first.expired());
    SharedConstantQKernels::Find(DesignAt(700));
    EXPECT_TRUE(first.expired());
}

TEST(SharedConstantQKernelsTest, AKernelInUseIsSharedHoweverManyOthersThereAre) {
    const Kernel used = SharedConstantQKernels::Find(DesignAt(800));
    FillWithOthers(900);
    FillWithOthers(1000);
    EXPECT_EQ(used, SharedConstantQKernels::Find(DesignAt(800)));
}

TEST(SharedConstantQKernelsTest, ThreadsShareAKernel) {
    std::vector<Kernel> kernels(8);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < kernels.size(); ++t) {
        threads.emplace_back([&kernels, t] {
            for (int i = 0; i < 20; ++i) {
                kernels[t] = SharedConstantQKernels::Find(DesignAt(t % 2 == 0 ? 1000 : 500));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (std::size_t t = 0; t < kernels.size(); ++t) {
        EXPECT_EQ(kernels[t], kernels[t % 2]);
    }
    EXPECT_NE(kernels[0], kernels[1]);
}

} // namespace
} // namespace qel::core
