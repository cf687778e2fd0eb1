// When memory runs out, std::bad_alloc leaves an exported function as it is, nothing leaks (the
// leak checker looks on), and the handle can still be disposed of.
//
// This executable replaces the global operator new, in all its forms, by one that can be told to
// fail once.

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

namespace {

// The allocations that still succeed before one fails; below 0, none fails.
long gAllocationsLeft = -1;
bool gFailed = false;

void CountAllocation() {
    if (gAllocationsLeft == 0) {
        gAllocationsLeft = -1;
        gFailed = true;
        throw std::bad_alloc();
    }
    gAllocationsLeft -= gAllocationsLeft > 0 ? 1 : 0;
}

void* Checked(void* memory) {
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* Allocate(std::size_t size) {
    CountAllocation();
    return Checked(std::malloc(size != 0 ? size : 1));
}

void* AllocateAligned(std::size_t size, std::align_val_t alignment) {
    CountAllocation();
    const auto unit = static_cast<std::size_t>(alignment);
    return Checked(std::aligned_alloc(unit, (size + unit) / unit * unit));
}

template <typename Allocation>
void* OrNull(const Allocation& allocation) noexcept {
    try {
        return allocation();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return OrNull([&] { return Allocate(size); });
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return OrNull([&] { return Allocate(size); });
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return AllocateAligned(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return AllocateAligned(size, alignment);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return OrNull([&] { return AllocateAligned(size, alignment); });
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return OrNull([&] { return AllocateAligned(size, alignment); });
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    std::free(memory);
}

namespace qel::test {
namespace {

constexpr int kMostAllocations = 10000;

// Whether the call, with its n-th allocation failing, threw std::bad_alloc.
template <typename Call>
bool ThrowsWhenAllocationFails(int n, const Call& call) {
    gFailed = false;
    gAllocationsLeft = n;
    bool thrown = false;
    try {
        call();
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    gAllocationsLeft = -1;
    return thrown;
}

void Ignore(QelAudioAnalysisRef, CFStringRef, UInt32, QelAudioAnalysisBlock*, void*) {}

class OutOfMemoryTest : public testing::Test {
protected:
    OutOfMemoryTest() : mList(mAudio, 0, 1536) {
        for (const char* key : {"temporal properties", "spectrum peak properties",
                                "spectrum histogram properties", "spectrum"}) {
            const CFOwner<CFStringRef> string = MakeString(key);
            CFArrayAppendValue(mKeys.Get(), string.Get());
        }
    }

    QelAudioAnalysisRef New() {
        QelAudioAnalysisRef handle = nullptr;
        EXPECT_EQ(0, QelAudioAnalysisNew(mKeys.Get(), Ignore, nullptr, &handle));
        return handle;
    }

    SInt32 Initialize(QelAudioAnalysisRef handle, SInt64 streamLength = 0) {
        return QelAudioAnalysisInitialize(handle, 4096, &mFormat, &mLayout, streamLength);
    }

    SInt32 Push(QelAudioAnalysisRef handle) {
        return QelAudioAnalysisPushAudio(handle, 1536, mList.Get());
    }

    // Fails each allocation of the call in turn, on a new handle made by `prepare`. After each
    // failure the handle must serve again from initialization on, and be disposed of.
    template <typename Prepare, typename Call>
    void FailEveryAllocation(const Prepare& prepare, const Call& call) {
        int failures = 0;
        for (int n = 0; n < kMostAllocations; ++n) {
            QelAudioAnalysisRef handle = prepare();
            const bool thrown = ThrowsWhenAllocationFails(n, [&] { call(handle); });
            EXPECT_EQ(gFailed, thrown) << "allocation " << n;
            failures += thrown ? 1 : 0;
            const bool done = !gFailed;
            EXPECT_EQ(0, Initialize(handle));
            EXPECT_EQ(0, Push(handle));
            EXPECT_EQ(0, QelAudioAnalysisDispose(handle));
            if (done) {
                EXPECT_GT(failures, 0);
                return;
            }
        }
        FAIL() << "the call never went through";
    }

    CFOwner<CFMutableArrayRef> mKeys{
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks)};
    AudioStreamBasicDescription mFormat = CanonicalFormat(44100.0, 2);
    AudioChannelLayout mLayout = PlainLayout();
    Audio mAudio = Noise(0.5f, 2, 1536, 1);
    BufferList mList;
};

TEST_F(OutOfMemoryTest, NewGivesBackWhatItBuilt) {
    for (int n = 0; n < kMostAllocations; ++n) {
        QelAudioAnalysisRef handle = nullptr;
        const bool thrown = ThrowsWhenAllocationFails(
            n, [&] { QelAudioAnalysisNew(mKeys.Get(), Ignore, nullptr, &handle); });
        EXPECT_EQ(gFailed, thrown) << "allocation " << n;
        EXPECT_EQ(thrown, handle == nullptr) << "allocation " << n;
        EXPECT_EQ(0, QelAudioAnalysisDispose(handle));
        if (!gFailed) {
            EXPECT_GT(n, 0);
            return;
        }
    }
    FAIL() << "the call never went through";
}

TEST_F(OutOfMemoryTest, InitializeLeavesAHandleThatCanBeInitializedAgainOrDisposedOf) {
    FailEveryAllocation([&] { return New(); },
                        [&](QelAudioAnalysisRef handle) { Initialize(handle); });
}

TEST_F(OutOfMemoryTest, ResetLeavesAHandleThatCanBeInitializedAgainOrDisposedOf) {
    const auto prepare = [&] {
        QelAudioAnalysisRef handle = New();
        EXPECT_EQ(0, Initialize(handle));
        EXPECT_EQ(0, Push(handle));
        return handle;
    };
    FailEveryAllocation(prepare,
                        [&](QelAudioAnalysisRef handle) { QelAudioAnalysisReset(handle); });
}

// Of a stream that is longer than declared, whose stores are extended by blocks of 64 kB, some
// 50,000 frames of a channel. The list of blocks, which alone takes memory by operator new, grows
// after some 64 of them.
TEST_F(OutOfMemoryTest, PushLeavesAHandleThatCanBeInitializedAgainOrDisposedOf) {
    const CFOwner<CFStringRef> onsets = MakeString("onset data");
    CFArrayAppendValue(mKeys.Get(), onsets.Get());
    // A stream that is longer than declared takes memory while it is pushed.
    const auto prepare = [&] {
        QelAudioAnalysisRef handle = New();
        EXPECT_EQ(0, Initialize(handle, 1536));
        return handle;
    };
    FailEveryAllocation(prepare, [&](QelAudioAnalysisRef handle) {
        for (int frames = 0; frames <= 80 * 50000; frames += 1536) {
            Push(handle);
        }
    });
}

TEST_F(OutOfMemoryTest, AHandleWhoseInitializationFailedCanBeDisposedOfAtOnce) {
    for (int n = 0; n < kMostAllocations; ++n) {
        QelAudioAnalysisRef handle = New();
        const bool thrown = ThrowsWhenAllocationFails(n, [&] { Initialize(handle); });
        EXPECT_EQ(gFailed, thrown) << "allocation " << n;
        EXPECT_EQ(0, QelAudioAnalysisDispose(handle));
        if (!thrown) {
            return;
        }
    }
    FAIL() << "the call never went through";
}

TEST_F(OutOfMemoryTest, PushesAfterAFailedResetCauseNoFault) {
    for (int n = 0; n < kMostAllocations; ++n) {
        QelAudioAnalysisRef handle = New();
        EXPECT_EQ(0, Initialize(handle));
        const bool thrown = ThrowsWhenAllocationFails(n, [&] { QelAudioAnalysisReset(handle); });
        EXPECT_EQ(0, Push(handle));
        EXPECT_EQ(0, QelAudioAnalysisReset(handle));
        EXPECT_EQ(0, Push(handle));
        EXPECT_EQ(0, QelAudioAnalysisDispose(handle));
        if (!thrown) {
            return;
        }
    }
    FAIL() << "the call never went through";
}

} // namespace
} // namespace qel::test
