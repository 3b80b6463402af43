#include "store/BackupPipeline.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/TemporaryFolder.h"
#include "tests/changes/ChangelistsFixture.h"
#include "tests/platform/Fakes.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

/// An editor that has whatever a test says; exports are numbered unless one is given.
class FakeEditor final : public EditorBridge {
public:
    std::optional<Names> openProjects = Names();
    std::optional<std::string> document;
    std::function<void()> duringExport = [] {};
    Names asked;

    std::optional<Names> listOfOpenFCPProjects() override { return openProjects; }
    std::optional<SharedBytes> getProjectXMLData(const std::string& project, bool launch) override {
        return answer("project " + project + (launch ? " launch" : ""));
    }
    std::optional<SharedBytes> getItemXMLData(const std::string& item, const std::string& project,
                                              bool launch) override {
        return answer("item " + item + " of " + project + (launch ? " launch" : ""));
    }
    bool saveProject(const std::string& project) override {
        asked.push_back("save " + project);
        return true;
    }

private:
    std::optional<SharedBytes> answer(std::string request) {
        asked.push_back(std::move(request));
        duringExport();
        return document ? std::optional<SharedBytes>(*document) : std::nullopt;
    }
};

struct TypesOfFiles final : FinderMetadata {
    std::map<std::string, std::string> types;
    mutable Names set;

    std::string hfsTypeCode(const std::string& path) const override {
        const auto type = types.find(fs::path(path).filename());
        return type == types.end() ? "" : type->second;
    }
    std::string hfsCreatorCode(const std::string&) const override { return ""; }
    bool setHfsCodes(const std::string& path, std::string_view type,
                     std::string_view creator) const override {
        set.push_back(fs::path(path).filename().string() + " " + std::string(type) + "/" +
                      std::string(creator));
        return true;
    }
    std::uint16_t finderFlags(const std::string&) const override { return 0; }
    bool setFinderFlags(const std::string&, std::uint16_t) const override { return false; }
};

class BackupPipelineTest : public testing::Test {
protected:
    BackupPipelineTest() {
        environment_.home = folder_.path();
        settings_.storagePath = folder_ / "Versions";
        settings_.removeDuplicates = false;
        editor_.document = "<xmeml/>";
        log_.createNewLog(std::nullopt);
    }

    /// A watched project that the editor has open, saved so many seconds ago.
    std::string watch(const std::string& name, const std::string& content = "1", int secondsAgo = 1,
                      const std::string& sequence = "") {
        const std::string path = folder_ / name;
        save(path, content, secondsAgo);
        settings_.filelist.push_back(
            PropertyList::Dictionary{{"path", path}, {"selectedUUID", sequence}});
        editor_.openProjects->push_back(path);
        return path;
    }
    void save(const std::string& path, const std::string& content, int secondsAgo) {
        writeContent(path, content);
        const auto moment =
            std::chrono::floor<std::chrono::seconds>(clock_.now()).time_since_epoch().count() -
            secondsAgo;
        const timespec times[] = {{moment, 0}, {moment, 0}};
        EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }
    void process() { BackupPipeline(services()).processProjects(); }

