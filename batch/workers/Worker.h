#pragma once

#include "batch/FileWork.h"
#include "batch/dataset/Catalog.h"
#include "batch/dataset/Records.h"
#include "batch/workers/Limits.h"

#include <optional>
#include <string>

namespace qel::batch {

// What the workers of a run have in common.
struct WorkerSetup {
    std::string dataset;
    FileWork work;
    Limits limits;
    bool hashes = false; // whether the content's hash is wanted
};

// The inside of a worker process: takes tasks from a pipe, works on them one by one, and writes
// what becomes of them to another.
//
// An answer is an object: "hash" comes before the work where it is wanted;
// then "row", or "same" where the content has the hash that a row is known for, or "failure" where
// the dataset cannot be written, which ends the run. In place of "row" there is "rest", the row as
// it is before the pass "pass", if this and later passes need a new worker. Beside "row" there is
// "spent", true if the next file needs a new worker.
class Worker {
public:
    Worker(const WorkerSetup& setup, int tasks, int answers)
        : mSetup(setup), mTasks(tasks), mAnswers(answers) {}

    // Until the pipe of the tasks ends. Throws output::Interrupt::Requested.
    void Run();

    // Tasks as they stand in the pipe.
    static std::string Packed(const Task& task);

private:
    std::optional<Task> Receive();
    void Send(const Row& answer) const;
    void WorkOn(const Task& task);
    bool Hash(const Task& task, Row& row);
    std::size_t Analyze(const Task& task, Row& row) const;
    void WriteArrays(const std::vector<output::Array>& arrays, Row& row) const;

    const WorkerSetup& mSetup;
    int mTasks;
    int mAnswers;
    Records mRecords;
};

} // namespace qel::batch
