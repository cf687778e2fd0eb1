#include "batch/dataset/Tables.h"

#include "batch/dataset/Columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

namespace qel::batch {
namespace {

std::string Quoted(const std::string& name) {
    return '"' + name + '"';
}

// The columns of a table after its path.
std::vector<Column> ReadingTypes(const std::vector<std::string>& names) {
    std::vector<Column> columns;
    columns.reserve(names.size());
    for (const std::string& name : names) {
        columns.push_back({name.c_str(), ""}); // numbers and texts, each as it is
    }
    return columns;
}

void CreateTable(Database& database, const std::string& name, std::span<const Column> columns) {
    std::string sql = fmt::format("CREATE TABLE {}(path PRIMARY KEY NOT NULL", name);
    for (const Column& column : columns) {
        sql += fmt::format(", {} {}", Quoted(column.name), column.type);
    }
    database.Run(sql + ") WITHOUT ROWID");
}

// Inserts the members of rows into one table.
class TableInsert {
public:
    TableInsert(Database& database, const std::string& name, std::span<const Column> columns)
        : mColumns(columns), mInsert(database, Sql(name, columns.size())) {}

    void Add(const Row& path, const Row& members) {
        mInsert.Bind(1, path);
        int parameter = 2;
        for (const Column& column : mColumns) {
            mInsert.Bind(parameter++,
                         members.is_object() ? members.value(column.name, Row()) : Row());
        }
        mInsert.Run();
    }

private:
    static std::string Sql(const std::string& name, std::size_t columns) {
        std::string sql = fmt::format("INSERT INTO {} VALUES(?", name);
        for (std::size_t i = 0; i < columns; ++i) {
            sql += ",?";
        }
        return sql + ')';
    }

    std::span<const Column> mColumns;
    Statement mInsert;
};

void WriteSettings(Database& database, const Settings& settings) {
    database.Run("CREATE TABLE settings(name PRIMARY KEY NOT NULL, value) WITHOUT ROWID");
    Statement insert(database, "INSERT INTO settings VALUES(?1, ?2)");
    for (const auto& [name, value] : settings.Lines()) {
        insert.Bind(1, name);
        insert.Bind(2, value);
        insert.Run();
    }
}

void WriteList(Database& database, const ListFacts& list) {
    database.Run("CREATE TABLE list(listed INTEGER, digest TEXT, shard_index INTEGER, "
                 "shard_count INTEGER, files INTEGER)");
    Statement insert(database, "INSERT INTO list VALUES(?1, ?2, ?3, ?4, ?5)");
    insert.Bind(1, list.listed);
    insert.Bind(2, list.digest);
    insert.Bind(3, list.shard.index);
    insert.Bind(4, list.shard.count);
    insert.Bind(5, list.files);
    insert.Run();
}

template <std::size_t kCount>
bool Has(const std::array<Column, kCount>& columns, const std::string& name) {
    return std::ranges::any_of(columns, [&](const Column& column) { return column.name == name; });
}

} // namespace

void Tables::Write(const std::string& file, const Content& content) {
    Database database(content.dataset, file, Database::Use::Write);
    database.Run("BEGIN");
    const std::vector<Column> readingColumns = ReadingTypes(content.readings);
    CreateTable(database, "files", kFileColumns);
    CreateTable(database, "readings", readingColumns);
    CreateTable(database, "runs", kRunColumns);
    WriteSettings(database, content.settings);
    WriteList(database, content.list);
    {
        TableInsert files(database, "files", kFileColumns);
        TableInsert readings(database, "readings", readingColumns);
        TableInsert runs(database, "runs", kRunColumns);
        content.rows([&](const Row& row) {
            const Row& path = row.at("path");
            files.Add(path, row);
            readings.Add(path, row.value("readings", Row()));
            runs.Add(path, row);
        });
    }
    database.Run("COMMIT");
    database.Close();
}

Tables::Tables(const std::string& dataset, const std::string& file)
    : mDatabase(dataset, file, Database::Use::Read) {}

ListFacts Tables::List() {
    Statement query(mDatabase, "SELECT listed, digest, shard_index, shard_count, files FROM list");
    query.Step();
    return {.listed = query.Integer(0),
            .digest = query.Bytes(1),
            .shard = {query.Integer(2), query.Integer(3)},
            .files = query.Integer(4)};
}

std::vector<std::string> Tables::ReadingColumns() {
    std::vector<std::string> names;
    const Statement query(mDatabase, "SELECT * FROM readings");
    for (int column = 1; column < query.Columns(); ++column) {
        names.push_back(query.Name(column));
    }
    return names;
}

void Tables::ForEachRow(const std::function<void(const Row&)>& take) {
    Statement query(mDatabase, "SELECT * FROM files JOIN runs USING(path) JOIN readings USING(path)"
                               " ORDER BY files.path");
    while (query.Step()) {
        Row row;
        Row readings = Row::object();
        for (int column = 0; column < query.Columns(); ++column) {
            const std::string name = query.Name(column);
            const bool isReading =
                column > 0 && !Has(kFileColumns, name) && !Has(kRunColumns, name);
            (isReading ? readings : row)[name] = query.Value(column);
        }
        row["readings"] = std::move(readings);
        take(row);
    }
}

std::vector<StatusCount> Tables::Statuses() {
    Statement query(mDatabase, "SELECT status, count(*), min(path), error FROM files "
                               "GROUP BY status ORDER BY count(*) DESC, status");
    std::vector<StatusCount> counts;
    while (query.Step()) {
        counts.push_back({query.Bytes(0), query.Integer(1), query.Bytes(2), query.Bytes(3)});
    }
    return counts;
}

} // namespace qel::batch
