#pragma once

// Stand-ins for everything that file operations need from outside, around real files in a folder of
// the test's own.

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <set>
#include <sstream>

#include "platform/SystemErrors.h"
#include "support/FileServices.h"
#include "support/FolderListing.h"
#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"

namespace cutstack {

/// Copies for real, a step before and one behind the copy; fails with `failure` when there is one.
struct FakeCopier final : FileCopier {
    std::string failure;
    CopyEnd failureEnd = CopyEnd::failed;
    std::function<void()> duringCopy = [] {};

    CopyEnd copy(const std::string& source, const std::string& destination,
                 const Observer& observer, std::string& error) const override {
        error = failure;
        if (!failure.empty())
            return failureEnd;
        CopyProgress progress{0, 10, 0, 1, source};
        if (!observer(progress))
            return CopyEnd::cancelled;
        duringCopy();
        progress.bytesCompleted = 10;
        if (!observer(progress))
            return CopyEnd::cancelled;
        std::error_code fault;
        std::filesystem::copy(source, destination,
                              std::filesystem::copy_options::recursive |
                                  std::filesystem::copy_options::copy_symlinks,
                              fault);
        error = fault ? fault.message() : "";
        return fault ? CopyEnd::failed : CopyEnd::copied;
    }
};

/// Renames for real, or answers `fault`.
struct FakeMover final : FileMover {
    int fault = 0;

    int rename(const std::string& source, const std::string& destination) const override {
        return fault != 0 ? fault : fileMover().rename(source, destination);
    }
};

struct FakeFlags final : FileFlags {
    mutable std::set<std::string> locked;

    bool isImmutable(const std::string& path) const override { return locked.contains(path); }
    bool setImmutable(const std::string& path, bool immutable) const override {
        if (immutable)
            locked.insert(path);
        else
            locked.erase(path);
        return true;
    }
};

struct FakeFinderMetadata final : FinderMetadata {
    std::map<std::string, std::string> types;
    mutable std::map<std::string, std::uint16_t> flags;

    std::string hfsTypeCode(const std::string& path) const override {
        return types.contains(path) ? types.at(path) : "";
    }
    std::string hfsCreatorCode(const std::string&) const override { return ""; }
    bool setHfsCodes(const std::string&, std::string_view, std::string_view) const override {
        return false;
    }
    std::uint16_t finderFlags(const std::string& path) const override {
        return flags.contains(path) ? flags.at(path) : std::uint16_t{0};
    }
    bool setFinderFlags(const std::string& path, std::uint16_t value) const override {
        flags[path] = value;
        return true;
    }
};

/// Moves into a folder, or fails with `failure`.
struct FakeTrash final : Trash {
    std::string folder;
    std::string failure;

    bool moveToTrash(const std::string& path, std::string& error) override {
        error = failure;
        if (!failure.empty())
            return false;
        std::filesystem::create_directories(folder);
        std::filesystem::rename(path, pathInFolder(folder, fileNameOf(path)));
        return true;
    }
};

/// Keeps what was sent.
struct FakeEvents final : EventTransport {
    std::vector<Event> sent;
    std::vector<SendMode> modes;

    EventStatus send(const Event& event, SendMode mode, std::chrono::milliseconds,
                     std::vector<EventField>&) override {
        sent.push_back(event);
        modes.push_back(mode);
        return EventStatus::applicationNotFound;
    }
};

/// Time that passes only by sleeping. `atEachPoll` stands for what happens elsewhere meanwhile.
struct FakeSteadyClock final : SteadyClock {
    mutable std::chrono::steady_clock::time_point time;
    mutable std::vector<std::chrono::milliseconds> sleeps;
    std::function<void()> atEachPoll = [] {};

    std::chrono::steady_clock::time_point now() const override { return time; }
    void sleep(std::chrono::milliseconds duration) const override {
        sleeps.push_back(duration);
        time += duration;
        atEachPoll();
    }
};

/// A queue that a test empties. Looking for an event in vain takes all the time that it may.
class FakeMainThread final : public MainThreadQueue {
public:
    explicit FakeMainThread(const FakeSteadyClock& clock) : clock_(clock) {}
    bool isMain = false;

