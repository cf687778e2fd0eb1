#pragma once

#include "batch/dataset/Catalog.h"
#include "batch/dataset/Part.h"
#include "batch/workers/BatchProgress.h"
#include "batch/workers/WorkerProcess.h"

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qel::batch {

// Gives the files of a catalog to workers and puts what becomes of them into a part.
//
// A file whose worker crashes, takes too long or too much memory is put aside and tried once more
// when all others are done, by a new worker and with no other beside it. If that fails too, its row
// says why. A worker whose process is spent is ended, and a new one takes over.
class Driver {
public:
    Driver(const WorkerSetup& setup, std::size_t jobs, Catalog& catalog, Part& part,
           BatchProgress& progress)
        : mSetup(setup), mWorkers(jobs), mCatalog(catalog), mPart(part), mProgress(progress) {}

    // Throws output::OutputError, or output::Interrupt::Requested when all workers have ended.
    void Run();

private:
    using Slot = std::unique_ptr<WorkerProcess>;

    void RunAll();
    void RunPostponed();
    std::optional<Task> Next();
    void Give(Slot& slot, const Task& task);
    bool IsAnyBusy() const;
    void Serve();
    void Wait();
    int MillisecondsToWait() const;
    void ServeOne(Slot& slot);
    void TakeAnswer(Slot& slot, const Row& answer);
    void Lose(Slot& slot, const char* status, const std::string& reason);
    void Finish(const Row& row);
    void StopWorkers();

    const WorkerSetup& mSetup;
    std::vector<Slot> mWorkers;
    Catalog& mCatalog;
    Part& mPart;
    BatchProgress& mProgress;
    std::deque<Task> mRest; // files whose later passes need a new worker
    bool mIsMore = true;    // files may be left in the catalog
};

} // namespace qel::batch
