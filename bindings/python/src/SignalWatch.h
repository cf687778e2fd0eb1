#pragma once

#include <nanobind/nanobind.h>

#include <chrono>
#include <cstdint>
#include <optional>

namespace qel::python {

// Looks after the caller of a long call that runs without Python's lock: whether a signal has come,
// whose handler then runs, and whether somebody wants to hear of the progress.
class SignalWatch {
public:
    // Well below the 100 ms within which a signal ends a call.
    static constexpr auto kInterval = std::chrono::milliseconds(20);

    // `tick`: called with a number about 20 times per second; may be None. The watch must not
    // outlive it.
    explicit SignalWatch(nanobind::handle tick = nanobind::none());

    // Is quick, and meant to be asked often. Call it without Python's lock.
    //
    // Throws nanobind::python_error, what the signal's handler or `tick` has raised.
    void Check(std::uint64_t done);

    // The same for a caller that no exception may pass through: true, and Rethrow has it.
    bool IsInterrupted(std::uint64_t done) noexcept;
    void Rethrow();

private:
    using Clock = std::chrono::steady_clock;

    bool mIsNeeded; // signals come in the main thread alone
    nanobind::handle mTick;
    Clock::time_point mNext;
    std::optional<nanobind::python_error> mRaised;
};

// Whether Python runs the handlers of signals in this thread.
bool IsMainThread() noexcept;

} // namespace qel::python
