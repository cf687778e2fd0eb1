#include "batch/dataset/FoundFiles.h"

#include "output/files/Interrupt.h"

namespace qel::batch {
namespace {

constexpr const char* kTable =
    "CREATE TABLE found(identity BLOB PRIMARY KEY, path BLOB, fault TEXT) WITHOUT ROWID;"
    "BEGIN;"; // never ended: the database is gone with the process

} // namespace

FoundFiles::FoundFiles(const std::string& directory) : mDatabase(Database::Scratch(directory)) {
    mDatabase.Run(kTable);
    mAdd.emplace(mDatabase, "INSERT INTO found VALUES(?1, ?2, ?3) ON CONFLICT(identity) DO UPDATE "
                            "SET path=excluded.path, fault=excluded.fault "
                            "WHERE excluded.path < path");
}

void FoundFiles::Add(const std::string& path, const std::string& identity,
                     const std::string& fault) {
    mAdd->BindBytes(1, identity);
    mAdd->BindBytes(2, path);
    mAdd->Bind(3, fault.empty() ? Row() : Row(fault));
    mAdd->Run();
}

void FoundFiles::ForEach(const std::function<void(const ListedFile&)>& take) {
    Statement found(mDatabase, "SELECT path, fault FROM found ORDER BY path");
    while (found.Step()) {
        output::Interrupt::Check();
        take({found.Bytes(0), found.Bytes(1)});
    }
}

} // namespace qel::batch
