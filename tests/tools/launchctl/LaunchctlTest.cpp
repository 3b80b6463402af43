// launchctl as its user meets it, on a real systemd user manager.

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/PropertyListWriting.h"
#include "tests/Subprocess.h"
#include "tests/SystemdUserManager.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;
using Lines = std::vector<std::string>;

/// Waits until `holds`; false after longer than anything here can take.
bool eventually(const std::function<bool()>& holds) {
    for (int i = 0; i < 6000; ++i) {
        if (holds())
            return true;
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

void replaceByRename(const std::string& path, const std::string& content) {
    writeContent(path + ".new", content);
    fs::rename(path + ".new", path);
}

class LaunchctlTest : public testing::Test {
public:
    void SetUp() override {
        if (manager_.fault().empty())
            return;
        if (mustRunEverywhere())
            FAIL() << "no systemd user manager: " << manager_.fault();
        GTEST_SKIP() << "no systemd user manager can be started here: " << manager_.fault();
    }
    void TearDown() override {
        if (HasFailure())
            std::cerr << manager_.log();
    }

    /// A job that runs `script` by /bin/sh, with the keys of `more` beside it; returns its file.
    std::string makeJob(const std::string& name, const std::string& script, Dictionary more = {}) {
        more["Label"] = name;
        more["Program"] = "/bin/sh";
        more["ProgramArguments"] = Array{"Cutstack", "-c", script};
        const std::string file = fileOf(name);
        writeContent(file, xmlPropertyList(more).value());
        return file;
    }
    std::string fileOf(const std::string& name) const {
        return home("Library/LaunchAgents/" + name + ".plist");
    }
    std::string home(const std::string& name) const { return manager_.home(name); }

    Finished launchctl(Lines arguments) const {
        arguments.insert(arguments.begin(), LAUNCHCTL);
        return finished(arguments);
    }
    void mustDo(const Lines& arguments) const {
        const Finished done = launchctl(arguments);
        EXPECT_EQ(done.status, 0) << done.errors;
    }

    /// The lines that runs have written into `file`.
    Lines lines(const std::string& file) const {
        Lines lines;
        std::ifstream stream(home(file));
        for (std::string line; std::getline(stream, line);)
            lines.push_back(line);
        return lines;
    }
    bool waitForLines(const std::string& file, std::size_t count) const {
        return eventually([&] { return lines(file).size() >= count; });
    }
    std::string property(const std::string& unit, const std::string& name) const {
        const std::string value = manager_.systemctl({"show", "--value", "-p", name, unit});
        return value.substr(0, value.find('\n'));
    }
    bool isAtWork(const std::string& unit) const {
        return property(unit, "ActiveState") == "activating";
    }

    /// Whether the manager holds back the start of a unit whose name ends so.
    bool isWaiting(const std::string& name) const {
        std::istringstream jobs(manager_.systemctl({"list-jobs", "--no-legend"}));
        for (std::string line; std::getline(jobs, line);) {
            if (line.find(name) != line.npos && line.find("waiting") != line.npos)
                return true;
        }
        return false;
    }

    void makeGate() const { ASSERT_EQ(mkfifo(home("gate").c_str(), 0600), 0); }
    /// Lets one run go on that waits at the gate, or soon will.
    void openGate() const {
        int gate = -1;
        EXPECT_TRUE(eventually([&] {
            gate = open(home("gate").c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            return gate >= 0;
        }));
        EXPECT_EQ(write(gate, "go\n", 3), 3);
        close(gate);
    }

    SystemdUserManager manager_;
};

// What the jobs of these tests do: note that they run, and wait until they may end.
constexpr const char* kNote = "echo run >> ~/runs";
constexpr const char* kNoteAndWait = "echo $$ >> ~/runs; read line < ~/gate; echo end >> ~/ends";

TEST_F(LaunchctlTest, LoadsListsAndUnloads) {
    const std::string file =
        makeJob("job", kNote,
                {{"WatchPaths", Array{home("f")}}, {"StartInterval", 900}, {"StartOnMount", true}});
    mustDo({"load", file});
    EXPECT_EQ(launchctl({"list"}).output, "PID\tStatus\tLabel\tFile\n-\t-\tjob\t" + file + "\n");
    EXPECT_EQ(property("job-watch.service", "ActiveState"), "active");
    EXPECT_EQ(property("job.timer", "ActiveState"), "active");
    EXPECT_EQ(manager_.systemctl({"is-enabled", "job.timer"}), "enabled\n");
    mustDo({"load", file}); // anew
    const std::string broken = home("Library/LaunchAgents/broken.plist");
    writeContent(broken, "<plist><dict><key>Label</key></dict></plist>");
    EXPECT_EQ(launchctl({"load", broken}).status, 1);

    mustDo({"unload", file});
    EXPECT_EQ(launchctl({"list"}).output, "PID\tStatus\tLabel\tFile\n");
    EXPECT_EQ(property("job-watch.service", "LoadState"), "not-found");
    EXPECT_EQ(property("job.timer", "ActiveState"), "inactive");
    for (const auto& entry : fs::recursive_directory_iterator(manager_.units()))
        EXPECT_TRUE(entry.is_directory()) << entry;
    const Finished again = launchctl({"unload", file});
    EXPECT_EQ(again.status, 1);
    EXPECT_EQ(again.errors, "launchctl: " + file + ": not loaded\n");
}

TEST_F(LaunchctlTest, TellsHowRunsEnd) {
    const std::string file = makeJob("job", "exit 3", {{"RunAtLoad", true}});
    mustDo({"load", file});
    EXPECT_TRUE(eventually([&] {
        return launchctl({"list", "job"}).output.ends_with("-\t3\tjob\t" + file + "\n");
    }));
    makeJob("job", "kill -9 $$", {{"RunAtLoad", true}});
    mustDo({"load", file});
    EXPECT_TRUE(eventually([&] {
        return launchctl({"list", "job"}).output.ends_with("-\t-9\tjob\t" + file + "\n");
    }));
    EXPECT_EQ(launchctl({"list", "nobody"}).status, 1);
}

TEST_F(LaunchctlTest, RunsWhenAWatchedFileChanges) {
    const std::string f = home("a/f");
    const struct {
        const char* name;
        std::function<void()> before;
        std::function<void()> change;
    } cases[] = {
        {"in place", [&] { writeContent(f, "1"); }, [&] { writeContent(f, "2"); }},
        {"by rename", [&] { writeContent(f, "1"); }, [&] { replaceByRename(f, "2"); }},
        {"removed", [&] { writeContent(f, "1"); }, [&] { fs::remove(f); }},
        {"appears with its folder", [] {}, [&] { writeContent(f, "1"); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        fs::remove_all(home("a"));
        fs::remove(home("runs"));
        c.before();
        const std::string file = makeJob("job", kNote, {{"WatchPaths", Array{f}}});
        mustDo({"load", file});
        c.change();
        EXPECT_TRUE(waitForLines("runs", 1));
        mustDo({"remove", "job"});
        EXPECT_EQ(lines("runs").size(), 1U) << "loading alone is no change";
        // What was put aside would count for the next case.
        fs::remove(manager_.runtime("cutstack/job.removed"));
    }
}

TEST_F(LaunchctlTest, WatchesFiveHundredFiles) {
    Array paths;
    for (int i = 0; i < 500; ++i) {
        const std::string path = home(std::to_string(i) + "/Promo.fcp");
        fs::create_directories(fs::path(path).parent_path());
        paths.push_back(path);
    }
    mustDo({"load", makeJob("job", kNote, {{"WatchPaths", paths}})});
    replaceByRename(*paths[0].asString(), "1");
    EXPECT_TRUE(waitForLines("runs", 1));
    writeContent(*paths[499].asString(), "1");
    EXPECT_TRUE(waitForLines("runs", 2));
}

TEST_F(LaunchctlTest, ASaveDuringARunStartsAnotherOneAfterwards) {
    makeGate();
    writeContent(home("f"), "1");
    mustDo({"load", makeJob("job", kNoteAndWait, {{"WatchPaths", Array{home("f")}}})});
    writeContent(home("f"), "2");
    ASSERT_TRUE(waitForLines("runs", 1));
    writeContent(home("f"), "3");
    // The watcher now waits for the end of the run.
    ASSERT_TRUE(eventually([&] { return isWaiting("job-idle.service"); }));
    EXPECT_EQ(lines("runs").size(), 1U) << "one run at a time";
    openGate();
    EXPECT_TRUE(waitForLines("runs", 2));
    openGate();
    EXPECT_TRUE(waitForLines("ends", 2));
}

TEST_F(LaunchctlTest, UnloadingFromInsideARunLeavesItAlone) {
    makeGate();
    const std::string file = fileOf("job");
    makeJob("job", std::string(LAUNCHCTL) + " unload '" + file + "' && " + kNoteAndWait,
            {{"RunAtLoad", true}, {"StartInterval", 900}, {"WatchPaths", Array{home("f")}}});
    mustDo({"load", file});
    ASSERT_TRUE(waitForLines("runs", 1));
    EXPECT_TRUE(isAtWork("job.service"));
    EXPECT_EQ(property("job.service", "TimeoutStartUSec"), "infinity") << "it is not ended later";
    EXPECT_EQ(property("job.timer", "ActiveState"), "inactive");
    EXPECT_FALSE(fs::exists(manager_.units() + "/job.service"));
    openGate();
    EXPECT_TRUE(waitForLines("ends", 1));
}

TEST_F(LaunchctlTest, ReloadingFromInsideARunDoesNotRunForEver) {
    writeContent(home("f"), "1");
    const std::string file = fileOf("job");
    const std::string reload = std::string(LAUNCHCTL) + " unload '" + file + "'; " + LAUNCHCTL +
                               " load '" + file + "'; " + kNote;
    makeJob("job", reload, {{"WatchPaths", Array{home("f"), home("g")}}});
    mustDo({"load", file});
    writeContent(home("f"), "2");
    ASSERT_TRUE(waitForLines("runs", 1));
    // A watcher that found something to do would have done it by the time this one ran thrice.
    mustDo({"load", makeJob("clock", "echo run >> ~/clock", {{"StartInterval", 1}})});
    ASSERT_TRUE(waitForLines("clock", 3));
    EXPECT_EQ(lines("runs").size(), 1U);
    writeContent(home("g"), "1");
    EXPECT_TRUE(waitForLines("runs", 2));
    EXPECT_EQ(property("job-watch.service", "ActiveState"), "active");
}

TEST_F(LaunchctlTest, RunsAtIntervalsButNotDuringARun) {
    makeGate();
    mustDo({"load", makeJob("slow", kNoteAndWait, {{"StartInterval", 1}})});
    mustDo({"load", makeJob("quick", "echo run >> ~/quick", {{"StartInterval", 1}})});
    ASSERT_TRUE(waitForLines("runs", 1));
    ASSERT_TRUE(waitForLines("quick", 3));
    EXPECT_EQ(lines("runs").size(), 1U);
    openGate();
    EXPECT_TRUE(waitForLines("runs", 2));
    openGate();
}

TEST_F(LaunchctlTest, RunsAtLoadOnceAndAsPolitelyAsAsked) {
    makeGate();
    mustDo({"load", makeJob("job", kNoteAndWait,
                            {{"RunAtLoad", true}, {"Nice", 15}, {"LowPriorityIO", true}})});
    ASSERT_TRUE(waitForLines("runs", 1));
    const std::string process = lines("runs").front();
    EXPECT_EQ(property("job.service", "MainPID"), process);
    EXPECT_EQ(
        launchctl({"list", "job"}).output.find("PID\tStatus\tLabel\tFile\n" + process + "\t-"), 0U);
    std::istringstream status(contentOf("/proc/" + process + "/stat"));
    std::string field;
    for (int i = 0; i < 19; ++i)
        status >> field;
    EXPECT_EQ(field, "15");
    constexpr int kProcess = 1;
    constexpr int kIdleClass = 3;
    EXPECT_EQ(syscall(SYS_ioprio_get, kProcess, std::stoi(process)) >> 13, kIdleClass);
    openGate();
    ASSERT_TRUE(waitForLines("ends", 1));
    // Another job's loading makes the manager read everything again.
    mustDo({"load", makeJob("other", "echo run >> ~/other", {{"RunAtLoad", true}})});
    ASSERT_TRUE(waitForLines("other", 1));
    EXPECT_EQ(lines("runs").size(), 1U);
}

TEST_F(LaunchctlTest, RunsAtAMount) {
    if (getuid() != 0)
        GTEST_SKIP() << "only root mounts";
    makeGate();
    for (const char* name : {"m1", "m2"})
        fs::create_directories(home(name));
    mustDo({"load", makeJob("job-1", kNoteAndWait, {{"StartOnMount", true}})});
    if (mount("none", home("m1").c_str(), "tmpfs", 0, nullptr) != 0) {
        if (mustRunEverywhere())
            FAIL() << "no mounting: " << strerror(errno);
        GTEST_SKIP() << "no mounting here: " << strerror(errno);
    }
    EXPECT_TRUE(waitForLines("runs", 1));
    // That run may have looked before this one.
    EXPECT_EQ(mount("none", home("m2").c_str(), "tmpfs", 0, nullptr), 0);
    EXPECT_TRUE(eventually([&] { return isWaiting("m2.service"); }));
    openGate();
    EXPECT_TRUE(waitForLines("runs", 2));
    openGate();
    EXPECT_TRUE(waitForLines("ends", 2));
    for (const char* name : {"m1", "m2"})
        EXPECT_EQ(umount(home(name).c_str()), 0);
}

TEST_F(LaunchctlTest, JobsComeBackAtTheNextLogin) {
    writeContent(home("f"), "1");
    mustDo({"load", makeJob("watching", kNote, {{"WatchPaths", Array{home("f")}}})});
    mustDo({"load", makeJob("loading", "echo run >> ~/loads", {{"RunAtLoad", true}})});
    ASSERT_TRUE(waitForLines("loads", 1));
    manager_.logOutAndIn();
    EXPECT_TRUE(waitForLines("loads", 2));
    ASSERT_TRUE(eventually([&] { return fs::exists(manager_.runtime("cutstack/watching.seen")); }));
    writeContent(home("f"), "2");
    EXPECT_TRUE(waitForLines("runs", 1));
    EXPECT_EQ(lines("loads").size(), 2U);
}

TEST_F(LaunchctlTest, NoSaveIsLostWhileJobsAreLoadedAnew) {
    writeContent(home("f"), "0");
    const std::string script = "cat ~/f >> ~/runs";
    const std::string file = makeJob("job", script, {{"WatchPaths", Array{home("f")}}});
    mustDo({"load", file});
    std::minstd_rand random(std::random_device{}());
    int saved = 0;
    std::atomic<bool> isOver = false;
    std::thread editor([&] {
        while (!isOver) {
            replaceByRename(home("f"), std::to_string(++saved) + "\n");
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 400));
        }
    });
    for (int i = 0; i < 20; ++i) {
        mustDo({i % 2 == 0 ? "unload" : "remove", i % 2 == 0 ? file : "job"});
        mustDo({"load", file});
    }
    isOver = true;
    editor.join();
    const auto lastRunSaw = [&](const std::string& content) {
        const Lines seen = lines("runs");
        return !seen.empty() && seen.back() == content;
    };
    EXPECT_TRUE(eventually([&] { return lastRunSaw(std::to_string(saved)); })) << saved;

    // A save while nobody watches, seen at once when somebody does again.
    mustDo({"unload", file});
    replaceByRename(home("f"), "last\n");
    mustDo({"load", file});
    EXPECT_TRUE(eventually([&] { return lastRunSaw("last"); }));
}

TEST_F(LaunchctlTest, AWatcherThatIsKilledComesBackAndFindsWhatItMissed) {
    writeContent(home("f"), "1");
    mustDo({"load", makeJob("job", kNote, {{"WatchPaths", Array{home("f")}}})});
    EXPECT_EQ(manager_.systemctl({"kill", "--signal=KILL", "job-watch.service"}), "");
    writeContent(home("f"), "2");
    EXPECT_TRUE(waitForLines("runs", 1));
}

TEST_F(LaunchctlTest, RemovesByFileNameAndNeverAnotherJobOfThatLabel) {
    const auto job = [](const char* label) {
        return xmlPropertyList(Dictionary{{"Label", label}, {"Program", "/bin/true"}}).value();
    };
    for (const char* name : {"Backup", "Watcher"})
        writeContent(fileOf(name), job("Backup"));
    writeContent(fileOf("Backup.autosave"), job("Backup.Autosave"));
    mustDo({"load", fileOf("Watcher"), fileOf("Backup.autosave")});
    EXPECT_EQ(launchctl({"remove", "Backup"}).status, 1);
    EXPECT_NE(launchctl({"list"}).output.find("Watcher.plist"), std::string::npos);
    mustDo({"remove", "Backup.Autosave"});
    EXPECT_EQ(launchctl({"list"}).output.find("autosave"), std::string::npos);
    mustDo({"remove", "Watcher"});
}

TEST_F(LaunchctlTest, RunsProgramsOfAnyNameWithArgumentsOfAnyKind) {
    const std::string names[] = {"100% $HOME", "it's \"odd\"\\", "two\nlines", "-d"};
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        fs::remove(home("runs"));
        const std::string program = home("Programs/" + name + "/run it");
        writeContent(program,
                     "#!/bin/sh\nprintf '<%s>' \"$@\" > ~/runs.new\nmv ~/runs.new ~/runs\n");
        fs::permissions(program, fs::perms::owner_all);
        const std::string file = fileOf(name);
        writeContent(file,
                     xmlPropertyList(Dictionary{{"Label", name},
                                                {"Program", program},
                                                {"ProgramArguments",
                                                 Array{"Cutstack", name, "", ";", "%h ${HOME}"}},
                                                {"RunAtLoad", true},
                                                {"WatchPaths", Array{home(name)}}})
                         .value());
        mustDo({"load", file});
        ASSERT_TRUE(waitForLines("runs", 1));
        EXPECT_EQ(contentOf(home("runs")), "<" + name + "><><;><%h ${HOME}>");
        fs::remove(home("runs"));
        writeContent(home(name), "1");
        EXPECT_TRUE(waitForLines("runs", 1));
        mustDo({"unload", file});
    }
}

TEST_F(LaunchctlTest, TouchesNoUnitOfSomebodyElse) {
    const std::string file = makeJob("job", kNote, {{"RunAtLoad", true}});
    writeContent(manager_.units() + "/job.timer", "[Timer]\nOnActiveSec=1000\n");
    const Finished refused = launchctl({"load", file});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.errors.find("job.timer is somebody else's unit"), std::string::npos)
        << refused.errors;
    EXPECT_EQ(launchctl({"unload", file}).status, 1);
    EXPECT_EQ(contentOf(manager_.units() + "/job.timer"), "[Timer]\nOnActiveSec=1000\n");
    EXPECT_FALSE(fs::exists(manager_.units() + "/job.service"));
}

TEST(LaunchctlWithoutManagerTest, ChangesNothing) {
    const TemporaryFolder folder;
    setenv("HOME", (folder / "home").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", (folder / "run").c_str(), 1);
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    fs::create_directories(folder / "run");
    const std::string file = folder / "job.plist";
    writeContent(file, xmlPropertyList(Dictionary{{"Label", "a"}, {"Program", "/bin/a"}}).value());
    for (const char* runtime : {"run", "none"}) {
        if (runtime == std::string("none"))
            unsetenv("XDG_RUNTIME_DIR");
        const Finished refused = finished({LAUNCHCTL, "load", file});
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(std::ranges::count(refused.errors, '\n'), 1) << refused.errors;
        EXPECT_FALSE(fs::exists(folder / "home"));
    }
}

} // namespace
} // namespace cutstack
