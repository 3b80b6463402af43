#pragma once

// Runs command-line tools as processes beside this one: to the end, with or without a time limit,
// for their output, their exit status or nothing; without waiting; or with their output handed on
// as it comes. A tool is refused that is not a plain executable file ("Error: %@ is not executable"
// in the log and the system log), and so is one that the system cannot start, with a further line
// that says why. Nothing here throws.
//
// The forms are one family. Of a tool that wrote anything to its error stream the answer is that
// text, not its output. A form that answers text decodes it by a platform encoding number; output
// that is not in that encoding is nothing.
//
// A time limit is cut to whole seconds. When it has passed, the tool is asked to end by the main
// thread: a call that blocks the main thread itself is never cut short. A limit is not taken back
// when its tool has ended before: it counts for what the instance runs when it has passed.
//
// The class functions may be called from any thread. An instance runs one tool at a time.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/ChildProcess.h"
#include "platform/MainThreadQueue.h"
#include "platform/ToolPaths.h"
#include "support/LogWriter.h"
#include "support/TextDecoding.h"

namespace cutstack {

/// Whether the file at `path`, links followed, is one that this process may execute, and no folder:
/// thus no file package either, which is a folder.
[[nodiscard]] bool isPlainExecutable(const std::string& path);

/// What running a tool needs from outside. All of it outlives every task, and whatever runs.
struct TaskServices {
    ChildProcessLauncher& launcher;
    MainThreadQueue& mainThread;
    const ToolPaths& tools;
    LogWriter& log;
    /// Whether the tool at that path may be started.
    std::function<bool(const std::string& path)> isExecutable = isPlainExecutable;
    /// How a time limit waits. A copy of it may still do so when the call that it limits, and the
    /// task, are gone.
    std::function<void(std::chrono::seconds)> sleepFor = [](std::chrono::seconds time) {
        std::this_thread::sleep_for(time);
    };

    /// Those of this process.
    [[nodiscard]] static const TaskServices& ofProcess();
};

/// The tool that a blocking call runs, for another thread that may want to end it.
class RunningTask {
public:
    [[nodiscard]] bool isSet() const { return process() != nullptr; }
    [[nodiscard]] bool isRunning() const;
    /// Asks the tool to end; does nothing when none runs.
    void terminate() const;

    void set(std::shared_ptr<ChildProcess> process);

private:
    [[nodiscard]] std::shared_ptr<ChildProcess> process() const;

    mutable std::mutex guard_;
    std::shared_ptr<ChildProcess> process_;
};

class ZTTask {
public:
    using Arguments = std::vector<std::string>;
    using Data = std::optional<std::string>;
    using Text = std::optional<std::string>;
    using Seconds = std::chrono::duration<double>;

    // --- Class functions. `task`, when there is one, is set as soon as the tool is started.

    /// The error output when there is any, else the output; nothing for a refused tool.
    [[nodiscard]] static Data dataFromTask(const std::string& path, const Arguments& arguments,
                                           RunningTask* task = nullptr,
                                           const TaskServices& at = TaskServices::ofProcess());
    [[nodiscard]] static Data
    dataFromTaskTimeout(const std::string& path, const Arguments& arguments, Seconds timeout,
                        const TaskServices& at = TaskServices::ofProcess());

    /// The same as text; "" for a refused tool.
    [[nodiscard]] static Text stringFromTask(const std::string& path, const Arguments& arguments,
                                             StringEncoding encoding = StringEncoding::ascii,
                                             RunningTask* task = nullptr,
                                             const TaskServices& at = TaskServices::ofProcess());
    [[nodiscard]] static Text
    stringFromTaskTimeout(const std::string& path, const Arguments& arguments, Seconds timeout,
                          StringEncoding encoding = StringEncoding::ascii,
                          const TaskServices& at = TaskServices::ofProcess());

    /// The exit status, or the number of the signal that ended the tool; -1 for a refused one.
    static std::int32_t terminationCodeFromTask(const std::string& path, const Arguments& arguments,
                                                RunningTask* task = nullptr,
                                                const TaskServices& at = TaskServices::ofProcess());
    static std::int32_t
    terminationCodeFromTaskTimeout(const std::string& path, const Arguments& arguments,
                                   Seconds timeout,
                                   const TaskServices& at = TaskServices::ofProcess());

    /// Runs the tool to its end. True whatever its exit status; false for a refused one.
    static bool runTask(const std::string& path, const Arguments& arguments,
                        RunningTask* task = nullptr,
                        const TaskServices& at = TaskServices::ofProcess());
    static void runTaskTimeout(const std::string& path, const Arguments& arguments, Seconds timeout,
                               const TaskServices& at = TaskServices::ofProcess());

    /// Starts the tool and returns at once.
    static void runTaskAndReturn(const std::string& path, const Arguments& arguments,
                                 const TaskServices& at = TaskServices::ofProcess());

    // --- Instances. One may be destroyed while a time limit still waits, and, on the main thread,
    // while its asynchronous tool runs, which is then asked to end.

    explicit ZTTask(const TaskServices& at = TaskServices::ofProcess());
    ~ZTTask();
    ZTTask(const ZTTask&) = delete;
    ZTTask& operator=(const ZTTask&) = delete;

    /// The tool that the instance runs, if any.
    [[nodiscard]] const RunningTask& theTask() const;

    /// The class functions of these names under a time limit.
    [[nodiscard]] Data dataFromTask(const std::string& path, const Arguments& arguments,
                                    Seconds timeout);
    std::int32_t terminationCodeFromTask(const std::string& path, const Arguments& arguments,
                                         Seconds timeout);
    void runTask(const std::string& path, const Arguments& arguments, Seconds timeout);

    /// What a time limit does when it has passed: asks the tool that runs to end, with a line in
    /// the log and in the system log; nothing when none runs. To be called on the main thread.
    void timeout();

    /// Waits that long, then has the main thread do what timeout() does, and waits for it.
    void setupTimeout(std::chrono::seconds time);

    /// Receives a piece of output on the main thread, or no bytes at the end of the output.
    /// `object` is what the caller gave. It may destroy the task.
    using Delegate = std::function<void(const std::string& data, ZTTask& task,
                                        const std::shared_ptr<void>& object)>;

    /// Starts the tool, which is not refused beforehand, and hands its output to `delegate`, which
    /// is kept until terminateAsyncTask(); its error output is thrown away. The next piece is read
    /// when the delegate has returned. After the piece without bytes the task does
    /// terminateAsyncTask(). A tool that cannot be started only has that last piece, and the lines
    /// of a refused one. A tool that ran asynchronously before is given up.
    void asyncDataFromTask(const std::string& path, const Arguments& arguments, Delegate delegate,
                           std::shared_ptr<void> object = nullptr);

    /// Hands on no more output, lets go of the delegate and its object, and asks the tool to end.
    /// Main thread.
    void terminateAsyncTask();

private:
    class Limit;
    class OutputReading;

    const TaskServices& at_;
    const std::shared_ptr<Limit> limit_; ///< with the watchers that wait
    std::shared_ptr<OutputReading> reading_;
};

} // namespace cutstack
