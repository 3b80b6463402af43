#pragma once

// Stand-ins for the services of the platform. Each answers from plain members that a test sets and
// keeps what it was asked to do.

#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/ModuleLoader.h"
#include "platform/ProcessEnvironment.h"
#include "platform/ProgramStarter.h"
#include "platform/SystemLog.h"

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace cutstack {

struct FakeEnvironment final : ProcessEnvironment {
    bool root = false;
    std::optional<std::string> user = "anna";
    std::optional<std::string> home = "/home/anna";
    std::optional<std::string> local;
    std::string temporary = "/tmp";
    std::string executable = "/opt/Cutstack.app/Contents/MacOS/Cutstack";

    bool isRoot() const override { return root; }
    std::optional<std::string> userName() const override { return user; }
    std::optional<std::string> homeFolder() const override { return home; }
    std::optional<std::string> localRoot() const override { return local; }
    std::string temporaryFolder() const override { return temporary; }
    std::string executablePath() const override { return executable; }
    std::string globallyUniqueString() const override {
        return "UNIQUE-" + std::to_string(++uniqueStrings_);
    }

private:
    mutable std::atomic<int> uniqueStrings_ = 0;
};

struct FakeConsole final : Console {
    std::optional<std::string> user;
    std::map<std::string, std::string> homes;

    std::optional<std::string> userAtConsole() const override { return user; }
    std::optional<std::string> homeFolderOf(const std::string& userName) const override {
        const auto home = homes.find(userName);
        return home == homes.end() ? std::nullopt : std::optional(home->second);
    }
};

/// Keeps what was logged.
class FakeSystemLog final : public SystemLog {
public:
    void log(std::string_view message) override {
        const std::lock_guard lock(guard_);
        messages_.emplace_back(message);
    }
    [[nodiscard]] std::vector<std::string> messages() const {
        const std::lock_guard lock(guard_);
        return messages_;
    }

private:
    mutable std::mutex guard_;
    std::vector<std::string> messages_;
};

/// Stands still at 2010-03-14 17:05:09 +0100.
struct FakeClock : Clock {
    std::chrono::system_clock::time_point time{std::chrono::seconds(1268582709)};
    std::chrono::seconds offset = std::chrono::hours(1);

    std::chrono::system_clock::time_point now() const override { return time; }
    std::chrono::seconds zoneOffset(std::chrono::system_clock::time_point) const override {
        return offset;
    }
};

/// Keeps what was started, and answers `end`.
struct FakeProgramStarter final : ProgramStarter {
    ProgramEnd end{0, {}};
    std::vector<std::vector<std::string>> started; ///< path and arguments

    ProgramEnd run(const std::string& path, const std::vector<std::string>& arguments) override {
        started.push_back({path});
        started.back().insert(started.back().end(), arguments.begin(), arguments.end());
        return end;
    }
};

/// Answers `function`, or fails with `failure`.
struct FakeModuleLoader final : ModuleLoader {
    void* function = nullptr;
    std::string failure = "no such module";
    std::vector<std::pair<std::string, std::string>> asked; ///< path and function

    void* functionInModule(const std::string& path, const std::string& name,
                           std::string& error) override {
        asked.emplace_back(path, name);
        if (function == nullptr)
            error = failure;
        return function;
    }
};

} // namespace cutstack
