// Cutstack as its user meets it: a real session bus, a real job manager, the real project host and
// the built bundle. Projects are saved as editors save them, at the worst of moments, and every
// state in which one was left must be found in the store.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/Format.h"
#include "support/ZTLocalPaths.h"
#include "tests/PrivateBus.h"
#include "tests/Subprocess.h"
#include "tests/SystemdUserManager.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Milliseconds = std::chrono::milliseconds;
using Files = std::map<std::string, std::string>; ///< contents by path

constexpr const char* kEditor = "com.apple.FinalCutPro";
constexpr const char* kBackupUnit = "com.zantrel.Cutstack.service";

/// Waits until `holds`; false after longer than anything here can take.
bool eventually(const std::function<bool()>& holds) {
    constexpr auto kLongest = 60s;
    const auto end = std::chrono::steady_clock::now() + kLongest;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

/// A project whose clips are `frames` long.
std::string project(int frames, std::size_t clips = 1) {
    const std::string text = std::to_string(frames);
    std::string document = "<xmeml version=\"5\"><sequence id=\"s\"><uuid>U-S</uuid><name>Opening"
                           "</name><rate><timebase>25</timebase></rate><media><video><track>\n";
    for (std::size_t i = 0; i < clips; ++i)
        document += formatString("<clipitem id=\"c%u\"><name>Pier %u</name><in>0</in><out>%@</out>"
                                 "<start>0</start><end>%@</end></clipitem>\n",
                                 {i, i, text, text});
    return document + "</track></video></media></sequence></xmeml>\n";
}

/// Some megabytes: an export of it can be met while it is made.
std::string largeProject(int frames) { return project(frames, 40000); }

void saveByRename(const std::string& path, const std::string& content) {
    writeContent(path + ".saving", content);
    fs::rename(path + ".saving", path);
}

/// The file is empty first, and half written for as long as `pause`.
void saveInPlace(const std::string& path, const std::string& content, Milliseconds pause = 0ms) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size() / 2)).flush();
    std::this_thread::sleep_for(pause);
    file << content.substr(content.size() / 2);
    ASSERT_TRUE(file.flush());
}

class EndToEndTest : public testing::Test {
protected:
    void SetUp() override {
        if (!manager_.fault().empty()) {
            if (mustRunEverywhere())
                FAIL() << "no systemd user manager: " << manager_.fault();
            GTEST_SKIP() << "no systemd user manager can be started here: " << manager_.fault();
        }
        if (getuid() == 0 && ZTLocalPaths::currentConsoleUser())
            GTEST_SKIP() << "run by root, the program would back up for the user at the console";
        for (const char* name : {"XDG_DATA_HOME", "XDG_CACHE_HOME", "DISPLAY", "WAYLAND_DISPLAY"})
            unsetenv(name);
        setenv("CUTSTACK_LOCAL_ROOT", (folder_ / "local").c_str(), 1);
        fs::create_directories(folder_ / "local/Library/Logs/Zantrel");
        bus_.emplace(std::map<std::string, std::string>{{kEditor, PROJECTHOST}});
        for (const char* name : {"CUTSTACK_LOCAL_ROOT", "DBUS_SESSION_BUS_ADDRESS"})
            EXPECT_EQ(manager_.systemctl({"import-environment", name}), "");
    }
    void TearDown() override {
        if (!HasFailure())
            return;
        std::cerr << manager_.log() << logged();
        for (const auto& [name, content] : filesIn(manager_.home("Library/Application Support")))
            std::cerr << name << ' ' << content.size() << '\n';
    }

    static std::string mustDo(const std::vector<std::string>& command) {
        const Finished done = finished(command);
        EXPECT_EQ(done.status, 0) << command[0] << ' ' << command[1] << '\n' << done.errors;
        return done.output;
    }

    std::string film(const std::string& name) const { return manager_.home("Films/" + name); }
    /// The editor has these projects open, and Cutstack watches them.
    void watch(const std::vector<std::string>& names) const {
        std::vector<std::string> open = {PROJECTHOST, "--open"};
        std::vector<std::string> watch = {CUTSTACKCTL, "watch"};
        for (const std::string& name : names) {
            writeContent(film(name), project(1));
            open.push_back(film(name));
            watch.push_back(film(name));
        }
        mustDo(open);
        mustDo(watch);
    }

