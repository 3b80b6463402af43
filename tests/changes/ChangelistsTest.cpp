// The records of single files and of whole folders.

#include "tests/changes/ChangelistsFixture.h"

#include <array>
#include <fcntl.h>
#include <sys/stat.h>

namespace cutstack {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kLimit = 83'886'080;
const std::string kMissing = "No such file or directory";
const Changelist kAdded = {"New video clip b added for sequence Scene"};

Changelist notGenerated(const std::string& version) {
    return {"XML copy " + version + " not generated"};
}

TEST_F(ChangelistsTest, SpecialSentences) {
    for (const char* name : {"P.00001.xml", "P.00002.fcp", "P.00003.FCP", "P.00005.XML",
                             "P.00006.motn", "P.00007.xml.bak", "xml"})
        add(name, "same");
    add("other", "SAME");
    add("P.00004.xml", "project");
    add("kind", "project");
    metadata_.types = {{at("P.00004.xml"), "FCPF"}, {at("kind"), "FCPF"}, {at("other"), "fcpf"}};
    const struct {
        std::string_view file;
        std::optional<std::string_view> old;
        Changelist changes;
        std::string_view type;
    } cases[] = {
        {"P.00002.fcp", std::nullopt, notGenerated("00002"), "fcp"},
        {"P.00002.fcp", "P.00001.xml", {"No change"}, "fcp"},
        {"P.00002.fcp", "other", notGenerated("00002"), "fcp"},
        {"P.00002.fcp", "kind", notGenerated("00002"), "fcp"},
        {"P.00002.fcp", "missing", notGenerated("00002"), "fcp"},
        {"P.00003.FCP", "P.00001.xml", {"No change"}, "fcp"},
        {"P.00004.xml", "P.00001.xml", notGenerated("00004"), "fcp"},
        {"P.00004.xml", "kind", {"No change"}, "fcp"},
        {"kind", std::nullopt, notGenerated(""), "fcp"},
        {"missing.00009.fcp", std::nullopt, notGenerated("00009"), "fcp"},
        {"P.00001.xml", std::nullopt, kBase, "xml"},
        {"P.00001.xml", "P.00002.fcp", kBase, "xml"},
        {"P.00001.xml", "P.00003.FCP", kBase, "xml"},
        {"P.00001.xml", "P.00004.xml", kBase, "xml"},
        {"P.00005.XML", std::nullopt, kBase, "xml"},
        {"missing.00009.xml", std::nullopt, kBase, "xml"},
        {"P.00006.motn", std::nullopt, kNoRecord, ""},
        {"P.00007.xml.bak", std::nullopt, kNoRecord, ""},
        {"xml", std::nullopt, kNoRecord, ""},
        {"other", "P.00001.xml", kNoRecord, ""},
    };
    for (const auto& [file, old, changes, type] : cases) {
        SCOPED_TRACE(std::string(file) + " after " + std::string(old.value_or("nothing")));
        const auto oldFile = old ? std::optional(at(*old)) : std::nullopt;
        const auto record = changelists_.changelistForFile(at(file), oldFile);
        EXPECT_EQ(changesIn(record), changes);
        EXPECT_EQ(record ? record->type : "", type);
        EXPECT_FALSE(record && record->noProcess);
    }
}

TEST_F(ChangelistsTest, ARecordTellsOfItsFile) {
    const std::string file = add("P.00012.xml", std::string(1536, ' '));
    // The last one is beyond what 64 bits of nanoseconds hold, as a wrong clock may leave it.
    for (const std::int64_t seconds : {1268582709L, -86400L, 13'000'000'000L}) {
        const timespec moment{seconds, 999'999'999};
        const std::array times = {moment, moment};
        ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times.data(), 0), 0);
        struct stat kept {}; // not every file system keeps every date
        ASSERT_EQ(stat(file.c_str(), &kept), 0);
        const PropertyListDate date(std::chrono::seconds(kept.st_mtim.tv_sec));
        const auto record = changelists_.changelistForFile(file, std::nullopt);
        ASSERT_TRUE(record);
        EXPECT_EQ(record->date, date);
        EXPECT_TRUE(*record == (VersionRecord{kBase, "00012", date, "1.50 KB", file, "xml"}));
    }
    const auto gone = changelists_.changelistForFile(at("P.00013.xml"), std::nullopt);
    const auto now = std::chrono::floor<std::chrono::seconds>(clock_.time);
    EXPECT_TRUE(gone == (VersionRecord{kBase, "00013", now, "", at("P.00013.xml"), "xml"}));
}

