#include "bindings/python/src/SignalWatch.h"

#include "bindings/python/src/PythonLock.h"

#include <unistd.h>
#include <utility>

namespace qel::python {

namespace nb = nanobind;

bool IsMainThread() noexcept {
    return gettid() == getpid();
}

SignalWatch::SignalWatch(nb::handle tick)
    : mIsNeeded(IsMainThread() || !tick.is_none()), mTick(tick), mNext(Clock::now() + kInterval) {}

void SignalWatch::Check(std::uint64_t done) {
    if (!mIsNeeded || Clock::now() < mNext) {
        return;
    }
    const WithPythonLock lock;
    if (PyErr_CheckSignals() != 0) {
        throw nb::python_error();
    }
    if (!mTick.is_none()) {
        mTick(done);
    }
    mNext = Clock::now() + kInterval;
}

bool SignalWatch::IsInterrupted(std::uint64_t done) noexcept {
    try {
        if (!mRaised) {
            Check(done);
        }
    } catch (nb::python_error& error) {
        mRaised.emplace(std::move(error));
    }
    return mRaised.has_value();
}

void SignalWatch::Rethrow() {
    if (mRaised) {
        nb::python_error raised = std::move(*mRaised);
        mRaised.reset();
        throw raised;
    }
}

} // namespace qel::python
