#include "tools/projecthost/identity/Sqlite.h"

#include <sqlite3.h>

namespace cutstack::projecthost {

namespace {

SqlResult resultOf(int code) {
    switch (code & 0xFF) {
    case SQLITE_OK:
    case SQLITE_DONE:
    case SQLITE_ROW:
        return SqlResult::done;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return SqlResult::busy;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR: // a table or column that is not there: the statements themselves are right
        return SqlResult::damaged;
    default:
        return SqlResult::failed;
    }
}

} // namespace

SqlDatabase::SqlDatabase(const std::string& path, int busyTimeoutInMilliseconds) {
    note(sqlite3_open_v2(path.c_str(), &handle_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                         nullptr));
    if (isWell())
        note(sqlite3_busy_timeout(handle_, busyTimeoutInMilliseconds));
}

SqlDatabase::~SqlDatabase() { sqlite3_close_v2(handle_); }

void SqlDatabase::note(int code) {
    const SqlResult result = resultOf(code);
    if (!isWell() || result == SqlResult::done)
        return;
    result_ = result;
    message_ = handle_ == nullptr ? sqlite3_errstr(code) : sqlite3_errmsg(handle_);
}

void SqlDatabase::markDamaged(std::string_view why) {
    if (isWell()) {
        result_ = SqlResult::damaged;
        message_ = why;
    }
}

bool SqlDatabase::run(const char* sql) {
    if (isWell())
        note(sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr));
    return isWell();
}

SqlStatement::SqlStatement(SqlDatabase& database, const char* sql) : database_(database) {
    if (database_.isWell())
        database_.note(sqlite3_prepare_v2(database_.handle_, sql, -1, &handle_, nullptr));
}

SqlStatement::~SqlStatement() { sqlite3_finalize(handle_); }

SqlStatement& SqlStatement::bind(std::int64_t value) {
    if (database_.isWell())
        database_.note(sqlite3_bind_int64(handle_, ++bound_, value));
    return *this;
}

SqlStatement& SqlStatement::bind(const std::optional<std::int64_t>& value) {
    if (value)
        return bind(*value);
    if (database_.isWell())
        database_.note(sqlite3_bind_null(handle_, ++bound_));
    return *this;
}

SqlStatement& SqlStatement::bind(std::string_view value) {
    if (database_.isWell())
        database_.note(sqlite3_bind_text64(handle_, ++bound_, value.data(), value.size(),
                                           SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
}

bool SqlStatement::step() {
    column_ = 0;
    if (!database_.isWell())
        return false;
    const int code = sqlite3_step(handle_);
    if (code == SQLITE_ROW)
        return true;
    database_.note(code);
    sqlite3_reset(handle_);
    bound_ = 0;
    return false;
}

std::int64_t SqlStatement::integer() { return sqlite3_column_int64(handle_, column_++); }

std::optional<std::int64_t> SqlStatement::optionalInteger() {
    if (sqlite3_column_type(handle_, column_) != SQLITE_NULL)
        return integer();
    ++column_;
    return std::nullopt;
}

std::string SqlStatement::text() {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(handle_, column_));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(handle_, column_));
    ++column_;
    return bytes == nullptr ? std::string() : std::string(bytes, size);
}

} // namespace cutstack::projecthost
