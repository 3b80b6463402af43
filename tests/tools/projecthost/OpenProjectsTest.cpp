// The open projects: reading them whole, serving, importing, saving, and keeping their list.

#include "tools/projecthost/OpenProjects.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "platform/Clock.h"
#include "platform/FinderMetadata.h"
#include "support/AtomicFile.h"
#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"
#include "tools/projecthost/ItemExport.h"
#include "tools/projecthost/ServedMark.h"

namespace cutstack::projecthost {
namespace {

using std::chrono::milliseconds;

constexpr std::string_view kHead = "<?xml version=\"1.0\"?>\n<!DOCTYPE xmeml>\n<xmeml>";

std::string project(std::string_view content = "<clip id='c'><uuid>C</uuid></clip>") {
    return std::string(kHead).append(content).append("</xmeml>");
}

class OpenProjectsTest : public testing::Test {
protected:
    /// A fresh set of projects, as after a start of the host.
    OpenProjects restart() {
        OpenProjects projects(ProjectListFile(folder_ / "support/list.plist"), services_,
                              [this](const auto& paths) { listed_ = paths; });
        projects.restore();
        return projects;
    }

    std::string made(std::string_view name, std::string_view content) {
        writeContent(folder_ / name, content);
        return folder_ / name;
    }

    TemporaryFolder folder_;
    std::vector<std::string> lines_;
    std::vector<std::string> listed_;
    int uuids_ = 0;
    Interruption interruption_;
    IdentityStore identities_{
        folder_ / "identities",
        {[this] { return "NEW-" + std::to_string(++uuids_); }, [](std::string_view) {}}};
    ContentServices services_{
        identities_,
        {systemClock(), interruption_, 1000, milliseconds(20), milliseconds(300)},
        [this] { return "NEW-" + std::to_string(++uuids_); },
        [this](std::string_view line) { lines_.emplace_back(line); }};
};

std::string served(OpenProjects& projects, const std::string& path) {
    OpenProject* open = projects.find(path);
    std::string error;
    const auto document = open == nullptr ? std::nullopt : open->content().document(error);
    return document ? std::string(document->view()) : "error: " + error;
}

TEST_F(OpenProjectsTest, OnlyProjectsAreOpened) {
    OpenProjects projects = restart();
    const struct {
        std::string path;
        const char* error;
    } rows[] = {
        {folder_ / "missing", "No such file or directory"},
        {folder_.path().string(), "Is a directory"},
        {std::string("/dev/null"), "Not a regular file"},
        {made("a\n.fcp", "<plist/>"), "the root is not xmeml"},
        {made("text", "some text"), "This is no whole XMEML document"},
        {made("half", kHead), "This is no whole XMEML document"},
        {made("empty", ""), "This is no whole XMEML document"},
        {made("entities", "<!DOCTYPE x [<!ENTITY e 'e'>]><xmeml>&e;</xmeml>"), "entit"},
        {made("large", project(std::string(2000, ' '))), "File too large"},
    };
    for (const auto& row : rows) {
        std::string error;
        EXPECT_FALSE(projects.open(row.path, error)) << row.path;
        EXPECT_NE(error.find(row.error), std::string::npos) << row.path << ": " << error;
    }
    EXPECT_TRUE(projects.all().empty());
}

TEST_F(OpenProjectsTest, AProjectIsTheSameByAllItsPaths) {
    OpenProjects projects = restart();
    const std::string path = made("folder/a.fcp", project());
    std::filesystem::create_symlink(path, folder_ / "link.fcp");
    std::filesystem::create_directory_symlink(folder_ / "folder", folder_ / "way");
    std::string error;
    for (const char* name : {"link.fcp", "folder/a.fcp", "way/../way/a.fcp"})
        EXPECT_TRUE(projects.open(folder_ / name, error)) << error;
    ASSERT_EQ(projects.all().size(), 1U);
    EXPECT_EQ(projects.all()[0]->path(), std::filesystem::canonical(path));
    EXPECT_EQ(projects.all()[0]->reference()->path(), projects.all()[0]->path());
    EXPECT_EQ(projects.find(folder_ / "link.fcp"), projects.only());
}

TEST_F(OpenProjectsTest, TheReferenceFollowsAFileThatIsReplaced) {
    OpenProjects projects = restart();
    const std::string path = made("a.fcp", project());
    std::string error;
    ASSERT_TRUE(projects.open(path, error)) << error;
    const auto before = projects.only()->reference();
    ASSERT_TRUE(writeFileAtomically(path, project("<bin/>"), error));
    projects.noteChanged({path});
    const auto after = projects.only()->reference();
    EXPECT_NE(before->bytes(), after->bytes());
    EXPECT_EQ(before->path(), path);
    EXPECT_EQ(after->path(), path);
    EXPECT_NE(served(projects, path).find("<bin"), std::string::npos);
    std::filesystem::remove(path);
    EXPECT_FALSE(projects.only()->reference());
    EXPECT_EQ(served(projects, path), "error: No such file or directory");
    writeContent(path, project());
    EXPECT_TRUE(projects.find(path)->reference());
}

TEST_F(OpenProjectsTest, TheListOutlastsTheHost) {
    const std::string a = made("a.fcp", project());
    const std::string b = made("b.fcp", project());
    const std::string odd = made("\xFF.fcp", project());
    std::string error;
    {
        OpenProjects projects = restart();
        for (const auto* path : {&b, &odd, &a})
            ASSERT_TRUE(projects.open(*path, error)) << error;
        EXPECT_EQ(listed_, (std::vector<std::string>{b, odd, a}));
    }
    std::filesystem::remove(b);
    {
        OpenProjects projects = restart();
        EXPECT_EQ(listed_, (std::vector<std::string>{odd, a}));
        EXPECT_EQ(lines_, (std::vector<std::string>{b + " is not open any more: No such file or "
                                                        "directory"}));
        projects.close(*projects.find(odd));
    }
    EXPECT_EQ(restart().only()->path(), a);
    writeContent(folder_ / "support/list.plist", "damaged");
    EXPECT_TRUE(restart().all().empty());
    EXPECT_EQ(lines_.size(), 2U);
}

TEST_F(OpenProjectsTest, HalfAFileIsNotServed) {
    OpenProjects projects = restart();
    const std::string path = made("a.fcp", project());
    std::string error;
    ASSERT_TRUE(projects.open(path, error)) << error;
    // Long enough that no pause of the writer counts as its end.
    services_.reading.finishedAfter = services_.reading.longest = std::chrono::minutes(10);
    const std::string whole = project("<clip><name>whole</name></clip>");
    writeContent(path, whole.substr(0, 60));
    std::atomic<bool> hasLooked = false;
    std::thread writer([&] {
        // The file is read, and refused, before it is written to the end.
        hasLooked.wait(false);
        std::FILE* file = std::fopen(path.c_str(), "a");
        std::fputs(whole.c_str() + 60, file);
        std::fclose(file);
    });
    const auto accept = [&](std::string& bytes, std::string& why) {
        const Acceptance acceptance = acceptProject(bytes, why);
        EXPECT_EQ(acceptance == Acceptance::accepted, bytes == whole) << bytes;
        if (acceptance == Acceptance::unfinished) {
            hasLooked = true;
            hasLooked.notify_all();
        }
        return acceptance;
    };
    EXPECT_TRUE(readWholeFile(path, services_.reading, accept, error)) << error;
    writer.join();
    EXPECT_NE(served(projects, path).find("whole"), std::string::npos);
}

TEST_F(OpenProjectsTest, AFileThatCannotBeWatchedIsWaitedForAllTheSame) {
    constexpr int kImpossible = 77;
    services_.reading.stillFor = milliseconds(200);
    const std::string path = made("a.fcp", project());
    const pid_t child = fork();
    if (child == 0) {
        bool isLimited = unshare(CLONE_NEWUSER) == 0;
        if (isLimited)
            isLimited =
                !!(std::ofstream("/proc/sys/user/max_inotify_instances") << 0 << std::flush);
        writeContent(path, project());
        std::string error;
        const bool isRead =
            isLimited && readWholeFile(path, services_.reading, acceptProject, error);
        _exit(!isLimited ? kImpossible : isRead ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WEXITSTATUS(status) == kImpossible)
        GTEST_SKIP() << "no user namespace can be made here";
    EXPECT_EQ(status, 0);
}

TEST_F(OpenProjectsTest, WaitingForAFileCanBeEnded) {
    services_.reading.finishedAfter = services_.reading.longest = std::chrono::minutes(10);
    const std::string path = made("a.fcp", kHead);
    std::thread ending;
    const auto accept = [&](std::string& bytes, std::string& why) {
        if (!ending.joinable())
            ending = std::thread([this] { interruption_.interrupt(); });
        return acceptProject(bytes, why);
    };
    std::string error;
    EXPECT_FALSE(readWholeFile(path, services_.reading, accept, error));
    EXPECT_NE(error, "");
    ending.join();
}

TEST_F(OpenProjectsTest, ImportsAreServedAndKeptWhenSaved) {
    OpenProjects projects = restart();
    const std::string path = made("a.fcp", project());
    ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
    std::string error;
    ASSERT_TRUE(projects.open(path, error)) << error;
    ProjectContent& content = projects.only()->content();
    const std::string before = served(projects, path);
    ASSERT_TRUE(content.save(error)) << error;
    EXPECT_EQ(contentOf(path), project()) << "nothing was imported";

    ASSERT_TRUE(
        content.importXml("<xmeml><clip id='c'><uuid>c</uuid><name>I</name></clip></xmeml>", error))
        << error;
    const std::string imported = served(projects, path);
    EXPECT_TRUE(imported.starts_with(before.substr(0, before.find("</clip>"))));
    EXPECT_NE(imported.find("<uuid>NEW-"), std::string::npos) << imported;
    EXPECT_EQ(contentOf(path), project()) << "nothing was saved";

    ASSERT_TRUE(content.save(error)) << error;
    EXPECT_FALSE(content.hasUnsavedImports());
    EXPECT_EQ(served(projects, path), imported);
    EXPECT_EQ(restart().only()->path(), path);
    EXPECT_TRUE(contentOf(path).starts_with(std::string(kHead) + "<clip id='c'>"));
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0640));
}

TEST_F(OpenProjectsTest, WhatCannotBeSavedStays) {
    OpenProjects projects = restart();
    const std::string path = made("a.fcp", project());
    std::string error;
    ASSERT_TRUE(projects.open(path, error)) << error;
    ProjectContent& content = projects.only()->content();
    EXPECT_FALSE(content.importXml("<xmeml><clip>", error));
    EXPECT_FALSE(content.hasUnsavedImports());
    ASSERT_TRUE(content.importXml("<xmeml><bin><name>I</name></bin></xmeml>", error)) << error;

    writeContent(path, kHead);
    EXPECT_FALSE(content.save(error));
    EXPECT_EQ(contentOf(path), kHead);
    std::filesystem::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_FALSE(content.save(error));
    EXPECT_EQ(error, "Not a regular file");
    std::filesystem::remove(path);
    writeContent(path, project());
    const bool isTyped = finderMetadata().setHfsCodes(path, "FCPF", "KeyG");
    EXPECT_NE(served(projects, path).find("<name>I</name>"), std::string::npos);
    EXPECT_TRUE(content.save(error)) << error;
    EXPECT_NE(contentOf(path).find("<bin><name>I</name></bin>"), std::string::npos);
    EXPECT_EQ(finderMetadata().hfsTypeCode(path), isTyped ? "FCPF" : "");
}

TEST_F(OpenProjectsTest, Utf16IsServedAndSavedAsUtf8) {
    OpenProjects projects = restart();
    const std::string text = "<?xml version='1.0' encoding='UTF-16'?><xmeml><bin/></xmeml>";
    std::string utf16 = "\xFF\xFE";
    for (const char c : text)
        utf16.append(1, c).append(1, '\0');
    const std::string path = made("a.fcp", utf16);
    std::string error;
    ASSERT_TRUE(projects.open(path, error)) << error;
    EXPECT_TRUE(served(projects, path).starts_with("<?xml version='1.0' encoding='UTF-8'?>"));
    ASSERT_TRUE(projects.only()->content().importXml("<xmeml><bin>I</bin></xmeml>", error));
    ASSERT_TRUE(projects.only()->content().save(error)) << error;
    EXPECT_EQ(contentOf(path), "<?xml version='1.0' encoding='UTF-8'?><xmeml><bin/>\n<bin>I</bin>\n"
                               "</xmeml>");
}

TEST_F(OpenProjectsTest, WhatIsServedIsNeverTheFileItself) {
    OpenProjects projects = restart();
    const std::string path = made("a.fcp", project());
    std::string error;
    ASSERT_TRUE(projects.open(path, error)) << error;
    std::string content = served(projects, path);
    EXPECT_FALSE(hasServedMark(content)) << "it has other ids";
    for (const bool isMarked : {true, false, true}) {
        SCOPED_TRACE(content);
        ASSERT_TRUE(writeFileAtomically(path, content, error));
        const std::string now = served(projects, path);
        EXPECT_EQ(hasServedMark(now), isMarked);
        EXPECT_EQ(hasServedMark(exportedItem(DocumentOutline(now), "C").value()), isMarked);
        EXPECT_EQ(served(projects, path), now);
        content = now;
        // As it is laid out where it is kept.
        if (const auto mark = content.find(kServedMark); mark != std::string::npos)
            content.insert(mark, "\n    ");
    }
}

TEST_F(OpenProjectsTest, WithoutItsIdentitiesAProjectIsServedAsItIs) {
    std::filesystem::create_directories(folder_ / "identities");
    OpenProjects projects = restart();
    const std::string path = made("a.fcp", project());
    std::string error;
    ASSERT_TRUE(projects.open(path, error)) << error;
    EXPECT_EQ(served(projects, path), withOtherServedMark(project()));
    ASSERT_EQ(lines_.size(), 1U);
    EXPECT_NE(lines_[0].find("is served without lasting identities"), std::string::npos);
}

} // namespace
} // namespace cutstack::projecthost
