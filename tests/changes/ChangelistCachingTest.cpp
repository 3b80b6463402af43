// What becomes of changelists in cache files, and what is shown of them.

#include "tests/changes/ChangelistsFixture.h"

#include "support/PropertyListReading.h"
#include "support/PropertyListWriting.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

const std::string kReset = "Cache version does not match application version. Resetting cache...";
const std::string kComputed = "Getting changelist for file";
const std::string kNoFolder = "Unable to create cache folder";
const std::string kNoFolderReason = "File exists";
const std::string kTrashQuestion =
    "Are you sure you wish to trash caches? | Changelists will need to be regenerated for each "
    "project. | Trash | Cancel | ";
const Changelist kAdded = {"New video clip b added for sequence Scene"};
const Changelist kRemoved = {"Clip a removed"};
const Changelist kSame = {"No change"};

class ChangelistCachingTest : public ChangelistsTest {
protected:
    /// Puts a lie into a record of the cache file, and does what else is to be done to its keys.
    void falsifyCache(const std::function<void(PropertyList::Dictionary&)>& change) const {
        std::string error;
        auto list = readPropertyList(contentOf(cacheFile_), error);
        ASSERT_TRUE(list && list->asDictionary()) << error;
        PropertyList::Dictionary& keys = *list->asDictionary();
        keys["P.00002.xml"].asDictionary()->insert_or_assign("changelist",
                                                             PropertyList::Array{"A lie"});
        change(keys);
        writeContent(cacheFile_, xmlPropertyList(*list).value_or(""));
    }
    void addThree() const {
        add("P.00001.xml", exportOf("a"));
        add("P.00002.xml", exportOf("ab"));
        add("P.00003.xml", exportOf("b"));
    }
    /// What the first of three, the second and the third say in the cache.
    [[nodiscard]] std::vector<Changelist> threeInCache() {
        const auto records = anotherRun().cacheForProject(folder_);
        return {changesIn(records, "P.00001.xml"), changesIn(records, "P.00002.xml"),
                changesIn(records, "P.00003.xml")};
    }

    std::string cacheFile_ = caches_ + "/P.fcp.cache.plist";
};

TEST_F(ChangelistCachingTest, RecordsAreComputedOnceAndKept) {
    addThree();
    newLines();
    const auto first = changelists_.cacheForProject(folder_);
    EXPECT_EQ(newLines().front(), kReset);
    EXPECT_EQ(threeInCache(), (std::vector{kBase, kAdded, kRemoved}));
    const auto past = fs::last_write_time(cacheFile_) - std::chrono::hours(1);
    fs::last_write_time(cacheFile_, past);

    add("P.00002.xml", exportOf("abcdef"));
    isCancelled_ = false;
    EXPECT_TRUE(changelists_.cacheForProject(folder_) == first);
    EXPECT_TRUE(isCancelled_);
    EXPECT_EQ(newLines(), Calls());
    EXPECT_EQ(fs::last_write_time(cacheFile_), past);

    add("P.00004.fcp", "project");
    add("P.00004.xml", exportOf("bc"));
    isCancelled_ = false;
    const auto second = changelists_.cacheForProject(folder_);
    EXPECT_TRUE(isCancelled_);
    EXPECT_EQ(newLinesThatBegin(kComputed), 2);
    EXPECT_EQ(threeInCache(), (std::vector{kBase, kAdded, kRemoved}));
    EXPECT_EQ(changesIn(second, "P.00004.xml"),
              Changelist{"New video clip c added for sequence Scene"});
}

TEST_F(ChangelistCachingTest, ACacheIsNamedAfterTheLastPartOfThePath) {
    addThree();
    ASSERT_TRUE(changelists_.cacheForProject(folder_ + "/"));
    EXPECT_TRUE(fs::exists(cacheFile_));
    EXPECT_FALSE(fs::exists(caches_ + "/.cache.plist"));
}

TEST_F(ChangelistCachingTest, WithAWindowNewVersionsAreComparedToo) {
    add("P.00001.xml", exportOf("a"));
    EXPECT_EQ(changesIn(windowed_.cacheForProject(folder_), "P.00001.xml"), kBase);
    add("P.00002.XML", exportOf("ab"));
    add("P.00003.xml", exportOf("ab"));
    const auto records = windowed_.cacheForProject(folder_);
    EXPECT_EQ(changesIn(records, "P.00002.XML"), kAdded);
    // Remembered under the path of the first, as in the computation of a whole folder.
    EXPECT_EQ(changesIn(records, "P.00003.xml"), kSame);
    // What never has a record is no work that is shown.
    add("P.00004.motn", "");
    window_.calls.clear();
    EXPECT_EQ(windowed_.cacheForProject(folder_)->size(), 3U);
    EXPECT_EQ(window_.calls, Calls());
    EXPECT_TRUE(isCancelled_);
}

