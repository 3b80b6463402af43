#include "platform/linux/privileged/ToolRunner.h"

#include <cerrno>

#include <sys/wait.h>

#include "platform/SystemErrors.h"
#include "platform/linux/SessionProcess.h"

namespace cutstack {

namespace {

PrivilegedAnswer refusal(int fault) {
    return {PrivilegedAnswer::Kind::refused, 0, wordingOf(fault)};
}

} // namespace

PrivilegedAnswer answerOfRunning(const PrivilegedCommand& command, bool waits) {
    std::vector<std::string> words{command.program};
    words.insert(words.end(), command.options.begin(), command.options.end());
    words.insert(words.end(), command.operands.begin(), command.operands.end());
    pid_t process = 0;
    const int fault =
        startInOwnSession(std::move(words), {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C"},
                          {-1, -1, -1}, process);
    if (fault != 0)
        return refusal(fault);
    const int status = waits ? exitStatusOf(process) : 0;
    return status < 0 ? refusal(errno)
                      : PrivilegedAnswer{PrivilegedAnswer::Kind::status, status, {}};
}

void forgetEndedTools() {
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

} // namespace cutstack
