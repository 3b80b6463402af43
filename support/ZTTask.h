#pragma once

// Runs command-line tools as processes beside this one: to the end, with or without a time limit,
// for their output, their exit status or nothing; without waiting; or with their output handed on
// as it comes. A tool is refused that is not a plain executable file ("Error: %@ is not executable"
// in the log and the system log). Nothing here throws.
//
// The forms are one family. Of a tool that wrote anything to its error stream the answer is that
// text, not its output. A form that answers text decodes it by a platform encoding number; output
// that is not in that encoding is nothing.
//
// A time limit is cut to whole seconds. When it has passed, the tool is asked to end by the main
// thread: a call that blocks the main thread itself is never cut short.
//
// The class functions may be called from any thread. An instance runs one tool at a time.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/ChildProcess.h"
#include "platform/MainThreadQueue.h"
#include "platform/ToolPaths.h"
#include "support/LogWriter.h"

namespace cutstack {

/// What running a tool needs from outside. All of it outlives every task.
struct TaskServices {
    ChildProcessLauncher& launcher;
    MainThreadQueue& mainThread;
    const ToolPaths& tools;
    LogWriter& log;

    /// Those of this process.
    [[nodiscard]] static const TaskServices& ofProcess();
};

/// The platform's numbers for encodings of text.
enum class StringEncoding : unsigned long { ascii = 1, utf8 = 4, isoLatin1 = 5 };

/// The tool that a blocking call runs, for another thread that may want to end it.
class RunningTask {
public:
    [[nodiscard]] bool isRunning() const;
    /// Asks the tool to end; does nothing when none runs.
    void terminate() const;

    void set(std::shared_ptr<ChildProcess> process);

private:
    mutable std::mutex guard_;
    std::shared_ptr<ChildProcess> process_;
};

class ZTTask {
public:
    using Arguments = std::vector<std::string>;
    using Data = std::optional<std::string>;
    using Text = std::optional<std::string>;
    using Seconds = std::chrono::duration<double>;

    // --- Class functions. `task`, when there is one, is set before the tool is started.

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
};

} // namespace cutstack
