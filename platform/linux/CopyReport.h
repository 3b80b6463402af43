#pragma once

// How far a copy is, and telling it to an observer, but not at every step. Each object belongs to
// one thread.

#include "platform/FileCopier.h"

#include <algorithm>
#include <chrono>

namespace cutstack {

class CopyReport {
public:
    using Clock = std::chrono::steady_clock;

    /// Tells the observer, if there is one, when `interval` has passed since the last time.
    CopyReport(const FileCopier::Observer& observer, Clock::duration interval)
        : observer_(observer), interval_(interval) {}

    /// Something has been found that is to be copied.
    void addToTotals(std::uint64_t bytes) {
        progress_.totalBytes += bytes;
        ++progress_.totalItems;
    }

    /// `bytes` of the current item have been copied.
    void setBytes(std::uint64_t bytes) {
        progress_.bytesCompleted = std::min(bytesBefore_ + bytes, progress_.totalBytes);
    }

    /// The current item is copied, whose bytes have been set.
    void completeItem() {
        bytesBefore_ = progress_.bytesCompleted;
        ++progress_.itemsCompleted;
    }

    /// Tells the observer if it is time for that. Returns whether to go on: no longer once the
    /// observer has said so.
    [[nodiscard]] bool goesOnWith(const std::string& path) {
        return Clock::now() < next_ ? !isCancelled_ : tells(path);
    }

    /// Tells the observer in any case; returns whether to go on.
    [[nodiscard]] bool tells(const std::string& path) {
        next_ = Clock::now() + interval_;
        progress_.currentItem = path;
        isCancelled_ = isCancelled_ || (observer_ && !observer_(progress_));
        return !isCancelled_;
    }

    [[nodiscard]] bool isCancelled() const { return isCancelled_; }

private:
    const FileCopier::Observer& observer_;
    const Clock::duration interval_;
    Clock::time_point next_ = Clock::now() + interval_;
    CopyProgress progress_;
    std::uint64_t bytesBefore_ = 0; ///< of the items that are completed
    bool isCancelled_ = false;
};

} // namespace cutstack
