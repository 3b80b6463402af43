#pragma once

// A program that was started beside this one. A ChildProcess may be used by several threads at
// once; letting go of it neither ends the program nor waits for it, and leaves no zombie. Until
// then an ended program is one only while nobody asks about it.

#include <memory>
#include <string>
#include <vector>

namespace cutstack {

/// What the streams of a new process are.
struct ChildStreams {
    enum class Output {
        nowhere,  ///< thrown away
        collected ///< a pipe, read through the ChildProcess
    };
    Output output = Output::nowhere;
    Output errors = Output::nowhere;
};

class ChildProcess {
public:
    /// Stands for a status that the system has not kept.
    static constexpr int kUnknownStatus = -1;

    virtual ~ChildProcess() = default;

    [[nodiscard]] virtual bool isRunning() = 0;

    /// Waits for the end; the exit status, or the number of the signal that ended it.
    virtual int waitUntilExit() = 0;

    /// Asks the program to end (SIGTERM); does nothing when it has ended.
    virtual void terminate() = 0;

    /// What is there to read, waiting for at least one byte; empty at the end of the stream, also
    /// for a stream that is not collected or has been closed. One thread reads at a time, others
    /// wait for it.
    [[nodiscard]] virtual std::string availableOutput() = 0;

    /// Reads both collected streams to their ends, whichever fills first, so that a program that
    /// writes much to one of them is never kept waiting. Bytes of processes that the program leaves
    /// behind and that inherited the streams count too, but for a program that terminate() has
    /// asked to end: reading then ends with it, as it does when the streams are closed.
    struct Collected {
        std::string output;
        std::string errors;
    };
    [[nodiscard]] virtual Collected readToEnd() = 0;

    /// Closes the reading ends: a program that goes on writing finds no reader, and a thread that
    /// reads comes back with what it has.
    virtual void closeStreams() = 0;
};

class ChildProcessLauncher {
public:
    virtual ~ChildProcessLauncher() = default;

    /// Starts the program at `path` with `arguments` (its own name not among them) in this
    /// process's working folder and environment. No shell is involved; no file of this process but
    /// the streams is open in it; its standard input is at its end. On failure returns nullptr with
    /// the system's wording in `error`.
    [[nodiscard]] virtual std::shared_ptr<ChildProcess>
    launch(const std::string& path, const std::vector<std::string>& arguments, ChildStreams streams,
           std::string& error) = 0;
};

/// Starts real processes. Lives as long as the process.
[[nodiscard]] ChildProcessLauncher& childProcessLauncher();

} // namespace cutstack
