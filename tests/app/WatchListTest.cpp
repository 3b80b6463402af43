#include "app/WatchList.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <thread>

#include "app/Settings.h"
#include "app/WatchListFile.h"
#include "support/PropertyListWriting.h"
#include "support/ZTException.h"
#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;
using Dictionary = PropertyList::Dictionary;
using Array = PropertyList::Array;

/// Has a type for the files that the test says.
struct FakeFinderMetadata final : FinderMetadata {
    std::map<std::string, std::string> types;

    std::string hfsTypeCode(const std::string& path) const override {
        const auto type = types.find(path);
        return type == types.end() ? "" : type->second;
    }
    std::string hfsCreatorCode(const std::string&) const override { return {}; }
    bool setHfsCodes(const std::string&, std::string_view, std::string_view) const override {
        return false;
    }
    std::uint16_t finderFlags(const std::string&) const override { return 0; }
    bool setFinderFlags(const std::string&, std::uint16_t) const override { return false; }
};

/// Answers every alert with `answer`.
struct FakeInterface final : UserInterface {
    int answer = 0;
    std::vector<Alert> alerts;

    void performOnMainThread(std::function<void()> work) override { work(); }
    void performOnMainThreadAndWait(const std::function<void()>& work) override { work(); }
    int alertSheet(const Alert& alert) override {
        alerts.push_back(alert);
        return answer;
    }
    void startProgress() override {}
    void setDeterminateProgress(double) override {}
    void incrementProgressBar() override {}
    void endProgress() override {}
};

Dictionary entry(const std::string& path, Array sequences = {}, const std::string& chosen = "") {
    return {{"path", path}, {"sequences", std::move(sequences)}, {"selectedUUID", chosen}};
}

Dictionary sequence(const std::string& name, const std::string& uuid) {
    return {{"name", name}, {"uuid", uuid}};
}

class WatchListTest : public testing::Test {
protected:
    WatchListTest() {
        environment_.home = folder_ / "home";
        log_.createNewLog("Test");
    }

    std::string home(const std::string& name) const { return folder_ / ("home/" + name); }
    std::string file(const std::string& name, const std::string& type = "") {
        writeContent(home(name), "x");
        metadata_.types[home(name)] = type;
        return home(name);
    }
    Texts paths() const {
        Texts texts;
        for (const ZTProject& row : list_.fileArray())
            texts.push_back(row.projectPath());
        return texts;
    }
    void put(Array filelist) {
        settings_.setObject(std::move(filelist), settings::filelist);
        list_.populateWatchFiles();
    }
    /// What the file has.
    PropertyList stored() const {
        const auto preferences = readPreferencesFile(preferencesFile());
        const PropertyList* list =
            preferences ? preferences->valueForKey(settings::filelist) : nullptr;
        return list == nullptr ? PropertyList("nothing") : *list;
    }
    std::string preferencesFile() const {
        return home("Library/Preferences/com.zantrel.Cutstack.plist");
    }
    std::string logged() {
        log_.finishWriting();
        std::string text;
        for (const auto& found : fs::recursive_directory_iterator(home("Library/Logs")))
            text += found.is_regular_file() ? contentOf(found.path()) : "";
        return text;
    }
    int timesLogged(const std::string& line) {
        int times = 0;
        const std::string text = logged();
        for (auto at = text.find(line); at != std::string::npos; at = text.find(line, at + 1))
            ++times;
        return times;
    }

    TemporaryFolder folder_;
    FakeEnvironment environment_;
    FakeConsole console_;
    FakeClock clock_;
    FakeSystemLog systemLog_;
    Locations locations_{environment_, console_};
    LogWriter log_{{locations_, clock_, systemLog_, [] { return LogHeader(); }}};
    UserDefaults settings_{folder_ / "home/Library/Preferences/com.zantrel.Cutstack.plist"};
    FakeFinderMetadata metadata_;
    FakeInterface interface_;
    int regenerations_ = 0;
    int reloads_ = 0;
    std::vector<std::size_t> dialogs_;
    WatchListServices services_{
        .settings = settings_,
        .log = log_,
        .locations = locations_,
        .finderMetadata = metadata_,
        .userInterface = &interface_,
        .regenerateJobs = [this] { ++regenerations_; },
        .showSequenceDialog = [this](std::size_t row) { dialogs_.push_back(row); },
        .reloadTable = [this] { ++reloads_; }};
    WatchList list_{services_};
};

