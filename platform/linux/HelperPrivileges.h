#pragma once

// The rights of an administrator on Linux: the privileged helper, started by pkexec, which asks the
// desktop's agent, or by sudo. Any thread; while one asks a person, others may find out whether the
// rights are there and use them.

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/Privileges.h"
#include "platform/linux/HelperProcess.h"

namespace cutstack {

/// Where the programs are that it takes.
struct PrivilegePrograms {
    std::string helper; ///< it and the folders above it are root's alone, or it is not run
    std::string pkexec = "/usr/bin/pkexec";
    std::string sudo = "/usr/bin/sudo";
};

class HelperPrivileges final : public Privileges {
public:
    explicit HelperPrivileges(PrivilegePrograms programs);

    [[nodiscard]] int faultOfMeans(std::string& error) override;
    [[nodiscard]] bool areObtained() override;

    /// Asks through pkexec; where that cannot ask, through sudo for what it gives without asking,
    /// and then through sudo with the program that SUDO_ASKPASS names. Who says no to one is not
    /// asked by the next.
    [[nodiscard]] bool obtain(std::string& error) override;

    /// Through sudo, which knows the users of this process only: any other user's name is refused.
    [[nodiscard]] bool obtainAs(const std::string& user, const std::string& password,
                                std::string& error) override;

    void giveUp() override;
    [[nodiscard]] std::optional<int> run(const std::string& tool,
                                         const std::vector<std::string>& arguments, bool waits,
                                         std::string& error) override;

private:
    [[nodiscard]] std::shared_ptr<HelperProcess> helper();
    void setHelper(std::shared_ptr<HelperProcess> helper);
    [[nodiscard]] std::vector<HelperStart> waysToAsk() const;

    const PrivilegePrograms programs_;
    std::mutex asking_; ///< one asks at a time; taken before guard_
    std::mutex guard_;  ///< of helper_
    std::shared_ptr<HelperProcess> helper_;
};

} // namespace cutstack
