// SQLite, its failures turned into the platform's.
#include "platform/stores/database.h"

#include <sqlite3.h>

#include <new>

#include "platform/base/error.h"
#include "platform/base/language.h"

namespace platform {
namespace {

// The journal's end reaches the disk, too, so that what was kept outlives a loss of power. A
// change that does not fit into the cache stays in memory, so that readers wait for its end
// alone.
constexpr const char* kSettings =
    "PRAGMA foreign_keys = ON; PRAGMA synchronous = EXTRA; PRAGMA cache_spill = OFF";

// A writer died within a change; whoever may not write cannot take back what it began
// (store-1).
constexpr const char* kUnfinishedEnglish =
    " (a change was cut off; it is taken back as soon as an administrator runs"
    " 'kestrelctl store list', for the machine's side with --machine)";
constexpr const char* kUnfinishedRussian =
    " (изменение прервано; оно отменится, когда администратор выполнит"
    " 'kestrelctl store list', для машины - с --machine)";

DWORD CodeFor(int primary, int extended) {
    // The second is a read that the disk did not do.
    if (extended == SQLITE_IOERR_READ || extended == SQLITE_IOERR_CORRUPTFS) {
        return ERROR_READ_FAULT;
    }
    switch (primary) {
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return ERROR_FILE_CORRUPT;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return ERROR_BUSY;
        case SQLITE_PERM:
        case SQLITE_AUTH:
        case SQLITE_READONLY:
        case SQLITE_CANTOPEN:
            return ERROR_ACCESS_DENIED;
        case SQLITE_FULL:
        case SQLITE_IOERR:
            return ERROR_WRITE_FAULT;
        default:
            return ERROR_INTERNAL_ERROR;
    }
}

// SQLite opens what stands beside the database, and a pipe would wait for who writes into it.
void CheckBeside(const std::string& database) {
    for (const char* const end : {"-journal", "-wal"}) {
        std::error_code none;
        const std::string file = database + end;
        const auto status = std::filesystem::status(file, none);
        if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
            throw Error(ERROR_FILE_CORRUPT, file);
        }
    }
}

}  // namespace

Database::Database(const std::filesystem::path& file, int patienceMs) : path_(file.string()) {
    CheckBeside(path_);
    const int code = sqlite3_open_v2(path_.c_str(), &handle_,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    try {
        Check(code);
        Check(sqlite3_busy_timeout(handle_, patienceMs));
        Run(kSettings);
    } catch (...) {
        sqlite3_close(handle_);
        throw;
    }
}

Database::~Database() { sqlite3_close(handle_); }

void Database::Fail(int code) const {
    const int primary = code & 0xFF;
    if (primary == SQLITE_NOMEM) throw std::bad_alloc();
    const int extended = sqlite3_extended_errcode(handle_);
    if (extended == SQLITE_READONLY_ROLLBACK) {
        throw Error(ERROR_ACCESS_DENIED,
                    path_ + (RussianUser() ? kUnfinishedRussian : kUnfinishedEnglish));
    }
    const DWORD mapped = CodeFor(primary, extended);
    if (mapped != ERROR_INTERNAL_ERROR) throw Error(mapped, path_);
    throw Error(mapped, path_ + ": " + sqlite3_errmsg(handle_));
}

void Database::Check(int code) const {
    if (code != SQLITE_OK) Fail(code);
}

void Database::Run(const char* sql) {
    Check(sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr));
}

void Database::InTransaction(const std::function<void()>& body) {
    Keep();
    Enclose("BEGIN IMMEDIATE", body);
}

void Database::InSnapshot(const std::function<void()>& body) {
    gathering_ ? body() : Enclose("BEGIN", body);
}

void Database::Enclose(const char* begin, const std::function<void()>& body) {
    Run(begin);
    const std::int64_t before = Changes();
    try {
        body();
        Run("COMMIT");
    } catch (...) {
        TakeBack(before);
        throw;
    }
}

void Database::TakeBack(std::int64_t changesBefore) {
    // Some failures have rolled back already, and then there is nothing to do.
    sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr);
    gathering_ = false;
    if (Changes() != changesBefore) ++takenBack_;
}

void Database::Gather(const std::function<void()>& body) {
    if (lost_) std::rethrow_exception(lost_);
    if (!gathering_) {
        Run("BEGIN IMMEDIATE");
        gathering_ = true;
        gatheredFrom_ = Changes();
    }
    const std::int64_t before = Changes();
    try {
        body();
    } catch (...) {
        const bool whole = Changes() == before && sqlite3_get_autocommit(handle_) == 0;
        if (whole && before != gatheredFrom_) throw;
        if (before != gatheredFrom_) lost_ = std::current_exception();
        TakeBack(gatheredFrom_);
        throw;
    }
}

void Database::Keep() {
    if (lost_) std::rethrow_exception(std::exchange(lost_, nullptr));
    if (!gathering_) return;
    try {
        Run("COMMIT");
        gathering_ = false;
    } catch (...) {
        TakeBack(gatheredFrom_);
        throw;
    }
}

void Database::KeepForOthers() {
    try {
        Keep();
    } catch (...) {
        lost_ = std::current_exception();
        throw;
    }
}

std::int64_t Database::Changes() const { return sqlite3_total_changes64(handle_); }

std::pair<std::int64_t, std::int64_t> Database::Version() {
    return {Number("PRAGMA data_version"), takenBack_};
}

std::int64_t Database::Number(const char* sql) {
    Statement query(*this, sql);
    return query.Step() ? query.Integer(0) : 0;
}

std::int64_t Database::LastRow() const { return sqlite3_last_insert_rowid(handle_); }

Statement::Statement(Database& database, const char* sql) : database_(database) {
    database_.Check(sqlite3_prepare_v2(database_.handle_, sql, -1, &handle_, nullptr));
}

Statement::~Statement() { sqlite3_finalize(handle_); }

Statement& Statement::Bind(int at, std::int64_t value) {
    database_.Check(sqlite3_bind_int64(handle_, at, value));
    return *this;
}

Statement& Statement::Bind(int at, ByteView blob) {
    // A null address would bind NULL in place of an empty blob.
    const void* data = blob.empty() ? "" : static_cast<const void*>(blob.data());
    database_.Check(sqlite3_bind_blob64(handle_, at, data, blob.size(), SQLITE_STATIC));
    return *this;
}

Statement& Statement::Bind(int at, const std::string& text) {
    database_.Check(
        sqlite3_bind_text64(handle_, at, text.c_str(), text.size(), SQLITE_STATIC, SQLITE_UTF8));
    return *this;
}

bool Statement::Step() {
    const int code = sqlite3_step(handle_);
    if (code != SQLITE_ROW && code != SQLITE_DONE) database_.Fail(code);
    return code == SQLITE_ROW;
}

void Statement::Execute() {
    while (Step()) {
    }
}

std::int64_t Statement::Integer(int column) const { return sqlite3_column_int64(handle_, column); }

ByteView Statement::Blob(int column) const {
    const void* data = sqlite3_column_blob(handle_, column);
    return ViewOf(data, static_cast<std::size_t>(sqlite3_column_bytes(handle_, column)));
}

std::string Statement::Text(int column) const {
    const ByteView bytes = Blob(column);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace platform
