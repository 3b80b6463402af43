#pragma once

// What a comparison needs from whoever runs it: whether to go on, and where its lines go. The
// comparison itself knows no window, no file and no log.

#include <string_view>

namespace cutstack {

/// Called on the thread of the comparison. Whoever runs a comparison decides how the calls reach
/// the window or the log; none of them may throw.
class ComparisonHost {
public:
    virtual ~ComparisonHost() = default;

    /// Whether the user cancelled what a window shows the progress of: `progressCancelled` and
    /// `hasGUI`. Polled at every step, so it must be cheap.
    [[nodiscard]] virtual bool progressCancelled() const = 0;

    /// Ends the progress display and returns when it has ended. Called only after a cancellation.
    virtual void endProgress() = 0;

    /// A line for the application log.
    virtual void appendLog(std::string_view line) = 0;

    /// A line for the system console.
    virtual void console(std::string_view line) = 0;
};

} // namespace cutstack