    BackupServices services() {
        return {.log = log_,
                .clock = clock_,
                .editor = editor_,
                .copier = fileCopier(),
                .metadata = metadata_,
                .removal = removal_,
                .readSettings = [this] { return std::optional(settings_); },
                .convertOldListFormat =
                    [this](const PropertyList::Array& list) {
                        converted_ = list.size();
                        return std::optional(PropertyList::Array());
                    },
                .expandTilde =
                    [this](const std::string& path) {
                        return path.starts_with("~/") ? folder_ / path.substr(2) : path;
                    },
                .manageBackups = [this] { ++retentionRuns_; },
                .refreshCaches = [this](const Names& folders) { refreshed_ = folders; },
                .pauseFor =
                    [this](std::chrono::microseconds time) {
                        whilePaused_();
                        clock_.time += time;
                    }};
    }
    Names copies(const std::string& project) {
        Names names;
        for (const auto& entry : fs::directory_iterator(folder_ / ("Versions/" + project)))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
    std::string logged() {
        log_.finishWriting();
        const std::string file = folder_ / "Library/Logs/Zantrel/Cutstack.1.log";
        return fs::exists(file) ? contentOf(file) : "";
    }
    bool hasLogged(const std::string& text) { return logged().find(text) != std::string::npos; }

    TemporaryFolder folder_;
    FakeEnvironment environment_;
    FakeConsole consoleUser_;
    Locations locations_{environment_, consoleUser_};
    FakeSystemLog console_;
    FakeClock clock_;
    LogWriter log_{{locations_, clock_, console_, [] { return LogHeader{}; }}};
    FakeTrash trash_;
    BackupRemoval removal_{folder_ / "Caches", "1", trash_, log_};
    FakeEditor editor_;
    TypesOfFiles metadata_;
    BackupSettings settings_;
    std::size_t converted_ = 0;
    int retentionRuns_ = 0;
    Names refreshed_;
    std::function<void()> whilePaused_ = [] {};
};

TEST_F(BackupPipelineTest, TheFirstVersionIsMadeWhenTheEditorHasTheProjectOpen) {
    const std::string promo = watch("Promo.fcp", "one", 4000);
    watch("Closed.fcp");
    editor_.openProjects = Names{promo};
    process();
    EXPECT_EQ(copies("Promo.fcp"), (Names{"Promo.00001.fcp", "Promo.00001.xml"}));
    EXPECT_FALSE(fs::exists(folder_ / "Versions/Closed.fcp"));
    EXPECT_EQ(contentOf(folder_ / "Versions/Promo.fcp/Promo.00001.fcp"), "one");
    EXPECT_EQ(contentOf(folder_ / "Versions/Promo.fcp/Promo.00001.xml"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<xmeml/>\n");
    EXPECT_EQ(metadata_.set, Names{"Promo.00001.xml XML /KeyG"});
    EXPECT_EQ(editor_.asked, Names{"project " + promo});
    EXPECT_EQ(refreshed_, Names{}) << "a new folder's cache is left for later";
    EXPECT_EQ(retentionRuns_, 1);
}

TEST_F(BackupPipelineTest, FurtherVersionsNeedAFreshSave) {
    const std::string promo = watch("Promo.fcp", "one", 3000);
    process();
    struct Case {
        int secondsAgo;
        bool isBackedUp;
    };
    // The copy has the date of what it is a copy of.
    for (const Case& c : {Case{3000, false}, Case{61, false}, Case{60, false}, Case{59, true},
                          Case{59, false}, Case{58, true}}) {
        save(promo, "two", c.secondsAgo);
        const std::size_t before = copies("Promo.fcp").size();
        process();
        EXPECT_EQ(copies("Promo.fcp").size() > before, c.isBackedUp) << c.secondsAgo;
        EXPECT_EQ(refreshed_, c.isBackedUp ? Names{folder_ / "Versions/Promo.fcp"} : Names{});
    }
    EXPECT_TRUE(hasLogged("Skipping project " + promo + " - saved more than 60 seconds ago"));
}

TEST_F(BackupPipelineTest, ASaveDuringTheExportIsBackedUpNext) {
    const std::string promo = watch("Promo.fcp", "one", 20);
    editor_.duringExport = [&] { save(promo, "two", 10); };
    process();
    editor_.duringExport = [] {};
    process();
    EXPECT_EQ(contentOf(folder_ / "Versions/Promo.fcp/Promo.00002.fcp"), "two");
}

TEST_F(BackupPipelineTest, OfTwoSavesWithOneDateTheLaterIsCopied) {
    const std::string promo = watch("Promo.fcp", "one", 0);
    whilePaused_ = [&] { save(promo, "two", 0); };
    process();
    EXPECT_EQ(contentOf(folder_ / "Versions/Promo.fcp/Promo.00001.fcp"), "two");
    whilePaused_ = [] { ADD_FAILURE() << "a save of the future is not waited for"; };
    save(promo, "three", -50);
    process();
    EXPECT_EQ(contentOf(folder_ / "Versions/Promo.fcp/Promo.00002.fcp"), "three");
}

TEST_F(BackupPipelineTest, ALongRunMakesNoSaveTooOld) {
    const std::string slow = watch("Slow.fcp", "one", 5);
    const std::string other = watch("Other.fcp", "one", 5);
    process();
    save(slow, "two", 1);
    save(other, "two", 1);
    editor_.duringExport = [&, isFirst = true]() mutable {
        if (std::exchange(isFirst, false)) {
            save(slow, "three", 0);
            clock_.time += std::chrono::minutes(2);
        }
    };
    process();
    EXPECT_EQ(contentOf(folder_ / "Versions/Other.fcp/Other.00002.fcp"), "two")
        << "saved before the run, which came to it late";
    EXPECT_EQ(contentOf(folder_ / "Versions/Slow.fcp/Slow.00003.fcp"), "three")
        << "saved during the run, and long ago when it ended";
    EXPECT_EQ(retentionRuns_, 3);
}

TEST_F(BackupPipelineTest, ReadsNeitherSettingsNorProjectsThatAreNotThere) {
    settings_.filelist = {PropertyList::Dictionary{{"selectedUUID", "x"}}, 7,
                          PropertyList::Dictionary{{"path", 7}}};
    editor_.openProjects = Names{"", folder_ / "Promo.fcp"};
    process();
    EXPECT_FALSE(fs::exists(folder_ / "Versions"));
    EXPECT_EQ(retentionRuns_, 1);
    for (const auto& none : {std::optional<Names>(), std::optional<Names>(Names())}) {
        editor_.openProjects = none;
        process();
        EXPECT_EQ(retentionRuns_, 1) << "nothing happens without an open project";
    }
    settings_.filelist = {folder_ / "Promo.fcp"};
    editor_.openProjects = Names{folder_ / "Promo.fcp"};
    process();
    EXPECT_EQ(converted_, 1U);
    EXPECT_EQ(retentionRuns_, 1) << "a list that cannot be converted ends the run";
}

TEST_F(BackupPipelineTest, AProjectIsFoundThroughALinkedFolder) {
    save(folder_ / "Disk/Promo.fcp", "one", 1);
    fs::create_directory_symlink("Disk", folder_ / "Films");
    settings_.filelist = {PropertyList::Dictionary{{"path", "~/Films/Promo.fcp"}}};
    editor_.openProjects = Names{fs::canonical(folder_.path()) / "Disk/Promo.fcp"};
    process();
    EXPECT_EQ(copies("Promo.fcp"), (Names{"Promo.00001.fcp", "Promo.00001.xml"}));
    EXPECT_EQ(editor_.asked, Names{"project " + editor_.openProjects->front()});
}

TEST_F(BackupPipelineTest, FilesThatAreNoProjectsAreLeftOut) {
    watch("notes.txt");
    watch("Typed");
    watch("Shout.FCP");
    metadata_.types["Typed"] = "FCPF";
    process();
    EXPECT_EQ(copies("notes.txt"), Names{});
    EXPECT_EQ(copies("Typed"), (Names{"Typed.00001.fcp", "Typed.00001.xml"}));
    EXPECT_EQ(copies("Shout.FCP"), (Names{"Shout.00001.fcp", "Shout.00001.xml"}));
}

TEST_F(BackupPipelineTest, XmlCopiesFollowThePolicy) {
    settings_.xmlLimit = 1;
    const std::string promo = watch("Promo.fcp", "0", 100);
    process(); // no versions before it: the gap of 2 is not reached
    for (int version = 2; version <= 7; ++version) {
        save(promo, std::to_string(version), 50 - version);
        process();
    }
    Names withXml;
    for (const std::string& name : copies("Promo.fcp"))
        if (name.ends_with("xml"))
            withXml.push_back(name);
    EXPECT_EQ(withXml, (Names{"Promo.00003.xml", "Promo.00006.xml"}));
    EXPECT_TRUE(hasLogged("Skipping XML backup - backup gap set to 2."));
}

TEST_F(BackupPipelineTest, WhatCannotBeExportedIsToldAndTheProjectCopyStays) {
    struct Case {
        std::optional<std::string> document;
        std::int64_t xmlLimit;
        std::string line;
    };
    const Case cases[] = {
        {std::nullopt, 5, "Invalid XML data"},
        {"", 5, "Invalid XML data"},
        {"<xmeml><a></xmeml>", 5, "Error initializing XML document: line 1"},
        {"<xmeml/>", 0, "XML backups disabled - skipping..."},
    };
    int number = 0;
    for (const Case& c : cases) {
        const std::string name = "P" + std::to_string(++number) + ".fcp";
        settings_.filelist.clear();
        watch(name);
        editor_.document = c.document;
        settings_.xmlLimit = c.xmlLimit;
        process();
        EXPECT_TRUE(hasLogged(c.line)) << c.line;
        EXPECT_EQ(copies(name).size(), 1U);
    }
}

TEST_F(BackupPipelineTest, ASequenceIsExportedInsteadOfTheProject) {
    settings_.xmlLimit = 2;
    const std::string big = watch("Big.fcp", std::string(4 * 1024 * 1024, 'x'), 1, "ABC");
    process();
    EXPECT_EQ(editor_.asked, Names{}) << "the gap counts for sequences too";
    settings_.xmlLimit = 5;
    save(big, std::string(16 * 1024 * 1024, 'x'), 0);
    process();
    EXPECT_EQ(editor_.asked, Names{"item ABC of " + big});
}

TEST_F(BackupPipelineTest, ASnapshotIsMadeWhateverThePolicyAndTheDatesSay) {
    settings_.xmlLimit = 0;
    const std::string promo = folder_ / "Promo.fcp";
    save(promo, "one", 9999);
    editor_.openProjects.reset();
    for (int i = 0; i < 2; ++i)
        BackupPipeline(services()).takeSnapshot("~/Promo.fcp", "");
    EXPECT_EQ(copies("Promo.fcp"),
              (Names{"Promo.00001.fcp", "Promo.00001.xml", "Promo.00002.fcp", "Promo.00002.xml"}));
    EXPECT_EQ(editor_.asked[0], "project " + promo + " launch");
    EXPECT_TRUE(hasLogged("Taking snapshot for project ~/Promo.fcp uuid"));
}

TEST_F(BackupPipelineTest, AnUnchangedCopyGoesWhenNoXmlCopyLiesBetween) {
    settings_.removeDuplicates = true;
    settings_.xmlLimit = 0;
    const std::string promo = watch("Promo.fcp", "same", 20);
    process();
    save(promo, "same", 10);
    process();
    EXPECT_EQ(copies("Promo.fcp"), Names{"Promo.00001.fcp"});
    EXPECT_EQ(console_.messages(), Names{"Attempting to remove duplicate file " +
                                         (folder_ / "Versions/Promo.fcp/Promo.00002.fcp") + "..."});
    save(promo, "other", 5);
    process();
    EXPECT_EQ(contentOf(folder_ / "Versions/Promo.fcp/Promo.00002.fcp"), "other");
}

TEST_F(BackupPipelineTest, ACopyThatIsThereIsNeverReplaced) {
    const std::string promo = watch("Promo.fcp", "new");
    writeContent(folder_ / "Versions/Promo.fcp/Promo.00003.fcp", "old");
    BackupPipeline pipeline(services());
    EXPECT_EQ(pipeline.backupFCPProject(promo, folder_ / "Versions/Promo.fcp", 3), std::nullopt);
    EXPECT_EQ(contentOf(folder_ / "Versions/Promo.fcp/Promo.00003.fcp"), "old");
    EXPECT_TRUE(hasLogged("Skipping FCP project backup - file exists"));
    fs::remove(promo);
    EXPECT_NE(pipeline.backupFCPProject(promo, folder_ / "Versions/Promo.fcp", 4), std::nullopt);
    EXPECT_EQ(copies("Promo.fcp"), Names{"Promo.00003.fcp"});
}

TEST_F(BackupPipelineTest, WhatIsSkippedIsNeverSkippedSilently) {
    const std::string promo = watch("Promo.fcp", "one", 20);
    process();
    const std::string line = "Skipping project " + promo + " - not newer than its last backup";
    process();
    EXPECT_FALSE(hasLogged(line)) << "nothing was saved";
    save(promo, "twenty", 20);
    process();
    EXPECT_TRUE(hasLogged(line)) << "a save that has the time of the one before";
    const std::string late = watch("Late.fcp", "one", -3600);
    process();
    save(late, "two", 5);
    process();
    EXPECT_TRUE(hasLogged("Skipping project " + late + " - not newer than its last backup"))
        << "the clock was put back";
    const std::string lost = watch("Lost.fcp");
    fs::create_directories(folder_ / "Versions/Lost.fcp");
    fs::create_symlink("nowhere", folder_ / "Versions/Lost.fcp/Lost.00001.fcp");
    process();
    EXPECT_TRUE(hasLogged("Skipping project " + lost + " - unable to read its last backup"));
}

TEST_F(BackupPipelineTest, TimesBeyondAllReasonAreTimes) {
    const std::string promo = watch("Promo.fcp", "one", 100);
    process();
    save(promo, "two", 0);
    const timespec times[] = {{10'000'000'000, 0}, {10'000'000'000, 0}}; // in 2286
    ASSERT_EQ(utimensat(AT_FDCWD, promo.c_str(), times, 0), 0);
    process();
    EXPECT_EQ(copies("Promo.fcp").size(), 4U) << "later than now is not long ago";
}

TEST_F(BackupPipelineTest, NumbersEndWhereTheyCannotGrow) {
    settings_.xmlLimit = 1;
    const std::string promo = watch("Promo.fcp", "one");
    writeContent(folder_ / "Versions/Promo.fcp/Promo.2147483646.fcp", "old");
    fs::last_write_time(folder_ / "Versions/Promo.fcp/Promo.2147483646.fcp",
                        fs::file_time_type::clock::from_sys(clock_.now() - std::chrono::hours(1)));
    process();
    EXPECT_EQ(copies("Promo.fcp").size(), 3U) << "the gap is known at once";
    save(promo, "two", 0);
    process();
    BackupPipeline(services()).takeSnapshot(promo, "");
    EXPECT_EQ(copies("Promo.fcp").size(), 3U);
    EXPECT_TRUE(hasLogged("Skipping project " + promo + " - there is no number after that of " +
                          (folder_ / "Versions/Promo.fcp/Promo.2147483647.xml")));
}

TEST_F(BackupPipelineTest, EarlierVersionsStayWhateverTheNamesAre) {
    const std::string promo = watch("Promo.fcp", "one");
    process();
    const std::string first = contentOf(folder_ / "Versions/Promo.fcp/Promo.00001.xml");
    writeContent(folder_ / "Versions/Promo.fcp/notes.xml", "<mine/>"); // sorts before
    writeContent(folder_ / "Versions/Promo.fcp/zettel.xml", "<mine/>");
    fs::last_write_time(folder_ / "Versions/Promo.fcp/zettel.xml",
                        fs::file_time_type::clock::from_sys(clock_.now() - std::chrono::hours(1)));
    editor_.document = "<changed/>";
    save(promo, "two", 0);
    process();
    EXPECT_EQ(contentOf(folder_ / "Versions/Promo.fcp/Promo.00001.xml"), first);
    EXPECT_EQ(contentOf(folder_ / "Versions/Promo.fcp/Promo.00001.fcp"), "one");
    EXPECT_TRUE(hasLogged("Skipping XML backup - file exists"));
}

TEST_F(BackupPipelineTest, DuplicatesOutsideOfTheStoreAreNobodysBusiness) {
    writeContent(folder_ / "Elsewhere/a", "same");
    writeContent(folder_ / "Elsewhere/b", "same");
    writeContent(folder_ / "Versions/Real.fcp/a", "same");
    fs::create_symlink("../../Elsewhere/a", folder_ / "Versions/Real.fcp/b");
    fs::create_directory_symlink("../Elsewhere", folder_ / "Versions/Promo.fcp");
    BackupPipeline pipeline(services());
    EXPECT_FALSE(pipeline.removeLastDuplicateForProject(folder_ / "Versions/Promo.fcp"));
    EXPECT_FALSE(pipeline.removeLastDuplicateForProject(folder_ / "Versions/Promo.fcp/"));
    EXPECT_FALSE(pipeline.removeLastDuplicateForProject(folder_ / "Versions/Real.fcp"));
    EXPECT_TRUE(fs::exists(folder_ / "Elsewhere/b"));
}

TEST_F(BackupPipelineTest, ASaveDuringTheExportOfADuplicateIsBackedUpNext) {
    settings_.removeDuplicates = true;
    settings_.xmlLimit = 0;
    const std::string promo = watch("Promo.fcp", "same", 30);
    process();
    settings_.xmlLimit = 5;
    save(promo, "same", 20);
    editor_.duringExport = [&] { save(promo, "other", 10); };
    process();
    EXPECT_EQ(copies("Promo.fcp"), (Names{"Promo.00001.fcp", "Promo.00002.xml"}));
    editor_.duringExport = [] {};
    process();
    EXPECT_EQ(contentOf(folder_ / "Versions/Promo.fcp/Promo.00003.fcp"), "other");
}

TEST_F(BackupPipelineTest, AutosaveKnowsOnlyTheOldListFormat) {
    const std::string promo = watch("Promo.fcp");
    BackupPipeline(services()).autosave();
    EXPECT_EQ(editor_.asked, Names{});
    EXPECT_TRUE(hasLogged("Exception in -[AppController autosave]. NSInvalidArgumentException"));
    settings_.filelist = {folder_ / "Closed.fcp", "~/Promo.fcp"};
    BackupPipeline(services()).autosave();
    EXPECT_EQ(editor_.asked, Names{"save " + promo});
    EXPECT_TRUE(hasLogged("Autosaving " + promo + "..."));
}

} // namespace
} // namespace cutstack
