#pragma once

// The memory of identities: for every project, the items of its last save with what they were
// served as, and those that were removed in the saves before. A small database beside the other
// files of the host, named by the path of the project file. A file that has been moved to another
// folder goes on with what is known of it, as its versions do; one with a new name begins anew.
//
// Several processes may use one database. A store belongs to one thread at a time.

#include "tools/projecthost/identity/Items.h"
#include "tools/projecthost/identity/Sqlite.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack::projecthost {

/// What is remembered of one project.
struct ProjectIdentities {
    /// Part of every id, different for every database: ids of a lost database do not come back.
    std::string token;
    std::int64_t save = 0;       ///< how many different saves were served
    std::int64_t nextNumber = 1; ///< for the next new item
    /// The items of the last save in document order, then the retired ones.
    std::vector<KnownItem> items;
};

/// What a store needs from outside.
struct IdentityServices {
    std::function<std::string()> newUuid;      ///< one that no other call, process or machine gives
    std::function<void(std::string_view)> log; ///< a line for the log
};

class IdentityStore {
public:
    /// Does nothing yet. The database and its folders are made when they are first needed.
    IdentityStore(std::string databasePath, IdentityServices services,
                  int busyTimeoutInMilliseconds = 5000);

    /// Reads what is known of a project, lets `change` change it and writes the result, all in one
    /// transaction, so that two processes never give one number twice.
    /// A database that is damaged is moved aside ("....damaged-1") with a log line; `change` is
    /// then called again with a project of which nothing is known.
    /// On failure (no access, a full disk, another process that does not let go, a database of a
    /// newer program) returns false and says why in `error`; nothing is written.
    [[nodiscard]] bool change(const std::string& projectPath,
                              const std::function<void(ProjectIdentities&)>& change,
                              std::string& error);

    [[nodiscard]] const IdentityServices& services() const { return services_; }

private:
    enum class Outcome : std::uint8_t { done, damaged, failed };

    [[nodiscard]] Outcome changeOnce(const std::string& projectPath,
                                     const std::function<void(ProjectIdentities&)>& change,
                                     std::string& error);
    [[nodiscard]] bool prepare(SqlDatabase& database);
    [[nodiscard]] bool moveAside(std::string& error);

    std::string path_;
    IdentityServices services_;
    int busyTimeoutInMilliseconds_;
};

} // namespace cutstack::projecthost
