#include "bindings/python/src/Errand.h"

#include "bindings/python/src/PythonLock.h"
#include "bindings/python/src/SignalWatch.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace qel::python {
namespace {

namespace nb = nanobind;

// For work that looks at Orders::shallStop: together with the interval well below 100 ms.
constexpr auto kGrace = std::chrono::milliseconds(40);

// The work, its end, and what it has thrown.
class Job {
public:
    void Do(const Work& work) noexcept {
        try {
            work(orders);
        } catch (...) {
            mFault = std::current_exception();
        }
        const std::lock_guard lock(mMutex);
        mIsDone = true;
        mEnd.notify_all();
    }

    bool WaitFor(std::chrono::milliseconds time) {
        std::unique_lock lock(mMutex);
        return mEnd.wait_for(lock, time, [this] { return mIsDone; });
    }

    std::exception_ptr Fault() const { return mFault; }

    Orders orders;

private:
    std::mutex mMutex;
    std::condition_variable mEnd;
    bool mIsDone = false;
    std::exception_ptr mFault;
};

struct Abandoned {
    std::shared_ptr<Job> job;
    std::thread thread;
};

// Never destroyed: a daemon thread may add to them while the process ends.
std::mutex& gAbandonedMutex = *new std::mutex;
std::list<Abandoned>& gAbandoned = *new std::list<Abandoned>;

void Abandon(std::shared_ptr<Job> job, std::thread thread) {
    const std::lock_guard lock(gAbandonedMutex);
    gAbandoned.push_back({std::move(job), std::move(thread)});
}

// Joins the threads that are done by now.
void ForgetEnded() {
    const std::lock_guard lock(gAbandonedMutex);
    gAbandoned.remove_if([](Abandoned& left) {
        if (!left.job->WaitFor(std::chrono::milliseconds(0))) {
            return false;
        }
        left.thread.join();
        return true;
    });
}

bool WaitWithoutLock(Job& job, std::chrono::milliseconds time) {
    const WithoutPythonLock unlocked;
    return job.WaitFor(time);
}

void LookAround(const Job& job, nb::handle tick) {
    if (PyErr_CheckSignals() != 0) {
        throw nb::python_error();
    }
    if (!tick.is_none()) {
        tick(job.orders.percent.load());
    }
}

} // namespace

bool RunErrand(const Work& work, nb::handle tick, std::exception_ptr& raised) {
    const auto job = std::make_shared<Job>();
    if (!IsMainThread() && tick.is_none()) {
        const WithoutPythonLock unlocked;
        job->Do(work);
        raised = job->Fault();
        return true;
    }
    ForgetEnded();
    std::thread thread([job, work = Work(work)]() mutable {
        job->Do(work);
        work = {}; // what it owns ends here, not where the thread is joined
    });
    try {
        while (!WaitWithoutLock(*job, SignalWatch::kInterval)) {
            LookAround(*job, tick);
        }
        thread.join();
        raised = job->Fault();
        return true;
    } catch (...) {
        raised = std::current_exception();
        job->orders.shallStop = true;
        const bool isDone = WaitWithoutLock(*job, kGrace);
        if (isDone) {
            thread.join();
        } else {
            Abandon(job, std::move(thread));
        }
        return isDone;
    }
}

void SettleErrands() {
    const WithoutPythonLock unlocked;
    const std::lock_guard lock(gAbandonedMutex);
    for (Abandoned& left : gAbandoned) {
        left.thread.join();
    }
    gAbandoned.clear();
}

} // namespace qel::python
