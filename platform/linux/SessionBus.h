#pragma once

// The session's message bus as sd-bus of libsystemd gives it (sd-bus(3)), with owners for its
// objects. A connection and its messages belong to one thread at a time; every function here may be
// called from any.

#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include <systemd/sd-bus.h>

namespace cutstack {

struct BusCloser {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
struct BusMessageReleaser {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Bus = std::unique_ptr<sd_bus, BusCloser>;
using BusMessage = std::unique_ptr<sd_bus_message, BusMessageReleaser>;

/// What a call failed with.
class BusError {
public:
    BusError() = default;
    ~BusError() { sd_bus_error_free(&value_); }
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;

    /// For sd-bus to fill in.
    [[nodiscard]] sd_bus_error* address() { return &value_; }
    [[nodiscard]] bool isOneOf(std::initializer_list<const char*> names) const;
    /// The words of the error, else its name.
    [[nodiscard]] std::string text() const;

private:
    sd_bus_error value_{};
};

/// A new connection to the bus of the user's session, which DBUS_SESSION_BUS_ADDRESS or else
/// XDG_RUNTIME_DIR names. Without one nullptr, with the reason in `error`.
[[nodiscard]] Bus openSessionBus(std::string& error);

/// Who has a name on the bus.
struct NameOwner {
    std::string uniqueName; ///< of the connection; never used again for another one
    uid_t userId = 0;       ///< that its process runs as
};

/// The owner of `name`; nothing when nobody has it, or when the bus cannot be asked.
[[nodiscard]] std::optional<NameOwner> ownerOf(sd_bus* bus, const std::string& name);

/// Whether the bus would start an application that takes `name`.
[[nodiscard]] bool isActivatable(sd_bus* bus, const std::string& name);

/// A call of `method` that `destination` is to get. On failure nullptr, with the reason in `error`.
[[nodiscard]] BusMessage newCall(sd_bus* bus, const std::string& destination,
                                 const std::string& path, const char* interface, const char* method,
                                 std::string& error);

/// Appends an array of strings.
[[nodiscard]] int appendStrings(sd_bus_message* message, const std::vector<std::string>& texts);

} // namespace cutstack