TEST_F(ChangelistCachingTest, TheUserMayStopTheCompletionOfACache) {
    add("P.00001.xml", exportOf("a"));
    ASSERT_TRUE(windowed_.cacheForProject(folder_));
    addThree();
    newLines();
    metadata_.onAsked = [this](const std::string&) { isCancelled_ = true; };
    static_cast<void>(windowed_.cacheForProject(folder_));
    EXPECT_EQ(newLinesThatBegin(kComputed), 1);
    metadata_.onAsked = [](const std::string&) {};
    EXPECT_EQ(threeInCache(), (std::vector{kBase, kAdded, kRemoved}));
}

TEST_F(ChangelistCachingTest, ATooLargeCopyIsComparedWithTheNextOne) {
    add("P.00001.xml", exportOf("a"));
    ASSERT_TRUE(changelists_.cacheForProject(folder_));
    addSparse("P.00002.xml", 83'886'080);
    add("P.00003.xml", exportOf("b"));
    EXPECT_EQ(threeInCache(), (std::vector{kBase, kTooLarge, kNoRecord}));
    EXPECT_EQ(newLines().back(), "Unable to load prev XML document");
}

TEST_F(ChangelistCachingTest, AMissingRecordOfTheFirstCopyMeansThatAllIsComputed) {
    addThree();
    const std::pair<const char*, int> cases[] = {
        {"P.00003.xml", 1}, {"P.00002.xml", 1}, {"P.00001.xml", 3}};
    for (const auto& [removed, computed] : cases) {
        ASSERT_TRUE(anotherRun().cacheForProject(folder_));
        falsifyCache([&name = removed](auto& keys) { keys.erase(name); });
        newLines();
        EXPECT_EQ(anotherRun().cacheForProject(folder_)->size(), 3U);
        EXPECT_EQ(newLinesThatBegin(kComputed), computed) << removed;
    }
    EXPECT_EQ(threeInCache(), (std::vector{kBase, kAdded, kRemoved}));
    add(".P.00004.xml", exportOf("b"));
    EXPECT_EQ(anotherRun().cacheForProject(folder_)->size(), 3U);
}

TEST_F(ChangelistCachingTest, CachesThatCannotBeTrustedAreRebuilt) {
    addThree();
    ASSERT_TRUE(changelists_.cacheForProject(folder_));
    const std::string whole = contentOf(cacheFile_);
    const auto expectRebuilt = [&](const std::string& line) {
        newLines();
        EXPECT_EQ(threeInCache(), (std::vector{kBase, kAdded, kRemoved})) << line;
        EXPECT_EQ(newLinesThatBegin(line), 1) << line;
        EXPECT_TRUE(contentOf(cacheFile_) == whole) << line;
    };
    falsifyCache([](auto& keys) { keys["version"] = "41"; });
    expectRebuilt(kReset);
    falsifyCache([](auto& keys) { keys.erase("version"); });
    expectRebuilt(kReset);
    falsifyCache([](auto& keys) { keys["P.00003.xml"] = "text"; });
    expectRebuilt("Cache file " + cacheFile_ + " is damaged: ");
    writeContent(cacheFile_, whole.substr(0, whole.size() / 2));
    expectRebuilt("Cache file " + cacheFile_ + " is damaged: ");
    // Computing single records anew does not make the others of an older version right.
    for (const char* item : {"P.00001.xml", "P.00003.xml"}) {
        falsifyCache([](auto& keys) { keys["version"] = "41"; });
        anotherRun().updateChangelistForItem(at(item));
        EXPECT_EQ(threeInCache(), (std::vector{kBase, kAdded, kRemoved})) << item;
    }
}

TEST_F(ChangelistCachingTest, AStrangeNameKeepsNothingElseFromTheCache) {
    std::string strange = exportOf("ab");
    strange.replace(strange.find("<name>b"), 7, "<name>bell %07");
    add("P.00001.xml", exportOf("a"));
    add("P.00002.xml", strange);
    ASSERT_TRUE(changelists_.cacheForProject(folder_));
    EXPECT_TRUE(fs::exists(cacheFile_)) << newLines().back();
}

TEST_F(ChangelistCachingTest, RecordsOfAnotherStoreAreNotShown) {
    addThree();
    ASSERT_TRUE(changelists_.cacheForProject(folder_));
    const std::string other = home_ / "other/P.fcp";
    writeContent(other + "/P.00001.xml", exportOf("x"));
    writeContent(other + "/P.00002.xml", "<broken");
    FakePane pane(window_.calls);
    const auto expectOwnAlone = [&] {
        changelists_.populateChangeListForProject(other, pane);
        ASSERT_EQ(pane.shown->size(), 1U);
        EXPECT_EQ(pane.shown->front().file, other + "/P.00001.xml");
    };
    expectOwnAlone();
    ASSERT_TRUE(changelists_.cacheForProject(folder_));
    changelists_.updateChangelistForItem(other + "/P.00001.xml");
    expectOwnAlone();
}

