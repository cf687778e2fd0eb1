#include "batch/dataset/Database.h"

#include "output/files/OutputError.h"

#include <fmt/format.h>

#include <utility>

namespace qel::batch {
namespace {

// Nobody reads a new file before it is complete and on the disk, so that SQLite need not guard it.
// The cache has a fixed size, as memory must not grow with the files.
constexpr const char* kWritePragmas = "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; "
                                      "PRAGMA temp_store=FILE; PRAGMA cache_size=-4096;";

int FlagsOf(Database::Use use) {
    return use == Database::Use::Read ? SQLITE_OPEN_READONLY
                                      : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
}

std::size_t ContinuationBytes(unsigned char lead) {
    return lead < 0x80 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
}

// One character of UTF-8 at the start of a text: its bytes, 0 if there is none (RFC 3629).
std::size_t CharacterBytes(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4 || text.size() <= ContinuationBytes(lead)) {
        return 0;
    }
    for (std::size_t i = 1; i <= ContinuationBytes(lead); ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const bool isOverlong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xF0 && byte(1) < 0x90);
    const bool isSurrogate = lead == 0xED && byte(1) >= 0xA0;
    const bool isBeyond = lead == 0xF4 && byte(1) >= 0x90;
    return isOverlong || isSurrogate || isBeyond ? 0 : 1 + ContinuationBytes(lead);
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t bytes = CharacterBytes(text);
        if (bytes == 0) {
            return false;
        }
        text.remove_prefix(bytes);
    }
    return true;
}

} // namespace

Database::Database(std::string dataset, const std::string& file, Use use)
    : mDataset(std::move(dataset)) {
    sqlite3* handle = nullptr;
    const std::string path = use == Use::Scratch ? std::string() : file;
    const int code = sqlite3_open_v2(path.c_str(), &handle, FlagsOf(use), nullptr);
    mHandle.reset(handle);
    if (code != SQLITE_OK) {
        Fail();
    }
    if (use != Use::Read) {
        Run(kWritePragmas);
    }
}

Database Database::Scratch(const std::string& directory) {
    sqlite3_free(sqlite3_temp_directory);
    sqlite3_temp_directory = sqlite3_mprintf("%s", directory.c_str());
    return {directory, "", Use::Scratch};
}

void Database::Fail() const {
    const char* const reason = mHandle == nullptr ? "out of memory" : sqlite3_errmsg(mHandle.get());
    const int code = mHandle == nullptr ? SQLITE_NOMEM : sqlite3_errcode(mHandle.get());
    if (code == SQLITE_NOTADB || code == SQLITE_CORRUPT) {
        throw output::OutputError(fmt::format("{}: its tables are damaged: {}; remove this "
                                              "dataset and run its command again",
                                              mDataset, reason));
    }
    throw output::OutputError(fmt::format("{}: cannot use its tables: {}", mDataset, reason));
}

void Database::Run(const std::string& sql) {
    if (sqlite3_exec(mHandle.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        Fail();
    }
}

void Database::Close() {
    if (sqlite3_close(mHandle.get()) != SQLITE_OK) {
        Fail();
    }
    [[maybe_unused]] sqlite3* const closed = mHandle.release();
}

Statement::Statement(const Database& database, const std::string& sql) : mDatabase(database) {
    sqlite3_stmt* handle = nullptr;
    const int code = sqlite3_prepare_v2(database.Handle(), sql.c_str(), -1, &handle, nullptr);
    mHandle.reset(handle);
    Check(code);
}

void Statement::Check(int code) const {
    if (code != SQLITE_OK) {
        mDatabase.Fail();
    }
}

void Statement::BindBytes(int parameter, std::string_view bytes) {
    Check(sqlite3_bind_blob64(mHandle.get(), parameter, bytes.data(), bytes.size(),
                              SQLITE_TRANSIENT));
}

void Statement::Bind(int parameter, const Row& value) {
    sqlite3_stmt* const handle = mHandle.get();
    if (value.is_string()) {
        const auto& text = value.get_ref<const std::string&>();
        if (IsUtf8(text)) {
            Check(sqlite3_bind_text64(handle, parameter, text.data(), text.size(), SQLITE_TRANSIENT,
                                      SQLITE_UTF8));
        } else {
            BindBytes(parameter, text);
        }
    } else if (value.is_boolean()) {
        Check(sqlite3_bind_int64(handle, parameter, value.get<bool>() ? 1 : 0));
    } else if (value.is_number_integer()) {
        Check(sqlite3_bind_int64(handle, parameter, value.get<std::int64_t>()));
    } else if (value.is_number_float()) {
        Check(sqlite3_bind_double(handle, parameter, value.get<double>()));
    } else {
        Check(sqlite3_bind_null(handle, parameter));
    }
}

bool Statement::Step() {
    const int code = sqlite3_step(mHandle.get());
    if (code == SQLITE_ROW) {
        return true;
    }
    if (code != SQLITE_DONE) {
        mDatabase.Fail();
    }
    Reset();
    return false;
}

void Statement::Run() {
    while (Step()) {
    }
}

bool Statement::IsNull(int column) const {
    return sqlite3_column_type(mHandle.get(), column) == SQLITE_NULL;
}

std::string Statement::Bytes(int column) const {
    const void* const bytes = sqlite3_column_blob(mHandle.get(), column);
    const int size = sqlite3_column_bytes(mHandle.get(), column);
    return bytes == nullptr
               ? std::string()
               : std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

Row Statement::Value(int column) const {
    switch (sqlite3_column_type(mHandle.get(), column)) {
    case SQLITE_INTEGER:
        return Integer(column);
    case SQLITE_FLOAT:
        return sqlite3_column_double(mHandle.get(), column);
    case SQLITE_NULL:
        return nullptr;
    default:
        return Bytes(column);
    }
}

} // namespace qel::batch
