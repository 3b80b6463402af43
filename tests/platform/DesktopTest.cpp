// The session: starting applications, and events for those that are only just starting.

#include "platform/Desktop.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/EventTransport.h"
#include "tests/PrivateBus.h"
#include "tests/platform/EventDescription.h"
#include "tests/platform/ScriptedEditor.h"

namespace cutstack {
namespace {

using Activatable = std::map<std::string, std::string>;

constexpr auto kEditor = "com.apple.FinalCutPro";

/// What the editor answers, waiting for it to come.
std::string answerTo(FourCharCode eventID) {
    std::vector<EventField> reply;
    const EventStatus status = eventTransport().send(eventForEditor(eventID), SendMode::waitReply,
                                                     std::chrono::milliseconds(-1), reply);
    return status == EventStatus::noError ? describe(reply)
                                          : std::to_string(static_cast<int>(status));
}

/// A program that does what its lines say.
std::string script(const TemporaryFolder& folder, const std::string& lines) {
    std::string path = folder / "program";
    writeContent(path, "#!/bin/sh\n" + lines);
    chmod(path.c_str(), 0755);
    return path;
}

/// Waits until something has put a line into the file at that path, which is a fifo.
std::string lineOf(const std::string& fifo) { return contentOf(fifo); }

TEST(DesktopTest, AnEditorThatRunsIsAskedToOpen) {
    const PrivateBus bus;
    std::string error;
    EXPECT_FALSE(desktop().isRunning(kEditor));
    EXPECT_FALSE(desktop().isRunning("not a name"));
    ScriptedEditor editor(Scripted::Manner::keepsSilent);
    EXPECT_TRUE(desktop().isRunning(kEditor));
    EXPECT_TRUE(
        desktop().open("/a b.fcp", kEditor, "/nonexistent", LaunchOptions::launchDefault, error));
    EXPECT_TRUE(desktop().open("/c.fcp", kEditor, "", LaunchOptions::withoutActivation, error));
    editor.awaitOpened(2);
    EXPECT_EQ(editor.opened(), (std::vector<std::string>{"/a b.fcp", "/c.fcp (background)"}));
    EXPECT_FALSE(desktop().open("c.fcp", kEditor, "", LaunchOptions::launchDefault, error));
}

TEST(DesktopTest, AnEditorIsStartedByTheBusAndWaitedFor) {
    const PrivateBus bus(Activatable{{kEditor, CUTSTACK_EDITOR}});
    std::string error;
    EXPECT_EQ(answerTo(fourCharCode("none")), "-600") << "an event starts nothing";
    EXPECT_FALSE(desktop().isRunning(kEditor));
    ASSERT_TRUE(desktop().open("/a b.fcp", kEditor, "/nonexistent",
                               LaunchOptions::withoutActivation, error))
        << error;
    EXPECT_EQ(answerTo(fourCharCode("quit")), "open=list[utf8(background /a b.fcp) ] ");
}

TEST(DesktopTest, AnEditorIsStartedFromItsExecutableAndWaitedFor) {
    const PrivateBus bus;
    std::string error;
    ASSERT_TRUE(
        desktop().open("/a b.fcp", kEditor, CUTSTACK_EDITOR, LaunchOptions::launchDefault, error))
        << error;
    EXPECT_EQ(answerTo(fourCharCode("quit")), "open=list[utf8(argument /a b.fcp) ] ");
}

TEST(DesktopTest, AnApplicationIsStartedAndShownWithoutAFile) {
    std::string error;
    const auto show = [&](const std::string& identifier, const std::string& executable,
                          LaunchOptions options = LaunchOptions::launchDefault) {
        return desktop().open("", identifier, executable, options, error);
    };
    const auto quit = fourCharCode("quit");
    {
        const PrivateBus bus;
        ASSERT_TRUE(show(kEditor, CUTSTACK_EDITOR)) << error;
        ASSERT_TRUE(show(kEditor, "/nonexistent")) << "it is starting already: " << error;
        EXPECT_EQ(answerTo(fourCharCode("none")), "open=list() ");
        ASSERT_TRUE(show(kEditor, "", LaunchOptions::withoutActivation)) << error;
        std::string opened;
        for (int i = 0; i < 10'000 && opened.find("shown") == std::string::npos; ++i)
            opened = answerTo(fourCharCode("none"));
        EXPECT_EQ(answerTo(quit), "open=list[utf8(shown in the background) ] ");
    }
    {
        const PrivateBus bus(Activatable{{kEditor, CUTSTACK_EDITOR}});
        ASSERT_TRUE(show(kEditor, "/nonexistent")) << error;
        EXPECT_EQ(answerTo(quit), "open=list[utf8(shown) ] ");
    }
    const NoBus noBus;
    const TemporaryFolder folder;
    const std::string fifo = folder / "said";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    ASSERT_TRUE(show("", script(folder, "echo \"$#\" >'" + fifo + "'\n"))) << error;
    EXPECT_EQ(lineOf(fifo), "0\n");
    EXPECT_FALSE(show("", ""));
    EXPECT_FALSE(show("", "/nonexistent"));
}

TEST(DesktopTest, AnEditorThatIsStartingIsNotStartedAgain) {
    const PrivateBus bus;
    std::string error;
    for (const char* path : {"/a.fcp", "/b.fcp"})
        ASSERT_TRUE(
            desktop().open(path, kEditor, CUTSTACK_EDITOR, LaunchOptions::launchDefault, error));
    // Opening is not waited for; the editor is asked until it has come to that.
    std::string opened;
    for (int i = 0; i < 10'000 && opened.find("/b.fcp") == std::string::npos; ++i)
        opened = answerTo(fourCharCode("none"));
    EXPECT_EQ(answerTo(fourCharCode("quit")),
              "open=list[utf8(argument /a.fcp) utf8(front /b.fcp) ] ");
}

TEST(DesktopTest, AnEditorThatCannotComeIsNotWaitedFor) {
    const PrivateBus bus;
    std::string error;
    for (const char* executable : {"/bin/true", "/bin/false"}) {
        EXPECT_TRUE(
            desktop().open("/a.fcp", kEditor, executable, LaunchOptions::launchDefault, error));
        EXPECT_EQ(answerTo(fourCharCode("none")), "-600");
    }
    for (const char* executable : {"/nonexistent", ""}) {
        error.clear();
        EXPECT_FALSE(
            desktop().open("/a.fcp", kEditor, executable, LaunchOptions::launchDefault, error));
        EXPECT_FALSE(error.empty());
        EXPECT_EQ(answerTo(fourCharCode("none")), "-600");
    }
}

TEST(DesktopTest, AnActivationThatFailsIsNotWaitedFor) {
    const PrivateBus bus(Activatable{{kEditor, "/bin/false"}});
    std::string error;
    EXPECT_TRUE(desktop().open("/a.fcp", kEditor, "", LaunchOptions::launchDefault, error));
    EXPECT_EQ(answerTo(fourCharCode("none")), "-600");
}

TEST(DesktopTest, AStartedProgramStandsOnItsOwn) {
    const PrivateBus bus;
    const TemporaryFolder folder;
    const std::string fifo = folder / "said";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string program =
        script(folder, "{ ls -l /proc/$$/fd | sed -n 's/.*-> //p' | sort -u; "
                       "cut -d' ' -f1,6 /proc/$$/stat; pwd; echo \"$#\" \"$1\"; } >'" +
                           fifo + "'\n");
    std::string error;
    ASSERT_TRUE(desktop().open("/a 'b.fcp", kEditor, program, LaunchOptions::launchDefault, error))
        << error;
    const std::string said = lineOf(fifo);
    EXPECT_NE(said.find("/dev/null\n"), std::string::npos) << said;
    EXPECT_NE(said.find("\n/\n1 /a 'b.fcp\n"), std::string::npos) << said;
    const auto session = said.find_first_of("0123456789", said.find(program) + program.size());
    const std::string numbers = said.substr(session, said.find('\n', session) - session);
    EXPECT_EQ(numbers.substr(0, numbers.find(' ')), numbers.substr(numbers.find(' ') + 1)) << said;
    EXPECT_EQ(answerTo(fourCharCode("none")), "-600");
}

TEST(DesktopTest, FilesAreOpenedWithWhatTheDesktopPrefers) {
    const TemporaryFolder folder;
    const std::string fifo = folder / "said";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::filesystem::rename(script(folder, "echo \"$1\" >'" + fifo + "'\n"), folder / "xdg-open");
    const char* const searched = std::getenv("PATH");
    const std::string path = searched == nullptr ? "/usr/bin:/bin" : searched;
    setenv("PATH", (folder.path().string() + ":" + path).c_str(), 1);
    std::string error;
    EXPECT_TRUE(desktop().openWithPreferred(folder.path().string(), error)) << error;
    EXPECT_EQ(lineOf(fifo), folder.path().string() + "\n");
    EXPECT_FALSE(desktop().openWithPreferred(folder / "missing", error));
    EXPECT_EQ(error, "No such file or directory");
    setenv("PATH", "/nonexistent", 1);
    EXPECT_FALSE(desktop().openWithPreferred(folder.path().string(), error));
    setenv("PATH", path.c_str(), 1);
}

TEST(DesktopTest, FilesAreShownByTheFileManager) {
    const PrivateBus bus;
    const TemporaryFolder folder;
    std::string error;
    EXPECT_FALSE(desktop().reveal(folder.path().string(), error));
    EXPECT_FALSE(error.empty());
    ScriptedEditor fileManager([](const Event&) { return Scripted(); },
                               "org.freedesktop.FileManager1");
    EXPECT_TRUE(desktop().reveal(folder.path().string(), error));
    fileManager.awaitOpened(1);
    EXPECT_EQ(fileManager.opened(), std::vector<std::string>{folder.path().string()});
    EXPECT_FALSE(desktop().reveal(folder / "missing", error));
    EXPECT_EQ(desktop().becomeForegroundApplication(), 0);
}

TEST(DesktopTest, WithoutASessionThereIsAnError) {
    const NoBus noBus;
    std::string error;
    EXPECT_FALSE(desktop().isRunning(kEditor));
    EXPECT_FALSE(desktop().open("/a", kEditor, "/bin/true", LaunchOptions::launchDefault, error));
    EXPECT_NE(error.find("no session bus"), std::string::npos);
    error.clear();
    EXPECT_FALSE(desktop().reveal("/", error));
    EXPECT_NE(error.find("no session bus"), std::string::npos);
}

} // namespace
} // namespace cutstack
