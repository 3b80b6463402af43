#include "support/ZTTask.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/Format.h"
#include "support/ZTLog.h"

namespace cutstack {

namespace {

using Process = std::shared_ptr<ChildProcess>;

constexpr ChildStreams kNothingCollected{};
constexpr ChildStreams kOutputCollected{ChildStreams::Output::collected,
                                        ChildStreams::Output::nowhere};
constexpr ChildStreams kAllCollected{ChildStreams::Output::collected,
                                     ChildStreams::Output::collected};

constexpr std::int32_t kRefused = -1;

void logLine(LogWriter& log, std::string_view format,
             std::initializer_list<FormatArgument> arguments) {
    log.appendLogAndPrint(format, std::span(arguments.begin(), arguments.size()));
}

void logRefusal(const std::string& path, const TaskServices& at) {
    logLine(at.log, "Error: %@ is not executable", {path});
}

/// The tool that `path` names, started; nullptr with lines in the logs when it cannot be.
Process launched(const std::string& path, const ZTTask::Arguments& arguments, ChildStreams streams,
                 const TaskServices& at) {
    std::string error;
    Process process = at.launcher.launch(at.tools.pathOfTool(path),
                                         at.tools.argumentsOfTool(path, arguments), streams, error);
    if (process == nullptr) {
        logRefusal(path, at);
        logLine(at.log, "%@ could not be started: %@", {path, error});
    }
    return process;
}

/// The same for a tool that may be refused, with `task` set.
Process started(const std::string& path, const ZTTask::Arguments& arguments, ChildStreams streams,
                RunningTask* task, const TaskServices& at) {
    if (!at.isExecutable(at.tools.pathOfTool(path))) {
        logRefusal(path, at);
        return nullptr;
    }
    Process process = launched(path, arguments, streams, at);
    if (process != nullptr && task != nullptr)
        task->set(process);
    return process;
}

ZTTask::Text textOf(const ZTTask::Data& data, StringEncoding encoding) {
    return data ? decodedText(*data, encoding) : std::string();
}

/// Runs `work` on a thread that nobody waits for; whether there was one to be had.
bool runDetached(std::function<void()> work) {
    try {
        std::thread(std::move(work)).detach();
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

/// Cut towards zero, within what a thread can sleep.
std::chrono::seconds wholeSeconds(ZTTask::Seconds time) {
    constexpr ZTTask::Seconds kLongest = std::chrono::hours(24 * 365);
    if (!(time > ZTTask::Seconds::zero()))
        return std::chrono::seconds(0);
    return std::chrono::duration_cast<std::chrono::seconds>(std::min(time, kLongest));
}

} // namespace

bool isPlainExecutable(const std::string& path) {
    struct stat file {};
    return stat(path.c_str(), &file) == 0 && S_ISREG(file.st_mode) &&
           faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
}

const TaskServices& TaskServices::ofProcess() {
    static const auto& instance = *new TaskServices{childProcessLauncher(), mainThreadQueue(),
                                                    toolPaths(), ZTLog::sharedController()};
    return instance;
}

bool RunningTask::isRunning() const {
    const Process running = process();
    return running != nullptr && running->isRunning();
}

void RunningTask::terminate() const {
    if (const Process running = process())
        running->terminate();
}

void RunningTask::set(std::shared_ptr<ChildProcess> process) {
    const std::lock_guard lock(guard_);
    process_.swap(process); // the earlier one goes without the lock
}

std::shared_ptr<ChildProcess> RunningTask::process() const {
    const std::lock_guard lock(guard_);
    return process_;
}

// --- Class functions

ZTTask::Data ZTTask::dataFromTask(const std::string& path, const Arguments& arguments,
                                  RunningTask* task, const TaskServices& at) {
    const Process process = started(path, arguments, kAllCollected, task, at);
    if (process == nullptr)
        return std::nullopt;
    auto [output, errors] = process->readToEnd();
    process->closeStreams();
    return errors.empty() ? std::move(output) : std::move(errors);
}

ZTTask::Data ZTTask::dataFromTaskTimeout(const std::string& path, const Arguments& arguments,
                                         Seconds timeout, const TaskServices& at) {
    return ZTTask(at).dataFromTask(path, arguments, timeout);
}

ZTTask::Text ZTTask::stringFromTask(const std::string& path, const Arguments& arguments,
                                    StringEncoding encoding, RunningTask* task,
                                    const TaskServices& at) {
    return textOf(dataFromTask(path, arguments, task, at), encoding);
}

ZTTask::Text ZTTask::stringFromTaskTimeout(const std::string& path, const Arguments& arguments,
                                           Seconds timeout, StringEncoding encoding,
                                           const TaskServices& at) {
    return textOf(dataFromTaskTimeout(path, arguments, timeout, at), encoding);
}

std::int32_t ZTTask::terminationCodeFromTask(const std::string& path, const Arguments& arguments,
                                             RunningTask* task, const TaskServices& at) {
    const Process process = started(path, arguments, kNothingCollected, task, at);
    return process == nullptr ? kRefused : process->waitUntilExit();
}

std::int32_t ZTTask::terminationCodeFromTaskTimeout(const std::string& path,
                                                    const Arguments& arguments, Seconds timeout,
                                                    const TaskServices& at) {
    return ZTTask(at).terminationCodeFromTask(path, arguments, timeout);
}

bool ZTTask::runTask(const std::string& path, const Arguments& arguments, RunningTask* task,
                     const TaskServices& at) {
    const Process process = started(path, arguments, kNothingCollected, task, at);
    if (process == nullptr)
        return false;
    process->waitUntilExit();
    return true;
}

void ZTTask::runTaskTimeout(const std::string& path, const Arguments& arguments, Seconds timeout,
                            const TaskServices& at) {
    ZTTask(at).runTask(path, arguments, timeout);
}

void ZTTask::runTaskAndReturn(const std::string& path, const Arguments& arguments,
                              const TaskServices& at) {
    started(path, arguments, kNothingCollected, nullptr, at);
}

// --- Time limits

/// The tool of an instance and the limit that it runs under; shared with the threads that wait for
/// limits to pass.
class ZTTask::Limit {
public:
    explicit Limit(const TaskServices& at) : at_(at) {}

    RunningTask task;

    /// Lets `form` run the tool at `path`, and meanwhile a thread watch the time.
    template <typename Form>
    static auto apply(const std::shared_ptr<Limit>& limit, const std::string& path,
                      std::chrono::seconds time, const Form& form) {
        limit->begin(path);
        if (!runDetached(
                [limit, time, sleepFor = limit->at_.sleepFor] { limit->watch(time, sleepFor); }))
            logLine(limit->at_.log, "No thread to watch the time of %@", {path});
        auto result = form(&limit->task, limit->at_);
        limit->end();
        return result;
    }

    /// Uses no service unless a tool runs: without one they may be gone.
    void watch(std::chrono::seconds time,
               const std::function<void(std::chrono::seconds)>& sleepFor) {
        sleepFor(time);
        if (isInUse_)
            at_.mainThread.performAndWait([this] { expire(); });
    }

    void expire() {
        if (!task.isRunning())
            return;
        at_.log.console().log("Task timed out. Terminating...");
        at_.log.appendLog("Task %@ timed out. Terminating...", path());
        task.terminate();
    }

    void begin(const std::string& path) {
        task.set(nullptr);
        const std::lock_guard lock(guard_);
        path_ = path;
        isInUse_ = true;
    }

    void end() {
        task.set(nullptr);
        isInUse_ = false;
    }

private:
    [[nodiscard]] std::string path() const {
        const std::lock_guard lock(guard_);
        return path_;
    }

    const TaskServices& at_;
    std::atomic<bool> isInUse_ = false;
    mutable std::mutex guard_;
    std::string path_;
};

ZTTask::Data ZTTask::dataFromTask(const std::string& path, const Arguments& arguments,
                                  Seconds timeout) {
    return Limit::apply(limit_, path, wholeSeconds(timeout), [&](auto* task, const auto& at) {
        return dataFromTask(path, arguments, task, at);
    });
}

std::int32_t ZTTask::terminationCodeFromTask(const std::string& path, const Arguments& arguments,
                                             Seconds timeout) {
    return Limit::apply(limit_, path, wholeSeconds(timeout), [&](auto* task, const auto& at) {
        return terminationCodeFromTask(path, arguments, task, at);
    });
}

void ZTTask::runTask(const std::string& path, const Arguments& arguments, Seconds timeout) {
    Limit::apply(limit_, path, wholeSeconds(timeout),
                 [&](auto* task, const auto& at) { return runTask(path, arguments, task, at); });
}

void ZTTask::timeout() { limit_->expire(); }

void ZTTask::setupTimeout(std::chrono::seconds time) {
    const auto limit = limit_;
    limit->watch(time, at_.sleepFor);
}

// --- Asynchronous tools

/// The reading of one asynchronous tool; shared by its task, the thread that reads and the pieces
/// that wait for the main thread.
class ZTTask::OutputReading : public std::enable_shared_from_this<ZTTask::OutputReading> {
public:
    OutputReading(ZTTask& task, Process process, Delegate delegate, std::shared_ptr<void> object)
        : task_(task),
          mainThread_(task.at_.mainThread),
          process_(std::move(process)),
          delegate_(std::move(delegate)),
          object_(std::move(object)) {}

    /// Begins to read; without a process or a thread the output is at its end.
    void start() {
        const auto self = shared_from_this();
        if (process_ == nullptr || !runDetached([self] { self->readAll(); }))
            mainThread_.perform([self] { self->deliver(""); });
    }

    /// No piece is delivered from now on, and the services are not used any more.
    void stop() {
        {
            const std::lock_guard lock(guard_);
            isStopped_ = true;
        }
        changed_.notify_all();
        if (process_ != nullptr)
            process_->closeStreams();
    }

    /// What the delegate owns may end with it: to be called when nothing else is left to do.
    void letGoOfDelegate() {
        delegate_ = nullptr;
        object_ = nullptr;
    }

private:
    void readAll() {
        bool isLast = false;
        while (!isLast) {
            std::string data = process_->availableOutput();
            isLast = data.empty();
            if (!handOver(std::move(data)))
                return;
        }
    }

    /// Waits until the piece has been delivered; false when the reading has been stopped.
    bool handOver(std::string data) {
        std::unique_lock lock(guard_);
        if (isStopped_)
            return false;
        isDelivered_ = false;
        mainThread_.perform(
            [self = shared_from_this(), data = std::move(data)] { self->deliver(data); });
        changed_.wait(lock, [this] { return isDelivered_ || isStopped_; });
        return !isStopped_;
    }

    /// On the main thread. The delegate may destroy the task, which stops the reading.
    void deliver(const std::string& data) {
        if (isStopped())
            return;
        const Delegate delegate = delegate_;
        const std::shared_ptr<void> object = object_;
        if (delegate)
            delegate(data, task_, object);
        if (data.empty() && !isStopped())
            task_.terminateAsyncTask();
        {
            const std::lock_guard lock(guard_);
            isDelivered_ = true;
        }
        changed_.notify_all();
    }

    [[nodiscard]] bool isStopped() const {
        const std::lock_guard lock(guard_);
        return isStopped_;
    }

    ZTTask& task_; ///< there until the reading is stopped
    MainThreadQueue& mainThread_;
    const Process process_;
    Delegate delegate_; ///< main thread only, once the reading has begun
    std::shared_ptr<void> object_;

    mutable std::mutex guard_;
    std::condition_variable changed_;
    bool isStopped_ = false;
    bool isDelivered_ = false;
};

ZTTask::ZTTask(const TaskServices& at) : at_(at), limit_(std::make_shared<Limit>(at)) {}

ZTTask::~ZTTask() {
    if (reading_ != nullptr)
        terminateAsyncTask();
}

const RunningTask& ZTTask::theTask() const { return limit_->task; }

void ZTTask::asyncDataFromTask(const std::string& path, const Arguments& arguments,
                               Delegate delegate, std::shared_ptr<void> object) {
    if (reading_ != nullptr)
        terminateAsyncTask();
    const Process process = launched(path, arguments, kOutputCollected, at_);
    limit_->begin(path);
    limit_->task.set(process);
    reading_ =
        std::make_shared<OutputReading>(*this, process, std::move(delegate), std::move(object));
    reading_->start();
}

void ZTTask::terminateAsyncTask() {
    // The delegate may own this task.
    const auto limit = limit_;
    const auto reading = std::exchange(reading_, nullptr);
    if (reading != nullptr)
        reading->stop();
    limit->task.terminate();
    limit->end();
    if (reading != nullptr)
        reading->letGoOfDelegate();
}

} // namespace cutstack
