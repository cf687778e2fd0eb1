#pragma once

#include "tests/fuzz/ByteProgram.h"
#include "tests/fuzz/Require.h"

#include <cerrno>
#include <cfenv>
#ifdef __SSE__
#include <xmmintrin.h>
#endif

namespace qel::fuzz {

// What a client's thread may have set before it calls the library: rounding, treatment of
// denormals, flags of exceptions that were, errno.
struct ClientEnvironment {
    int rounding = FE_TONEAREST;
    unsigned control = 0; // flags and denormals, as SSE has them
    int error = 0;

    static ClientEnvironment Any(ByteProgram& program) {
        constexpr int kRoundings[] = {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO};
        constexpr unsigned kFlagsAndDenormals = 0x807F;
        ClientEnvironment environment;
        environment.rounding = program.OneOf(kRoundings);
        environment.control = program.Word() & kFlagsAndDenormals;
        environment.error = program.Byte();
        return environment;
    }

    void Apply() const {
        std::fesetround(rounding);
#ifdef __SSE__
        _mm_setcsr((_mm_getcsr() & ~kOwnBits) | control);
#endif
        errno = error;
    }

    void Check() const {
        const int currentError = errno;
#ifdef __SSE__
        Require((_mm_getcsr() & kOwnBits) == control, "flags and denormals are the client's");
#endif
        Require(std::fegetround() == rounding, "rounding is the client's");
        Require(currentError == error, "errno is the client's");
    }

private:
    static constexpr unsigned kOwnBits = 0x807F;
};

// The client's environment stands while it lives. Then comes back what was before.
class EnvironmentScope {
public:
    explicit EnvironmentScope(const ClientEnvironment& environment) : mError(errno) {
        std::fegetenv(&mBefore);
        environment.Apply();
    }
    ~EnvironmentScope() {
        std::fesetenv(&mBefore);
        errno = mError;
    }
    EnvironmentScope(const EnvironmentScope&) = delete;
    EnvironmentScope& operator=(const EnvironmentScope&) = delete;

private:
    std::fenv_t mBefore;
    int mError;
};

// Around a call of the library, which must leave the client's environment as it is. May be nested,
// from callbacks.
class ClientScope {
public:
    explicit ClientScope(const ClientEnvironment& environment)
        : mScope(environment), mEnvironment(environment) {}
    ~ClientScope() { mEnvironment.Check(); }
    ClientScope(const ClientScope&) = delete;
    ClientScope& operator=(const ClientScope&) = delete;

private:
    const EnvironmentScope mScope;
    const ClientEnvironment& mEnvironment;
};

// Within a callback: the client's environment must stand at the beginning, and does so again at the
// end, whatever the callback did.
class CallbackScope {
public:
    explicit CallbackScope(const ClientEnvironment& environment) : mEnvironment(environment) {
        mEnvironment.Check();
    }
    ~CallbackScope() { mEnvironment.Apply(); }
    CallbackScope(const CallbackScope&) = delete;
    CallbackScope& operator=(const CallbackScope&) = delete;

private:
    const ClientEnvironment& mEnvironment;
};

} // namespace qel::fuzz
