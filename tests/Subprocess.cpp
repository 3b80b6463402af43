#include "tests/Subprocess.h"

#include "tests/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace cutstack {

Finished finished(const std::vector<std::string>& arguments, const std::string& input) {
    // Files instead of pipes: nothing can fill up and block.
    const TemporaryFolder folder;
    const std::string files[] = {folder / "input", folder / "output", folder / "errors"};
    writeContent(files[0], input);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, files[0].c_str(), O_RDONLY, 0);
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, descriptor, files[descriptor].c_str(),
                                         O_WRONLY | O_CREAT, 0600);
    std::vector<std::string> words = arguments;
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t process = -1;
    const int failure = posix_spawn(&process, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(failure, 0) << arguments[0];
    if (failure != 0)
        return {};
    int status = 0;
    waitpid(process, &status, 0);
    return {WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status), contentOf(files[1]),
            contentOf(files[2])};
}

/// Runs `work` in a process of its own that is not root, and tells whether it returned true.
bool asOrdinaryUser(const std::function<bool()>& work) {
    constexpr uid_t kNobody = 65534;
    const pid_t child = fork();
    if (child == 0) {
        const bool isOrdinary = getuid() != 0 || setuid(kNobody) == 0;
        _exit(isOrdinary && work() ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status == 0;
}

} // namespace cutstack
