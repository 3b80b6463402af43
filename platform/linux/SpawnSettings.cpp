#include "platform/linux/SpawnSettings.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/ArgumentVector.h"

namespace cutstack {

namespace {

bool hasZeroByte(const std::string& text) { return text.find('\0') != std::string::npos; }

} // namespace

SpawnSettings::SpawnSettings() {
    keep(posix_spawn_file_actions_init(&files_));
    keep(posix_spawnattr_init(&attributes_));
    sigset_t signals;
    sigemptyset(&signals);
    keep(posix_spawnattr_setsigmask(&attributes_, &signals));
    sigaddset(&signals, SIGPIPE);
    keep(posix_spawnattr_setsigdefault(&attributes_, &signals));
    keep(posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
}

SpawnSettings::~SpawnSettings() {
    posix_spawnattr_destroy(&attributes_);
    posix_spawn_file_actions_destroy(&files_);
}

void SpawnSettings::keep(int fault) {
    if (fault_ == 0)
        fault_ = fault;
}

void SpawnSettings::throwAway(int standard) {
    const int mode = standard == STDIN_FILENO ? O_RDONLY : O_WRONLY;
    keep(posix_spawn_file_actions_addopen(&files_, standard, "/dev/null", mode, 0));
}

void SpawnSettings::connect(int standard, int descriptor) {
    keep(posix_spawn_file_actions_adddup2(&files_, descriptor, standard));
}

int SpawnSettings::spawn(const std::string& path, const std::vector<std::string>& arguments,
                         pid_t& process) {
    if (hasZeroByte(path) || std::any_of(arguments.begin(), arguments.end(), hasZeroByte))
        return EINVAL;
    // Last, for the streams come from descriptors that it closes.
    keep(posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1));
    if (fault_ != 0)
        return fault_;

    const ArgumentVector words(path, arguments);
    return posix_spawn(&process, path.c_str(), &files_, &attributes_, words.pointers(), environ);
}

} // namespace cutstack