TEST_F(ChangelistCachingTest, WithoutACacheFolderNothingIsComputed) {
    const std::string item = add("P.00001.xml", exportOf("a"));
    writeContent(caches_, "a file in its place");
    const std::string line = kNoFolder + ": " + kNoFolderReason;
    const Calls alert = {alertSaying(kNoFolder, kNoFolderReason)};
    newLines();
    isCancelled_ = false;
    EXPECT_EQ(changelists_.cacheForProject(folder_), std::nullopt);
    EXPECT_TRUE(isCancelled_);
    EXPECT_EQ(newLines(), Calls{line});
    isCancelled_ = false;
    EXPECT_EQ(windowed_.cacheForProject(folder_), std::nullopt);
    EXPECT_TRUE(isCancelled_);
    EXPECT_EQ(newLines(), Calls());
    EXPECT_EQ(std::exchange(window_.calls, {}), alert);

    EXPECT_EQ(console_.messages(), Calls());
    changelists_.updateChangelistForItem(item);
    windowed_.updateChangelistForItem(item);
    EXPECT_EQ(console_.messages(), Calls{line});
    EXPECT_EQ(std::exchange(window_.calls, {}), alert);

    newLines();
    Calls shown;
    FakePane pane(shown);
    changelists_.populateChangeListForProject(folder_, pane);
    EXPECT_EQ(newLines(),
              (Calls{"Populating changelist for project: " + folder_, line,
                     "Unable to load cache. Cutstack was unable to determine version information.",
                     "Finished populating changelist for project " + folder_ + "."}));
    EXPECT_TRUE(std::ranges::count(shown, "disableGenerateXMLButton") == 1 && pane.shown->empty());
    // With a window the end of every run counts as cancelled: one alert, not two.
    windowed_.populateChangeListForProject(folder_, pane);
    EXPECT_EQ(window_.calls, alert);
}

TEST_F(ChangelistCachingTest, AFolderWhoseComputationFailsIsReported) {
    addThree();
    newLines();
    const std::string advice = "Please report this bug to Zantrel.";
    const std::string said = "Unable to get change data. " + advice;
    const std::string fault =
        "Exception in -[AppController changelistForProject:]. Fault - no reason.";
    window_.onStart = [] { throw Exception("Fault", "no reason"); };
    EXPECT_EQ(windowed_.cacheForProject(folder_), std::nullopt);
    EXPECT_TRUE(isCancelled_);
    EXPECT_EQ(window_.calls.back(), alertSaying("Unable to get change data", advice));
    EXPECT_EQ(newLines(), (Calls{kReset, fault}));

    ChangelistServices windowless = services(nullptr);
    windowless.progress = &window_;
    window_.performOnMainThreadAndWait(
        [&] { EXPECT_EQ(Changelists(windowless).cacheForProject(folder_), std::nullopt); });
    EXPECT_EQ(newLines(), (Calls{kReset, fault, said}));
    EXPECT_EQ(console_.messages(), (Calls{fault, fault, said}));
    EXPECT_FALSE(fs::exists(cacheFile_));
}

TEST_F(ChangelistCachingTest, AFaultOfOneRunDoesNotStopTheNext) {
    add("P.00001.xml", exportOf("a"));
    ASSERT_TRUE(windowed_.cacheForProject(folder_));
    writeContent(home_ / "store/Q.fcp/Q.00001.xml", exportOf("a"));
    window_.onStart = [] { throw Exception("Fault", "no reason"); };
    ASSERT_EQ(windowed_.cacheForProject(home_ / "store/Q.fcp"), std::nullopt);
    window_.onStart = [] {};
    add("P.00002.xml", exportOf("ab"));
    EXPECT_EQ(changesIn(windowed_.cacheForProject(folder_), "P.00002.xml"), kAdded);
}

