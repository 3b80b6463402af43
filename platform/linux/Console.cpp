#include "platform/Console.h"

#include "platform/linux/UserDatabase.h"

#include <cstdlib>
#include <memory>
#include <string_view>

#include <systemd/sd-login.h>

namespace cutstack {

namespace {

/// A text that libsystemd allocated.
using OwnedText = std::unique_ptr<char, decltype(&std::free)>;

/// Whether a login session is the login screen's own.
bool isLoginScreen(const char* session) {
    char* sessionClass = nullptr;
    if (sd_session_get_class(session, &sessionClass) < 0)
        return false;
    const OwnedText owned(sessionClass, &std::free);
    return std::string_view(sessionClass) == "greeter";
}

/// The first seat, as the login manager knows it.
class FirstSeat final : public Console {
public:
    std::optional<std::string> userAtConsole() const override {
        char* session = nullptr;
        uid_t id = 0;
        if (sd_seat_get_active("seat0", &session, &id) < 0)
            return std::nullopt;
        const OwnedText owned(session, &std::free);
        if (isLoginScreen(session))
            return kLoginWindowUser;
        const auto user = userWithId(id);
        return user ? std::optional(user->name) : std::nullopt;
    }

    std::optional<std::string> homeFolderOf(const std::string& userName) const override {
        const auto user = userWithName(userName);
        return user ? absoluteFolder(user->home) : std::nullopt;
    }
};

} // namespace

Console& systemConsole() {
    static auto& instance = *new FirstSeat;
    return instance;
}

} // namespace cutstack
