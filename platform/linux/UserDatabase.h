#pragma once

// The system's user database, asked by name or by id. Any thread.

#include <optional>
#include <string>

#include <sys/types.h>

namespace cutstack {

struct UserRecord {
    std::string name;
    std::string home;
};

[[nodiscard]] std::optional<UserRecord> userWithId(uid_t id);
[[nodiscard]] std::optional<UserRecord> userWithName(const std::string& name);

/// A folder's path without slashes at its end; nothing unless it is absolute.
[[nodiscard]] std::optional<std::string> absoluteFolder(std::string path);

} // namespace cutstack
