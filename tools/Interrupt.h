#pragma once

namespace qel::tool {

// Turns the signals that ask a program to end into a question it can ask itself, so that unfinished
// files are removed on the way out.
class Interrupt {
public:
    // Thrown where the question was answered with yes.
    struct Requested {
        int signal;
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

} // namespace qel::tool
