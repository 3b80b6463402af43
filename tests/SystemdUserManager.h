#pragma once

// A systemd user manager of a test's own, with its own home folder, runtime folder, units and
// control group; there need be no systemd beside it. While it lives, this process's environment is
// that of its user, so that programs started from here meet it. One at a time.
//
// Needs to be root, or that root has made the machine ready (fault() says for what).

#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "tests/TemporaryFolder.h"

namespace cutstack {

class SystemdUserManager {
public:
    SystemdUserManager();
    /// Ends the manager and all that it runs.
    ~SystemdUserManager();
    SystemdUserManager(const SystemdUserManager&) = delete;
    SystemdUserManager& operator=(const SystemdUserManager&) = delete;

    /// Why this machine cannot run one; empty when it runs.
    [[nodiscard]] const std::string& fault() const { return fault_; }

    /// The user leaves and comes back: everything that lives as long as a session is gone.
    void logOutAndIn();

    [[nodiscard]] std::string home(std::string_view name) const {
        return folder_ / "home/" + std::string(name);
    }
    [[nodiscard]] std::string runtime(std::string_view name) const {
        return folder_ / "run/" + std::string(name);
    }
    /// The folder of the user's own units.
    [[nodiscard]] std::string units() const { return home(".config/systemd/user"); }

    /// What "systemctl --user" prints with these arguments.
    [[nodiscard]] std::string systemctl(const std::vector<std::string>& arguments) const;
    /// What the manager logged; for messages of failing tests.
    [[nodiscard]] std::string log() const;

private:
    void prepare();
    void makeControlGroups();
    void start();
    [[nodiscard]] bool isReady() const;
    void end();

    TemporaryFolder folder_;
    std::vector<std::string> controlGroups_;
    pid_t process_ = -1;
    std::string fault_;
};

/// Whether tests that need a machine made for them must fail on one that is not, instead of being
/// skipped: in continuous integration as root.
[[nodiscard]] bool mustRunEverywhere();

} // namespace cutstack
