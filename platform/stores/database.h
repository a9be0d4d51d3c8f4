// One SQLite database, as the certificate stores use it. Failures of SQLite become the
// platform's codes, with the database's path as detail.
#pragma once

#include "platform/base/ground.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include "platform/base/bytes.h"

struct sqlite3;
struct sqlite3_stmt;

namespace platform {

class Database {
  public:
    // Opens for writing where the system allows it, otherwise for reading. The file must
    // exist: making it is the caller's, who knows its mode. Waits so many milliseconds for
    // other processes, then throws ERROR_BUSY; a damaged file throws ERROR_FILE_CORRUPT.
    explicit Database(const std::filesystem::path& file, int patienceMs = 10'000);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void Run(const char* sql);
    // Both keep everything that `body` does or, when it throws, nothing. The first bars
    // other writers from its start.
    void InTransaction(const std::function<void()>& body);
    void InSnapshot(const std::function<void()>& body);
    // Runs `body` and leaves what it changed open, barring other writers, for further ones to
    // join; Keep ends that, as every other change does. When `body` throws having changed
    // something, all that was gathered is lost: later ones and the next Keep fail alike.
    void Gather(const std::function<void()>& body);
    void Keep();
    // The same for who did not gather: what was lost is told to the one who did as well.
    void KeepForOthers();
    // Another one when somebody else has kept a change, or one was taken back here.
    std::pair<std::int64_t, std::int64_t> Version();
    // The one number that a query yields; 0 when it yields none.
    std::int64_t Number(const char* sql);
    [[nodiscard]] std::int64_t LastRow() const;
    [[nodiscard]] const std::string& Path() const { return path_; }

  private:
    friend class Statement;
    void Enclose(const char* begin, const std::function<void()>& body);
    void TakeBack(std::int64_t changesBefore);
    [[nodiscard]] std::int64_t Changes() const;
    [[noreturn]] void Fail(int code) const;
    void Check(int code) const;

    sqlite3* handle_ = nullptr;
    std::string path_;
    bool gathering_ = false;
    std::int64_t gatheredFrom_ = 0;  // Changes at its start
    std::exception_ptr lost_;
    std::int64_t takenBack_ = 0;
};

// One statement, bound and stepped through. Blobs and texts that are bound must live
// until the statement has been run; views of columns until the next step.
class Statement {
  public:
    Statement(Database& database, const char* sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& Bind(int at, std::int64_t value);
    Statement& Bind(int at, ByteView blob);
    Statement& Bind(int at, const std::string& text);
    // True while there is a row.
    bool Step();
    void Execute();
    [[nodiscard]] std::int64_t Integer(int column) const;
    [[nodiscard]] ByteView Blob(int column) const;
    [[nodiscard]] std::string Text(int column) const;

  private:
    Database& database_;
    sqlite3_stmt* handle_ = nullptr;
};

}  // namespace platform
