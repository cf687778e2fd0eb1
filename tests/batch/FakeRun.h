#pragma once

#include "batch/Batch.h"
#include "batch/dataset/Dataset.h"
#include "batch/dataset/Settings.h"
#include "tests/harness/TempDirectory.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace qel {

// Runs of a batch whose work is told by the files themselves, in a directory of its own. The first
// word of a file says what happens to its worker:
//
//     ok         a row with a reading and an array, both of the rest of the file
//     error      a fault of the file
//     crash      a signal ends the worker
//     crash-once the same, in the first try alone
//     hang       nothing, for ever
//     memory     takes memory until there is no more
//     exhaust    takes all memory to the last byte, then goes on
//     blame      takes almost all memory, then an error, as of a library that gets no memory
//     slow       as ok, after 20 ms
//     spend      as ok, with how many files that spend it the process has had; it is spent then
class FakeRun {
public:
    FakeRun();

    // Makes a file below the directory of sources, and the directories it is in.
    void Add(const std::string& name, const std::string& content) const;
    std::string Path(const std::string& name) const { return mPlace.File("music/" + name); }
    std::string Dataset(const std::string& name = "dataset") const { return mPlace.File(name); }

    // A run over all sources, to be changed before it is run.
    batch::BatchSetup Setup(const std::string& dataset = "dataset") const;

    // Paths of the files that workers have begun since this was asked for last, in their order.
    std::vector<std::string> Begun() const;

    // The rows of a dataset by their paths, without what differs from run to run.
    std::map<std::string, batch::Row> Rows(const std::string& dataset = "dataset") const;
    batch::Row WholeRow(const std::string& name, const std::string& dataset = "dataset") const;

    // Makes this process one that is not fit for another pass.
    static void Spend();

private:
    test::TempDirectory mPlace;
};

// A dataset of one file after its run, and its settings.
class OneFileDataset {
public:
    OneFileDataset();
    const batch::Dataset* operator->() const { return &mDataset; }

    // Writes tables as the attempt "attempt"; `rows` is called for their rows.
    void Publish(const std::function<void()>& rows) const;

private:
    FakeRun mRun;
    batch::Settings mSettings;
    batch::Dataset mDataset;
};

// Runs something in a child process, which ends with 0 if it comes to its end.
pid_t InChild(const std::function<void()>& work);
int WaitFor(pid_t child);

} // namespace qel
