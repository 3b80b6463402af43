#include "tools/cutstackctl/LogFiles.h"

#include "platform/ProcessEnvironment.h"
#include "platform/SystemInformation.h"
#include "support/AtomicFile.h"
#include "support/ZTLocalPaths.h"

namespace cutstack::cutstackctl {

namespace {

constexpr int kOldestFile = 5;
constexpr std::size_t kLargestLog = std::size_t{16} << 20; ///< many times what a log grows to

constexpr std::string_view kStarted = "Log started: ";
constexpr std::string_view kDateEnd = " - ";
/// Of "2010-03-14 17:05:09 +0100".
constexpr std::size_t kDateLength = 25;

bool isLogLine(std::string_view line) { return line.substr(0, 30).find(kDateEnd) == kDateLength; }

} // namespace

LogHeader ownLogHeader() {
    return {.date = {},
            .bundleVersion = CUTSTACK_VERSION,
            .executablePath = processEnvironment().executablePath(),
            .system = systemInformation()};
}

std::optional<LogPlace> logPlaceOf(const std::string& appName) {
    const Locations& at = Locations::ofProcess();
    const auto user = ZTLocalPaths::logDirectory(true, at);
    const auto current = ZTLocalPaths::logDirectory(!at.environment.isRoot(), at);
    if (!user || !current)
        return std::nullopt;
    return LogPlace{*user + "/Zantrel", *current + "/Zantrel", appName};
}

std::vector<LogRun> runsInLogs(const LogPlace& place) {
    std::vector<LogRun> runs;
    for (int number = 1; number <= kOldestFile; ++number) {
        std::string error;
        const auto content = readFile(
            number == 1 ? place.currentFile() : place.numberedFile(number), kLargestLog, error);
        if (content)
            runs.push_back(runInLog(*content));
    }
    return runs;
}

LogRun runInLog(std::string_view content) {
    LogRun run;
    while (!content.empty()) {
        const std::size_t end = content.find('\n');
        const std::string_view line = content.substr(0, end);
        content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
        if (run.started.empty() && line.starts_with(kStarted))
            run.started = line.substr(kStarted.size());
        else if (isLogLine(line))
            run.lines.emplace_back(line);
        else if (!run.lines.empty()) // a message of several lines
            run.lines.back().append("\n").append(line);
    }
    return run;
}

std::string messageOfLogLine(std::string_view line) {
    return std::string(isLogLine(line) ? line.substr(kDateLength + kDateEnd.size()) : line);
}

} // namespace cutstack::cutstackctl
