#pragma once

// The files of a log: one that is written now and up to four older ones, numbered from 1, the
// newest, to 5. LogFile starts a new file, which moves every older one up by a number, and appends
// lines to it. It knows nothing of messages, queues or threads.
//
// A LogFile is used by one thread at a time. Several processes may write into the same folder: a
// line is a single write at the end of the file, so lines stay whole, and a process keeps writing
// into the file that it opened after another process has moved it up.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/SystemInformation.h"
#include "platform/SystemLog.h"

namespace cutstack {

/// Where a log's files are. The two differ only for root: its current file stands in the machine's
/// Library while the user's log folder is the one that is made and rotated, deliberately.
struct LogPlace {
    std::string folder;  ///< holds the older files, and mostly the current one
    std::string current; ///< folder of the current file
    std::string appName; ///< base name of the files

    /// "FOLDER/NAME.1.log": the file to write.
    [[nodiscard]] std::string currentFile() const;
    /// "FOLDER/NAME.N.log" in the folder that is rotated.
    [[nodiscard]] std::string numberedFile(int number) const;
};

/// What the head of a log file tells.
struct LogHeader {
    std::string date;                          ///< dateDescription() of the start
    std::optional<std::string> bundleVersion;  ///< line left out without one
    std::optional<std::string> executablePath; ///< line left out without one
    SystemInformation system;

    [[nodiscard]] std::string text() const;
};

class LogFile {
public:
    /// Failures to start a file are reported to `console`, which must outlive this.
    explicit LogFile(SystemLog& console) : console_(console) {}
    ~LogFile() { close(); }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Closes the file that was written so far, moves the older ones up by a number (number 5 is
    /// deleted) and starts a new one with `header`.
    ///
    /// When a step fails, the console is told and no file is open; files that were moved by then
    /// stay moved.
    void start(const LogPlace& place, std::string_view header);

    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }

    /// Opens the file at `path`, which must exist, for writing at its end. Returns whether it is
    /// open then.
    bool open(const std::string& path);

    /// Appends `line` as it is. On failure returns false with the system's wording in `error`;
    /// a part of the line may have been written.
    /// REQUIRES: a file is open.
    [[nodiscard]] bool write(std::string_view line, std::string& error);

    /// Closes the file if one is open, and begins to count anew.
    void close();

    /// What write() has written since start() or close() was called last, headers not counted.
    [[nodiscard]] std::size_t bytesWritten() const { return bytesWritten_; }

private:
    [[nodiscard]] bool makeFolder(const std::string& folder);
    [[nodiscard]] bool rotate(const LogPlace& place);

    SystemLog& console_;
    int descriptor_ = -1;
    std::size_t bytesWritten_ = 0;
};

} // namespace cutstack
