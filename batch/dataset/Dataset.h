#pragma once

#include "batch/dataset/Settings.h"
#include "batch/dataset/Tables.h"
#include "output/files/OutputDirectory.h"

#include <string>
#include <vector>

namespace qel::batch {

// The directory of a dataset:
//
//     settings         what decides the rows, written once
//     dataset.sqlite   the tables of all files, there once a run has come to its end
//     arrays/          NPZ files, which the rows name
//     parts/           what attempts have added since
//
// Files get their names when they are whole, and several processes may use one dataset at once:
// each writes files of its own.
class Dataset {
public:
    // Makes the directory, which goes again if Begin is not called. Throws Refusal if a dataset
    // with other settings is there, or something else; output::OutputError if it cannot be made.
    Dataset(std::string directory, const Settings& settings);

    // Makes the dataset, if it is not there, and removes tables that killed runs have begun. Throws
    // as above.
    void Begin() const;

    // What is in the directory of a dataset that is there. Throws Refusal if it is none.
    static Settings SettingsOf(const std::string& directory);
    static std::string TablesOf(const std::string& directory) {
        return directory + "/dataset.sqlite";
    }

    const std::string& Directory() const { return mDirectory; }
    std::string Parts() const { return mDirectory + "/parts"; }
    bool HasTables() const;

    // Whether the dataset still exists.
    bool IsThere() const;

    // The names in parts/ at this moment.
    std::vector<std::string> PartNames() const;

    // Makes the tables and puts them in the place of earlier ones, in one step, when they are on
    // the disk. attempt is a name that no other process has. Arrays may still be on their way to
    // the disk: to wait for each of them would cost more than to make those again that a failing
    // machine loses, which the next run finds by their sizes. Throws output::OutputError;
    // FailByOther if another run has taken the new tables away.
    void Publish(const std::string& attempt, const Tables::Content& content) const;

    // Removes files of parts/ whose rows the tables have.
    void RemoveParts(const std::vector<std::string>& names) const;

    // Throws output::OutputError: another run has taken away what this one has written.
    [[noreturn]] void FailByOther() const;

    // A name that no other attempt has.
    static std::string NewAttempt();

private:
    void RequireRoom() const;
    void MakeFolder(const std::string& name) const;

    std::string mDirectory;
    const Settings& mSettings;
    output::OutputDirectory mMade;
};

} // namespace qel::batch
