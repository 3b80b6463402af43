#pragma once

// A log as the program writes it: messages from any thread, put in a queue and written one line at
// a time, in the order of the queue, by a thread of the log's own. ZTLog is the process's one
// LogWriter; a test makes its own.
//
// A caller does not wait for the disk, except for short messages while little is queued: those are
// in the file when the call returns, so that the last words before a crash are found there.
//
//   appendLog ──> queue ──> own thread ──> LogFile ──(500 KB)──> a new file
//                                             └── failures ──> system log
//
// A log never fails towards its callers; what it cannot write goes to the system log.

#include <array>
#include <atomic>
#include <concepts>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>

#include "platform/Clock.h"
#include "platform/SystemLog.h"
#include "support/Format.h"
#include "support/LogFile.h"
#include "support/ZTLocalPaths.h"

namespace cutstack {

/// What a log needs from outside. All of it must outlive the log.
struct LogServices {
    const Locations& locations;
    const Clock& clock;
    SystemLog& console;
    /// What the header says besides the date, which the log fills in.
    std::function<LogHeader()> header;
};

class LogWriter {
public:
    explicit LogWriter(LogServices services);
    /// Writes what is queued.
    ~LogWriter();
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    /// Writes what is queued, then starts a new file. To be called at the start, before other
    /// threads log. The file is named after the executable; `name` counts only where that has
    /// none.
    void createNewLog(std::optional<std::string_view> name);

    /// Fills in `format`, trims it, and queues it as one line. Without a format nothing happens.
    void appendLog(std::optional<std::string_view> format,
                   std::span<const FormatArgument> arguments = {});

    /// The same for arguments that are written out: appendLog("%@ has %i", name, count).
    template <std::convertible_to<FormatArgument>... Arguments>
    void appendLog(std::optional<std::string_view> format, const Arguments&... arguments) {
        appendLog(format, std::array{FormatArgument(arguments)...});
    }

    /// Logs the trimmed and filled-in `format` and writes it to the system log too. What is logged
    /// goes through appendLog() as its format, so that a per-cent sign in an argument counts a
    /// second time, deliberately.
    void appendLogAndPrint(std::optional<std::string_view> format,
                           std::span<const FormatArgument> arguments = {});

    /// Returns when every queued line has been written; at once on the log's own thread.
    void finishWriting();

    /// The system log that this log reports to.
    [[nodiscard]] SystemLog& console() const { return services_.console; }

private:
    void enqueue(std::string message);
    void writeQueue();
    void appendLogOnThread(const std::string& message);
    void writeWithinCap(const std::string& message);
    [[nodiscard]] bool writeLine(const std::string& message);
    void startFile();
    bool openFile();
    [[nodiscard]] std::optional<LogPlace> place() const;
    [[nodiscard]] std::string appName() const;

    const LogServices services_;
    std::atomic<std::uint32_t> bytesInQueue_ = 0; ///< UTF-16 units, a measure of the load only

    std::mutex fileGuard_; ///< of the file and the name
    LogFile file_;
    std::string appName_;

    std::mutex queueGuard_; ///< of everything below; never taken before fileGuard_
    std::condition_variable queueFilled_;
    std::condition_variable queueWritten_;
    std::deque<std::string> queue_;
    bool isWriting_ = false;
    bool isStopping_ = false;
    std::thread thread_; ///< started by the first message
};

} // namespace cutstack
