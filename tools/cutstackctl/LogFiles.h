#pragma once

// The log files that Cutstack's programs leave, and how to read them: a file for each run, the
// newest one called "NAME.1.log". Any thread.

#include "support/LogFile.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack::cutstackctl {

struct LogRun {
    std::string started;            ///< "2010-03-14 17:05:09 +0100"
    std::vector<std::string> lines; ///< behind the head of the file, with their dates
};

/// What the head of this program's own log says, without the date.
[[nodiscard]] LogHeader ownLogHeader();

/// Where this user's logs of the program with that name are; nothing for a user without a home.
[[nodiscard]] std::optional<LogPlace> logPlaceOf(const std::string& appName);

/// The runs whose files can be read, the newest first.
[[nodiscard]] std::vector<LogRun> runsInLogs(const LogPlace& place);

/// What a log file of that content tells.
[[nodiscard]] LogRun runInLog(std::string_view content);

/// The line without its date.
[[nodiscard]] std::string messageOfLogLine(std::string_view line);

} // namespace cutstack::cutstackctl
