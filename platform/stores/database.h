// One SQLite database, as the certificate stores use it. Failures of SQLite become the
// platform's codes, with the database's path as detail.
#pragma once

#include "platform/base/ground.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "platform/base/bytes.h"

struct sqlite3;
struct sqlite3_stmt;

namespace platform {

class Database {
  public:
    // Opens for writing where the system allows it, otherwise for reading. The file must
    // exist: making it is the caller's, who knows its mode. Waits up to 10 seconds for
    // other processes, then throws ERROR_BUSY; a damaged file throws ERROR_FILE_CORRUPT.
    explicit Database(const std::filesystem::path& file);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void Run(const char* sql);
    // Both keep everything that `body` does or, when it throws, nothing. The first bars
    // other writers from its start.
    void InTransaction(const std::function<void()>& body);
    void InSnapshot(const std::function<void()>& body);
    // The one number that a query yields; 0 when it yields none.
    std::int64_t Number(const char* sql);
    [[nodiscard]] std::int64_t LastRow() const;
    [[nodiscard]] const std::string& Path() const { return path_; }

  private:
    friend class Statement;
    void Enclose(const char* begin, const std::function<void()>& body);
    [[noreturn]] void Fail(int code) const;
    void Check(int code) const;

    sqlite3* handle_ = nullptr;
    std::string path_;
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
