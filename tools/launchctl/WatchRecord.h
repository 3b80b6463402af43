#pragma once

// How the watched files of a job were when its last run was started. The record lives as long as
// the user's session, beyond the watcher, which every run of the backup job replaces by another
// one: a watcher that finds a file to be another than in the record starts a run. One process
// writes a record at a time: the watcher, or whoever has stopped it.

#include <map>
#include <string>
#include <vector>

#include "platform/Clock.h"

namespace cutstack::launchctl {

/// The traces of each file (FileStamp.h) as a text; a file that is not there has an empty one.
using Stamps = std::map<std::string, std::string>;

/// How the files at `paths` are now.
[[nodiscard]] Stamps stampsOf(const std::vector<std::string>& paths, const Clock& clock);

/// The same, after a moment in which none of them changed, unless they change all the time.
[[nodiscard]] Stamps settledStampsOf(const std::vector<std::string>& paths, const Clock& clock);

/// Whether a file may have changed from `seen` to `now`. A stamp that was taken so shortly after a
/// change that the next one could have left the same stamp is never trusted.
[[nodiscard]] bool differ(const Stamps& seen, const Stamps& now);

class WatchRecord {
public:
    /// The record of the job whose units are called `stem`, in `folder`.
    WatchRecord(const std::string& folder, const std::string& stem);

    /// The record for the files at `paths`: as it was kept for those that it knows, as they are now
    /// for the others. It has been written when this returns, and what it no longer needs is
    /// forgotten. On failure returns false with the reason in `error`.
    [[nodiscard]] bool takeUp(const std::vector<std::string>& paths, const Clock& clock,
                              Stamps& seen, std::string& error) const;

    /// Keeps `seen`. On failure returns false with the reason in `error`; the old record stays.
    [[nodiscard]] bool write(const Stamps& seen, std::string& error) const;

    /// Puts the record of a removed job aside: a job of that name that is loaded within a minute
    /// finds it again, as it does when jobs are written anew. Returns whether there was one.
    [[nodiscard]] bool putAside() const;
    /// Brings back what was put aside within the last minute.
    void bringBack(const Clock& clock) const;

private:
    [[nodiscard]] Stamps read() const;

    std::string folder_;
    std::string file_;
    std::string aside_;
};

} // namespace cutstack::launchctl
