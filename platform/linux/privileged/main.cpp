// The privileged helper. An administrator's tool (pkexec, sudo) starts it as root for the program;
// its standard input is one end of a pair of sockets that the program made. It says that it is
// ready, does what the table in Commands.cpp lets it, and ends when the program does or closes its
// end. Tools that still run then go on to their end.

#include <array>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/SystemErrors.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/PrivilegedProtocol.h"
#include "platform/linux/privileged/Caller.h"
#include "platform/linux/privileged/Commands.h"
#include "platform/linux/privileged/ToolRunner.h"

namespace cutstack {
namespace {

using Kind = PrivilegedAnswer::Kind;

/// The user whom the tool that gave the rights names.
std::optional<uid_t> userWhoAsked() {
    for (const char* variable : {"PKEXEC_UID", "SUDO_UID"}) {
        const char* text = std::getenv(variable);
        if (text == nullptr)
            continue;
        uid_t user = 0;
        const auto [end, fault] = std::from_chars(text, text + std::strlen(text), user);
        return fault == std::errc() && *end == '\0' ? std::optional(user) : std::nullopt;
    }
    return std::nullopt;
}

/// Takes the socket away from standard input and leaves nothing else open that was inherited.
Descriptor takenSocket() {
    Descriptor socket(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!socket.isOpen() || !nothing.isOpen())
        return Descriptor();
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (dup2(nothing.number(), stream) < 0)
            return Descriptor();
    }
    return socket;
}

/// Closes what else was inherited, and settles how files are made and where names begin.
bool settle() {
    umask(022);
    return clearenv() == 0 && chdir("/") == 0 && close_range(STDERR_FILENO + 1, ~0U, 0) == 0;
}

PrivilegedAnswer answerTo(const std::string& frame, const Caller& caller) {
    const auto request = decodedRequest(frame);
    if (!request)
        return {Kind::refused, 0, "this is no request"};
    std::string refusal;
    const auto command = commandFor(*request, refusal);
    if (!command)
        return {Kind::refused, 0, refusal};
    if (auto reason = refusalFor(*command, caller))
        return {Kind::refused, 0, *reason};
    return answerOfRunning(*command, request->waits);
}

/// A descriptor that is readable when tools have ended.
Descriptor endsOfTools() {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGCHLD);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    return Descriptor(signalfd(-1, &ends, SFD_CLOEXEC | SFD_NONBLOCK));
}

/// A descriptor that is readable when the process has ended. Systems that have none leave it to
/// the socket, which tells the same unless a copy of its other end lives on elsewhere.
Descriptor endOf(pid_t process) {
    return Descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
}

bool serveOne(int socket, const Caller& caller) {
    std::string error;
    const auto frame = receiveFrame(socket, error);
    return frame && sendFrame(socket, encoded(answerTo(*frame, caller)), error);
}

void serve(int socket, const Caller& caller) {
    const Descriptor tools = endsOfTools();
    const Descriptor callersEnd = endOf(caller.process);
    std::string error;
    if (!sendFrame(socket, encoded({Kind::ready, kPrivilegedProtocolVersion, {}}), error))
        return;
    for (;;) {
        std::array<pollfd, 3> waited = {
            {{socket, POLLIN, 0}, {tools.number(), POLLIN, 0}, {callersEnd.number(), POLLIN, 0}}};
        if (poll(waited.data(), waited.size(), -1) < 0 && errno != EINTR)
            return;
        signalfd_siginfo ended{};
        while (tools.isOpen() && read(tools.number(), &ended, sizeof ended) > 0) {
        }
        forgetEndedTools();
        if (waited[2].revents != 0 || (waited[0].revents != 0 && !serveOne(socket, caller)))
            return;
    }
}

int runHelper() {
    const auto complain = [](const std::string& reason) {
        std::fprintf(stderr, "cutstack-privileged: %s\n", reason.c_str());
        return EXIT_FAILURE;
    };
    if (getuid() != 0 || geteuid() != 0)
        return complain("this runs as root only; Cutstack starts it");
    std::string error;
    const auto caller = callerBehind(STDIN_FILENO, userWhoAsked(), error);
    if (!caller)
        return complain(error);
    if (!settle())
        return complain(wordingOf(errno));
    const Descriptor socket = takenSocket();
    if (!socket.isOpen())
        return EXIT_FAILURE;
    serve(socket.number(), *caller);
    return EXIT_SUCCESS;
}

} // namespace
} // namespace cutstack

int main() {
    try {
        return cutstack::runHelper();
    } catch (...) {
        return EXIT_FAILURE;
    }
}
