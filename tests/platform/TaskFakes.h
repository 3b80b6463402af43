#pragma once

// Stand-ins for what running a tool needs: processes that are none, a main thread that takes its
// work when the test says so, and places of tools.

#include "platform/ChildProcess.h"
#include "platform/MainThreadQueue.h"
#include "platform/ToolPaths.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace cutstack {

/// What a tool does that a FakeChildProcessLauncher starts.
struct FakeTool {
    std::vector<std::string> output; ///< the pieces in which it comes
    std::string errors;
    int status = 0;
    bool runsUntilTerminated = false;
    std::string failure; ///< it cannot be started for that reason, unless this is empty
};

/// Ends at once, or when it is asked to; its status is then the number of the signal.
class FakeChildProcess final : public ChildProcess {
public:
    FakeChildProcess(const FakeTool& tool, ChildStreams streams)
        : output_(tool.output.begin(), tool.output.end()),
          errors_(tool.errors),
          status_(tool.status),
          isRunning_(tool.runsUntilTerminated) {
        if (streams.output == ChildStreams::Output::nowhere)
            output_.clear();
        if (streams.errors == ChildStreams::Output::nowhere)
            errors_.clear();
    }

    bool isRunning() override {
        const std::lock_guard lock(guard_);
        return isRunning_;
    }
    int waitUntilExit() override {
        std::unique_lock lock(guard_);
        changed_.wait(lock, [this] { return !isRunning_; });
        return status_;
    }
    void terminate() override {
        constexpr int kTerminateSignal = 15;
        const std::lock_guard lock(guard_);
        if (!isRunning_)
            return;
        isRunning_ = false;
        status_ = kTerminateSignal;
        ++timesTerminated_;
        changed_.notify_all();
    }
    std::string availableOutput() override {
        std::unique_lock lock(guard_);
        changed_.wait(lock, [this] { return !output_.empty() || !isRunning_ || isClosed_; });
        return isClosed_ ? "" : nextPiece();
    }
    Collected readToEnd() override {
        std::unique_lock lock(guard_);
        changed_.wait(lock, [this] { return !isRunning_ || isClosed_; });
        Collected data;
        while (!isClosed_ && !output_.empty())
            data.output += nextPiece();
        data.errors = isClosed_ ? "" : std::exchange(errors_, "");
        return data;
    }
    void closeStreams() override {
        const std::lock_guard lock(guard_);
        isClosed_ = true;
        changed_.notify_all();
    }

    [[nodiscard]] int timesTerminated() const {
        const std::lock_guard lock(guard_);
        return timesTerminated_;
    }

private:
    std::string nextPiece() {
        if (output_.empty())
            return "";
        std::string piece = std::move(output_.front());
        output_.pop_front();
        return piece;
    }

    mutable std::mutex guard_;
    std::condition_variable changed_;
    std::deque<std::string> output_;
    std::string errors_;
    int status_;
    bool isRunning_;
    bool isClosed_ = false;
    int timesTerminated_ = 0;
};

/// Keeps what was started. A program does what `tools` has for its path, else for "".
class FakeChildProcessLauncher final : public ChildProcessLauncher {
public:
    std::map<std::string, FakeTool> tools{{"", {}}};

    std::shared_ptr<ChildProcess> launch(const std::string& path,
                                         const std::vector<std::string>& arguments,
                                         ChildStreams streams, std::string& error) override {
        const std::lock_guard lock(guard_);
        started_.push_back({path});
        started_.back().insert(started_.back().end(), arguments.begin(), arguments.end());
        const auto own = tools.find(path);
        const FakeTool& tool = own == tools.end() ? tools.at("") : own->second;
        error = tool.failure;
        if (!error.empty())
            return nullptr;
        children_.push_back(std::make_shared<FakeChildProcess>(tool, streams));
        return children_.back();
    }

    /// Path and arguments of each.
    [[nodiscard]] std::vector<std::vector<std::string>> started() const {
        const std::lock_guard lock(guard_);
        return started_;
    }
    [[nodiscard]] std::vector<std::shared_ptr<FakeChildProcess>> children() const {
        const std::lock_guard lock(guard_);
        return children_;
    }

private:
    mutable std::mutex guard_;
    std::vector<std::vector<std::string>> started_;
    std::vector<std::shared_ptr<FakeChildProcess>> children_;
};

/// The thread that made it is the main thread.
class FakeMainThreadQueue final : public MainThreadQueue {
public:
    bool isMainThread() const override { return std::this_thread::get_id() == mainThread_; }

    void perform(std::function<void()> work) override {
        const std::lock_guard lock(guard_);
        works_.push_back(std::move(work));
        changed_.notify_all();
    }
    void performAndWait(const std::function<void()>& work) override {
        if (isMainThread()) {
            work();
            return;
        }
        const auto isDone = std::make_shared<bool>(false);
        perform([this, &work, isDone] {
            work();
            const std::lock_guard lock(guard_);
            *isDone = true;
            changed_.notify_all();
        });
        std::unique_lock lock(guard_);
        changed_.wait(lock, [&] { return *isDone; });
    }
    bool runPending(std::chrono::milliseconds longestWait) override {
        std::unique_lock lock(guard_);
        if (!changed_.wait_for(lock, longestWait, [this] { return !works_.empty(); }))
            return false;
        const auto work = std::move(works_.front());
        works_.pop_front();
        lock.unlock();
        work();
        return true;
    }

private:
    const std::thread::id mainThread_ = std::this_thread::get_id();
    std::mutex guard_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> works_;
};

/// Answers from `places`, else the tool itself.
struct FakeToolPaths final : ToolPaths {
    std::map<std::string, std::string, std::less<>> places;

    std::string pathOfTool(std::string_view tool) const override {
        const auto place = places.find(tool);
        return place == places.end() ? std::string(tool) : place->second;
    }
};

} // namespace cutstack
