#pragma once

// The screen, as the core sees it. Whoever has work that a person may want to follow or must decide
// about is handed a UserInterface, or nullptr in a run without a window: "has a GUI" means just
// that there is one.
//
// performOnMainThread() and performOnMainThreadAndWait() may be called on any thread; everything
// else only on the main thread, which is what those two are for. Nothing here may throw.

#include <functional>
#include <string>
#include <string_view>

namespace cutstack {

/// A question or a warning. Empty titles leave their button out.
struct Alert {
    std::string messageText;
    std::string informativeText;
    std::string defaultButton = "OK";
    std::string alternateButton;
    std::string otherButton;
};

/// Shows how far long work is. Used on the main thread.
class ProgressDisplay {
public:
    virtual ~ProgressDisplay() = default;

    /// Shows that long work has begun, without a measure until setDeterminateProgress().
    virtual void startProgress() = 0;
    /// The work has `steps` steps; none is done yet.
    virtual void setDeterminateProgress(double steps) = 0;
    virtual void incrementProgressBar() = 0;
    /// Takes the display away; does nothing when there is none.
    virtual void endProgress() = 0;
};

class UserInterface : public ProgressDisplay {
public:
    /// Runs `work` on the main thread some time later and returns at once.
    virtual void performOnMainThread(std::function<void()> work) = 0;

    /// Runs `work` on the main thread and returns when it is done; at once on the main thread.
    virtual void performOnMainThreadAndWait(const std::function<void()>& work) = 0;

    /// Shows an alert and waits for the answer: 1 for the default button, 0 for the alternate one,
    /// -1 for the other.
    virtual int alertSheet(const Alert& alert) = 0;
};

} // namespace cutstack
