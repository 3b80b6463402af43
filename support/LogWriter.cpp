#include "support/LogWriter.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "support/DateDescription.h"
#include "support/Unicode.h"
#include "support/WhiteSpace.h"

namespace cutstack {

namespace {

/// As long as a message may be, and as much as may be queued, for its caller to wait for the disk.
constexpr std::size_t kWriteThroughLength = 99;

/// A file that has taken more than this in a run is followed by a new one.
constexpr std::size_t kSizeCapInBytes = 499999;

std::uint32_t lengthOf(const std::string& message) {
    return static_cast<std::uint32_t>(utf16Length(message));
}

} // namespace

LogWriter::LogWriter(LogServices services)
    : services_(std::move(services)), file_(services_.console) {}

LogWriter::~LogWriter() {
    {
        const std::lock_guard lock(queueGuard_);
        isStopping_ = true;
    }
    queueFilled_.notify_one();
    if (thread_.joinable())
        thread_.join();
}

void LogWriter::createNewLog(std::optional<std::string_view> name) {
    finishWriting();
    const std::lock_guard lock(fileGuard_);
    if (name && appName().empty())
        appName_ = *name;
    startFile();
}

void LogWriter::appendLog(std::optional<std::string_view> format,
                          std::span<const FormatArgument> arguments) {
    if (!format)
        return;
    std::string message(trimmed(formatString(*format, arguments)));
    const std::uint32_t length = lengthOf(message);
    bytesInQueue_ += length;
    enqueue(std::move(message));
    if (length > 0 && length <= kWriteThroughLength && bytesInQueue_ <= kWriteThroughLength)
        finishWriting();
}

void LogWriter::appendLogAndPrint(std::optional<std::string_view> format,
                                  std::span<const FormatArgument> arguments) {
    if (!format)
        return;
    const std::string text = formatString(trimmed(*format), arguments);
    appendLog(text);
    services_.console.log(text);
}

void LogWriter::finishWriting() {
    std::unique_lock lock(queueGuard_);
    if (thread_.get_id() == std::this_thread::get_id())
        return; // it would wait for itself
    queueWritten_.wait(lock, [this] { return queue_.empty() && !isWriting_; });
}

void LogWriter::enqueue(std::string message) {
    const std::lock_guard lock(queueGuard_);
    queue_.push_back(std::move(message));
    try {
        if (!thread_.joinable())
            thread_ = std::thread(&LogWriter::writeQueue, this);
    } catch (const std::system_error& error) {
        services_.console.log(formatString("Exception writing to log: %@", {error.what()}));
        bytesInQueue_ -= lengthOf(queue_.back());
        queue_.pop_back();
    }
    queueFilled_.notify_one();
}

/// What the log's own thread does until the log is destroyed and all is written.
void LogWriter::writeQueue() {
    std::unique_lock lock(queueGuard_);
    while (true) {
        queueFilled_.wait(lock, [this] { return isStopping_ || !queue_.empty(); });
        if (queue_.empty())
            return;
        const std::string message = std::move(queue_.front());
        queue_.pop_front();
        isWriting_ = true;
        lock.unlock();
        appendLogOnThread(message);
        lock.lock();
        isWriting_ = false;
        if (queue_.empty())
            queueWritten_.notify_all();
    }
}

void LogWriter::appendLogOnThread(const std::string& message) {
    try {
        writeWithinCap(message);
    } catch (const std::exception& exception) {
        services_.console.log(formatString("Exception writing to log: %@", {exception.what()}));
    }
    bytesInQueue_ -= lengthOf(message);
}

void LogWriter::writeWithinCap(const std::string& message) {
    {
        const std::lock_guard lock(fileGuard_);
        if (!writeLine(message) || file_.bytesWritten() <= kSizeCapInBytes)
            return;
        startFile();
    }
    appendLog("Log truncated at 500KB");
}

/// Opens the current file as it is found.
bool LogWriter::openFile() {
    const auto at = place();
    return at && file_.open(at->currentFile());
}

/// Writes one line, opening the file when none is open.
bool LogWriter::writeLine(const std::string& message) {
    if (!file_.isOpen() && !openFile()) {
        services_.console.log(
            formatString("Unable to log the following information: %@", {message}));
        services_.console.log("Unable to open log for output");
        return false;
    }
    std::string error;
    const std::string date = dateDescription(services_.clock);
    if (file_.write(formatString("%@ - %@\n", {date, message}), error))
        return true;
    services_.console.log(formatString("Exception writing to log: %@", {error}));
    return false;
}

/// Closes the full file also when there is no place for a new one: it must not be found full again
/// by the line that tells of it.
void LogWriter::startFile() {
    file_.close();
    const auto at = place();
    if (!at)
        return;
    LogHeader header = services_.header();
    header.date = dateDescription(services_.clock);
    file_.start(*at, header.text());
}

/// Where the files are now, which for root changes with the user at the console; nothing for a
/// user without a home.
std::optional<LogPlace> LogWriter::place() const {
    const bool isRoot = services_.locations.environment.isRoot();
    const auto user = ZTLocalPaths::logDirectory(true, services_.locations);
    const auto current = ZTLocalPaths::logDirectory(!isRoot, services_.locations);
    if (!user || !current)
        return std::nullopt;
    return LogPlace{*user + "/Zantrel", *current + "/Zantrel", appName()};
}

/// The name that was stored, else the executable's without its extension.
std::string LogWriter::appName() const {
    if (!appName_.empty())
        return appName_;
    return std::filesystem::path(services_.locations.environment.executablePath()).stem().string();
}

} // namespace cutstack
