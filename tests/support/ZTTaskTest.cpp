#include "support/ZTTask.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <future>
#include <sstream>
#include <sys/stat.h>

#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"
#include "tests/platform/TaskFakes.h"

namespace cutstack {
namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

constexpr auto kAsLongAsItTakes = std::chrono::milliseconds::max();

/// A time that passes when the test says so.
class SteppedTime {
public:
    void sleep(std::chrono::seconds time) {
        slept_ = time;
        passed_.wait(false);
    }
    void pass() {
        passed_ = true;
        passed_.notify_all();
    }
    [[nodiscard]] std::chrono::seconds slept() const { return slept_; }

private:
    std::atomic<std::chrono::seconds> slept_ = -1s;
    std::atomic<bool> passed_ = false;
};

/// Real processes and the real main thread's queue, with a log of the test's own.
class ZTTaskTest : public testing::Test {
protected:
    ZTTaskTest() {
        environment_.home = folder_ / "anna";
        environment_.local = folder_ / "local";
        log_.createNewLog(std::nullopt);
        services_.sleepFor = [time = time_](std::chrono::seconds seconds) { time->sleep(seconds); };
    }
    ~ZTTaskTest() override {
        time_->pass();
        while (mainThreadQueue().runPending(0ms)) {
        }
    }

    /// The lines in the log, without date and header.
    [[nodiscard]] Lines logged() {
        log_.finishWriting();
        Lines lines;
        const std::string path = folder_ / "anna/Library/Logs/Zantrel/Cutstack.1.log";
        if (!std::filesystem::exists(path))
            return lines;
        std::istringstream content(contentOf(path));
        for (std::string line; std::getline(content, line);) {
            if (const auto at = line.find("+0100 - "); at != std::string::npos)
                lines.push_back(line.substr(at + 8));
        }
        return lines;
    }

    static void awaitRunning(const RunningTask& task) {
        while (!task.isRunning())
            std::this_thread::yield();
    }
    [[nodiscard]] static ZTTask::Arguments script(const std::string& text) { return {"-c", text}; }

    TemporaryFolder folder_;
    FakeEnvironment environment_;
    FakeConsole screen_;
    Locations locations_{environment_, screen_};
    FakeClock clock_;
    FakeSystemLog console_;
    LogWriter log_{{locations_, clock_, console_, [] { return LogHeader{}; }}};
    FakeToolPaths tools_{};
    std::shared_ptr<SteppedTime> time_ = std::make_shared<SteppedTime>();
    TaskServices services_{childProcessLauncher(), mainThreadQueue(), tools_, log_};
};

TEST_F(ZTTaskTest, RefusesWhatIsNoPlainExecutable) {
    namespace fs = std::filesystem;
    const std::string plain = folder_ / "plain";
    writeContent(plain, "");
    const std::string bundle = folder_ / "Some.app";
    writeContent(bundle + "/Contents/Info.plist", "");
    const std::string noProgram = folder_ / "noProgram";
    writeContent(noProgram, "neither binary nor script");
    chmod(noProgram.c_str(), 0700);
    fs::create_symlink("missing", folder_.path() / "dangling");

    for (const std::string& path : {std::string(), folder_ / "missing", folder_.path().string(),
                                    plain, bundle, folder_ / "dangling", noProgram}) {
        const std::size_t before = console_.messages().size();
        EXPECT_EQ(ZTTask::dataFromTask(path, {}, nullptr, services_), std::nullopt);
        EXPECT_EQ(ZTTask::dataFromTaskTimeout(path, {}, 1s, services_), std::nullopt);
        EXPECT_EQ(ZTTask::stringFromTask(path, {}, {}, nullptr, services_), "");
        EXPECT_EQ(ZTTask::stringFromTaskTimeout(path, {}, 1s, {}, services_), "");
        EXPECT_EQ(ZTTask::terminationCodeFromTask(path, {}, nullptr, services_), -1);
        EXPECT_EQ(ZTTask::terminationCodeFromTaskTimeout(path, {}, 1s, services_), -1);
        EXPECT_FALSE(ZTTask::runTask(path, {}, nullptr, services_));
        ZTTask::runTaskTimeout(path, {}, 1s, services_);
        ZTTask::runTaskAndReturn(path, {}, services_);
        Lines expected(9, "Error: " + path + " is not executable");
        if (path == noProgram) {
            for (std::size_t i = 1; i <= 17; i += 2)
                expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(i),
                                path + " could not be started: Exec format error");
        }
        const Lines all = console_.messages();
        EXPECT_EQ(Lines(all.begin() + static_cast<std::ptrdiff_t>(before), all.end()), expected);
    }
    EXPECT_EQ(logged(), console_.messages());
}

