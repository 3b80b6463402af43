#include "app/VersionBrowser.h"

#include "app/Settings.h"
#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"

#include <condition_variable>
#include <deque>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>

namespace cutstack {
namespace {

using Texts = std::vector<std::string>;

/// Runs what is handed to the main thread when the test says so.
class QueuedInterface final : public UserInterface {
public:
    void performOnMainThread(std::function<void()> work) override {
        const std::lock_guard lock(guard_);
        queue_.push_back(std::move(work));
        arrived_.notify_all();
    }
    void performOnMainThreadAndWait(const std::function<void()>& work) override { work(); }
    int alertSheet(const Alert& alert) override {
        alerts.push_back(alert.messageText);
        return 1;
    }
    void startProgress() override {}
    void setDeterminateProgress(double) override {}
    void incrementProgressBar() override {}
    void endProgress() override {}

    /// Waits until `count` pieces of work have come, and takes the n-th of them.
    std::function<void()> taken(std::size_t nth, std::size_t count) {
        std::unique_lock lock(guard_);
        arrived_.wait(lock, [&] { return queue_.size() >= count; });
        return queue_[nth];
    }

    Texts alerts;

private:
    std::mutex guard_;
    std::condition_variable arrived_;
    std::deque<std::function<void()>> queue_;
};

class RecordingView final : public VersionsView {
public:
    void showProjects(const std::vector<StoredProject>& projects,
                      std::optional<std::size_t> selected) override {
        for (const StoredProject& project : projects)
            names.push_back(project.name);
        shownProject = selected;
    }
    void reloadVersions() override { ++reloads; }
    void enablePrinting(bool enabled) override { canPrint = enabled; }
    void clearSearchField() override { ++clearings; }
    void showVersionSpinner(bool spinning) override { isSpinning = spinning; }
    void enableGenerateXMLButton(bool enabled) override { canGenerate = enabled; }

    Texts names;
    std::optional<std::size_t> shownProject;
    int reloads = 0;
    int clearings = 0;
    bool canPrint = false;
    bool isSpinning = false;
    bool canGenerate = false;
};

VersionArray versions(std::initializer_list<Changelist> changelists) {
    auto records = std::make_shared<std::vector<VersionRecord>>();
    for (const Changelist& changelist : changelists)
        records->push_back({.changelist = changelist,
                            .version = std::to_string(records->size()),
                            .date = {},
                            .size = "",
                            .file = "",
                            .type = "xml"});
    return records;
}

class VersionBrowserTest : public testing::Test {
protected:
    std::string store(const std::string& project) const {
        return folder_ / ("Versions/" + project);
    }
    Texts shownSentences() const {
        Texts sentences;
        for (const VersionRecord& version : browser_.shownVersions())
            sentences.insert(sentences.end(), version.changelist.begin(), version.changelist.end());
        return sentences;
    }

    TemporaryFolder folder_;
    FakeEnvironment environment_;
    FakeConsole console_;
    FakeClock clock_;
    FakeSystemLog systemLog_;
    Locations locations_{environment_, console_};
    LogWriter log_{{locations_, clock_, systemLog_, [] { return LogHeader(); }}};
    UserDefaults defaults_{folder_ / "settings.plist"};
    QueuedInterface interface_;
    RecordingView view_;
    std::mutex populatedGuard_;
    Texts populated_;
    VersionBrowser browser_{
        {.defaults = defaults_,
         .defaultStoragePath = folder_ / "Versions",
         .log = log_,
         .userInterface = interface_,
         .view = view_,
         .populateChangeListForProject = [this](const std::string& project, VersionsPane&) {
             const std::lock_guard lock(populatedGuard_);
             populated_.push_back(project);
         }}};
};

TEST_F(VersionBrowserTest, SaysWhenThereIsNothingToShow) {
    browser_.populateVersionFiles();
    EXPECT_EQ(interface_.alerts, Texts{"No backups found"});
    browser_.switchProject();
    EXPECT_EQ(view_.reloads, 0);
}

TEST_F(VersionBrowserTest, SelectsTheProjectThatWasShownLast) {
    writeContent(store("A.fcp") + "/A.00001.xml", "x");
    writeContent(store("b.fcp") + "/b.00001.fcp", "x");
    writeContent(store("empty") + "/notes.txt", "x");
    defaults_.setObject(store("b.fcp"), settings::lastProject);
    browser_.populateVersionFiles();
    EXPECT_EQ(view_.names, (Texts{"A.fcp", "b.fcp"}));
    EXPECT_EQ(view_.shownProject, 1);
    EXPECT_TRUE(interface_.alerts.empty());
}

TEST_F(VersionBrowserTest, TheStoreOfTheSettingsIsLookedInto) {
    writeContent(folder_ / "Elsewhere/C.fcp/C.00001.XML", "x");
    defaults_.setObject(folder_ / "Elsewhere", settings::storagePath);
    browser_.populateVersionFiles();
    EXPECT_EQ(view_.names, Texts{"C.fcp"});
}

TEST_F(VersionBrowserTest, SwitchingRemembersTheProjectAndStartsAnew) {
    writeContent(store("A.fcp") + "/A.00001.xml", "x");
    browser_.populateVersionFiles();
    browser_.updateVersionArray(versions({{"old"}}));
    browser_.switchProject();
    EXPECT_TRUE(browser_.shownVersions().empty());
    EXPECT_EQ(view_.clearings, 1);
    EXPECT_EQ(UserDefaults(folder_ / "settings.plist").stringForKey(settings::lastProject),
              store("A.fcp"));
}

TEST_F(VersionBrowserTest, TheLastSearchToFinishWins) {
    browser_.updateVersionArray(versions({{"In Point A", "Marker B"}, {"Bin C"}}));
    browser_.search("point");
    const auto first = interface_.taken(0, 1);
    browser_.search("BIN");
    const auto second = interface_.taken(1, 2);
    EXPECT_EQ(browser_.versionSearchArray(), nullptr) << "results come on the main thread";
    second();
    EXPECT_EQ(shownSentences(), Texts{"Bin C"});
    first();
    EXPECT_EQ(shownSentences(), Texts{"In Point A"});
}

TEST_F(VersionBrowserTest, FiltersByTheSettingsAndSaysWhenItCannot) {
    const Changelist sentences = {"Bin A removed", "Marker B added"};
    EXPECT_EQ(browser_.filterArray(sentences), sentences);
    defaults_.setObject(2, settings::filterMulticlips);
    EXPECT_EQ(browser_.filterArray(sentences), sentences);
    EXPECT_EQ(systemLog_.messages().back(),
              "Exception in -[AppController filterArray:]. NSInvalidArgumentException - Unable to "
              "parse the format string \"\".");
    defaults_.setObject(true, settings::filterBins);
    EXPECT_EQ(browser_.filterArray(sentences), Changelist{"Marker B added"});
}

TEST_F(VersionBrowserTest, NoMatchIsNotNoSearch) {
    browser_.updateVersionArray(versions({{"In Point A"}}));
    EXPECT_TRUE(view_.canPrint);
    browser_.search("nowhere");
    interface_.taken(0, 1)();
    EXPECT_TRUE(browser_.shownVersions().empty());
    EXPECT_FALSE(view_.canPrint);
    browser_.search("");
    EXPECT_EQ(shownSentences(), Texts{"In Point A"});
    EXPECT_FALSE(view_.canPrint) << "nothing is searched for, so there is no match to print";
}

} // namespace
} // namespace cutstack