    pid_t editor() const {
        std::string answer =
            mustDo({"/usr/bin/busctl", "--user", "call", "org.freedesktop.DBus", "/",
                    "org.freedesktop.DBus", "GetConnectionUnixProcessID", "s", kEditor});
        return answer.starts_with("u ") ? std::stoi(answer.substr(2)) : 0;
    }
    bool isEditorThere() const {
        return mustDo({"/usr/bin/busctl", "--user", "call", "org.freedesktop.DBus", "/",
                       "org.freedesktop.DBus", "NameHasOwner", "s", kEditor}) == "b true\n";
    }
    bool isRunAtWork() const {
        return manager_.systemctl({"show", "--value", "-p", "ActiveState", kBackupUnit}) ==
               "activating\n";
    }

    std::string store(const std::string& name) const {
        return manager_.home("Library/Application Support/Zantrel/Cutstack/Versions/" + name);
    }
    /// Files with their final names; those that go away meanwhile are left out.
    static Files filesIn(const std::string& folder) {
        Files files;
        std::error_code ignored;
        for (const auto& entry : fs::recursive_directory_iterator(folder, ignored)) {
            std::ifstream stream(entry.path(), std::ios::binary);
            if (entry.is_regular_file(ignored) && stream && !isHidden(entry.path()))
                files[entry.path()] = {std::istreambuf_iterator<char>(stream), {}};
        }
        return files;
    }
    static bool isHidden(const fs::path& path) { return path.filename().string().front() == '.'; }
    /// The newest project copy, or XML copy; nothing when there is none.
    std::optional<std::string> newest(const std::string& name, const std::string& kind) const {
        std::set<std::string> paths;
        std::error_code ignored;
        for (const auto& entry : fs::directory_iterator(store(name), ignored)) {
            if (entry.path().extension() == kind && !isHidden(entry.path()))
                paths.insert(entry.path());
        }
        return paths.empty() ? std::nullopt : std::optional(*paths.rbegin());
    }
    bool isInStore(const std::string& name) const {
        const auto copy = newest(name, ".fcp");
        return copy && contentOf(*copy) == contentOf(film(name));
    }
    /// The last save of the project gets into the store, with an XML copy.
    void expectLastSave(const std::string& name, int frames) const {
        ASSERT_TRUE(eventually([&] { return isInStore(name); })) << name << ' ' << frames;
        const std::string copy = newest(name, ".fcp").value_or("");
        const std::string xml = fs::path(copy).replace_extension(".xml");
        ASSERT_TRUE(eventually([&] { return fs::exists(xml); })) << xml;
        EXPECT_NE(contentOf(xml).find("<out>" + std::to_string(frames) + "</out>"),
                  std::string::npos)
            << xml << " tells of another save than " << frames;
    }
    static void expectKept(const Files& before, const Files& now) {
        for (const auto& [path, content] : before)
            EXPECT_TRUE(now.contains(path) && now.at(path) == content) << path;
    }

    std::string logged() const {
        std::string text;
        for (const std::string& folder :
             {manager_.home("Library/Logs"), folder_ / "local/Library/Logs"}) {
            for (const auto& [path, content] : filesIn(folder))
                text += content;
        }
        return text;
    }
    bool waitForLog(const std::string& line) const {
        return eventually([&] { return logged().find(line) != std::string::npos; });
    }

    SystemdUserManager manager_;
    TemporaryFolder folder_;
    std::optional<PrivateBus> bus_;
};

