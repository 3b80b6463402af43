#include "platform/ProgramStarter.h"

#include <cerrno>
#include <csignal>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/SystemErrors.h"

namespace cutstack {

namespace {

/// What the new process gets: no file of ours but the standard ones, and signals as if it had been
/// started from a shell.
class SpawnSettings {
public:
    SpawnSettings() {
        posix_spawn_file_actions_init(&files_);
        posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1);
        posix_spawnattr_init(&attributes_);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes_, &signals);
        sigaddset(&signals, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes_, &signals);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnSettings() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&files_);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    [[nodiscard]] const posix_spawn_file_actions_t* files() const { return &files_; }
    [[nodiscard]] const posix_spawnattr_t* attributes() const { return &attributes_; }

private:
    posix_spawn_file_actions_t files_{};
    posix_spawnattr_t attributes_{};
};

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
        std::vector<std::string> words{path};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<char*> pointers;
        pointers.reserve(words.size() + 1);
        for (std::string& word : words)
            pointers.push_back(word.data());
        pointers.push_back(nullptr);

        const SpawnSettings settings;
        pid_t process = 0;
        const int error = posix_spawn(&process, path.c_str(), settings.files(),
                                      settings.attributes(), pointers.data(), environ);
        return error == 0 ? endOf(process) : failure(error);
    }
};

} // namespace

ProgramStarter& programStarter() {
    static auto& instance = *new ProcessStarter;
    return instance;
}

} // namespace cutstack