TEST_F(ZTTaskTest, AnswersWhatTheToolWrote) {
    const std::string megabyte = "head -c 1048576 /dev/zero | tr '\\0' x";
    struct Case {
        std::string script;
        ZTTask::Data data;
    };
    for (const Case& c : {Case{"printf out", "out"},
                          {"printf out; printf errors >&2", "errors"},
                          {"exit 1", ""},
                          {R"(printf '\377\0\200')", std::string("\xFF\0\x80", 3)},
                          {megabyte + " >&2; echo out", std::string(1 << 20, 'x')}}) {
        EXPECT_EQ(ZTTask::dataFromTask("/bin/sh", script(c.script), nullptr, services_), c.data);
        EXPECT_EQ(ZTTask::dataFromTaskTimeout("/bin/sh", script(c.script), 9s, services_), c.data);
    }
    EXPECT_EQ(logged(), Lines());
}

TEST_F(ZTTaskTest, DecodesText) {
    struct Case {
        const char* bytes;
        unsigned long encoding;
        ZTTask::Text text;
    };
    for (const Case& c : {Case{"plain", 1, "plain"},
                          {"", 1, ""},
                          {R"(\303\251)", 1, std::nullopt},
                          {R"(\303\251)", 4, "\xC3\xA9"},
                          {R"(\303)", 4, std::nullopt},
                          {R"(\355\240\200)", 4, std::nullopt}, // half a surrogate pair
                          {R"(\300\257)", 4, std::nullopt},     // a slash, too long
                          {R"(e\351\277)", 5, "e\xC3\xA9\xC2\xBF"},
                          {"plain", 10, std::nullopt}}) {
        const auto arguments = script(std::string("printf '") + c.bytes + "'");
        const auto encoding = StringEncoding{c.encoding};
        EXPECT_EQ(ZTTask::stringFromTask("/bin/sh", arguments, encoding, nullptr, services_),
                  c.text)
            << c.bytes << " in " << c.encoding;
        EXPECT_EQ(ZTTask::stringFromTaskTimeout("/bin/sh", arguments, 9s, encoding, services_),
                  c.text);
    }
}

TEST_F(ZTTaskTest, AnswersHowTheToolEnded) {
    struct Case {
        const char* script;
        std::int32_t code;
    };
    for (const Case& c :
         {Case{"exit 0", 0}, {"exit 1", 1}, {"kill $$", SIGTERM}, {"echo out; exit 2", 2}}) {
        const auto arguments = script(c.script);
        EXPECT_EQ(ZTTask::terminationCodeFromTask("/bin/sh", arguments, nullptr, services_),
                  c.code);
        EXPECT_EQ(ZTTask::terminationCodeFromTaskTimeout("/bin/sh", arguments, 9s, services_),
                  c.code);
        EXPECT_TRUE(ZTTask::runTask("/bin/sh", arguments, nullptr, services_)) << c.script;
    }
}

