#include "platform/linux/SessionProcess.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace cutstack {

namespace {

class Settings {
public:
    explicit Settings(const StandardStreams& streams) {
        posix_spawn_file_actions_init(&files_);
        for (int stream = 0; const int source : streams) {
            if (source < 0)
                posix_spawn_file_actions_addopen(&files_, stream, "/dev/null", O_RDWR, 0);
            else
                posix_spawn_file_actions_adddup2(&files_, source, stream);
            ++stream;
        }
        posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1);
        posix_spawnattr_init(&attributes_);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes_, &signals);
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&attributes_, &signals);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                   POSIX_SPAWN_SETSID);
    }
    ~Settings() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&files_);
    }
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;

    [[nodiscard]] const posix_spawn_file_actions_t* files() const { return &files_; }
    [[nodiscard]] const posix_spawnattr_t* attributes() const { return &attributes_; }

private:
    posix_spawn_file_actions_t files_{};
    posix_spawnattr_t attributes_{};
};

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

int startInOwnSession(std::vector<std::string> words, std::vector<std::string> environment,
                      const StandardStreams& streams, pid_t& process) {
    const Settings settings(streams);
    return posix_spawn(&process, words.front().c_str(), settings.files(), settings.attributes(),
                       pointersTo(words).data(), pointersTo(environment).data());
}

int exitStatusOf(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace cutstack