TEST_F(WatchListTest, ReadsTheListAndRewritesPlainPaths) {
    const Array today{entry("~/a.fcp", {sequence("One", "U1"), sequence("Two", "U2")}, "U2"),
                      entry("/b.fcp", {sequence("One", "U1")}, "gone")};
    put(today);
    ASSERT_EQ(paths(), (Texts{"~/a.fcp", "/b.fcp"}));
    EXPECT_EQ(list_.fileArray()[0].selectedUUID(), "U2");
    EXPECT_EQ(list_.fileArray()[1].selectedUUID(), std::nullopt);
    EXPECT_EQ(stored(), "nothing"); // reading writes nothing
    list_.saveWatchList();
    EXPECT_EQ(stored(), (Array{today[0], entry("/b.fcp", {sequence("One", "U1")})}));

    put({"~/old.fcp", today[0]});
    EXPECT_EQ(stored(), (Array{entry("~/old.fcp"), today[0]}));
    put({});
    EXPECT_EQ(paths(), Texts());
}

TEST_F(WatchListTest, PassesOverWhatIsNoProject) {
    put({1, Array{}, Dictionary{}, Dictionary{{"path", 7}}, entry("/bad\x01.fcp"), "/bad\x01.fcp",
         Dictionary{{"path", "/a.fcp"}, {"sequences", "none"}, {"selectedUUID", 3}},
         entry("/b.fcp",
               {"text", Dictionary{{"name", "no identifier"}}, sequence("", ""),
                Dictionary{{"uuid", "U"}}, sequence("\x02", "V"), sequence("W", "\x02")},
               "U")});
    EXPECT_EQ(paths(), (Texts{"/a.fcp", "/b.fcp"}));
    EXPECT_EQ(list_.fileArray()[1].sequences(),
              (std::vector<ProjectSequence>{{"", "U"}, {"", "V"}}));
    EXPECT_EQ(timesLogged("Skipping an element of the watch list"), 6);
    list_.saveWatchList();
    EXPECT_NE(stored(), "nothing");
    settings_.setObject("no list", settings::filelist);
    list_.populateWatchFiles();
    EXPECT_EQ(paths(), Texts());
}

TEST_F(WatchListTest, AddsAPathOnceHoweverItIsWritten) {
    list_.addFileToList("~/a.fcp");
    list_.addFileToList("~/a.fcp");
    list_.addFileToList(home("a.fcp"));
    EXPECT_EQ(paths(), Texts{"~/a.fcp"});
    EXPECT_EQ(stored(), Array{entry("~/a.fcp")});
    EXPECT_EQ(timesLogged("Adding project ~/a.fcp to list..."), 1);
    EXPECT_EQ(reloads_, 1);
    EXPECT_EQ(regenerations_, 0);
    list_.addFileToList("/no\xFFtext.fcp");
    EXPECT_EQ(paths().size(), 1U);
    EXPECT_EQ(timesLogged("Unable to add project"), 1);
}

TEST_F(WatchListTest, AsksAboutLargeProjects) {
    const struct {
        std::uintmax_t size;
        int answer;
        bool asks, opensDialog;
    } cases[] = {
        {31457279, 1, false, false}, {31457280, 1, true, true}, {31457280, 0, true, false}};
    for (const auto& row : cases) {
        put({"/first.fcp"});
        interface_.alerts.clear();
        dialogs_.clear();
        interface_.answer = row.answer;
        fs::resize_file(file("big.fcp"), row.size);
        list_.addFileToList("~/big.fcp");
        ASSERT_EQ(interface_.alerts.size(), row.asks ? 1U : 0U);
        EXPECT_EQ(dialogs_,
                  row.opensDialog ? std::vector<std::size_t>{1} : std::vector<std::size_t>());
    }
    EXPECT_EQ(interface_.alerts[0].messageText, "This project is quite large");
    EXPECT_EQ(interface_.alerts[0].defaultButton, "Choose Sequence...");
    EXPECT_EQ(interface_.alerts[0].alternateButton, "Ignore");
    services_.userInterface = nullptr;
    WatchList windowless(services_);
    windowless.addFileToList("~/big.fcp");
    EXPECT_EQ(windowless.fileArray().size(), 1U);
}