TEST_F(ZTTaskTest, StartsTheToolThatStandsInAndNamesTheOneThatWasAskedFor) {
    tools_.places["/bin/launchctl"] = "/bin/echo";
    tools_.places["/usr/bin/ditto"] = folder_ / "missing";
    const ZTTask::Arguments words = {"-x", "a b", "c\nd", "\xFF"};
    EXPECT_EQ(ZTTask::dataFromTask("/bin/launchctl", words, nullptr, services_),
              "-x a b c\nd \xFF\n");
    EXPECT_FALSE(ZTTask::runTask("/usr/bin/ditto", {}, nullptr, services_));
    EXPECT_EQ(logged(), Lines{"Error: /usr/bin/ditto is not executable"});
}

TEST_F(ZTTaskTest, AnotherThreadMayEndTheTool) {
    RunningTask task;
    task.terminate();
    EXPECT_FALSE(task.isRunning());
    auto code = std::async(std::launch::async, [&] {
        return ZTTask::terminationCodeFromTask("/bin/sleep", {"1000"}, &task, services_);
    });
    awaitRunning(task);
    task.terminate();
    EXPECT_EQ(code.get(), SIGTERM);
    EXPECT_FALSE(task.isRunning());
}

TEST_F(ZTTaskTest, DoesNotWaitForAToolThatItOnlyStarts) {
    const std::string gate = folder_ / "gate";
    const std::string done = folder_ / "done";
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(done.c_str(), 0600), 0);
    const auto text = "read -r l < '" + gate + "'; echo \"$l\" > '" + done + "'";
    ZTTask::runTaskAndReturn("/bin/sh", script(text), services_);
    writeContent(gate, "went on\n");
    EXPECT_EQ(contentOf(done), "went on\n");
}

// --- Time limits

TEST_F(ZTTaskTest, TheMainThreadEndsAToolWhoseTimeHasPassed) {
    const std::string ready = folder_ / "ready";
    ASSERT_EQ(mkfifo(ready.c_str(), 0600), 0);
    const auto tool = script("printf x; echo > '" + ready + "'; exec sleep 1000");
    ZTTask task(services_);
    const std::function<std::string()> forms[] = {
        [&] { return task.dataFromTask("/bin/sh", tool, 2.9s).value_or("nothing"); },
        [&] { return std::to_string(task.terminationCodeFromTask("/bin/sh", tool, 2.9s)); },
        [&] {
            task.runTask("/bin/sh", tool, 2.9s);
            return std::string("run");
        }};
    Lines results;
    for (const auto& form : forms) {
        time_ = std::make_shared<SteppedTime>();
        services_.sleepFor = [time = time_](std::chrono::seconds s) { time->sleep(s); };
        const std::size_t before = console_.messages().size();
        auto result = std::async(std::launch::async, form);
        contentOf(ready);
        awaitRunning(task.theTask());
        time_->pass();
        EXPECT_TRUE(task.theTask().isRunning()); // the main thread has not come to it
        EXPECT_EQ(console_.messages().size(), before);
        EXPECT_TRUE(mainThreadQueue().runPending(kAsLongAsItTakes));
        results.push_back(result.get());
        EXPECT_EQ(time_->slept(), 2s);
        EXPECT_FALSE(task.theTask().isSet());
    }
    EXPECT_EQ(results, (Lines{"x", std::to_string(SIGTERM), "run"}));
    EXPECT_EQ(console_.messages(), Lines(3, "Task timed out. Terminating..."));
    EXPECT_EQ(logged(), Lines(3, "Task /bin/sh timed out. Terminating..."));
}

TEST_F(ZTTaskTest, NothingIsLoggedOfAToolThatEndsInTime) {
    {
        ZTTask task(services_);
        EXPECT_EQ(task.dataFromTask("/bin/echo", {"x"}, 1s), "x\n");
        task.timeout();
    } // the limit outlives it
    time_->pass();
    EXPECT_FALSE(mainThreadQueue().runPending(0ms));

    // Here the limit passes while the tool runs and the main thread, which would see to it, waits.
    const auto code = script("exit 4");
    EXPECT_EQ(ZTTask::terminationCodeFromTaskTimeout("/bin/sh", code, 0.5s, services_), 4);
    while (mainThreadQueue().runPending(0ms)) {
    }
    EXPECT_EQ(logged(), Lines());
    EXPECT_EQ(console_.messages(), Lines());
}