TEST_F(EndToEndTest, SavesBecomeVersionsAndSentences) {
    const std::string job = manager_.home("Library/LaunchAgents/com.zantrel.Cutstack.plist");
    watch({"Harbour.fcp"});
    EXPECT_NE(contentOf(job).find(film("Harbour.fcp")), std::string::npos);
    EXPECT_TRUE(
        fs::exists(manager_.home("Library/LaunchAgents/com.zantrel.CutstackProjectWatcher.plist")));
    for (const char* number : {"1", "2", "3"}) {
        const std::string example =
            std::string(CUTSTACK_EXAMPLES "/harbour-").append(number).append(".xml");
        saveByRename(film("Harbour.fcp"), contentOf(example));
        const std::string copy = store("Harbour.fcp/Harbour.0000") + number;
        ASSERT_TRUE(eventually([&] { return fs::exists(copy + ".xml"); })) << copy;
        EXPECT_EQ(contentOf(copy + ".fcp"), contentOf(example));
    }
    EXPECT_TRUE(waitForLog("Reloading launchd plist..."));
    // The run reloads the jobs last of all; it would bring the job back.
    EXPECT_TRUE(eventually([&] { return !isRunAtWork(); }));

    const std::string history = mustDo({CUTSTACKCTL, "history", "Harbour"});
    for (const char* line : {"Opacity set to 80 for Opacity Filter", "Clip Gulls removed",
                             "New marker Fade out added for sequence Opening at 01:00:33;10",
                             "Music cue marker description changed to strings, then silence"})
        EXPECT_NE(history.find(line), std::string::npos) << line << '\n' << history;

    mustDo({CUTSTACKCTL, "unwatch", film("Harbour.fcp")});
    EXPECT_FALSE(fs::exists(job));
    EXPECT_EQ(manager_.systemctl({"list-units", "--all", "--no-legend", "com.zantrel.Cutstack-*"}),
              "");
}

/// Saves of two projects by one seed.
class RandomEditor {
public:
    explicit RandomEditor(unsigned seed) : random_(seed) {}

    int upTo(int most) { return std::uniform_int_distribution<int>(0, most)(random_); }
    void pause(int most) { std::this_thread::sleep_for(Milliseconds(upTo(most))); }

    void save(const std::string& path) {
        constexpr int kMostClips = 2000;
        const int further = upTo(kMostClips);
        const std::string content = project(++saved_, 1 + static_cast<std::size_t>(further));
        if (upTo(1) == 0)
            saveByRename(path, content);
        else
            saveInPlace(path, content, Milliseconds(upTo(100)));
        last_[path] = saved_;
    }
    [[nodiscard]] int saved() const { return saved_; }
    [[nodiscard]] int last(const std::string& path) const { return last_.at(path); }

private:
    std::mt19937 random_;
    int saved_ = 1;
    std::map<std::string, int> last_;
};

TEST_F(EndToEndTest, MissesNoSaveAtRandomMoments) {
    const char* chosen = std::getenv("CUTSTACK_TEST_SEED");
    const unsigned seed =
        chosen == nullptr ? std::random_device{}() : static_cast<unsigned>(std::stoul(chosen));
    std::cout << "CUTSTACK_TEST_SEED=" << seed << '\n';
    RandomEditor editor(seed);
    const std::vector<std::string> names = {"Harbour.fcp", "Promo.fcp"};
    watch(names);
    std::set<std::string> touched;
    constexpr int kBursts = 9;
    for (int burst = 0; burst < kBursts; ++burst) {
        if (burst % 2 == 1) { // in the middle of the run for the burst before
            EXPECT_TRUE(eventually([&] { return isRunAtWork(); }));
        }
        for (int saves = 2 + editor.upTo(4); saves > 0; --saves) {
            const std::string& name = names.at(static_cast<std::size_t>(editor.upTo(1)));
            editor.save(film(name));
            touched.insert(name);
            editor.pause(300);
        }
        if (burst % 2 == 0)
            continue;
        for (const std::string& name : touched)
            ASSERT_NO_FATAL_FAILURE(expectLastSave(name, editor.last(film(name))));
        touched.clear();
        editor.pause(500);
    }
    for (const std::string& name : touched)
        ASSERT_NO_FATAL_FAILURE(expectLastSave(name, editor.last(film(name))));
    std::cout << editor.saved() - 1 << " saves, no last state missed\n";
}

/// The editor as long as it does not get to answer.
class StoppedEditor {
public:
    explicit StoppedEditor(pid_t process) : process_(process) { kill(process_, SIGSTOP); }
    ~StoppedEditor() { kill(process_, SIGCONT); }
    StoppedEditor(const StoppedEditor&) = delete;
    StoppedEditor& operator=(const StoppedEditor&) = delete;

private:
    const pid_t process_;
};

