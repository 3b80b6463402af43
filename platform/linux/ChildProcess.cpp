#include "platform/ChildProcess.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <optional>
#include <span>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>
extern "C" { // glibc 2.36 leaves this out
#include <sys/pidfd.h>
}

#include "platform/SystemErrors.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/SpawnSettings.h"

namespace cutstack {

namespace {

/// What a pipe holds unless somebody enlarges it: one read takes all that is in it.
constexpr std::size_t kPipeSize = 65536;

/// waitid() for the process behind `handle`, whatever signals come; nothing when `options` say not
/// to wait and it runs.
std::optional<int> statusOf(const Descriptor& handle, int options) {
    siginfo_t end{};
    const auto id = static_cast<id_t>(handle.number());
    while (waitid(P_PIDFD, id, &end, WEXITED | options) != 0) {
        if (errno != EINTR)
            return ChildProcess::kUnknownStatus;
    }
    return end.si_pid == 0 ? std::nullopt : std::optional(end.si_status);
}

/// Waits for the end of a process that nobody else does, so that no zombie stays.
void reapLater(Descriptor handle) {
    try {
        std::thread([handle = std::move(handle)] { statusOf(handle, 0); }).detach();
    } catch (const std::system_error&) {
        // No thread to be had: the zombie stays until this process ends.
    }
}

/// Waits until one of `watched` is ready, or for no time at all.
void waitFor(std::span<pollfd> watched, bool forNoTime = false) {
    while (poll(watched.data(), watched.size(), forNoTime ? 0 : -1) < 0 && errno == EINTR) {
    }
}

/// Reads once into `data` and returns whether the stream goes on.
bool readOnce(int descriptor, std::string& data) {
    std::array<char, kPipeSize> bytes;
    ssize_t count = 0;
    do
        count = read(descriptor, bytes.data(), bytes.size());
    while (count < 0 && errno == EINTR);
    if (count > 0)
        data.append(bytes.data(), static_cast<std::size_t>(count));
    return count > 0;
}

/// Reads once when `stream` is ready, and no longer watches it when it is at its end.
void readWhenReady(pollfd& stream, std::string& data) {
    if (stream.fd >= 0 && stream.revents != 0 && !readOnce(stream.fd, data))
        stream.fd = -1;
}

/// The reading end of a pipe.
struct Stream {
    std::mutex guard; ///< held while reading
    Descriptor end;
};

/// The descriptors on which a process hangs. The kernel's handle names the process itself and not
/// its number, which another one may have by the time a signal is sent.
struct Handles {
    Descriptor process;
    Descriptor output;
    Descriptor errors;
    Descriptor closing; ///< an event: no more reading
};

class LinuxChild final : public ChildProcess {
public:
    explicit LinuxChild(Handles handles)
        : process_(std::move(handles.process)), closing_(std::move(handles.closing)) {
        output_.end = std::move(handles.output);
        errors_.end = std::move(handles.errors);
    }
    ~LinuxChild() override {
        if (!hasEnded())
            reapLater(std::move(process_));
    }
    LinuxChild(const LinuxChild&) = delete;
    LinuxChild& operator=(const LinuxChild&) = delete;

    bool isRunning() override { return !hasEnded(); }

    int waitUntilExit() override {
        while (!hasEnded()) {
            pollfd end = watch(process_);
            waitFor({&end, 1});
        }
        const std::lock_guard lock(statusGuard_);
        return *status_;
    }

    void terminate() override {
        if (hasEnded())
            return;
        isAskedToEnd_ = true;
        pidfd_send_signal(process_.number(), SIGTERM, nullptr, 0);
    }

    std::string availableOutput() override {
        const std::lock_guard lock(output_.guard);
        std::string data;
        if (!output_.end.isOpen())
            return data;
        std::array watched{watch(output_.end), watch(closing_)};
        waitFor(watched);
        if (watched[1].revents == 0)
            readOnce(output_.end.number(), data);
        return data;
    }