TEST_F(ZTTaskTest, ALimitCountsForWhatTheInstanceRunsWhenItHasPassed) {
    ZTTask task(services_);
    task.runTask("/bin/true", {}, 1s);
    services_.sleepFor = [](auto) {}; // none for the second
    auto code = std::async(std::launch::async, [&] {
        return task.terminationCodeFromTask("/bin/sleep", {"1000"}, 0s);
    });
    awaitRunning(task.theTask());
    time_->pass();
    while (code.wait_for(0s) != std::future_status::ready)
        mainThreadQueue().runPending(1ms);
    EXPECT_EQ(code.get(), SIGTERM);
}

TEST_F(ZTTaskTest, TimesAreCutToWholeSeconds) {
    struct Case {
        ZTTask::Seconds time;
        std::chrono::seconds slept;
    };
    for (const Case& c : {Case{10s, 10s},
                          {0.9s, 0s},
                          {-5s, 0s},
                          {ZTTask::Seconds(std::nan("")), 0s},
                          {ZTTask::Seconds(1e300), 8760h}}) {
        std::promise<std::chrono::seconds> slept;
        services_.sleepFor = [&](std::chrono::seconds time) { slept.set_value(time); };
        ZTTask(services_).runTask("/bin/true", {}, c.time);
        EXPECT_EQ(slept.get_future().get(), c.slept);
    }
}

// --- Asynchronous tools

/// What a delegate received.
struct Received {
    Lines pieces;
    ZTTask* task = nullptr;
    std::shared_ptr<void> object;

    ZTTask::Delegate delegate() {
        return [this](const std::string& data, ZTTask& from, const std::shared_ptr<void>& object_) {
            EXPECT_TRUE(mainThreadQueue().isMainThread());
            pieces.push_back(data);
            task = &from;
            object = object_;
        };
    }
    void awaitEnd() const {
        while (pieces.empty() || !pieces.back().empty())
            mainThreadQueue().runPending(kAsLongAsItTakes);
    }
};

TEST_F(ZTTaskTest, HandsOutputOnPieceByPiece) {
    const std::string gate = folder_ / "gate";
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
    ZTTask task(services_);
    Received received;
    auto object = std::make_shared<int>(7);
    task.asyncDataFromTask(
        "/bin/sh", script("printf one; echo no >&2; read -r l < '" + gate + "'; printf two"),
        received.delegate(), object);
    EXPECT_TRUE(mainThreadQueue().runPending(kAsLongAsItTakes));
    EXPECT_EQ(received.pieces, Lines{"one"});
    EXPECT_EQ(received.task, &task);
    EXPECT_EQ(received.object, object);
    EXPECT_TRUE(task.theTask().isRunning());
    writeContent(gate, "go\n");
    received.awaitEnd();
    EXPECT_EQ(received.pieces, (Lines{"one", "two", ""}));
    EXPECT_FALSE(task.theTask().isSet());
    received.object = nullptr;
    while (object.use_count() > 1) // the thread that read lets go of its share
        std::this_thread::yield();
}

