#include "output/files/Interrupt.h"

#include "output/files/Remnants.h"

#include <csignal>
#include <initializer_list>
#include <unistd.h>

namespace qel::output {
namespace {

constexpr std::initializer_list<int> kSignals = {SIGINT, SIGTERM, SIGHUP};

// What the handler reads and writes.
volatile std::sig_atomic_t sSignal = 0;
volatile std::sig_atomic_t sAtOnce = 0;

sigset_t SetOf(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    return set;
}

// Calls nothing but what POSIX allows in a handler.
void OnSignal(int signal) {
    if (sSignal != 0 || sAtOnce != 0) {
        Remnants::Remove();
        Interrupt::Die(signal);
    }
    sSignal = signal;
}

} // namespace

Interrupt::AtOnce::AtOnce() {
    sAtOnce = 1;
    if (sSignal != 0) { // it came before, and its handler has returned
        sAtOnce = 0;
        throw Requested{sSignal};
    }
}

Interrupt::AtOnce::~AtOnce() {
    sAtOnce = 0;
}

Interrupt::Hold::Hold() {
    const sigset_t held = SetOf(kSignals);
    sigprocmask(SIG_BLOCK, &held, &mOld);
}

Interrupt::Hold::~Hold() {
    sigprocmask(SIG_SETMASK, &mOld, nullptr);
}

void Interrupt::Install() {
    struct sigaction action {};
    action.sa_handler = OnSignal;
    action.sa_mask = SetOf(kSignals); // the handler is not interrupted by itself
    action.sa_flags = 0;              // no SA_RESTART: what waits is to find out
    for (const int signal : kSignals) {
        struct sigaction old {};
        // nohup and background jobs have some of them ignored, which is to stay.
        if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler != SIG_IGN) {
            sigaction(signal, &action, nullptr);
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a limit on file sizes shows as an error of write, too
}

bool Interrupt::IsRequested() {
    return sSignal != 0;
}

void Interrupt::Check() {
    if (sSignal != 0) {
        throw Requested{sSignal};
    }
}

void Interrupt::Die(int signal) {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
    const sigset_t own = SetOf({signal});
    sigprocmask(SIG_UNBLOCK, &own, nullptr); // it is blocked while its handler runs
    raise(signal);
    _exit(1); // not reached: the default of these signals ends the program
}

} // namespace qel::output
