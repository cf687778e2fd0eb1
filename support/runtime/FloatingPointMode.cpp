#include "support/runtime/FloatingPointMode.h"

#include <cerrno>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

// The switches stand in functions of their own file, never inlined into arithmetic: the compiler
// knows nothing of the mode and would move arithmetic across them.

namespace qel::core {

#if defined(__x86_64__) || defined(__i386__)

namespace {
// SSE: the six exception masks; rounding bits 0 are "to nearest".
constexpr unsigned int kMaskAllExceptions = 0x3Fu << 7;
constexpr unsigned int kFlushResultsToZero = 1u << 15;
constexpr unsigned int kDenormalsAreZero = 1u << 6;

// What fninit gives.
constexpr unsigned short kInitialX87Control = 0x37F;
constexpr unsigned short kInitialX87Status = 0;
constexpr unsigned short kInitialX87Tags = 0xFFFF; // all registers empty

// Takes a tenth of the time of fldenv.
bool IsX87AsInitialized() {
    unsigned short control = 0;
    unsigned short status = 0;
    __asm__ volatile("fnstcw %0\n\tfnstsw %1" : "=m"(control), "=m"(status));
    return control == kInitialX87Control && status == kInitialX87Status;
}
} // namespace

// The upper halves of words with 16 bits are reserved.
bool FloatingPointEnvironment::X87::IsInitial() const {
    const auto half = [this](int word) { return static_cast<unsigned short>(mWords[word]); };
    return half(0) == kInitialX87Control && half(1) == kInitialX87Status &&
           half(2) == kInitialX87Tags && mWords[3] == 0 && mWords[4] == 0 && mWords[5] == 0 &&
           half(6) == 0;
}

// The x87 unit has no flushing; fninit gives the default for the rest. It takes as long as all else
// here, and so does fldenv: neither is done where it would change nothing, as in nearly all calls.
FloatingPointEnvironment FloatingPointEnvironment::ExchangeForLibraryMode() {
    FloatingPointEnvironment now;
    __asm__ volatile("fnstenv %0" : "=m"(now.mX87));
    if (!now.mX87.IsInitial()) {
        __asm__ volatile("fninit");
    }
    now.mControlAndStatus = _mm_getcsr();
    _mm_setcsr(kMaskAllExceptions | kFlushResultsToZero | kDenormalsAreZero);
    return now;
}

void FloatingPointEnvironment::Apply() const {
    if (!mX87.IsInitial() || !IsX87AsInitialized()) {
        __asm__ volatile("fldenv %0" : : "m"(mX87));
    }
    _mm_setcsr(mControlAndStatus);
}

#elif defined(__aarch64__)

namespace {
// All trap enables and the rounding field are 0 in the library's mode: FZ alone is set.
constexpr unsigned long kFlushToZero = 1uL << 24;
} // namespace

FloatingPointEnvironment FloatingPointEnvironment::ExchangeForLibraryMode() {
    FloatingPointEnvironment now;
    __asm__ volatile("mrs %0, fpcr" : "=r"(now.mControl));
    __asm__ volatile("mrs %0, fpsr" : "=r"(now.mStatus));
    __asm__ volatile("msr fpcr, %0" : : "r"(kFlushToZero));
    __asm__ volatile("msr fpsr, %0" : : "r"(0uL));
    return now;
}

void FloatingPointEnvironment::Apply() const {
    __asm__ volatile("msr fpcr, %0" : : "r"(mControl));
    __asm__ volatile("msr fpsr, %0" : : "r"(mStatus));
}

#else

// Other processors: the language's default environment, in which denormals stay as they are.
FloatingPointEnvironment FloatingPointEnvironment::ExchangeForLibraryMode() {
    FloatingPointEnvironment now;
    std::fegetenv(&now.mEnvironment);
    std::fesetenv(FE_DFL_ENV);
    return now;
}

void FloatingPointEnvironment::Apply() const {
    std::fesetenv(&mEnvironment);
}

#endif

FlushDenormalsScope::FlushDenormalsScope()
    : mClient(FloatingPointEnvironment::ExchangeForLibraryMode()), mClientErrno(errno) {}

FlushDenormalsScope::FlushDenormalsScope(FlushDenormalsScope*& slot) : FlushDenormalsScope() {
    mSlot = &slot;
    mOuter = slot;
    slot = this;
}

FlushDenormalsScope::~FlushDenormalsScope() {
    if (mSlot != nullptr) {
        *mSlot = mOuter;
    }
    mClient.Apply();
    errno = mClientErrno;
}

ClientFloatingPointScope::ClientFloatingPointScope(FlushDenormalsScope* scope) : mScope(scope) {
    if (mScope != nullptr) {
        mScope->mClient.Apply();
        errno = mScope->mClientErrno;
    }
}

ClientFloatingPointScope::~ClientFloatingPointScope() {
    if (mScope != nullptr) {
        mScope->mClient = FloatingPointEnvironment::ExchangeForLibraryMode();
        mScope->mClientErrno = errno;
    }
}

} // namespace qel::core
