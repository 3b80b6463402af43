#pragma once

// SQLite, as much as the identity store needs of it: a database that closes itself, statements
// whose values are always bound and never written into SQL. A database and its statements belong
// to one thread at a time.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace cutstack::projecthost {

/// How a call went. `damaged` is a file that is no database any more, or one with other tables.
enum class SqlResult : std::uint8_t { done, row, busy, damaged, failed };

class SqlDatabase {
public:
    /// Opens the database, and makes it if it is missing. Whoever waits for another process gives
    /// up after `busyTimeoutInMilliseconds`. Look at result() before use.
    SqlDatabase(const std::string& path, int busyTimeoutInMilliseconds);
    ~SqlDatabase();
    SqlDatabase(const SqlDatabase&) = delete;
    SqlDatabase& operator=(const SqlDatabase&) = delete;

    /// `done` as long as nothing has failed, else what the first failure was; after a failure
    /// nothing more is done.
    [[nodiscard]] SqlResult result() const { return result_; }
    [[nodiscard]] bool isWell() const { return result_ == SqlResult::done; }
    /// The first failure, for a log line.
    [[nodiscard]] const std::string& message() const { return message_; }

    /// Runs statements that have no result.
    bool run(const char* sql);

    /// Says that what was read cannot have been written by this program.
    void markDamaged(std::string_view why);

private:
    friend class SqlStatement;
    void note(int code);

    sqlite3* handle_ = nullptr;
    SqlResult result_ = SqlResult::done;
    std::string message_;
};

/// One statement, used again and again. Values are bound and columns read from left to right.
class SqlStatement {
public:
    SqlStatement(SqlDatabase& database, const char* sql);
    ~SqlStatement();
    SqlStatement(const SqlStatement&) = delete;
    SqlStatement& operator=(const SqlStatement&) = delete;

    SqlStatement& bind(std::int64_t value);
    SqlStatement& bind(const std::optional<std::int64_t>& value);
    SqlStatement& bind(std::string_view value);

    /// Goes to the next row; false at the end and after a failure. At the end the statement may be
    /// bound anew.
    bool step();

    [[nodiscard]] std::int64_t integer();
    [[nodiscard]] std::optional<std::int64_t> optionalInteger();
    [[nodiscard]] std::string text();

private:
    SqlDatabase& database_;
    sqlite3_stmt* handle_ = nullptr;
    int bound_ = 0;
    int column_ = 0;
};

} // namespace cutstack::projecthost
