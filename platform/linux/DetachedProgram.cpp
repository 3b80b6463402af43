#include "platform/linux/DetachedProgram.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "platform/SystemErrors.h"
#include "platform/linux/ArgumentVector.h"

namespace cutstack {

namespace {

class DetachedSettings {
public:
    DetachedSettings() {
        posix_spawn_file_actions_init(&files_);
        posix_spawn_file_actions_addopen(&files_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        for (const int output : {STDOUT_FILENO, STDERR_FILENO})
            posix_spawn_file_actions_addopen(&files_, output, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1);
        // So that it does not keep a disk from being ejected.
        posix_spawn_file_actions_addchdir_np(&files_, "/");
        posix_spawnattr_init(&attributes_);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes_, &signals);
        sigaddset(&signals, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes_, &signals);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK |
                                                   POSIX_SPAWN_SETSIGDEF);
    }
    ~DetachedSettings() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&files_);
    }
    DetachedSettings(const DetachedSettings&) = delete;
    DetachedSettings& operator=(const DetachedSettings&) = delete;

    [[nodiscard]] const posix_spawn_file_actions_t* files() const { return &files_; }
    [[nodiscard]] const posix_spawnattr_t* attributes() const { return &attributes_; }

private:
    posix_spawn_file_actions_t files_{};
    posix_spawnattr_t attributes_{};
};

/// Waits on a thread that takes no signal from the others.
void awaitEnd(pid_t process, std::function<void()> whenEnded) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        std::thread([process, whenEnded = std::move(whenEnded)] {
            while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR)
                continue;
            whenEnded();
        }).detach();
    } catch (const std::system_error&) {
        // Out of threads: the program runs all the same; only its end goes unnoticed.
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace

bool startDetached(const std::string& program, const std::vector<std::string>& arguments,
                   std::function<void()> whenEnded, std::string& error) {
    const ArgumentVector words(program, arguments);

    const DetachedSettings settings;
    pid_t process = 0;
    const int fault = posix_spawnp(&process, program.c_str(), settings.files(),
                                   settings.attributes(), words.pointers(), environ);
    if (fault != 0) {
        error = wordingOf(fault);
        return false;
    }
    awaitEnd(process, std::move(whenEnded));
    return true;
}

} // namespace cutstack
