#include "tools/Interrupt.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace qel::tool {
namespace {

// The one thing a signal handler may touch.
volatile std::sig_atomic_t sSignal = 0;

void Remember(int signal) {
    sSignal = signal;
}

} // namespace

void Interrupt::Install() {
    struct sigaction action {};
    action.sa_handler = Remember;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0; // no SA_RESTART: what waits is to find out
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
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
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::_Exit(1); // not reached: the default of these signals ends the program
}

} // namespace qel::tool