    bool isMainThread() const override { return isMain; }
    void perform(std::function<void()> work) override {
        const std::lock_guard lock(guard_);
        work_.push_back(std::move(work));
        added_.notify_all();
    }
    void performAndWait(const std::function<void()>& work) override { work(); }
    bool runPending(std::chrono::milliseconds longestWait) override {
        ++polls;
        clock_.time += longestWait;
        clock_.atEachPoll();
        return false;
    }
    /// Waits for a piece of work and does it.
    void runNext() {
        std::unique_lock lock(guard_);
        added_.wait(lock, [this] { return !work_.empty(); });
        const std::function<void()> work = std::move(work_.front());
        work_.pop_front();
        lock.unlock();
        work();
    }
    int polls = 0;

private:
    const FakeSteadyClock& clock_;
    std::mutex guard_;
    std::condition_variable added_;
    std::deque<std::function<void()>> work_;
};

/// Keeps what was asked ("move A B"), answers `answer`, and does `work` each time.
struct FakePrivilegedFiles final : PrivilegedFiles {
    bool answer = true;
    std::int32_t status = 0;
    mutable std::vector<std::string> asked;
    std::function<void()> work = [] {};

    bool copyFile(const std::string& source, const std::string& destination) const override {
        return ask("copy " + source + " " + destination);
    }
    bool moveFile(const std::string& source, const std::string& destination) const override {
        return ask("move " + source + " " + destination);
    }
    bool removeFile(const std::string& path) const override { return ask("remove " + path); }
    bool createDirectory(const std::string& path) const override { return ask("create " + path); }
    bool trashFile(const std::string& path) const override { return ask("trash " + path); }
    std::int32_t execTask(const std::string& tool,
                          const std::vector<std::string>& arguments) const override {
        std::string line = tool;
        for (const std::string& argument : arguments)
            line += " " + argument;
        ask(line);
        return status;
    }

private:
    bool ask(std::string line) const {
        asked.push_back(std::move(line));
        work();
        return answer;
    }
};

class FileManagerTest : public testing::Test {
protected:
    FileManagerTest() {
        environment.home = folder / "home";
        environment.local = folder / "local";
        trash.folder = folder / "trash";
        std::filesystem::create_directories(files);
        log.createNewLog(std::nullopt);
    }

    /// A path of the test's own.
    [[nodiscard]] std::string path(std::string_view name) const {
        return pathInFolder(files, name);
    }
    /// Makes a file, its content its name, and answers its path.
    std::string file(std::string_view name) const {
        writeContent(path(name), name);
        return path(name);
    }
    /// Whether something is there, be it a link.
    [[nodiscard]] static bool exists(const std::string& path) {
        return std::filesystem::exists(std::filesystem::symlink_status(path));
    }
    /// The lines of the log so far, without their dates.
    [[nodiscard]] std::vector<std::string> logged() {
        log.finishWriting();
        std::vector<std::string> lines;
        std::istringstream content(contentOf(folder / "home/Library/Logs/Zantrel/Cutstack.1.log"));
        for (std::string line; std::getline(content, line);)
            if (const auto behind = line.find(" - "); behind != std::string::npos)
                lines.push_back(line.substr(behind + 3));
        return lines;
    }

    TemporaryFolder folder;
    const std::string files = folder / "files";
    FakeEnvironment environment;
    FakeConsole screen;
    Locations locations{environment, screen};
    FakeClock clock;
    FakeSystemLog console;
    LogWriter log{{locations, clock, console, [] { return LogHeader(); }}};

    FakeCopier copier;
    FakeMover mover;
    FakeFlags flags;
    FakeFinderMetadata metadata;
    FakeTrash trash;
    FakeEvents events;
    FakeSteadyClock steady;
    FakeMainThread mainThread{steady};
    FakePrivilegedFiles privileged;
    std::vector<std::vector<std::string>> tools; ///< that were run, time limit in seconds last
    std::function<bool()> duringTool = [] { return true; };
    std::set<std::string> packages;
    FileServices at{copier,
                    mover,
                    flags,
                    metadata,
                    trash,
                    events,
                    mainThread,
                    steady,
                    privileged,
                    log,
                    [this](const std::string& tool, const std::vector<std::string>& arguments,
                           std::optional<FileServices::Seconds> timeout) {
                        tools.push_back({tool});
                        tools.back().insert(tools.back().end(), arguments.begin(), arguments.end());
                        tools.back().push_back(timeout ? formatString("%0.0f", {timeout->count()})
                                                       : "-");
                        return duringTool();
                    },
                    [this](const std::string& bundle) { return packages.contains(bundle); },
                    [this](const std::string& bundle) { return packages.insert(bundle).second; }};
};

} // namespace cutstack
