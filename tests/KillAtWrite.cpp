#include "tests/KillAtWrite.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <set>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace cutstack {

namespace {

struct WritingCall {
    long number;
    const char* name;
    int descriptorArgument = -1; ///< counts only where this is a regular file or a folder
};

constexpr std::array kWritingCalls{
    WritingCall{SYS_write, "write", 0},
    WritingCall{SYS_pwrite64, "pwrite64", 0},
    WritingCall{SYS_writev, "writev", 0},
    WritingCall{SYS_pwritev, "pwritev", 0},
    WritingCall{SYS_copy_file_range, "copy_file_range"},
    WritingCall{SYS_sendfile, "sendfile", 0},
    WritingCall{SYS_ftruncate, "ftruncate", 0},
    WritingCall{SYS_fallocate, "fallocate", 0},
    WritingCall{SYS_fsync, "fsync"},
    WritingCall{SYS_fdatasync, "fdatasync"},
    WritingCall{SYS_renameat, "renameat"},
    WritingCall{SYS_renameat2, "renameat2"},
    WritingCall{SYS_linkat, "linkat"},
    WritingCall{SYS_symlinkat, "symlinkat"},
    WritingCall{SYS_unlinkat, "unlinkat"},
    WritingCall{SYS_mkdirat, "mkdirat"},
    WritingCall{SYS_fchmod, "fchmod"},
    WritingCall{SYS_fchmodat, "fchmodat"},
    WritingCall{SYS_fchown, "fchown"},
    WritingCall{SYS_fchownat, "fchownat"},
    WritingCall{SYS_utimensat, "utimensat"},
    WritingCall{SYS_setxattr, "setxattr"},
    WritingCall{SYS_lsetxattr, "lsetxattr"},
    WritingCall{SYS_fsetxattr, "fsetxattr"},
#ifdef SYS_rename // calls that newer machines do not have
    WritingCall{SYS_rename, "rename"},
    WritingCall{SYS_link, "link"},
    WritingCall{SYS_symlink, "symlink"},
    WritingCall{SYS_unlink, "unlink"},
    WritingCall{SYS_rmdir, "rmdir"},
    WritingCall{SYS_mkdir, "mkdir"},
    WritingCall{SYS_chmod, "chmod"},
    WritingCall{SYS_chown, "chown"},
#endif
};

bool isFileOfTracee(pid_t tracee, std::uint64_t descriptor) {
    struct stat facts {};
    const std::string path =
        "/proc/" + std::to_string(tracee) + "/fd/" + std::to_string(descriptor);
    return ::stat(path.c_str(), &facts) == 0 && (S_ISREG(facts.st_mode) || S_ISDIR(facts.st_mode));
}

/// The name of the call that `tracee` is about to make, if it changes files.
const char* writingCall(pid_t tracee) {
    __ptrace_syscall_info info{};
    if (::ptrace(PTRACE_GET_SYSCALL_INFO, tracee, sizeof info, &info) <= 0 ||
        info.op != PTRACE_SYSCALL_INFO_ENTRY)
        return nullptr;
    const auto number = static_cast<long>(info.entry.nr);
    if (number == SYS_openat)
        return (info.entry.args[2] & O_CREAT) != 0 ? "openat" : nullptr;
    for (const WritingCall& call : kWritingCalls) {
        if (call.number != number)
            continue;
        const bool counts =
            call.descriptorArgument < 0 ||
            isFileOfTracee(tracee,
                           info.entry.args[static_cast<std::size_t>(call.descriptorArgument)]);
        return counts ? call.name : nullptr;
    }
    return nullptr;
}

std::vector<char*> pointersTo(const std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str())); // NOLINT: execve takes them so
    pointers.push_back(nullptr);
    return pointers;
}

/// Between fork and exec of a program with threads nothing may be allocated.
[[noreturn]] void becomeTracee(const std::vector<char*>& words,
                               const std::vector<char*>& variables) {
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 && ::raise(SIGSTOP) == 0)
        ::execve(words[0], words.data(), variables.data());
    ::_exit(126);
}

/// A program and everything that it starts, traced from call to call.
class Tracing {
public:
    Tracing(pid_t program, std::size_t killAt) : program_(program), killAt_(killAt) {}

    TracedRun run() {
        while (!tracees_.empty()) {
            int status = 0;
            const pid_t tracee = ::waitpid(-1, &status, __WALL);
            if (tracee < 0 && errno == EINTR)
                continue;
            if (tracee < 0)
                break;
            takeStop(tracee, status);
        }
        return run_;
    }

private:
    void takeStop(pid_t tracee, int status) {
        if (WIFEXITED(status) || WIFSIGNALED(status)) {
            tracees_.erase(tracee);
            if (tracee == program_ && WIFEXITED(status))
                run_.status = WEXITSTATUS(status);
            return;
        }
        tracees_.insert(tracee);
        int signal = WSTOPSIG(status);
        const bool isCall = signal == (SIGTRAP | 0x80);
        const bool isEvent = (status >> 16) != 0 || signal == SIGSTOP;
        if (isCall && !run_.wasKilled)
            takeCall(tracee);
        if (isCall || isEvent)
            signal = 0;
        ::ptrace(PTRACE_SYSCALL, tracee, nullptr, static_cast<long>(signal));
    }

    void takeCall(pid_t tracee) {
        const char* const call = writingCall(tracee);
        if (call == nullptr || ++run_.points != killAt_)
            return;
        run_.wasKilled = true;
        run_.call = call;
        for (const pid_t each : tracees_)
            ::kill(each, SIGKILL);
    }

    const pid_t program_;
    const std::size_t killAt_;
    std::set<pid_t> tracees_{program_};
    TracedRun run_;
};

} // namespace

std::optional<TracedRun> runKilledAt(std::size_t point, const std::vector<std::string>& arguments,
                                     const std::vector<std::string>& environment) {
    const auto words = pointersTo(arguments);
    const auto variables = pointersTo(environment);
    const pid_t program = ::fork();
    if (program == 0)
        becomeTracee(words, variables);
    int status = 0;
    if (program < 0 || ::waitpid(program, &status, 0) != program || !WIFSTOPPED(status))
        return std::nullopt;
    constexpr long kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK |
                              PTRACE_O_TRACEVFORK | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
    if (::ptrace(PTRACE_SETOPTIONS, program, nullptr, kOptions) != 0 ||
        ::ptrace(PTRACE_SYSCALL, program, nullptr, nullptr) != 0) {
        ::kill(program, SIGKILL);
        ::waitpid(program, &status, 0);
        return std::nullopt;
    }
    return Tracing(program, point).run();
}

} // namespace cutstack
