#include "platform/ProcessEnvironment.h"

#include "platform/linux/UserDatabase.h"

#include <array>
#include <cstdlib>
#include <string_view>

#include <climits>
#include <unistd.h>
#include <uuid/uuid.h>

namespace cutstack {

namespace {

/// The absolute folder that a variable of the environment names.
std::optional<std::string> folderInVariable(const char* variable) {
    const char* value = std::getenv(variable);
    return value == nullptr ? std::nullopt : absoluteFolder(value);
}

class LinuxProcessEnvironment final : public ProcessEnvironment {
public:
    bool isRoot() const override { return getuid() == 0; }

    std::optional<std::string> userName() const override {
        const auto user = userWithId(getuid());
        return user ? std::optional(user->name) : std::nullopt;
    }

    std::optional<std::string> homeFolder() const override {
        if (auto home = folderInVariable("HOME"))
            return home;
        const auto user = userWithId(getuid());
        return user ? absoluteFolder(user->home) : std::nullopt;
    }

    std::optional<std::string> localRoot() const override {
        return folderInVariable("CUTSTACK_LOCAL_ROOT");
    }

    std::string temporaryFolder() const override {
        return folderInVariable("TMPDIR").value_or("/tmp");
    }

    std::string executablePath() const override {
        std::array<char, PATH_MAX> path{};
        const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
        if (length <= 0)
            return {};
        std::string_view executable(path.data(), static_cast<std::size_t>(length));
        // An update that replaces the executable of a running program leaves this mark.
        if (constexpr std::string_view mark = " (deleted)"; executable.ends_with(mark))
            executable.remove_suffix(mark.size());
        return std::string(executable);
    }

    std::string globallyUniqueString() const override {
        uuid_t value;
        uuid_generate_random(value);
        std::array<char, UUID_STR_LEN> text{};
        uuid_unparse_upper(value, text.data());
        return text.data();
    }
};

} // namespace

ProcessEnvironment& processEnvironment() {
    static auto& instance = *new LinuxProcessEnvironment;
    return instance;
}

} // namespace cutstack