TEST_F(WatchListTest, SearchesFoldersOnceEach) {
    file("P/FCP");
    file("P/Promo.fcp");
    file("P/a/b/typed", "FCPF");
    file("P/a/b/other", "MooV");
    file("P/z", "FCPF");
    file("elsewhere/linked", "FCPF");
    metadata_.types[home("P/a/link/linked")] = "FCPF";
    fs::create_directory_symlink("..", home("P/a/up"));
    fs::create_directory_symlink(home("elsewhere"), home("P/a/link"));
    fs::create_directory_symlink("again", home("P/again"));
    fs::create_symlink("nowhere", home("P/broken"));
    list_.addFilesInDirectoryToList(home("P/"));
    EXPECT_EQ(paths(), (Texts{"~/P/a/b/typed", "~/P/a/link/linked", "~/P/FCP", "~/P/z"}));
    EXPECT_EQ(timesLogged("Adding projects from directory"), 4);
    list_.addFilesInDirectoryToList(home("missing"));
    EXPECT_EQ(timesLogged("Unable to read directory"), 1);
}

TEST_F(WatchListTest, AFolderThatMayNotBeReadIsPassedOver) {
    file("P/closed/fcp");
    file("P/open/fcp");
    fs::permissions(home("P/closed"), fs::perms::none);
    fs::permissions(folder_.path(), fs::perms(0755));
    const bool isPassedOver = asOrdinaryUser([&] {
        UserDefaults settings(folder_ / "none/settings.plist");
        LogWriter log{{locations_, clock_, systemLog_, [] { return LogHeader(); }}};
        WatchList list({settings, log, locations_, metadata_, nullptr, {}, {}, {}});
        list.addFilesInDirectoryToList(home("P"));
        return list.fileArray().size() == 1 && list.fileArray()[0].projectPath() == "~/P/open/fcp";
    });
    fs::permissions(home("P/closed"), fs::perms::all);
    EXPECT_TRUE(isPassedOver);
}

TEST_F(WatchListTest, RemovesRows) {
    const Array all{entry("~/a.fcp"), entry("/x/b.fcp"), entry("/y/b.fcp"), entry("/ab.fcp")};
    put(all);
    list_.removeFilesFromList({0, 3, 9});
    EXPECT_EQ(stored(), (Array{all[1], all[2]}));
    put(all);
    list_.removeWatchFileForProjectName("b.fcp");
    EXPECT_EQ(stored(), (Array{all[0], all[3]}));
    EXPECT_EQ(timesLogged("Removing watch file for project b.fcp..."), 1);
    EXPECT_EQ(regenerations_, 0);
    list_.removeFile({});
    EXPECT_EQ(regenerations_, 0);
    list_.removeFile({1});
    EXPECT_EQ(stored(), Array{all[0]});
    EXPECT_EQ(regenerations_, 1);
    EXPECT_EQ(reloads_, 3);
}

TEST_F(WatchListTest, DropsAreWelcomeByExtensionButAddedByNameOrType) {
    const std::string promo = file("Promo.FCP");
    const std::string typed = file("typed", "FCPF");
    const std::string text = file("notes.txt");
    const std::string inside = file("P/fcp");
    const struct {
        Texts paths;
        bool isWelcome;
    } cases[] = {
        {{}, false},       {{promo}, true}, {{typed}, true},        {{home("P")}, true},
        {{inside}, false}, {{text}, false}, {{typed, text}, false}, {{promo, home("P")}, true}};
    for (const auto& row : cases)
        EXPECT_EQ(list_.validateDrop(row.paths), row.isWelcome);
    EXPECT_TRUE(list_.acceptDrop(Texts{promo, typed, home("P"), text}));
    EXPECT_EQ(paths(), (Texts{"~/typed", "~/P/fcp"}));
    EXPECT_EQ(regenerations_, 1);
    list_.importFiles(Texts{promo, typed, text});
    EXPECT_EQ(paths(), (Texts{"~/typed", "~/P/fcp", "~/Promo.FCP", "~/notes.txt"}));
    EXPECT_EQ(regenerations_, 2);
}

TEST_F(WatchListTest, ExceptionsEndTheOperationInItsName) {
    services_.regenerateJobs = [] { throw Exception(kGenericException, "broken"); };
    WatchList list(services_);
    EXPECT_FALSE(list.acceptDrop(Texts{file("typed", "FCPF")}));
    EXPECT_EQ(list.fileArray().size(), 1U);
    EXPECT_EQ(timesLogged("Exception in -[AppController tableView:acceptDrop:row:dropOperation:]. "
                          "NSGenericException - broken."),
              1);
}

