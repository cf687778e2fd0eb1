#pragma once

#include <nanobind/nanobind.h>

#include <atomic>
#include <functional>

namespace qel::python {

// What a piece of work and the one who waits for it tell each other.
struct Orders {
    std::atomic<bool> shallStop = false;
    std::atomic<float> percent = 0;
};

// The work may live on after the call that has started it: it owns what it uses.
using Work = std::function<void(Orders&)>;

// Does work that cannot be interrupted, and throws what it throws. Where signals can come, or
// there is a progress callback, it runs in a thread of its own while the caller waits.
//
// A signal whose handler raises ends the wait at once. The work is asked to stop. If it goes on all
// the same, it is left to itself, and its results are dropped.
//
// `tick`: called with the percentage; may be None. Call it with Python's lock, which the work does
// not have.
//
// Returns whether the work has ended. False comes only with an exception, which the caller then
// finds in `raised`.
bool RunErrand(const Work& work, nanobind::handle tick, std::exception_ptr& raised);

// Waits for all work that was left to itself. Python calls it before it ends.
void SettleErrands();

} // namespace qel::python
