#pragma once

// The tables of the identity store. Whoever calls has begun a transaction; failures are noted in
// the database. One thread.

#include "tools/projecthost/identity/IdentityStore.h"

#include <cstdint>
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

/// Writes what differs between the two.
void writeProject(SqlDatabase& database, std::int64_t row, const ProjectIdentities& before,
                  const ProjectIdentities& now);

} // namespace cutstack::projecthost
