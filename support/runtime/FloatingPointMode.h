#pragma once

#include <cfenv>

namespace qel::core {

// The whole floating-point state of a thread: rounding, exception masks and flags, and the
// treatment of denormals, on x86 of both the x87 unit and SSE.
class FloatingPointEnvironment {
public:
    // The calling thread's state, which it leaves for the library's mode: every exception masked,
    // no flag raised, round to nearest, denormals taken and given as zero.
    static FloatingPointEnvironment ExchangeForLibraryMode();

    // Puts the calling thread into this state.
    void Apply() const;

private:
    FloatingPointEnvironment() = default;

#if defined(__x86_64__) || defined(__i386__)
    struct X87 { // the protected-mode image of fnstenv
        bool IsInitial() const;

        unsigned int mWords[7];
    };
    X87 mX87;
    unsigned int mControlAndStatus;
#elif defined(__aarch64__)
    unsigned long mControl;
    unsigned long mStatus;
#else
    std::fenv_t mEnvironment;
#endif
};

// Around the body of an exported function: takes the caller's floating-point environment and errno
// aside, runs the body in the library's mode, and puts both back when it ends, also when an
// exception leaves. What the body raises in flags is not seen by the caller.
//
// A scope that is given a slot enters itself there while it lives, and restores what stood there
// before. An object that calls back keeps that slot as a member: within nested calls it always
// names the innermost scope, which is what ClientFloatingPointScope needs. The slot must outlive
// the scope, so a function that destroys the object uses the scope without a slot.
//
// Scopes live on the stack of one thread and nest strictly.
class FlushDenormalsScope {
public:
    FlushDenormalsScope();
    explicit FlushDenormalsScope(FlushDenormalsScope*& slot);
    ~FlushDenormalsScope();
    FlushDenormalsScope(const FlushDenormalsScope&) = delete;
    FlushDenormalsScope& operator=(const FlushDenormalsScope&) = delete;

private:
    friend class ClientFloatingPointScope;

    FloatingPointEnvironment mClient;
    int mClientErrno;
    FlushDenormalsScope** mSlot = nullptr;
    FlushDenormalsScope* mOuter = nullptr;
};

// Around a call of the client's: runs it in the client's own environment and errno, then returns to
// the library's mode. Whatever the callback changed in either is kept as the client's, and so is
// what the client finds after the exported function. A null scope means that no exported function
// is on the stack: then nothing is switched.
class ClientFloatingPointScope {
public:
    explicit ClientFloatingPointScope(FlushDenormalsScope* scope);
    ~ClientFloatingPointScope();
    ClientFloatingPointScope(const ClientFloatingPointScope&) = delete;
    ClientFloatingPointScope& operator=(const ClientFloatingPointScope&) = delete;

private:
    FlushDenormalsScope* const mScope;
};

} // namespace qel::core
