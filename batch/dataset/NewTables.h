#pragma once

#include <string>
#include <vector>

namespace qel::batch {

// A file in parts/ for tables that are being written. A locked file beside it says that its process
// lives, so that another run can remove what a killed one has left: that may be as large as the
// tables themselves. SQLite locks the tables in another way, and on NFS the two would collide.
class NewTables {
public:
    // Makes the lock; SQLite makes the tables. attempt is a name that no other process has. Throws
    // output::OutputError.
    NewTables(std::string parts, std::string attempt);

    // Removes both files, unless the tables have got their final name: on a full disk, half of the
    // tables would take what the next run needs.
    ~NewTables();
    NewTables(const NewTables&) = delete;
    NewTables& operator=(const NewTables&) = delete;

    const std::string& Path() const { return mTables; }

    // Removes the tables of processes that have ended. names are what is in parts/. What cannot be
    // removed stays.
    static void RemoveLeft(const std::string& parts, const std::vector<std::string>& names);

private:
    void Lock();

    std::string mTables;
    std::string mLock;
    int mDescriptor = -1;
};

} // namespace qel::batch
