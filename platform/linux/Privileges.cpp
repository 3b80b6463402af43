#include "platform/Privileges.h"

#include <cerrno>
#include <cstdlib>
#include <utility>

#include <unistd.h>

#include "platform/linux/HelperPrivileges.h"
#include "platform/linux/TrustedFile.h"
#include "platform/linux/UserDatabase.h"

namespace cutstack {

namespace {

/// What pkexec answers when the person closed its question.
constexpr int kDismissed = 126;

} // namespace

HelperPrivileges::HelperPrivileges(PrivilegePrograms programs) : programs_(std::move(programs)) {}

int HelperPrivileges::faultOfMeans(std::string& error) {
    if (const auto distrust = distrustOfProgram(programs_.helper)) {
        error = distrust->reason;
        return distrust->fault;
    }
    if (access(programs_.pkexec.c_str(), X_OK) != 0 && access(programs_.sudo.c_str(), X_OK) != 0) {
        error = "neither " + programs_.pkexec + " nor " + programs_.sudo + " is there";
        return ENOENT;
    }
    return 0;
}

std::shared_ptr<HelperProcess> HelperPrivileges::helper() {
    const std::lock_guard lock(guard_);
    return helper_;
}

void HelperPrivileges::setHelper(std::shared_ptr<HelperProcess> helper) {
    // The one before ends outside the lock: that may take a moment.
    const std::lock_guard lock(guard_);
    helper_.swap(helper);
}

bool HelperPrivileges::areObtained() {
    const auto current = helper();
    return current != nullptr && current->isAlive();
}

std::vector<HelperStart> HelperPrivileges::waysToAsk() const {
    std::vector<HelperStart> ways;
    if (access(programs_.pkexec.c_str(), X_OK) == 0)
        ways.push_back({{programs_.pkexec, "--disable-internal-agent", programs_.helper}, true});
    if (access(programs_.sudo.c_str(), X_OK) == 0) {
        ways.push_back({{programs_.sudo, "-n", "--", programs_.helper}});
        if (std::getenv("SUDO_ASKPASS") != nullptr)
            ways.push_back({{programs_.sudo, "-A", "--", programs_.helper}, true});
    }
    return ways;
}

bool HelperPrivileges::obtain(std::string& error) {
    const std::lock_guard lock(asking_);
    if (areObtained())
        return true;
    if (faultOfMeans(error) != 0)
        return false;
    error.clear();
    for (const HelperStart& way : waysToAsk()) {
        HelperFailure failure;
        if (auto started = HelperProcess::started(way, failure)) {
            setHelper(std::move(started));
            return true;
        }
        error += (error.empty() ? "" : "; ") + failure.reason;
        if (way.asksPerson && failure.status == kDismissed)
            return false;
    }
    return false;
}

bool HelperPrivileges::obtainAs(const std::string& user, const std::string& password,
                                std::string& error) {
    const std::lock_guard lock(asking_);
    if (faultOfMeans(error) != 0)
        return false;
    const auto own = userWithId(getuid());
    if (!own || own->name != user) {
        error = "only the password of the user who runs this program can be used";
        return false;
    }
    if (password.find_first_of(std::string_view("\n\r\0", 3)) != std::string::npos) {
        error = "the password is not one line of text";
        return false;
    }
    HelperFailure failure;
    // What sudo remembers of an earlier password must not stand in for this one.
    auto started = HelperProcess::started(
        {{programs_.sudo, "-S", "-k", "-p", kPasswordPrompt, "--", programs_.helper},
         false,
         &password},
        failure);
    if (started == nullptr) {
        error = failure.reason;
        return false;
    }
    setHelper(std::move(started));
    return true;
}

void HelperPrivileges::giveUp() { setHelper(nullptr); }

std::optional<int> HelperPrivileges::run(const std::string& tool,
                                         const std::vector<std::string>& arguments, bool waits,
                                         std::string& error) {
    const auto current = helper();
    if (current == nullptr) {
        error = "there are no administrator rights";
        return std::nullopt;
    }
    const auto answer = current->answerTo({waits, tool, arguments}, error);
    if (!answer)
        return std::nullopt;
    if (answer->kind != PrivilegedAnswer::Kind::status) {
        error = answer->text;
        return std::nullopt;
    }
    return answer->number;
}

Privileges& privileges() {
    static auto& instance = *new HelperPrivileges({.helper = CUTSTACK_PRIVILEGED_HELPER});
    return instance;
}

} // namespace cutstack
