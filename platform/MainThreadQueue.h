#pragma once

// The main thread, for those who run elsewhere. A run without a window has no event loop: its main
// thread takes work from this queue only where it says so, by runPending(). The window attaches its
// event loop once, and the queue is emptied as events come.

#include <chrono>
#include <functional>

namespace cutstack {

class MainThreadQueue {
public:
    virtual ~MainThreadQueue() = default;

    /// Whether the caller runs on the main thread.
    [[nodiscard]] virtual bool isMainThread() const = 0;

    /// Has `work` run on the main thread some time later, in the order of the calls, and returns at
    /// once. Work that the main thread does not come to before the process ends is never run. Any
    /// thread; `work` must not throw.
    virtual void perform(std::function<void()> work) = 0;

    /// Has `work` run on the main thread and returns when it has; at once on the main thread
    /// itself. Waits for ever while the main thread takes no work. Any thread.
    virtual void performAndWait(const std::function<void()>& work) = 0;

    /// Takes one piece of work, or lets the window handle one event, waiting at most
    /// `longestWait` for one. Returns whether there was one. Main thread only.
    virtual bool runPending(std::chrono::milliseconds longestWait) = 0;
};

/// What the queue calls when work arrives while the window's event loop sleeps, and what handles
/// one event of that loop, waiting at most the time given.
struct MainThreadEventLoop {
    /// Called on any thread; must neither wait nor call the queue. It has the window call
    /// runWaitingWork().
    std::function<void()> wake;
    /// Returns whether there was an event.
    std::function<bool(std::chrono::milliseconds)> handleOneEvent;
};

/// The queue of this process; its main thread is the one that runs main. Lives as long as the
/// process.
[[nodiscard]] MainThreadQueue& mainThreadQueue();

/// Lets the window's event loop serve mainThreadQueue(), waking it when work waits already; an
/// empty one detaches the loop, which is not called after that. Main thread.
void attachEventLoop(MainThreadEventLoop loop);

/// Runs what waits in mainThreadQueue() at the time of the call, and handles no event. For the
/// window, when it has been woken. Main thread.
void runWaitingWork();

} // namespace cutstack
