#pragma once

// The console: where the program reports what its own log cannot take, and what an administrator
// should see. Any thread may write; lines of different threads and processes never mix.

#include <string_view>

namespace cutstack {

class SystemLog {
public:
    virtual ~SystemLog() = default;

    /// Writes `message` as one line that also names the time, the program and the process; a line
    /// feed or carriage return in it shows as "\n" or "\r". Has no result: there is nowhere left
    /// to report a failure to.
    virtual void log(std::string_view message) = 0;
};

/// The system's own log. Lives as long as the process.
[[nodiscard]] SystemLog& systemLog();

} // namespace cutstack