TEST_F(WatchListTest, StoresTheChosenSequence) {
    put({entry("/a.fcp", {sequence("One", "U1")})});
    list_.changeSequence(0, "U1");
    EXPECT_EQ(stored(), Array{entry("/a.fcp", {sequence("One", "U1")}, "U1")});
    list_.chooseSequence(0, {"Two", "U2"});
    list_.chooseSequence(0, {"Two", "U2"});
    const Array both{sequence("One", "U1"), sequence("Two", "U2")};
    EXPECT_EQ(stored(), Array{entry("/a.fcp", both, "U2")});
    list_.changeSequence(0, std::nullopt);
    EXPECT_EQ(stored(), Array{entry("/a.fcp", both)});
    list_.changeSequence(1, "U1");
    EXPECT_EQ(stored(), Array{entry("/a.fcp", both)});
}

TEST_F(WatchListTest, ExpandsPathsOnceInOrder) {
    const auto row = [](const char* path) { return ZTProject::projectWithPath(path, {}); };
    EXPECT_EQ(list_.expandPaths({row("/z"), row("~/a"), row(home("a").c_str()), row("/z")}),
              (Texts{"/z", home("a")}));
}

TEST_F(WatchListTest, OtherThreadsReadTheWatchedPathsAtAnyTime) {
    std::atomic<bool> isOver = false;
    std::atomic<std::size_t> most = 0;
    std::thread jobs([&] {
        while (!isOver)
            most = std::max<std::size_t>(most, list_.watchedPaths().size());
    });
    for (int i = 0; i < 50; ++i)
        list_.addFileToList("/" + std::to_string(i) + ".fcp");
    list_.changeSequence(0, std::nullopt);
    list_.removeFilesFromList({0, 1});
    isOver = true;
    jobs.join();
    EXPECT_LE(most, 50U);
    EXPECT_EQ(list_.watchedPaths().size(), 48U);
}

TEST_F(WatchListTest, WindowlessRunsRewriteTheOldFormat) {
    const Array old{"~/a.fcp", 5, entry("/b.fcp")};
    const Array fresh{Dictionary{{"path", "~/a.fcp"}}, entry("/b.fcp")};
    const auto convert = [&] { return convertOldListFormat(old, locations_, log_); };
    EXPECT_EQ(convert(), std::nullopt);
    EXPECT_FALSE(fs::exists(preferencesFile()));
    writeContent(preferencesFile(), "damaged");
    EXPECT_EQ(convert(), std::nullopt);
    EXPECT_EQ(contentOf(preferencesFile()), "damaged");
    writeContent(preferencesFile(),
                 *xmlPropertyList(Dictionary{{"filelist", old}, {"other", "stays"}}));
    EXPECT_EQ(convert(), fresh);
    EXPECT_EQ(readPreferencesFile(preferencesFile()),
              PropertyList(Dictionary{{"filelist", fresh}, {"other", "stays"}}));
    // Somebody was quicker: that list stays.
    writeContent(preferencesFile(),
                 *xmlPropertyList(Dictionary{{"filelist", Array{entry("/new.fcp")}}}));
    EXPECT_EQ(convert(), Array{entry("/new.fcp")});
    EXPECT_EQ(stored(), Array{entry("/new.fcp")});
}

TEST_F(WatchListTest, RepopulatesOnceWhenAWatchedFileIsGone) {
    int generations = 0;
    const auto generationsFor = [&](const PropertyList& watchPaths) {
        generations = 0;
        writeContent(home("Library/LaunchAgents/com.zantrel.Cutstack.plist"),
                     *xmlPropertyList(Dictionary{{"WatchPaths", watchPaths}}));
        repopulateWatchFiles(locations_, log_, [&] { ++generations; });
        return generations;
    };
    const std::string there = file("a.fcp");
    repopulateWatchFiles(locations_, log_, [&] { ++generations; });
    EXPECT_EQ(generations, 0);
    EXPECT_EQ(generationsFor(Array{there, 4, there}), 0);
    EXPECT_EQ(generationsFor(Array{there, home("gone"), home("gone, too")}), 1);
    EXPECT_EQ(generationsFor("text"), 0);
    EXPECT_EQ(timesLogged("Repopulating watch files..."), 4);
}

} // namespace
} // namespace cutstack
