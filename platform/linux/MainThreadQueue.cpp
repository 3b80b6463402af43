#include "platform/MainThreadQueue.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <utility>

#include <unistd.h>

namespace cutstack {

namespace {

using Work = std::function<void()>;

class ProcessQueue final : public MainThreadQueue {
public:
    bool isMainThread() const override { return gettid() == getpid(); }

    void perform(Work work) override {
        {
            const std::lock_guard lock(guard_);
            works_.push_back(std::move(work));
        }
        filled_.notify_one();
        const std::lock_guard lock(loopGuard_);
        if (loop_.wake)
            loop_.wake();
    }

    void performAndWait(const Work& work) override {
        if (isMainThread()) {
            work();
            return;
        }
        // Shared, for this thread may go on while the other is still telling it to.
        const auto done = std::make_shared<std::promise<void>>();
        auto isDone = done->get_future();
        perform([&work, done] {
            work();
            done->set_value();
        });
        isDone.wait();
    }

    bool runPending(std::chrono::milliseconds longestWait) override {
        if (runNext())
            return true;
        const auto handleOneEvent = [this] {
            const std::lock_guard lock(loopGuard_);
            return loop_.handleOneEvent;
        }();
        if (!handleOneEvent) {
            awaitWork(longestWait);
            return runNext();
        }
        return handleOneEvent(longestWait) || runNext();
    }

    void runWaiting() {
        std::size_t count = 0;
        {
            const std::lock_guard lock(guard_);
            count = works_.size();
        }
        for (; count > 0 && runNext(); --count) {
        }
    }

    void attach(MainThreadEventLoop loop) {
        const bool hasWork = [this] {
            const std::lock_guard lock(guard_);
            return !works_.empty();
        }();
        const std::lock_guard lock(loopGuard_);
        loop_ = std::move(loop);
        if (hasWork && loop_.wake)
            loop_.wake();
    }

private:
    /// Runs the oldest piece of work; whether there was one.
    bool runNext() {
        std::unique_lock lock(guard_);
        if (works_.empty())
            return false;
        const Work work = std::move(works_.front());
        works_.pop_front();
        lock.unlock();
        work();
        return true;
    }

    void awaitWork(std::chrono::milliseconds longestWait) {
        constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365); // no overflow
        std::unique_lock lock(guard_);
        filled_.wait_for(lock, std::min(longestWait, kLongest), [this] { return !works_.empty(); });
    }

    std::mutex guard_;
    std::condition_variable filled_;
    std::deque<Work> works_;

    std::mutex loopGuard_; ///< held while the loop is woken, so that none is after it is detached
    MainThreadEventLoop loop_;
};

ProcessQueue& processQueue() {
    // Never destroyed: threads may still wait in it when the process ends.
    static auto& instance = *new ProcessQueue;
    return instance;
}

} // namespace

MainThreadQueue& mainThreadQueue() { return processQueue(); }

void attachEventLoop(MainThreadEventLoop loop) { processQueue().attach(std::move(loop)); }

void runWaitingWork() { processQueue().runWaiting(); }

} // namespace cutstack
