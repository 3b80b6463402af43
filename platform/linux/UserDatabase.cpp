#include "platform/linux/UserDatabase.h"

#include <cerrno>
#include <vector>

#include <pwd.h>

namespace cutstack {

namespace {

/// The most that one entry of the database may take.
constexpr std::size_t kLargestEntry = 1 << 20;

/// Asks with room for the texts of the entry, and with more room until it is enough.
template <typename Lookup>
std::optional<UserRecord> lookedUp(const Lookup& lookup) {
    for (std::size_t room = 1024; room <= kLargestEntry; room *= 4) {
        std::vector<char> texts(room);
        passwd entry{};
        passwd* found = nullptr;
        const int error = lookup(&entry, texts.data(), texts.size(), &found);
        if (error == EINTR || error == ERANGE)
            continue;
        if (found == nullptr)
            return std::nullopt;
        return UserRecord{found->pw_name, found->pw_dir};
    }
    return std::nullopt;
}

} // namespace

std::optional<UserRecord> userWithId(uid_t id) {
    return lookedUp([id](passwd* entry, char* texts, std::size_t room, passwd** found) {
        return getpwuid_r(id, entry, texts, room, found);
    });
}

std::optional<UserRecord> userWithName(const std::string& name) {
    return lookedUp([&name](passwd* entry, char* texts, std::size_t room, passwd** found) {
        return getpwnam_r(name.c_str(), entry, texts, room, found);
    });
}

std::optional<std::string> absoluteFolder(std::string path) {
    if (!path.starts_with('/'))
        return std::nullopt;
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    return path;
}

} // namespace cutstack
