#pragma once

#include "batch/Row.h"

#include <cstdint>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <string_view>

namespace qel::batch {

// A database of SQLite, for one thread. All members of both classes throw output::OutputError with
// the name of the dataset.
class Database {
public:
    enum class Use {
        Read,   // a file that is there
        Write,  // a new file, which is not read before it is complete
        Scratch // nameless, gone with the object
    };

    // dataset is named in messages; file is not used for Scratch.
    Database(std::string dataset, const std::string& file, Use use);

    // A nameless database whose files are on the disk of a directory, which has room for results.
    static Database Scratch(const std::string& directory);

    void Run(const std::string& sql);

    // Closes the file, which must have arrived.
    void Close();

    sqlite3* Handle() const { return mHandle.get(); }
    [[noreturn]] void Fail() const;

private:
    struct Closer {
        void operator()(sqlite3* handle) const { sqlite3_close(handle); }
    };

    std::string mDataset;
    std::unique_ptr<sqlite3, Closer> mHandle;
};

// A prepared statement. Parameters count from 1, columns from 0.
class Statement {
public:
    Statement(const Database& database, const std::string& sql);

    // A text that is not UTF-8 is bound as a blob. true and false are 1 and 0.
    void Bind(int parameter, const Row& value);
    void BindBytes(int parameter, std::string_view bytes);

    // True if there is a row. At the end the statement begins anew.
    bool Step();

    // Steps a statement that has no rows.
    void Run();

    Row Value(int column) const;
    std::string Bytes(int column) const;
    std::int64_t Integer(int column) const { return sqlite3_column_int64(mHandle.get(), column); }
    bool IsNull(int column) const;
    int Columns() const { return sqlite3_column_count(mHandle.get()); }
    std::string Name(int column) const { return sqlite3_column_name(mHandle.get(), column); }
    void Reset() { sqlite3_reset(mHandle.get()); }

private:
    struct Closer {
        void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
    };
    void Check(int code) const;

    const Database& mDatabase;
    std::unique_ptr<sqlite3_stmt, Closer> mHandle;
};

} // namespace qel::batch
