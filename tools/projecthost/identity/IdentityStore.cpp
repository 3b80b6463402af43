#include "tools/projecthost/identity/IdentityStore.h"

#include "support/Format.h"
#include "tools/projecthost/identity/IdentityRows.h"

#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

namespace cutstack::projecthost {

namespace {

namespace fs = std::filesystem;

/// What SQLite puts beside a database while it writes.
constexpr std::array<std::string_view, 3> kCompanions = {"-journal", "-wal", "-shm"};

constexpr std::size_t kTokenLength = 8;

bool isGone(const std::string& path) {
    std::error_code code;
    return fs::symlink_status(path, code).type() == fs::file_type::not_found;
}

std::int64_t schemaVersion(SqlDatabase& database) {
    SqlStatement version(database, "PRAGMA user_version");
    return version.step() ? version.integer() : 0;
}

} // namespace

IdentityStore::IdentityStore(std::string databasePath, IdentityServices services,
                             int busyTimeoutInMilliseconds)
    : path_(std::move(databasePath)),
      services_(std::move(services)),
      busyTimeoutInMilliseconds_(busyTimeoutInMilliseconds) {}

/// Begins the transaction and makes the tables where there are none. False when the database is
/// one of a newer program.
bool IdentityStore::prepare(SqlDatabase& database) {
    database.run("BEGIN IMMEDIATE");
    const std::int64_t version = schemaVersion(database);
    if (database.isWell() && version == 0)
        makeTables(database, services_.newUuid().substr(0, kTokenLength));
    return version <= kSchemaVersion;
}

IdentityStore::Outcome
IdentityStore::changeOnce(const std::string& projectPath,
                          const std::function<void(ProjectIdentities&)>& change,
                          std::string& error) {
    SqlDatabase database(path_, busyTimeoutInMilliseconds_);
    if (!prepare(database)) {
        error = formatString("%@ was made by a newer version of this program", {path_});
        return Outcome::failed;
    }
    std::int64_t row = 0;
    const ProjectIdentities before = readProject(database, projectPath, row);
    ProjectIdentities now = before;
    if (before.save == 0)
        inheritProject(database, projectPath, isGone, now);
    if (database.isWell()) {
        change(now);
        writeProject(database, row, before, now);
        database.run("COMMIT");
    }
    if (database.isWell())
        return Outcome::done;
    error = formatString("%@: %@", {path_, database.message()});
    return database.result() == SqlResult::damaged ? Outcome::damaged : Outcome::failed;
}

bool IdentityStore::moveAside(std::string& error) {
    std::string aside;
    std::error_code code;
    for (int number = 1; aside.empty() || fs::exists(aside, code); ++number)
        aside = formatString("%@.damaged-%i", {path_, number});
    if (std::rename(path_.c_str(), aside.c_str()) != 0) {
        error = formatString("Unable to move %@ aside", {path_});
        return false;
    }
    // A journal without its database must not be played into the next one.
    for (const std::string_view companion : kCompanions)
        if (const std::string beside = path_ + std::string(companion); fs::exists(beside, code))
            fs::rename(beside, aside + std::string(companion), code);
    services_.log(
        formatString("Identity database %@ is damaged and was moved to %@", {path_, aside}));
    return true;
}

bool IdentityStore::change(const std::string& projectPath,
                           const std::function<void(ProjectIdentities&)>& change,
                           std::string& error) {
    std::error_code code;
    if (const fs::path folder = fs::path(path_).parent_path(); !folder.empty())
        fs::create_directories(folder, code); // opening says it when this did not help
    Outcome outcome = changeOnce(projectPath, change, error);
    if (outcome == Outcome::damaged && moveAside(error))
        outcome = changeOnce(projectPath, change, error);
    return outcome == Outcome::done;
}

} // namespace cutstack::projecthost
