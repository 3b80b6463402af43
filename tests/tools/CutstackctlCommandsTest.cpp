// What cutstackctl changes: the real tool beside a bundle of the test's own, whose launchctl only
// notes what it is told, with a home, a bus and an editor that belong to the test.

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "fcp/EventCodes.h"
#include "platform/FileReference.h"
#include "tests/PrivateBus.h"
#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"
#include "tests/platform/ScriptedEditor.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

/// Notes its arguments, and says that every job is loaded whose property list is there.
constexpr std::string_view kLaunchctl = R"(#!/bin/sh
echo "$@" >> "$HOME/launchctl.calls"
[ "$1" = list ] || exit 0
[ -e "$HOME/no-manager" ] && { echo "no manager" >&2; exit 1; }
printf 'PID\tStatus\tLabel\tFile\n'
for file in "$HOME"/Library/LaunchAgents/*.plist; do
    printf '4711\t-9\tlabel\t%s\n' "$file"
done
)";

class CutstackctlCommands : public testing::Test {
protected:
    CutstackctlCommands() {
        setenv("HOME", home_.c_str(), 1);
        setenv("CUTSTACK_LOCAL_ROOT", (folder_ / "local").c_str(), 1);
        setenv("TZ", "UTC", 1);
        fs::create_directories(folder_ / "bin");
        fs::copy_file(CUTSTACKCTL, folder_ / "bin/cutstackctl");
        writeContent(contents_ + "/Info.plist", contentOf(CUTSTACK_INFO_PLIST));
        writeExecutable(contents_ + "/MacOS/Cutstack", "never started here");
        writeExecutable(contents_ + "/Helpers/launchctl", kLaunchctl);
        writeContent(project("Promo"), "project");
    }

    static void writeExecutable(const std::string& path, std::string_view content) {
        writeContent(path, content);
        fs::permissions(path, fs::perms::owner_all);
    }
    Finished run(Words arguments) const {
        arguments.insert(arguments.begin(), folder_ / "bin/cutstackctl");
        return finished(arguments);
    }
    /// Status and output, with the folder of the test as "@".
    std::string said(const Words& arguments) const {
        const Finished tool = run(arguments);
        std::string text = std::to_string(tool.status) + " " + tool.output + tool.errors;
        const std::string folder = folder_.path().string();
        for (auto at = text.find(folder); at != std::string::npos; at = text.find(folder))
            text.replace(at, folder.size(), "@");
        return text;
    }
    std::string project(const std::string& name) const { return home_ + "/P/" + name + ".fcp"; }
    std::string inStore(const std::string& path) const {
        return home_ + "/Library/Application Support/Zantrel/Cutstack/Versions/" + path;
    }
    std::string settings() const {
        return home_ + "/Library/Preferences/com.zantrel.Cutstack.plist";
    }
    /// The property list of a job; empty when there is none.
    std::string job(const std::string& name) const {
        const std::string file = home_ + "/Library/LaunchAgents/" + name + ".plist";
        return fs::exists(file) ? contentOf(file) : "";
    }
    std::string launchctlCalls() const { return contentOf(home_ + "/launchctl.calls"); }

    const NoBus noBus_;
    const TemporaryFolder folder_;
    const std::string home_ = folder_ / "home";
    const std::string contents_ = folder_ / "Cutstack.app/Contents";
};

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST_F(CutstackctlCommands, WatchesAndUnwatches) {
    writeContent(home_ + "/P/notes.txt", "text");
    writeContent(folder_ / "else/Promo.fcp", "of the same name");
    fs::create_directory_symlink(folder_ / "else", home_ + "/P/link");
    EXPECT_EQ(said({"watch", home_ + "/P/../P/./Promo.fcp", project("None"), home_ + "/P/notes.txt",
                    home_ + "/P", home_ + "/P/link/Promo.fcp"}),
              "2 Watching @/home/P/Promo.fcp\n"
              "Watching @/home/P/link/Promo.fcp\n"
              "cutstackctl: @/home/P/None.fcp: No such file or directory\n"
              "cutstackctl: @/home/P/notes.txt: this is no Final Cut Pro project\n"
              "cutstackctl: @/home/P: this is no file\n");
    EXPECT_TRUE(holds(contentOf(settings()), "<string>~/P/Promo.fcp</string>"));
    for (const auto& part : {"<string>" + project("Promo") + "</string>", home_ + "/P/link/Promo",
                             contents_ + "/MacOS/Cutstack", std::string("-process")})
        EXPECT_TRUE(holds(job("com.zantrel.Cutstack"), part)) << part;
    EXPECT_TRUE(holds(job("com.zantrel.CutstackProjectWatcher"), "-repopulate"));
    EXPECT_TRUE(holds(launchctlCalls(), "load " + home_ + "/Library/LaunchAgents/"));

    EXPECT_EQ(said({"watch", project("Promo")}), "0 @/home/P/Promo.fcp is watched already\n");
    writeContent(inStore("Promo.fcp/Promo.00001.fcp"), "1");
    writeContent(inStore("Promo.fcp/Promo.00001.xml"), "1");
    writeContent(inStore("Promo.fcp/Promo.00003.fcp"), "3");
    fs::remove(folder_ / "else/Promo.fcp");
    EXPECT_EQ(said({"list"}), "0 @/home/P/Promo.fcp\n"
                              "    Entire Project, 2 versions\n"
                              "@/home/P/link/Promo.fcp\n"
                              "    Entire Project, 2 versions, the file is missing\n");
    EXPECT_EQ(said({"list", "--json"}),
              "0 {\"path\":\"@/home/P/Promo.fcp\",\"sequence\":null,\"exists\":true,"
              "\"versions\":2}\n"
              "{\"path\":\"@/home/P/link/Promo.fcp\",\"sequence\":null,\"exists\":false,"
              "\"versions\":2}\n");

    EXPECT_EQ(said({"unwatch", "Promo"}),
              "1 cutstackctl: Promo: several watched projects are called so; give the path\n");
    EXPECT_EQ(said({"unwatch", home_ + "/P/link/Promo.fcp"}),
              "0 No longer watching @/home/P/link/Promo.fcp\n");
    EXPECT_FALSE(holds(job("com.zantrel.Cutstack"), "link"));
    EXPECT_EQ(said({"unwatch", "Promo"}), "0 No longer watching @/home/P/Promo.fcp\n");
    EXPECT_EQ(job("com.zantrel.Cutstack"), "");
    EXPECT_EQ(said({"unwatch", "Promo"}), "1 cutstackctl: Promo: this project is not watched\n");
    EXPECT_EQ(said({"list"}), "1 ");
}

TEST_F(CutstackctlCommands, AdvisesAboutLargeProjects) {
    for (const auto& [size, isLarge] : {std::pair(31457279, false), std::pair(31457280, true)}) {
        const std::string path = project("Large" + std::to_string(size));
        writeContent(path, "");
        fs::resize_file(path, static_cast<std::uintmax_t>(size));
        EXPECT_EQ(holds(said({"watch", path}), "This project is quite large\n"), isLarge) << size;
    }
}

TEST_F(CutstackctlCommands, AddingAtTheSameTimeLosesNothing) {
    constexpr int kProcesses = 4;
    std::vector<std::thread> threads;
    threads.reserve(kProcesses);
    for (int i = 0; i < kProcesses; ++i)
        threads.emplace_back([this, i] {
            writeContent(project(std::to_string(i)), "project");
            EXPECT_EQ(run({"watch", project(std::to_string(i))}).status, 0);
        });
    for (std::thread& thread : threads)
        thread.join();
    for (int i = 0; i < kProcesses; ++i)
        for (const std::string& file : {run({"list"}).output, job("com.zantrel.Cutstack")})
            EXPECT_TRUE(holds(file, project(std::to_string(i)))) << i;
}

TEST_F(CutstackctlCommands, SaysWhatKeepsJobsFromRunning) {
    writeContent(home_ + "/no-manager", "");
    EXPECT_EQ(said({"watch", project("Promo")}),
              "2 Watching @/home/P/Promo.fcp\n"
              "cutstackctl: the job com.zantrel.Cutstack is not loaded: no manager\n");
    EXPECT_TRUE(holds(said({"status"}), "which jobs are loaded: no manager\n"));
    fs::remove(home_ + "/no-manager");

    const std::string before = contentOf(settings());
    fs::remove(contents_ + "/MacOS/Cutstack");
    EXPECT_EQ(said({"unwatch", "Promo"}),
              "2 cutstackctl: Cutstack itself, which the jobs start, is not in @/Cutstack.app\n");
    EXPECT_EQ(contentOf(settings()), before);
    writeExecutable(contents_ + "/MacOS/Cutstack", "");

    const std::string damaged = before.substr(0, before.size() / 2);
    writeContent(settings(), damaged);
    EXPECT_TRUE(said({"watch", project("Promo")})
                    .starts_with("2 cutstackctl: the settings cannot be read: @/home/"));
    EXPECT_TRUE(said({"snapshot", project("Promo")}).starts_with("2 "));
    EXPECT_EQ(contentOf(settings()), damaged);
    EXPECT_FALSE(fs::exists(inStore("")));
}

TEST_F(CutstackctlCommands, TurnsJobsOnAndOff) {
    EXPECT_EQ(said({"backups", "on"}), "0 Backups are on, but no project is watched\n");
    EXPECT_EQ(run({"watch", project("Promo")}).status, 0);
    const std::string backup = "com.zantrel.Cutstack";
    const std::string saving = "com.zantrel.Cutstack.autosave";
    const struct {
        Words arguments;
        std::string said;
        bool hasBackupJob;
        std::string savingJob; ///< a part of it; empty when there is none
    } steps[] = {
        {{"backups"}, "Backups are on", true, ""},
        {{"backups", "off"}, "Backups are off", false, ""},
        {{"backups", "off"}, "Backups are off", false, ""},
        {{"watch", project("Promo")},
         "@/home/P/Promo.fcp is watched already\n"
         "Backups are off; 'cutstackctl backups on' turns them on",
         false,
         ""},
        {{"backups", "on"}, "Backups are on", true, ""},
        {{"backups", "on"}, "Backups are on", true, ""},
        {{"autosave"}, "Autosave is off", true, ""},
        {{"autosave", "on"}, "Autosave is on, every 15 minutes", true, "<integer>900<"},
        {{"autosave", "on", "1"}, "Autosave is on, every minute", true, "<integer>60<"},
        {{"autosave", "on"}, "Autosave is on, every minute", true, "<integer>60<"},
        {{"autosave", "off"}, "Autosave is off", true, ""},
        {{"autosave"}, "Autosave is off", true, ""},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(testing::PrintToString(step.arguments));
        EXPECT_EQ(said(step.arguments), "0 " + step.said + "\n");
        EXPECT_EQ(!job(backup).empty(), step.hasBackupJob);
        EXPECT_EQ(job(saving).empty(), step.savingJob.empty());
        EXPECT_TRUE(holds(job(saving), step.savingJob));
    }
    writeContent(folder_ / "local/Applications/Final Cut Pro.app/Contents/Info.plist",
                 R"(<plist version="1.0"><dict><key>CFBundleIdentifier</key>
                 <string>com.apple.FinalCutPro</string><key>CFBundleShortVersionString</key>
                 <string>6.0.6</string></dict></plist>)");
    EXPECT_EQ(said({"autosave", "on"}),
              "1 cutstackctl: Final Cut Pro 7 and above is required; autosave stays off\n");
    EXPECT_EQ(said({"autosave"}), "0 Autosave is off\n");
    EXPECT_EQ(job(saving), "");
}

TEST_F(CutstackctlCommands, PlansRemovalsWithoutMakingAny) {
    EXPECT_EQ(said({"prune", "--dry-run"}), "1 Nothing would be removed\n");
    const auto now = fs::file_time_type::clock::now();
    for (int number = 1; number <= 26; ++number) {
        const std::string name = std::string(number < 10 ? "0000" : "000") + std::to_string(number);
        const std::string file = inStore("Promo.fcp/Promo." + name + ".fcp");
        writeContent(file, "a project copy");
        fs::last_write_time(file, now - std::chrono::hours(number <= 2 ? 24 * 100 : 1));
    }
    EXPECT_EQ(said({"prune", "--dry-run"}),
              "0 @/home/Library/Application Support/Zantrel/Cutstack/Versions/Promo.fcp\n"
              "    Promo.00001.fcp  14 B  older than 90 days\n"
              "    Promo.00002.fcp  14 B  older than 90 days\n"
              "2 files, 28 B, would be removed at the end of the next backup; "
              "nothing was removed now\n");
    EXPECT_TRUE(holds(said({"prune", "--dry-run", "--json"}),
                      "Promo.00002.fcp\",\"rule\":\"older than 90 days\",\"bytes\":14}\n"));
    EXPECT_TRUE(fs::exists(inStore("Promo.fcp/Promo.00001.fcp")));
    EXPECT_TRUE(said({"prune"}).starts_with("2 cutstackctl: prune: only --dry-run is possible"));
}

TEST_F(CutstackctlCommands, TellsHowEverythingStands) {
    run({"watch", project("Promo")});
    fs::remove(project("Promo"));
    writeContent(inStore("Promo.fcp/Promo.00001.fcp"), std::string(2048, 'x'));
    const std::string date = "2026-11-20 14:03:12 +0000";
    const std::string logs =
        (getuid() == 0 ? folder_ / "local" : home_) + "/Library/Logs/Zantrel/Cutstack.1.log";
    writeContent(logs, "Log started: " + date + "\nVersion: 1\n" + date + " - One\n" + date +
                           " - Two\nof two lines\n" + date + " - Three\n" + date + " - Four\n");
    EXPECT_EQ(said({"status"}),
              "0 Watched:  1 project, 1 missing\n"
              "Backups:  on\n"
              "Autosave: off\n"
              "Editor:   not running\n"
              "Store:    @/home/Library/Application Support/Zantrel/Cutstack/Versions\n"
              "          1 project, 1 file, 2.00 KB\n"
              "Jobs\n"
              "    com.zantrel.Cutstack: written, loaded, at work as process 4711, last run ended "
              "with -9\n"
              "    com.zantrel.CutstackProjectWatcher: written, loaded, at work as process 4711, "
              "last run ended with -9\n"
              "    com.zantrel.Cutstack.autosave: not written, not loaded\n"
              "Last runs, the newest first\n"
              "    2026-11-20 14:03:12 +0000\n"
              "        Two\\nof two lines\n"
              "        Three\n"
              "        Four\n");
    const std::string json = run({"status", "--json"}).output;
    for (const char* part : {R"("missing":1)", R"("process":"4711")", R"("bytes":2048)",
                             R"("started":"2026-11-20 14:03:12 +0000")"})
        EXPECT_TRUE(holds(json, part)) << json;
    EXPECT_NE(contentOf(logs).find("Four"), std::string::npos) << "the program's log was rotated";
}

TEST_F(CutstackctlCommands, Mistakes) {
    const struct {
        Words arguments;
        std::string error;
    } cases[] = {
        {{"watch"}, "watch: a project file is needed"},
        {{"unwatch"}, "unwatch: a watched project is needed"},
        {{"snapshot"}, "snapshot: a project file is needed"},
        {{"list", "x"}, "list: there is an argument too many"},
        {{"status", "--dry-run"}, "status: there is no option '--dry-run' here"},
        {{"sequence", "a", "b", "--all"}, "sequence: it is either a name or --all"},
        {{"backups", "maybe"}, "'maybe' is neither on nor off"},
        {{"autosave", "on", "0"}, "'0' is no number of minutes"},
        {{"autosave", "on", "5x"}, "'5x' is no number of minutes"},
        {{"autosave", "off", "5"}, "off takes no minutes"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(said(row.arguments),
                  "2 cutstackctl: " + row.error + "\nTry 'cutstackctl --help'.\n");
    EXPECT_FALSE(fs::exists(settings()));
}

// --- With an editor

EventAnswer answerWith(FourCharCode keyword, EventDescriptor value) {
    return {EventStatus::noError, {{keyword, std::move(value)}}, {}};
}

EventAnswer xmlAnswer(std::string xml) {
    return answerWith(EditorKey::xml, EventDescriptor::ofBytes(EventType::utf8, std::move(xml)));
}

std::string sequenceXml(const std::string& name, const std::string& uuid) {
    return "<sequence><uuid>" + uuid + "</uuid><name>" + name + "</name></sequence>";
}

class CutstackctlWithEditor : public CutstackctlCommands {
protected:
    Scripted answer(const Event& event) {
        if (event.eventID == EditorEvent::listOpenProjects)
            return {.answer = openProjects(), .error = {}, .write = {}};
        if (event.eventID == EditorEvent::exportTableOfContents)
            return {.answer = xmlAnswer("<xmeml>" + contentsXml_ + "</xmeml>"),
                    .error = {},
                    .write = {}};
        const EventDescriptor* item = valueOf(event.parameters, EditorKey::item, EventType::utf8);
        const std::string what = item == nullptr ? "project" : std::string(item->bytes.view());
        return {.answer = xmlAnswer("<xmeml><name>" + what + "</name></xmeml>"),
                .error = {},
                .write = {}};
    }
    EventAnswer openProjects() {
        std::string error;
        reference_ = FileReference::toPath(project("Promo"), error);
        return answerWith(
            EditorKey::openProjects,
            EventDescriptor::ofList({EventDescriptor::ofRecord(
                {{EditorKey::openProjectFile,
                  EventDescriptor::ofBytes(EventType::fsrf, std::string(reference_->bytes()))}})}));
    }

    const PrivateBus bus_;
    std::optional<FileReference> reference_;
    const std::string contentsXml_ = sequenceXml("Main", "U-1") + sequenceXml("Trailer", "U-2") +
                                     sequenceXml("Trailer", "U-3") + sequenceXml("Main", "U-1");
    const ScriptedEditor editor_{[this](const Event& event) { return answer(event); }};
};

TEST_F(CutstackctlWithEditor, ChoosesSequences) {
    EXPECT_EQ(said({"sequence", project("Promo")}),
              "1 cutstackctl: @/home/P/Promo.fcp: this project is not watched\n");
    run({"watch", project("Promo")});
    const struct {
        Words arguments;
        std::string said;
    } steps[] = {
        {{"sequence", "Promo"},
         "0 * Entire Project\n  Main [U-1]\n  Trailer [U-2]\n  Trailer [U-3]\n"},
        {{"sequence", "Promo", "Trailer"},
         "1 cutstackctl: several sequences are called 'Trailer'; give the identifier of one:\n"
         "cutstackctl: U-2\ncutstackctl: U-3\n"},
        {{"sequence", "Promo", "Credits"},
         "1 cutstackctl: the project has no sequence 'Credits'\n"},
        {{"sequence", "Promo", "Main"}, "0 @/home/P/Promo.fcp: Sequence Main\n"},
        {{"list"}, "0 @/home/P/Promo.fcp\n    Sequence Main, 0 versions\n"},
        {{"sequence", "Promo", "U-3"}, "0 @/home/P/Promo.fcp: Sequence Trailer\n"},
        {{"sequence", "Promo"},
         "0   Entire Project\n  Main [U-1]\n  Trailer [U-2]\n* Trailer [U-3]\n"},
        {{"sequence", "Promo", "--json"},
         "0 {\"name\":\"Main\",\"uuid\":\"U-1\",\"chosen\":false}\n"
         "{\"name\":\"Trailer\",\"uuid\":\"U-2\",\"chosen\":false}\n"
         "{\"name\":\"Trailer\",\"uuid\":\"U-3\",\"chosen\":true}\n"},
        {{"sequence", "Promo", "--all"}, "0 @/home/P/Promo.fcp: Entire Project\n"},
        {{"list"}, "0 @/home/P/Promo.fcp\n    Entire Project, 0 versions\n"},
    };
    for (const auto& step : steps)
        EXPECT_EQ(said(step.arguments), step.said);
    EXPECT_TRUE(holds(said({"status"}), "Editor:   running\n"));
}

TEST_F(CutstackctlWithEditor, TakesSnapshots) {
    // Nobody has ever set anything, and the project is not watched.
    EXPECT_EQ(said({"snapshot", project("Promo")}),
              "0 Version 00001 of Promo.fcp, project copy and XML copy\n");
    EXPECT_EQ(contentOf(inStore("Promo.fcp/Promo.00001.fcp")), "project");
    EXPECT_TRUE(holds(contentOf(inStore("Promo.fcp/Promo.00001.xml")), "<name>project</name>"));

    run({"watch", project("Promo")});
    EXPECT_EQ(run({"sequence", "Promo", "Main"}).status, 0);
    writeContent(project("Promo"), "changed");
    EXPECT_EQ(said({"snapshot", "Promo"}),
              "0 Version 00002 of Promo.fcp, project copy and XML copy\n");
    EXPECT_TRUE(holds(contentOf(inStore("Promo.fcp/Promo.00002.xml")), "<name>U-1</name>"));
}

TEST_F(CutstackctlCommands, SnapshotsWithoutAnEditorTellWhy) {
    const std::string first = said({"snapshot", project("Promo")});
    EXPECT_TRUE(
        first.starts_with("0 Version 00001 of Promo.fcp, project copy without an XML copy\n"))
        << first;
    EXPECT_TRUE(holds(first, "cutstackctl:     Invalid XML data\n"));
    const std::string again = said({"snapshot", project("Promo")});
    EXPECT_TRUE(again.starts_with("1 ")) << again;
    EXPECT_TRUE(holds(again, "cutstackctl: no version of Promo.fcp was made; "
                             "the last lines of the log are:\n"));
    EXPECT_TRUE(holds(again, "cutstackctl: Attempting to remove duplicate file "));
    EXPECT_EQ(said({"snapshot", project("None")}),
              "2 cutstackctl: @/home/P/None.fcp: No such file or directory\n");
    run({"watch", project("Promo")});
    EXPECT_TRUE(holds(said({"sequence", "Promo", "Main"}),
                      "Promo.fcp: the editor did not tell its sequences\n"));
}

} // namespace
} // namespace cutstack
