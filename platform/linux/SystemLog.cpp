#include "platform/SystemLog.h"

#include <cerrno>
#include <ctime>
#include <string>

#include <unistd.h>

namespace cutstack {

namespace {

/// "2010-03-14 17:05:09.123 Cutstack[4711] ", in local time.
std::string linePrefix() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char time[64];
    std::strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", &local);
    const std::string milliseconds = std::to_string(1000 + now.tv_nsec / 1'000'000).substr(1);
    return std::string(time) + "." + milliseconds + " " + program_invocation_short_name + "[" +
           std::to_string(getpid()) + "] ";
}

/// Texts of others, a file's name or an exception's reason, must not look like lines of their own.
std::string onOneLine(std::string_view message) {
    std::string line;
    line.reserve(message.size());
    for (const char letter : message) {
        if (letter == '\n')
            line += "\\n";
        else if (letter == '\r')
            line += "\\r";
        else
            line += letter;
    }
    return line;
}

/// Standard error; the journal keeps it for units. A line goes out in one write, so that the lines
/// of processes that share it stay whole; only a pipe that takes less gets the rest after it.
class StandardErrorLog final : public SystemLog {
public:
    void log(std::string_view message) override {
        const std::string line = linePrefix() + onOneLine(message) + "\n";
        for (std::string_view rest = line; !rest.empty();) {
            const ssize_t written = write(STDERR_FILENO, rest.data(), rest.size());
            if (written < 0 && errno != EINTR)
                return;
            rest.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
        }
    }
};

} // namespace

SystemLog& systemLog() {
    // Never destroyed: threads may still write while the process ends.
    static auto& instance = *new StandardErrorLog;
    return instance;
}

} // namespace cutstack
