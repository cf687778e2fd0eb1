#include "batch/dataset/Catalog.h"

#include "batch/dataset/FileStamp.h"
#include "output/files/Interrupt.h"
#include "output/files/Sha256.h"

#include <sys/stat.h>
#include <vector>

namespace qel::batch {
namespace {

constexpr const char* kTables = //
    "CREATE TABLE list(position INTEGER PRIMARY KEY, path BLOB UNIQUE, fault TEXT, size INTEGER, "
    "modified INTEGER);"
    "CREATE TABLE rows(path BLOB PRIMARY KEY, packed BLOB, hash BLOB, ok INTEGER) WITHOUT ROWID;"
    "CREATE TABLE begun(path BLOB PRIMARY KEY) WITHOUT ROWID;"
    "CREATE TABLE postponed(path BLOB PRIMARY KEY) WITHOUT ROWID;"
    "BEGIN;"; // one transaction that is never ended: the database is gone with the process

std::int64_t Single(Database& database, const std::string& sql) {
    Statement query(database, sql);
    query.Step();
    return query.Integer(0);
}

// A killed machine can lose what was in an array file, but hardly its length.
bool HasArrays(const Row& row, const std::string& dataset) {
    const std::string name = TextOf(row, "arrays");
    if (name.empty()) {
        return true;
    }
    struct stat status {};
    return stat((dataset + '/' + name).c_str(), &status) == 0 &&
           Row(status.st_size) == row.value("arrays_bytes", Row());
}

} // namespace

Catalog::Catalog(const Setup& setup) : mSetup(setup), mDatabase(Database::Scratch(setup.dataset)) {
    mDatabase.Run(kTables);
    mTake.emplace(mDatabase, "INSERT INTO list VALUES(?1, ?2, ?3, ?4, ?5)");
    mBegun.emplace(mDatabase, "INSERT OR IGNORE INTO begun VALUES(?1)");
    mStore.emplace(mDatabase, "INSERT INTO rows VALUES(?1, ?2, ?3, ?4) ON CONFLICT(path) DO UPDATE "
                              "SET packed=excluded.packed, hash=excluded.hash, ok=excluded.ok "
                              "WHERE ?5 OR excluded.ok >= ok");
    mLook.emplace(mDatabase, "SELECT size, modified, fault FROM list WHERE path=?1");
}

void Catalog::Take(FoundFiles& found) {
    output::Sha256Sum sum;
    found.ForEach([&](const ListedFile& file) {
        sum.Add(file.path + '\0');
        if (mSetup.shard.Has(mListed)) {
            TakeFile(mListed, file);
        }
        ++mListed;
    });
    mDigest = output::Hexadecimal(sum.Digest());
}

void Catalog::Take(const FileList& list) {
    mListed = list.Files();
    mDigest = list.Digest();
    for (std::int64_t at = mSetup.shard.index - 1; at < mListed; at += mSetup.shard.count) {
        output::Interrupt::Check();
        TakeFile(at, list.At(at));
    }
}

void Catalog::TakeFile(std::int64_t position, const ListedFile& file) {
    const FileStamp stamp = FileStamp::Of(file.path);
    mTake->Bind(1, position);
    mTake->BindBytes(2, file.path);
    mTake->Bind(3, file.fault.empty() ? Row() : Row(file.fault));
    mTake->Bind(4, stamp.Size());
    mTake->Bind(5, stamp.ModifiedNs());
    mTake->Run();
    ++mFiles;
}

void Catalog::Offer(const Row& row) {
    if (mSetup.retriesErrors && !IsOk(row)) {
        return;
    }
    mLook->BindBytes(1, TextOf(row, "path"));
    const bool isListed = mLook->Step() && mLook->IsNull(2);
    const bool isSame = isListed && (mSetup.comparesContent ||
                                     (mLook->Value(0) == row.value("size", Row()) &&
                                      mLook->Value(1) == row.value("modified_ns", Row())));
    mLook->Reset();
    if (isSame && HasArrays(row, mSetup.dataset)) {
        Store(row, false);
    }
}

void Catalog::OfferBegun(const std::string& path) {
    mBegun->BindBytes(1, path);
    mBegun->Run();
}

void Catalog::Put(const Row& row) {
    Store(row, true);
}

// Of two rows of one file an earlier run's gives way unless it alone is without an error.
void Catalog::Store(const Row& row, bool isOwn) {
    const std::vector<std::uint8_t> packed = Row::to_msgpack(row);
    mStore->BindBytes(1, TextOf(row, "path"));
    mStore->BindBytes(2, {reinterpret_cast<const char*>(packed.data()), packed.size()});
    mStore->BindBytes(3, TextOf(row, "hash"));
    mStore->Bind(4, IsOk(row));
    mStore->Bind(5, isOwn);
    mStore->Run();
}

std::int64_t Catalog::Known() {
    return Single(mDatabase, "SELECT count(*) FROM rows");
}

std::int64_t Catalog::BegunOnly() {
    return Single(mDatabase, "SELECT count(*) FROM begun JOIN list USING(path) "
                             "LEFT JOIN rows USING(path) WHERE rows.path IS NULL");
}

std::optional<Task> Catalog::Next() {
    if (!mNext) {
        mNext.emplace(mDatabase, std::string("SELECT list.path, rows.hash FROM list "
                                             "LEFT JOIN rows USING(path) WHERE fault IS NULL ") +
                                     (mSetup.comparesContent ? "" : "AND rows.path IS NULL ") +
                                     "ORDER BY position");
    }
    if (!mNext->Step()) {
        return std::nullopt;
    }
    return Task{.path = mNext->Bytes(0), .hash = mNext->Bytes(1)};
}

void Catalog::Postpone(const std::string& path) {
    Statement insert(mDatabase, "INSERT OR IGNORE INTO postponed VALUES(?1)");
    insert.BindBytes(1, path);
    insert.Run();
}

std::optional<Task> Catalog::NextPostponed() {
    Statement first(mDatabase, "SELECT path FROM postponed ORDER BY path LIMIT 1");
    if (!first.Step()) {
        return std::nullopt;
    }
    Task task{first.Bytes(0), "", 2};
    first.Reset();
    Statement remove(mDatabase, "DELETE FROM postponed WHERE path=?1");
    remove.BindBytes(1, task.path);
    remove.Run();
    return task;
}

Row Catalog::Stamp(const std::string& path) {
    Row row{{"path", path}};
    mLook->BindBytes(1, path);
    if (mLook->Step()) {
        row["size"] = mLook->Value(0);
        row["modified_ns"] = mLook->Value(1);
    }
    mLook->Reset();
    return row;
}

void Catalog::ForEachFault(const std::function<void(const Row&)>& take) {
    Statement faults(mDatabase, "SELECT path, fault FROM list WHERE fault IS NOT NULL "
                                "ORDER BY position");
    while (faults.Step()) {
        take({{"path", faults.Bytes(0)},
              {"status", status::kUnreadable},
              {"error", faults.Bytes(1)},
              {"tries", 1}});
    }
}

void Catalog::ForEachRow(const std::function<void(const Row&)>& take) {
    Statement rows(mDatabase, "SELECT packed FROM list JOIN rows USING(path) ORDER BY position");
    while (rows.Step()) {
        output::Interrupt::Check();
        take(Row::from_msgpack(rows.Bytes(0)));
    }
}

} // namespace qel::batch
