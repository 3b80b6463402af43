#pragma once

// The privileged helper as the program sees it: a process that a tool for rights (pkexec, sudo)
// started, at the other end of a private pair of sockets, which is its standard input. Letting go
// of it ends it. Any thread; requests of several threads wait for each other.

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "platform/linux/Descriptor.h"
#include "platform/linux/PrivilegedProtocol.h"

namespace cutstack {

/// How the helper is to be started.
struct HelperStart {
    std::vector<std::string> words; ///< the tool for rights first, the helper last
    /// Whether a person may be asked, which takes as long as it takes.
    bool asksPerson = false;
    /// What to answer on the tool's standard input when it writes kPasswordPrompt; asked again, it
    /// was wrong. Viewed only while starting.
    const std::string* password = nullptr;
};

inline constexpr const char* kPasswordPrompt = "[cutstack asks for the password]";

/// Why there is no helper.
struct HelperFailure {
    std::string reason;
    /// The exit status of the tool for rights, when it ended by itself.
    std::optional<int> status;
};

class HelperProcess {
public:
    /// Starts the helper and waits until it is ready. On failure returns nullptr and leaves no
    /// process behind but a tool for rights that cannot be ended.
    [[nodiscard]] static std::unique_ptr<HelperProcess> started(const HelperStart& start,
                                                                HelperFailure& failure);

    /// Closes the connection, at which the helper ends, and waits for that.
    ~HelperProcess();
    HelperProcess(const HelperProcess&) = delete;
    HelperProcess& operator=(const HelperProcess&) = delete;

    /// Whether the helper still listens.
    [[nodiscard]] bool isAlive() const;

    /// Sends a request and waits for its answer; nothing, with the reason in `error`, when there
    /// is none. The helper is of no more use then, except after a request that is too large.
    [[nodiscard]] std::optional<PrivilegedAnswer> answerTo(const PrivilegedRequest& request,
                                                           std::string& error);

private:
    HelperProcess(pid_t process, Descriptor socket);
    void disconnect();

    std::mutex exchange_; ///< of request and answer on the socket
    const pid_t process_;
    Descriptor socket_;
};

} // namespace cutstack