TEST_F(ChangelistsTest, WhatIsReadAndWhatFailsIsLoggedAndShown) {
    add("P.00001.xml", exportOf("a"));
    add("P.00002.xml", exportOf("ab"));
    add("bad.xml", "<xmeml>");
    const Calls onlyEnd = {"endProgress"};
    const Calls corrupt = {"endProgress",
                           alertSaying("Unable to XML document", "The file may be corrupt.")};
    const struct {
        std::string_view file, old;
        std::string line; ///< after those about the sizes
        Calls calls;
    } cases[] = {
        {"P.00002.xml", "P.00001.xml", "Getting changelist from XML doc...", {}},
        {"gone.xml",
         "P.00001.xml",
         "Unable to load data: " + kMissing,
         {"endProgress", alertSaying("Unable to load data", kMissing)}},
        {"bad.xml", "P.00001.xml", "Unable to load XML document", corrupt},
        {"bad.xml", "gone.xml", "Unable to load XML document", corrupt},
        {"P.00001.xml", "gone.xml", "Unable to load prev data: " + kMissing, onlyEnd},
        {"P.00001.xml", "bad.xml", "Unable to load prev XML document", onlyEnd},
    };
    for (const auto& [file, old, line, calls] : cases) {
        Calls lines = {"Getting changelist for file " + at(file) + " with old file " + at(old)};
        for (const std::string& path : {at(file), at(old)})
            lines.push_back(
                fs::exists(path)
                    ? formatString("Project file size is %i bytes", {fs::file_size(path)})
                    : formatString("Unable to get attributes for file %@: %@", {path, kMissing}));
        lines.push_back(line);
        newLines();
        const Changelist changes = calls.empty() ? kAdded : kNoRecord;
        EXPECT_EQ(changesIn(anotherRun().changelistForFile(at(file), at(old))), changes);
        EXPECT_EQ(newLines(), lines);
        EXPECT_EQ(window_.calls, Calls());

        isCancelled_ = false;
        EXPECT_EQ(changesIn(Changelists(services(&window_)).changelistForFile(at(file), at(old))),
                  changes);
        EXPECT_EQ(newLines(), lines);
        EXPECT_EQ(std::exchange(window_.calls, {}), calls);
        EXPECT_EQ(isCancelled_, !calls.empty());
    }
    EXPECT_EQ(changesIn(changelists_.changelistForFile(at("bad.xml"), std::nullopt)), kBase);
    EXPECT_EQ(newLines().front(),
              "Getting changelist for file " + at("bad.xml") + " with old file (null)");
    EXPECT_EQ(console_.messages(), Calls());
}

TEST_F(ChangelistsTest, AnExceptionEndsWithoutARecord) {
    add("P.00001.xml", exportOf("a"));
    metadata_.onAsked = [](const std::string&) { throw Exception("Fault", "no reason"); };
    EXPECT_EQ(changesIn(changelists_.changelistForFile(at("P.00001.xml"), {})), kNoRecord);
    const std::string line =
        "Exception in -[AppController changelistForFile:withOldFile:]. Fault - no reason.";
    EXPECT_EQ(newLines().back(), line);
    EXPECT_EQ(console_.messages(), Calls{line});
}

TEST_F(ChangelistsTest, TheSizeLimitIsStrictAndAFolderBeginsAnewAfterIt) {
    const std::string first = add("P.00001.xml", exportOf("a"));
    const std::string large = addSparse("P.00002.xml", kLimit - 1);
    EXPECT_EQ(changesIn(changelists_.changelistForFile(large, first)), kNoRecord);
    EXPECT_EQ(newLines().back(), "Unable to load XML document");
    addSparse("P.00002.xml", kLimit);
    const auto record = changelists_.changelistForFile(large, first);
    EXPECT_TRUE(record && record->noProcess && record->type == "xml");
    // The limit is for new documents that are compared, and for nothing else.
    EXPECT_EQ(changesIn(changelists_.changelistForFile(large, std::nullopt)), kBase);
    EXPECT_EQ(changesIn(changelists_.changelistForFile(first, large)), kNoRecord);
    EXPECT_EQ(newLines().back(), "Unable to load prev XML document");

    add("P.00003.xml", exportOf("ab"));
    add("P.00004.xml", exportOf("b"));
    const auto records = changelists_.changelistForProject(folder_);
    EXPECT_EQ(changesIn(records, "P.00002.xml"), kTooLarge);
    EXPECT_EQ(changesIn(records, "P.00003.xml"), kBase);
    EXPECT_EQ(changesIn(records, "P.00004.xml"), Changelist{"Clip a removed"});
}