TEST_F(ChangelistCachingTest, TheNewestVersionsAreShownFirst) {
    add("P.00001.fcp", "project");
    add("P.00001.xml", exportOf("a"));
    add("P.00002.fcp", "project");
    add("P.00003.xml", exportOf("ab"));
    add(".P.00004.xml", exportOf("b"));
    FakePane pane(window_.calls);
    const auto versionsShown = [&] {
        window_.calls.clear();
        windowed_.populateChangeListForProject(folder_, pane);
        std::string shown;
        for (const VersionRecord& record : *pane.shown)
            shown += record.version + "." + record.type + " ";
        return shown;
    };
    newLines();
    EXPECT_EQ(versionsShown(), "00003.xml 00002.fcp 00001.xml ");
    EXPECT_EQ(window_.calls.front(), "startVersionSpinner");
    EXPECT_EQ(Calls(window_.calls.end() - 3, window_.calls.end()),
              (Calls{"enableGenerateXMLButton", "updateVersionArray", "stopVersionSpinner"}));
    const Calls lines = newLines();
    EXPECT_EQ(lines.front(), "Populating changelist for project: " + folder_);
    EXPECT_EQ(lines.back(), "Finished populating changelist for project " + folder_ + ".");

    fs::remove(at("P.00002.fcp"));
    EXPECT_EQ(versionsShown(), "00003.xml 00001.xml ");
    EXPECT_EQ(window_.calls, (Calls{"startVersionSpinner", "disableGenerateXMLButton",
                                    "updateVersionArray", "stopVersionSpinner"}));
    fs::remove(at("P.00001.xml"));
    EXPECT_EQ(versionsShown(), "00003.xml 00001.fcp ");
}

TEST_F(ChangelistCachingTest, WithoutAWindowNothingSpins) {
    add("P.00001.fcp", "project");
    FakePane pane(window_.calls);
    changelists_.populateChangeListForProject(folder_, pane);
    EXPECT_EQ(window_.calls, (Calls{"enableGenerateXMLButton", "updateVersionArray"}));
}

TEST_F(ChangelistCachingTest, AnItemIsComputedAgainWithTheOneAfterIt) {
    addThree();
    add("P.00002.fcp", "project");
    ASSERT_TRUE(changelists_.cacheForProject(folder_));
    const Changelist replaced = {"New video clip added for sequence Scene: b", "Clip a removed",
                                 "Clip c removed"};
    const struct {
        std::string_view changed;
        std::string content;
        std::string_view updated;
        std::vector<Changelist> records;
    } steps[] = {
        {"P.00001.xml", exportOf("abc"), "P.00003.xml", {kBase, kAdded, kBase}},
        {"P.00002.xml", exportOf("ac"), "P.00002.xml", {kBase, {"Clip b removed"}, replaced}},
        {"P.00002.xml", exportOf("abc"), "P.00001.xml", {kBase, kSame, replaced}},
        // Where there is no new record the old one stays.
        {"P.00003.xml", "<broken", "P.00002.xml", {kBase, kSame, replaced}},
        {"P.00001.xml", "<broken", "P.00001.xml", {kBase, kSame, replaced}},
    };
    for (const auto& [changed, content, updated, records] : steps) {
        add(changed, content);
        anotherRun().updateChangelistForItem(at(updated));
        EXPECT_EQ(threeInCache(), records) << changed << updated;
    }
}

TEST_F(ChangelistCachingTest, InvalidatingDeletesTheCacheFilesAlone) {
    changelists_.invalidateAllCaches();
    EXPECT_EQ(newLines(), Calls{"Invalidating all caches..."});
    for (const char* name :
         {"P.fcp.cache.plist", "Q.cache.plist", "cache.plist", "P.cache.plist.x"})
        writeContent(caches_ + "/" + name, "");
    changelists_.invalidateAllCaches();
    Calls left;
    for (const auto& entry : fs::directory_iterator(caches_))
        left.push_back(entry.path().filename());
    std::ranges::sort(left);
    EXPECT_EQ(left, (Calls{"P.cache.plist.x", "cache.plist"}));
}

TEST_F(ChangelistCachingTest, CachesAreTrashedWhenTheUserSaysSo) {
    const struct {
        int answer;
        Calls moved;
    } cases[] = {{0, {}}, {-1, {}}, {1, {caches_}}};
    fs::create_directories(caches_);
    for (const auto& [answer, moved] : cases) {
        window_.answer = answer;
        windowed_.trashCaches();
        EXPECT_EQ(std::exchange(window_.calls, {}), Calls{kTrashQuestion});
        EXPECT_EQ(trash_.moved, moved) << answer;
    }
    changelists_.trashCaches(); // nobody can be asked
    EXPECT_EQ(trash_.moved.size(), 1U);
    trash_.failure = "Read-only file system";
    windowed_.trashCaches();
    EXPECT_EQ(newLines(),
              Calls{"Unable to move " + caches_ + " to the Trash: Read-only file system"});
}

TEST_F(ChangelistCachingTest, TheUserIsAskedEvenIfThereIsNothingToTrash) {
    windowed_.trashCaches();
    EXPECT_EQ(window_.calls, Calls{kTrashQuestion});
    EXPECT_EQ(trash_.moved, Calls());
}

} // namespace
} // namespace cutstack