TEST_F(ZTTaskTest, AsynchronousToolsEndEarly) {
    // By the task's owner, who hears no more of it.
    Received ended;
    ZTTask task(services_);
    const auto endless = script("while :; do echo x; done");
    task.asyncDataFromTask("/bin/sh", endless, ended.delegate());
    EXPECT_TRUE(mainThreadQueue().runPending(kAsLongAsItTakes));
    task.terminateAsyncTask();
    task.terminateAsyncTask();
    const std::size_t count = ended.pieces.size();

    // By another tool of the same task.
    Received first;
    Received second;
    task.asyncDataFromTask("/bin/sh", endless, first.delegate());
    task.asyncDataFromTask("/bin/echo", {"second"}, second.delegate());
    second.awaitEnd();
    EXPECT_EQ(second.pieces, (Lines{"second\n", ""}));
    EXPECT_EQ(first.pieces, Lines());

    // By the delegate, which owns the task and destroys it.
    auto owned = std::make_shared<ZTTask>(services_);
    const std::weak_ptr<ZTTask> watched = owned;
    owned->asyncDataFromTask("/bin/sh", endless, [&owned](const auto&...) { owned.reset(); });
    while (!watched.expired())
        mainThreadQueue().runPending(kAsLongAsItTakes);

    // At the last piece, by the end of a delegate that alone owns the task.
    auto own = std::make_shared<ZTTask>(services_);
    const std::weak_ptr<ZTTask> last = own;
    own->asyncDataFromTask("/bin/echo", {}, [own](const auto&...) {});
    own.reset();
    while (!last.expired())
        mainThreadQueue().runPending(kAsLongAsItTakes);
    while (mainThreadQueue().runPending(0ms)) {
    }
    EXPECT_EQ(ended.pieces.size(), count);
}

TEST_F(ZTTaskTest, AnAsynchronousToolThatDoesNotStartIsAtItsEnd) {
    ZTTask task(services_);
    Received received;
    task.asyncDataFromTask(folder_ / "missing", {}, received.delegate());
    EXPECT_EQ(received.pieces, Lines());
    received.awaitEnd();
    EXPECT_EQ(received.pieces, Lines{""});
    const Lines lines = {"Error: " + folder_ / "missing" + " is not executable",
                         folder_ / "missing" + " could not be started: No such file or directory"};
    EXPECT_EQ(logged(), lines);
    EXPECT_EQ(console_.messages(), lines);
}

TEST_F(ZTTaskTest, RootGivesFilesToRootAndItsGroup) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may give files away";
    const TaskServices services{childProcessLauncher(), mainThreadQueue(), toolPaths(), log_};
    const std::string file = folder_ / "file";
    writeContent(file, "");
    ASSERT_EQ(chown(file.c_str(), 1, 1), 0);
    EXPECT_EQ(
        ZTTask::terminationCodeFromTask("/usr/sbin/chown", {"root:wheel", file}, nullptr, services),
        0);
    struct stat status {};
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid + status.st_gid, 0U);
}

TEST_F(ZTTaskTest, WorksTheSameOnStandIns) {
    FakeChildProcessLauncher launcher;
    FakeMainThreadQueue queue;
    launcher.tools = {{"/bin/tool", {{"one", "two"}, "", 3, false, ""}},
                      {"/bin/slow", {{}, "", 0, true, ""}}};
    TaskServices services{launcher,   queue, tools_, log_, [](const auto&) { return true; },
                          [](auto) {}};
    EXPECT_EQ(ZTTask::stringFromTask("/bin/tool", {"-a", "b"}, {}, nullptr, services),
              std::nullopt);
    EXPECT_EQ(ZTTask::dataFromTask("/bin/tool", {}, nullptr, services), "onetwo");
    EXPECT_EQ(ZTTask::terminationCodeFromTask("/bin/tool", {}, nullptr, services), 3);
    EXPECT_EQ(launcher.started(),
              (std::vector<Lines>{{"/bin/tool", "-a", "b"}, {"/bin/tool"}, {"/bin/tool"}}));

    Lines pieces;
    ZTTask task(services);
    task.asyncDataFromTask("/bin/tool", {},
                           [&](const std::string& data, auto&&...) { pieces.push_back(data); });
    while (pieces.size() < 3)
        queue.runPending(1h);
    EXPECT_EQ(pieces, (Lines{"one", "two", ""}));

    task.asyncDataFromTask("/bin/slow", {}, [](auto&&...) {});
    task.timeout();
    EXPECT_EQ(launcher.children().back()->timesTerminated(), 1);
    EXPECT_EQ(logged(), Lines{"Task /bin/slow timed out. Terminating..."});
}

} // namespace
} // namespace cutstack
