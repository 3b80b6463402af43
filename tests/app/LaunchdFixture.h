#pragma once

// A user with a launchd that is not there. Everything that is done for a job, by whichever way, is
// noted in one row.

#include <filesystem>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "app/ZTLaunchd.h"
#include "support/PropertyListReading.h"
#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"
#include "tests/platform/TaskFakes.h"

namespace cutstack {

using Events = std::vector<std::string>;

inline std::string joined(std::string text, const std::vector<std::string>& words) {
    for (const std::string& word : words)
        text += " " + word;
    return text;
}

/// Tools end at once.
struct NotingLauncher final : ChildProcessLauncher {
    Events& events;
    explicit NotingLauncher(Events& notes) : events(notes) {}

    std::shared_ptr<ChildProcess> launch(const std::string& path,
                                         const std::vector<std::string>& arguments,
                                         ChildStreams streams, std::string&) override {
        events.push_back(joined(path, arguments));
        return std::make_shared<FakeChildProcess>(FakeTool{}, streams);
    }
};

struct NoPrivileges final : Privileges {
    int faultOfMeans(std::string&) override { return 1; }
    bool areObtained() override { return false; }
    bool obtain(std::string&) override { return false; }
    bool obtainAs(const std::string&, const std::string&, std::string&) override { return false; }
    void giveUp() override {}
    std::optional<int> run(const std::string&, const std::vector<std::string>&, bool,
                           std::string&) override {
        return std::nullopt;
    }
};

struct NotingAuthorization final : ZTAuthorization {
    Events& events;
    bool canMove = true;
    std::function<void(const std::string& path)> remove = [](const std::string&) {};
    std::string moved; ///< what was in the file that was moved last

    NotingAuthorization(Events& notes, const AuthorizationServices& services)
        : ZTAuthorization(true, services), events(notes) {}

    bool authMoveFile(const Path& oldPath, const Path& newPath) override {
        const std::string name = std::filesystem::path(oldPath.value_or("")).filename().string();
        events.push_back("move " + name + " to " + newPath.value_or("nothing"));
        moved = contentOf(oldPath.value_or(""));
        return canMove;
    }
    bool authRemoveFile(const std::string& path) override {
        events.push_back("remove " + path);
        remove(path);
        return true;
    }
    std::int32_t authExecTask(const std::string& tool, const ZTTask::Arguments& parameters,
                              bool async) override {
        events.push_back(joined((async ? "authorized " : "waiting ") + tool, parameters));
        return 0;
    }
};

struct NotingConsole final : SystemLog {
    Events& events;
    explicit NotingConsole(Events& notes) : events(notes) {}
    void log(std::string_view message) override { events.emplace_back(message); }
};

struct NotingInterface final : UserInterface {
    Events& events;
    explicit NotingInterface(Events& notes) : events(notes) {}
    void performOnMainThread(std::function<void()> work) override { work(); }
    void performOnMainThreadAndWait(const std::function<void()>& work) override {
        events.push_back("main thread:");
        work();
    }
    int alertSheet(const Alert& alert) override {
        events.push_back("alert " + alert.messageText + " | " + alert.informativeText + " | " +
                         alert.defaultButton + alert.alternateButton + alert.otherButton);
        return 1;
    }
    void startProgress() override {}
    void setDeterminateProgress(double) override {}
    void incrementProgressBar() override {}
    void endProgress() override {}
};

class LaunchdFixture : public testing::Test {
protected:
    LaunchdFixture() {
        environment_.home = folder_ / "home";
        environment_.local = folder_ / "local";
        environment_.temporary = folder_ / "tmp";
        std::filesystem::create_directories(environment_.temporary);
        log_.createNewLog("test");
    }

    [[nodiscard]] std::string agent(const std::string& jobName) const {
        return folder_ / ("home/Library/LaunchAgents/" + jobName + ".plist");
    }
    [[nodiscard]] static PropertyList listIn(const std::string& bytes) {
        std::string error;
        return readPropertyList(bytes, error).value_or(error);
    }
    /// The events so far, with the folder of the test written as "~".
    [[nodiscard]] Events takeEvents() {
        Events taken = std::exchange(events_, {});
        const std::string folder = folder_.path().string();
        for (std::string& event : taken) {
            for (auto at = event.find(folder); at != std::string::npos; at = event.find(folder))
                event.replace(at, folder.size(), "~");
        }
        return taken;
    }

    TemporaryFolder folder_;
    Events events_;
    FakeEnvironment environment_;
    FakeConsole screen_;
    FakeClock clock_;
    Locations locations_{environment_, screen_};
    NotingConsole console_{events_};
    LogWriter log_{{locations_, clock_, console_, [] { return LogHeader{}; }}};
    NotingLauncher launcher_{events_};
    FakeMainThreadQueue mainThread_;
    FakeToolPaths toolPaths_;
    std::promise<void> end_; ///< broken at the end of the test, when time limits pass
    TaskServices tasks_{launcher_,
                        mainThread_,
                        toolPaths_,
                        log_,
                        [](const std::string&) { return true; },
                        [end = end_.get_future().share()](std::chrono::seconds) { end.wait(); }};
    NoPrivileges privileges_;
    AuthorizationServices rights_{privileges_, locations_, clock_, tasks_};
    NotingAuthorization authorization_{events_, rights_};
    NotingInterface interface_{events_};
    LaunchdServices launchd_{locations_,
                             tasks_,
                             authorization_,
                             console_,
                             &interface_,
                             [this](std::chrono::microseconds time) {
                                 events_.push_back("pause " + std::to_string(time.count()));
                             }};
};

} // namespace cutstack
