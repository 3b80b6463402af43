#include "platform/ProgramStarter.h"

#include <cerrno>

#include <sys/wait.h>

#include "platform/SystemErrors.h"
#include "platform/linux/SpawnSettings.h"

namespace cutstack {

namespace {

ProgramEnd failure(int error) { return {std::nullopt, wordingOf(error)}; }

ProgramEnd endOf(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR)
            return failure(errno);
    }
    return {WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status), {}};
}

class ProcessStarter final : public ProgramStarter {
public:
    ProgramEnd run(const std::string& path, const std::vector<std::string>& arguments) override {
        pid_t process = 0;
        const int error = SpawnSettings().spawn(path, arguments, process);
        return error == 0 ? endOf(process) : failure(error);
    }
};

} // namespace

ProgramStarter& programStarter() {
    static auto& instance = *new ProcessStarter;
    return instance;
}

} // namespace cutstack
