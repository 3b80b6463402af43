#include "platform/linux/SessionBus.h"

#include <algorithm>
#include <cerrno>

#include "platform/SystemErrors.h"

namespace cutstack {

namespace {

struct CredentialsReleaser {
    void operator()(sd_bus_creds* credentials) const { sd_bus_creds_unref(credentials); }
};

} // namespace

bool BusError::isOneOf(std::initializer_list<const char*> names) const {
    return std::any_of(names.begin(), names.end(), [this](const char* name) {
        return sd_bus_error_has_name(&value_, name) > 0;
    });
}

std::string BusError::text() const {
    if (value_.message != nullptr)
        return value_.message;
    return value_.name != nullptr ? value_.name : "";
}

Bus openSessionBus(std::string& error) {
    sd_bus* bus = nullptr;
    const int result = sd_bus_open_user(&bus);
    if (result >= 0)
        return Bus(bus);
    error = "There is no session bus: " +
            (result == -ENOMEDIUM ? std::string("no address is set") : wordingOf(-result));
    return nullptr;
}

std::optional<NameOwner> ownerOf(sd_bus* bus, const std::string& name) {
    sd_bus_creds* asked = nullptr;
    if (sd_bus_get_name_creds(bus, name.c_str(), SD_BUS_CREDS_UNIQUE_NAME | SD_BUS_CREDS_EUID,
                              &asked) < 0)
        return std::nullopt;
    const std::unique_ptr<sd_bus_creds, CredentialsReleaser> credentials(asked);
    const char* uniqueName = nullptr;
    uid_t userId = 0;
    if (sd_bus_creds_get_unique_name(asked, &uniqueName) < 0 ||
        sd_bus_creds_get_euid(asked, &userId) < 0)
        return std::nullopt;
    return NameOwner{uniqueName, userId};
}

bool isActivatable(sd_bus* bus, const std::string& name) {
    sd_bus_message* answer = nullptr;
    const int result = sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                          "org.freedesktop.DBus", "ListActivatableNames", nullptr,
                                          &answer, nullptr);
    const BusMessage names(answer);
    if (result < 0 || sd_bus_message_enter_container(answer, 'a', "s") < 0)
        return false;
    const char* known = nullptr;
    while (sd_bus_message_read_basic(answer, 's', static_cast<void*>(&known)) > 0) {
        if (name == known)
            return true;
    }
    return false;
}

BusMessage newCall(sd_bus* bus, const std::string& destination, const std::string& path,
                   const char* interface, const char* method, std::string& error) {
    sd_bus_message* call = nullptr;
    const int result = sd_bus_message_new_method_call(bus, &call, destination.c_str(), path.c_str(),
                                                      interface, method);
    if (result < 0)
        error = wordingOf(-result);
    return BusMessage(call);
}

int appendStrings(sd_bus_message* message, const std::vector<std::string>& texts) {
    int result = sd_bus_message_open_container(message, 'a', "s");
    for (const std::string& text : texts) {
        if (result >= 0)
            result = sd_bus_message_append_basic(message, 's', text.c_str());
    }
    return result < 0 ? result : sd_bus_message_close_container(message);
}

} // namespace cutstack
