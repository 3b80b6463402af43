#pragma once

// Watching files for every change of content or name: writing in place, saving by rename, making,
// removing. A file need not exist, and neither need the folders above it; they are watched for as
// they come and go. A file that is a link is watched where it leads to as well.

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace cutstack {

class FileWatch {
public:
    virtual ~FileWatch() = default;

    /// Waits until something happens to a watched file, wake() is called, or `longest` has passed
    /// (never, when it is negative). Returns the paths of the files that something happened to
    /// since the last call, each once, as they were given; none after a wake() or in time. When so
    /// much happens that the system loses count, all are returned: a change may be reported that
    /// was none, but none is missed. One thread at a time.
    [[nodiscard]] virtual std::vector<std::string> wait(std::chrono::milliseconds longest) = 0;

    /// Ends a wait() that is under way, or the next one. Any thread.
    virtual void wake() = 0;
};

/// Watches the files at `paths`, which are absolute, from now on; any number of them takes one
/// place among the watches that the system grants a user, and one more for each folder. Where a
/// folder cannot be watched, be it now or later, all files are looked at every two seconds instead,
/// until it can be. On failure returns nullptr with the reason in `error`.
[[nodiscard]] std::unique_ptr<FileWatch> watchFiles(const std::vector<std::string>& paths,
                                                    std::string& error);

} // namespace cutstack
