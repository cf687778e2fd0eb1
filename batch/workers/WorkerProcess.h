#pragma once

#include "batch/dataset/Catalog.h"
#include "batch/dataset/Records.h"
#include "batch/workers/Worker.h"

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>

namespace qel::batch {

// A worker as the driver sees it: a child process with two pipes. It is killed with the object, and
// by the system if the driver is killed.
class WorkerProcess {
public:
    using Clock = std::chrono::steady_clock;

    // Forks. The process must have one thread. Throws output::OutputError.
    explicit WorkerProcess(const WorkerSetup& setup);
    ~WorkerProcess();
    WorkerProcess(const WorkerProcess&) = delete;
    WorkerProcess& operator=(const WorkerProcess&) = delete;

    // Gives it a file. A worker that has died shows at the next Receive.
    void Send(const Task& task);

    // What it has written, without waiting for more; false if it has gone.
    bool Receive();

    // The next of its answers.
    std::optional<Row> Answer();

    // The file is done.
    void Release() { mTask.reset(); }

    // Asks it to end, and kills it. A killed one is waited for in the destructor.
    void AskToEnd() const;
    void Kill() const;

    // Whether it has gone as it had no memory to tell anything. Waits for its end.
    bool HadNoMemory();

    // Why it has gone: "the worker was ended by signal 11 (Segmentation fault)". Waits for its end.
    std::string Reason();

    bool IsIdle() const { return !mTask.has_value(); }
    const Task& Current() const { return *mTask; }
    const std::string& Hash() const { return mHash; } // of the current file, if it came
    double Seconds() const;                           // since the file was given
    Clock::time_point Since() const { return mSince; }
    int Descriptor() const { return mAnswers; }

private:
    [[noreturn]] static void BecomeWorker(const WorkerSetup& setup, int tasks, int answers,
                                          pid_t driver);
    void Signal(int signal) const;
    int Wait();

    pid_t mProcess = -1;
    int mTasks = -1;
    int mAnswers = -1;
    int mStatus = 0;
    bool mIsGone = false;
    Records mRecords;
    std::optional<Task> mTask;
    std::string mHash;
    Clock::time_point mSince;
};

} // namespace qel::batch