TEST_F(ChangelistsTest, ListsCarryOverFromWhateverWasComparedBefore) {
    add("1.xml", exportOf("a"));
    add("2.xml", exportOf("ab"));
    add("3.xml", exportOf("c"));
    add("4.xml", exportOf("cb"));
    const auto changes = [this](std::string_view file, std::string_view old) {
        return changesIn(changelists_.changelistForFile(at(file), at(old)));
    };
    EXPECT_EQ(changes("4.xml", "3.xml"), kAdded);
    EXPECT_EQ(changes("2.xml", "1.xml"), Changelist{"No notable changes"}); // 4.xml had a b
    FakePane pane(window_.calls);
    changelists_.populateChangeListForProject(home_ / "store/none.fcp", pane);
    EXPECT_EQ(changes("2.xml", "1.xml"), kAdded);
}

TEST_F(ChangelistsTest, TheDocumentIsRememberedUnderThePathOfTheOldOne) {
    add("P.00001.xml", exportOf("a"));
    add("P.00002.XML", exportOf("ab"));
    const std::string third = add("P.00003.xml", exportOf("ab"));
    // Because of its name the second copy is not the one before the third. That is compared with
    // the first again, and for that with the document that was remembered then.
    const Changelist same = {"No change"};
    const auto records = changelists_.changelistForProject(folder_);
    EXPECT_EQ(changesIn(records, "P.00002.XML"), kAdded);
    EXPECT_EQ(changesIn(records, "P.00003.xml"), same);
    EXPECT_EQ(changesIn(changelists_.changelistForFile(third, at("P.00001.xml"))), same);
    // The end of a progress display forgets the document, but no list.
    EXPECT_EQ(changesIn(windowed_.changelistForProject(folder_), "P.00003.xml"), same);
    isCancelled_ = false;
    EXPECT_EQ(changesIn(windowed_.changelistForFile(third, at("P.00001.xml"))),
              Changelist{"No notable changes"});
}

TEST_F(ChangelistsTest, AFolderIsTakenInOrderHiddenFilesToo) {
    add(".P.00000.xml", exportOf("a"));
    add("notes.txt", "");
    add("p.00001.fcp", "project");
    add("P.00001.xml", exportOf("ab"));
    add("p.00002.xml", "<broken");
    add("P.00003.xml", exportOf("b"));
    fs::create_directory(at("folder"));
    const std::map<std::string, Changelist> expected = {
        {".P.00000.xml", kBase}, {"P.00001.xml", kAdded}, {"p.00001.fcp", notGenerated("00001")}};
    EXPECT_EQ(changesIn(changelists_.changelistForProject(folder_)), expected);
    // The broken one is the one before all the same.
    EXPECT_EQ(newLines().back(), "Unable to load prev XML document");
    EXPECT_EQ(changelists_.changelistForProject(at("missing")), VersionRecords());
}

TEST_F(ChangelistsTest, ProgressIsShownAndTheUserMayStop) {
    EXPECT_EQ(windowed_.changelistForProject(folder_), VersionRecords());
    EXPECT_EQ(std::exchange(window_.calls, {}), (Calls{"startProgress", "endProgress"}));
    add("P.00001.xml", exportOf("a"));
    EXPECT_EQ(windowed_.changelistForProject(folder_)->size(), 1U);
    EXPECT_EQ(std::exchange(window_.calls, {}),
              (Calls{"startProgress", "incrementProgressBar", "endProgress"}));
    for (const char* name : {"P.00002.xml", "P.00003.xml"})
        add(name, exportOf(name + 6));
    EXPECT_TRUE(isCancelled_); // as always while nothing runs
    EXPECT_EQ(windowed_.changelistForProject(folder_)->size(), 3U);
    EXPECT_EQ(std::exchange(window_.calls, {}),
              (Calls{"startProgress", "setDeterminateProgress 3", "incrementProgressBar",
                     "incrementProgressBar", "incrementProgressBar", "endProgress"}));

    window_.onIncrement = [this] { isCancelled_ = window_.calls.size() == 4; };
    EXPECT_EQ(windowed_.changelistForProject(folder_)->size(), 2U);
    EXPECT_EQ(window_.calls.size(), 5U);

    window_.onIncrement = [] {};
    metadata_.onAsked = [this](const std::string& path) {
        isCancelled_ = isCancelled_ || path == at("P.00002.xml");
    };
    EXPECT_EQ(windowed_.changelistForProject(folder_)->size(), 1U);
    const Calls lines = newLines();
    EXPECT_EQ(Calls(lines.end() - 2, lines.end()),
              (Calls{"Change log generation was cancelled", "Unable to create change list"}));
    // Without a window there is nobody who could stop it.
    EXPECT_EQ(changelists_.changelistForProject(folder_)->size(), 3U);
}

} // namespace
} // namespace cutstack