    Collected readToEnd() override {
        const std::scoped_lock lock(output_.guard, errors_.guard);
        Collected data;
        std::array watched{watch(output_.end), watch(errors_.end), watch(closing_),
                           watch(process_)};
        auto& [output, errors, closing, process] = watched;
        while (output.fd >= 0 || errors.fd >= 0) {
            waitFor(watched);
            if (closing.revents != 0)
                break;
            const bool isOver = process.revents != 0 && isAskedToEnd_;
            if (isOver)
                waitFor(watched, true); // what it wrote last
            readWhenReady(output, data.output);
            readWhenReady(errors, data.errors);
            if (isOver)
                break;
            if (process.revents != 0)
                process.fd = -1; // those that it has started may still write
        }
        return data;
    }

    void closeStreams() override {
        if (closing_.isOpen())
            eventfd_write(closing_.number(), 1); // whoever reads lets go
        const std::scoped_lock lock(output_.guard, errors_.guard);
        output_.end = Descriptor();
        errors_.end = Descriptor();
    }

private:
    static pollfd watch(const Descriptor& descriptor) { return {descriptor.number(), POLLIN, 0}; }

    /// Whether the process has ended; if so, its status is kept and the process no zombie.
    bool hasEnded() {
        const std::lock_guard lock(statusGuard_);
        if (!status_)
            status_ = statusOf(process_, WNOHANG);
        return status_.has_value();
    }

    Descriptor process_;
    const Descriptor closing_;
    Stream output_;
    Stream errors_;
    std::atomic<bool> isAskedToEnd_ = false;
    std::mutex statusGuard_;
    std::optional<int> status_;
};

/// A number past those of the standard streams: connecting one of them must not take another's
/// place.
Descriptor pastStandardStreams(int number) {
    Descriptor descriptor(number);
    if (number < 0 || number > STDERR_FILENO)
        return descriptor;
    return Descriptor(fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

/// Connects a standard stream of the new process as `kind` says. Returns whether that went well;
/// errno tells why not. `writing` must stay open until the process has been started.
bool connect(SpawnSettings& settings, int standard, ChildStreams::Output kind, Descriptor& reading,
             Descriptor& writing) {
    if (kind == ChildStreams::Output::nowhere) {
        settings.throwAway(standard);
        return true;
    }
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return false;
    reading = Descriptor(ends[0]);
    writing = pastStandardStreams(ends[1]);
    if (writing.isOpen())
        settings.connect(standard, writing.number());
    return writing.isOpen();
}

/// Connects the streams and starts the process; 0 or the fault.
int start(const std::string& path, const std::vector<std::string>& arguments,
          const ChildStreams& streams, Handles& handles, pid_t& process) {
    SpawnSettings settings;
    settings.throwAway(STDIN_FILENO);
    Descriptor outputEnd;
    Descriptor errorsEnd;
    if (!connect(settings, STDOUT_FILENO, streams.output, handles.output, outputEnd) ||
        !connect(settings, STDERR_FILENO, streams.errors, handles.errors, errorsEnd))
        return errno;
    if (handles.output.isOpen() || handles.errors.isOpen()) {
        handles.closing = Descriptor(eventfd(0, EFD_CLOEXEC));
        if (!handles.closing.isOpen())
            return errno;
    }
    return settings.spawn(path, arguments, process);
}

/// The kernel's handle of a process just started. A process that could not be watched is ended at
/// once; returns the fault then.
int takeHandle(pid_t process, Descriptor& handle) {
    handle = Descriptor(pidfd_open(process, 0));
    if (handle.isOpen())
        return 0;
    const int fault = errno;
    kill(process, SIGKILL); // nobody has waited for it, so the number is still its own
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
    return fault;
}

class LinuxLauncher final : public ChildProcessLauncher {
public:
    std::shared_ptr<ChildProcess> launch(const std::string& path,
                                         const std::vector<std::string>& arguments,
                                         ChildStreams streams, std::string& error) override {
        Handles handles;
        pid_t process = 0;
        int fault = start(path, arguments, streams, handles, process);
        if (fault == 0)
            fault = takeHandle(process, handles.process);
        if (fault == 0)
            return std::make_shared<LinuxChild>(std::move(handles));
        error = wordingOf(fault);
        return nullptr;
    }
};

} // namespace

ChildProcessLauncher& childProcessLauncher() {
    static auto& instance = *new LinuxLauncher;
    return instance;
}

} // namespace cutstack
