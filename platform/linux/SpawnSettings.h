#pragma once

// How this process starts others: with no file of its own but the standard ones, with signals as if
// they had been started from a shell, and without one. Each object starts one process and belongs
// to one thread.

#include <string>
#include <vector>

#include <spawn.h>
#include <sys/types.h>

namespace cutstack {

class SpawnSettings {
public:
    SpawnSettings();
    ~SpawnSettings();
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    /// Makes the standard stream with the number `standard` the null device, or the open
    /// `descriptor`, which is none of the standard ones. Without either it is this process's own.
    /// Both keep the first fault that befalls them for spawn().
    void throwAway(int standard);
    void connect(int standard, int descriptor);

    /// Starts the program at `path` with `arguments`, its own name not among them. Returns 0 with
    /// the new process in `process`, which is then the caller's to wait for, or the number of the
    /// fault: EINVAL for a text with a zero byte, which no program could be given whole. To be
    /// called once.
    [[nodiscard]] int spawn(const std::string& path, const std::vector<std::string>& arguments,
                            pid_t& process);

private:
    void keep(int fault);

    posix_spawn_file_actions_t files_{};
    posix_spawnattr_t attributes_{};
    int fault_ = 0;
};

} // namespace cutstack
