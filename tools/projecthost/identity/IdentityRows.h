#pragma once

// The tables of the identity store. Whoever calls has begun a transaction; failures are noted in
// the database. One thread.

#include "tools/projecthost/identity/IdentityStore.h"

#include <cstdint>
#include <functional>
#include <string>

namespace cutstack::projecthost {

/// What `PRAGMA user_version` says of a database with these tables.
inline constexpr std::int64_t kSchemaVersion = 1;

/// Makes the tables in an empty database. `token` becomes part of every id.
void makeTables(SqlDatabase& database, std::string_view token);

/// What is known of a project; a fresh one, which is entered at once, when nothing is. `row` is
/// its number in the tables.
[[nodiscard]] ProjectIdentities readProject(SqlDatabase& database, const std::string& projectPath,
                                            std::int64_t& row);

/// Gives `project`, of which nothing is known, what is known of the last one whose file had the
/// same name and, as `isGone` says of its path, is not there any more: it has been moved, and its
/// versions go on under its name. What is known of the other one stays, should it come back.
void inheritProject(SqlDatabase& database, const std::string& projectPath,
                    const std::function<bool(const std::string&)>& isGone,
                    ProjectIdentities& project);

/// Writes what differs between the two.
void writeProject(SqlDatabase& database, std::int64_t row, const ProjectIdentities& before,
                  const ProjectIdentities& now);

} // namespace cutstack::projecthost