/// Tests that get into the middle of an export, of a project with one version before it.
class DuringExportTest : public EndToEndTest {
protected:
    void begin() {
        watch({"Harbour.fcp"});
        saveByRename(film("Harbour.fcp"), project(++saved_));
        ASSERT_NO_FATAL_FAILURE(expectLastSave("Harbour.fcp", saved_));
        editor_ = editor();
        before_ = filesIn(store("Harbour.fcp"));
    }
    /// Saves until the editor is stopped while a run waits for its export.
    std::unique_ptr<StoppedEditor> stopInExport() {
        constexpr int kAttempts = 5;
        for (int i = 0; i < kAttempts; ++i) {
            const auto last = newest("Harbour.fcp", ".fcp");
            saveByRename(film("Harbour.fcp"), largeProject(++saved_));
            EXPECT_TRUE(eventually([&] { return newest("Harbour.fcp", ".fcp") != last; }));
            auto stopped = std::make_unique<StoppedEditor>(editor_);
            const fs::path copy = newest("Harbour.fcp", ".fcp").value_or("");
            if (isRunAtWork() && !fs::exists(fs::path(copy).replace_extension(".xml")))
                return stopped;
            stopped.reset();
            EXPECT_TRUE(eventually([&] { return !isRunAtWork(); }));
        }
        ADD_FAILURE() << "no export could be met";
        return nullptr;
    }

    int saved_ = 1;
    pid_t editor_ = 0;
    Files before_;
};

TEST_F(DuringExportTest, ASaveIsBackedUpAfterwards) {
    ASSERT_NO_FATAL_FAILURE(begin());
    auto stopped = stopInExport();
    ASSERT_NE(stopped, nullptr);
    saveInPlace(film("Harbour.fcp"), project(++saved_), 20ms);
    EXPECT_TRUE(isRunAtWork()) << "the run that was met waits on";
    stopped.reset();
    expectLastSave("Harbour.fcp", saved_);
    expectKept(before_, filesIn(store("Harbour.fcp")));
}

TEST_F(DuringExportTest, TheEditorsDeathCostsNoVersion) {
    ASSERT_NO_FATAL_FAILURE(begin());
    auto stopped = stopInExport();
    ASSERT_NE(stopped, nullptr);
    const std::string saved = contentOf(film("Harbour.fcp"));
    kill(editor_, SIGKILL);
    stopped.reset();
    EXPECT_TRUE(eventually([&] { return !isEditorThere() && !isRunAtWork(); }));
    expectKept(before_, filesIn(store("Harbour.fcp")));
    EXPECT_TRUE(isInStore("Harbour.fcp"));

    mustDo({PROJECTHOST, "--open", film("Harbour.fcp")});
    saveByRename(film("Harbour.fcp"), project(++saved_));
    expectLastSave("Harbour.fcp", saved_);
    const Files now = filesIn(store("Harbour.fcp"));
    expectKept(before_, now);
    EXPECT_TRUE(std::ranges::any_of(now, [&](const auto& file) { return file.second == saved; }));
}

TEST_F(EndToEndTest, RunsAtOnceLoseNoVersion) {
    watch({"Harbour.fcp"});
    const std::string folder = store("Harbour.fcp");
    std::set<std::string> saved;
    constexpr int kRounds = 4;
    for (int round = 2; round < 2 + kRounds; ++round) {
        const Files before = filesIn(folder);
        const std::string content = project(round, 3000);
        saved.insert(content);
        saveByRename(film("Harbour.fcp"), content);
        const auto run = [] { mustDo({CUTSTACK_EXECUTABLE, "-process"}); };
        std::thread other(run);
        run();
        other.join();
        ASSERT_NO_FATAL_FAILURE(expectLastSave("Harbour.fcp", round));
        expectKept(before, filesIn(folder));
    }
    // The watcher has started runs of its own beside these.
    EXPECT_TRUE(eventually([&] { return !isRunAtWork(); }));
    std::multiset<std::string> copies;
    for (const auto& [path, content] : filesIn(folder)) {
        if (path.ends_with(".fcp"))
            copies.insert(content);
    }
    EXPECT_TRUE(std::ranges::equal(copies, saved)) << "each save once, and whole";
    for (const auto& entry : fs::directory_iterator(folder))
        EXPECT_FALSE(isHidden(entry.path())) << entry << " was left behind";
}

} // namespace
} // namespace cutstack
