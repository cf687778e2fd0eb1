#pragma once

#include <csignal>

namespace qel::output {

// Turns the signals that ask a program to end into a question it can ask itself, so that unfinished
// files are removed on the way out.
//
// A second signal does not wait for the question: its handler removes the unfinished files
// (Remnants) and ends the program.
class Interrupt {
public:
    // Thrown where the question was answered with yes.
    struct Requested {
        int signal;
    };

    // As long as one lives, the first signal ends the program from within its handler, as a second
    // one does: for work that takes long and cannot ask.
    class AtOnce {
    public:
        AtOnce(); // throws Requested if a signal has come already
        ~AtOnce();
        AtOnce(const AtOnce&) = delete;
        AtOnce& operator=(const AtOnce&) = delete;
    };

    // As long as one lives, signals wait: for steps that no handler may come between. Short ones.
    class Hold {
    public:
        Hold();
        ~Hold();
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

    private:
        sigset_t mOld;
    };

    // Takes SIGINT, SIGTERM and SIGHUP over, and lets a closed pipe show as an error of write. From
    // then on these signals break off whatever waits, as a write to a pipe that nobody reads: it
    // fails with EINTR, upon which Check is to be called.
    static void Install();

    // Whether one of the signals has come.
    static bool IsRequested();

    // Throws Requested if one of the signals has come.
    static void Check();

    // Ends the program as the signal would have done by itself. Does not return.
    [[noreturn]] static void Die(int signal);
};

} // namespace qel::output
