// The project host as a process of its own on a bus of the test's own, asked as the program asks
// the editor.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "fcp/EventCodes.h"
#include "fcp/ZTAppleEvents.h"
#include "platform/FileReference.h"
#include "support/AtomicFile.h"
#include "tests/PrivateBus.h"
#include "tests/Subprocess.h"

namespace cutstack {
namespace {

using Paths = std::vector<std::string>;

constexpr std::string_view kProject =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE xmeml>\n<xmeml version=\"5\">\n"
    "<project><name>Promo</name><children><bin><name>Cuts</name><children>"
    "<sequence id=\"s\"><uuid>SEQ-1</uuid><name>Opening \xC3\xA9</name><media><video><track>"
    "<clipitem id=\"i\"><file id=\"f\"><pathurl>file://localhost/a.mov</pathurl></file></clipitem>"
    "</track></video></media></sequence>"
    "<sequence id=\"t\"><uuid>SEQ-2</uuid><name>Ending</name><media><video><track>"
    "<clipitem id=\"j\"><file id=\"f\"/></clipitem></track></video></media></sequence>"
    "</children></bin></children></project></xmeml>\n";

/// Folders of a user of the test's own, for this process and all that it starts.
const TemporaryFolder& home() {
    static const auto& folder = *[] {
        auto* made = new TemporaryFolder;
        setenv("HOME", made->path().c_str(), 1);
        return made;
    }();
    return folder;
}

/// The process that is the editor; 0 when there is none.
pid_t hostProcess() {
    const Finished asked = finished({"/usr/bin/busctl", "--user", "call", "org.freedesktop.DBus",
                                     "/", "org.freedesktop.DBus", "GetConnectionUnixProcessID", "s",
                                     std::string(kEditorIdentifier)});
    return asked.status == 0 ? std::stoi(asked.output.substr(2)) : 0;
}

void endHost(int signal) {
    const pid_t process = hostProcess();
    if (process == 0)
        return;
    const auto descriptor = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    kill(process, signal);
    pollfd ended{descriptor, POLLIN, 0};
    poll(&ended, 1, -1);
    close(descriptor);
}

Finished projecthost(Paths arguments) {
    arguments.insert(arguments.begin(), PROJECTHOST);
    return finished(arguments);
}

Paths openPaths() { return ZTAppleEvents::listOfOpenFCPProjects().value_or(Paths{"none runs"}); }

EventStatus statusOf(FourCharCode eventClass, FourCharCode eventID,
                     std::vector<EventField> parameters = {}) {
    Event event;
    event.eventClass = eventClass;
    event.eventID = eventID;
    event.target = EventDescriptor::ofBytes(EventType::sign, textOf(kEditorSignature));
    event.parameters = std::move(parameters);
    std::vector<EventField> reply;
    return eventTransport().send(event, SendMode::waitReply, kDefaultEventTimeout, reply);
}

bool holds(const std::optional<std::string>& text, std::string_view part) {
    return text && text->find(part) != std::string::npos;
}

class ProjectHostTest : public testing::Test {
protected:
    ProjectHostTest() {
        EXPECT_TRUE(Workspace::sharedWorkspace().registerApplication(PROJECTHOST_BUNDLE));
        writeContent(a_, kProject);
        writeContent(b_, kProject);
    }
    ~ProjectHostTest() override {
        endHost(SIGTERM);
        std::filesystem::remove_all(home().path() / "Library");
    }
    void openBoth() {
        const Finished opened = projecthost({"--open", a_, b_});
        ASSERT_EQ(opened.status, 0) << opened.errors;
        ASSERT_EQ(openPaths(), (Paths{a_, b_}));
    }

private:
    const TemporaryFolder& home_ = home();
    PrivateBus bus_;
    TemporaryFolder folder_;

protected:
    const std::string a_ = folder_ / "a.fcp";
    const std::string b_ = folder_ / "b \xC3\xA9.fcp";
};

TEST_F(ProjectHostTest, IsTheEditorThatIsInstalled) {
    EXPECT_EQ(ZTAppleEvents::finalCutProVersionString(), "7.0.3");
    EXPECT_EQ(ZTAppleEvents::finalCutProMajorVersion(), 7);
    EXPECT_EQ(ZTAppleEvents::maximumXMEMLVersion(), 5);
}

TEST_F(ProjectHostTest, ExportsStartItAndCloseWhatTheyOpened) {
    EXPECT_EQ(ZTAppleEvents::getProjectXML(a_, false), std::nullopt);
    EXPECT_TRUE(holds(ZTAppleEvents::getProjectXML(a_, true, true), "Opening \xC3\xA9"));
    EXPECT_EQ(openPaths(), Paths());
    EXPECT_TRUE(holds(ZTAppleEvents::getTOC(b_, true), "<uuid>SEQ-2</uuid>"));
    EXPECT_EQ(openPaths(), Paths{b_});
    EXPECT_TRUE(holds(ZTAppleEvents::getProjectXML(b_, true, true), "Promo"));
    EXPECT_EQ(openPaths(), Paths{b_});
}

TEST_F(ProjectHostTest, ServesProjectsAndTheirItems) {
    openBoth();
    const auto whole = ZTAppleEvents::getProjectXML(a_, false);
    EXPECT_TRUE(holds(whole, "file://localhost/a.mov"));
    EXPECT_EQ(ZTAppleEvents::getProjectXML(a_, false), whole);
    const auto sequences = ZTAppleEvents::sequencesInProject(a_);
    EXPECT_EQ(sequences,
              (std::vector<EditorSequence>{{"Opening \xC3\xA9", "SEQ-1"}, {"Ending", "SEQ-2"}}));
    const auto item = ZTAppleEvents::getItemXML("seq-2", a_, false);
    EXPECT_TRUE(holds(item, "Ending"));
    EXPECT_TRUE(holds(item, "file://localhost/a.mov"));
    EXPECT_FALSE(holds(item, "Opening"));
    EXPECT_EQ(ZTAppleEvents::getItemXML("SEQ-3", a_, false), std::nullopt);
    ZTAppleEvents::openItem("SEQ-1", a_, false);
}

TEST_F(ProjectHostTest, ServesWhatIsOnTheDiskNow) {
    openBoth();
    std::string error;
    for (const char* name : {"First", "Second"}) {
        std::string next(kProject);
        next.replace(next.find("Promo"), 5, name);
        ASSERT_TRUE(writeFileAtomically(a_, next, error)) << error;
        EXPECT_TRUE(holds(ZTAppleEvents::getProjectXML(a_, false), name));
        EXPECT_EQ(openPaths(), (Paths{a_, b_}));
    }
    std::filesystem::remove(a_);
    EXPECT_EQ(openPaths(), Paths{b_});
    EXPECT_EQ(ZTAppleEvents::getProjectXML(a_, false), std::nullopt);
    writeContent(a_, kProject);
    EXPECT_EQ(openPaths(), (Paths{a_, b_}));
}

TEST_F(ProjectHostTest, ImportsSavesAndCloses) {
    openBoth();
    constexpr auto kItem = "<xmeml><bin><name>\xF0\x9F\x98\x80 & caf\xC3\xA9</name></bin></xmeml>";
    std::string xml = kItem;
    xml.replace(xml.find('&'), 1, "&amp;");
    ASSERT_TRUE(ZTAppleEvents::sendXMLToFCP(xml, a_));
    ASSERT_TRUE(ZTAppleEvents::sendXMLToFCP(xml, b_));
    EXPECT_FALSE(ZTAppleEvents::sendXMLToFCP("<xmeml><bin>", a_));
    EXPECT_FALSE(ZTAppleEvents::sendXMLToFCP(xml, "")) << "two projects are open";
    EXPECT_TRUE(holds(ZTAppleEvents::getTOC(a_), "<name>&#128512; &amp; caf&#233;</name>"));
    EXPECT_EQ(contentOf(a_), kProject);
    EXPECT_TRUE(ZTAppleEvents::saveProject(a_));
    EXPECT_TRUE(holds(contentOf(a_), "&#128512;"));

    ZTAppleEvents::closeProject(b_, false);
    EXPECT_EQ(contentOf(b_), kProject);
    EXPECT_EQ(openPaths(), Paths{a_});
    ASSERT_TRUE(ZTAppleEvents::sendXMLToFCP("<xmeml><bin><name>Two</name></bin></xmeml>", ""));
    ZTAppleEvents::closeProject(a_, true);
    EXPECT_TRUE(holds(contentOf(a_), "<name>Two</name>"));
    EXPECT_EQ(openPaths(), Paths());
}

TEST_F(ProjectHostTest, ErrorsAreAnsweredAsErrors) {
    openBoth();
    const auto project = EditorKey::project;
    const auto text = [](FourCharCode type, std::string bytes) {
        return EventDescriptor::ofBytes(type, std::move(bytes));
    };
    using enum EventStatus;
    const struct {
        FourCharCode eventClass;
        FourCharCode eventID;
        std::vector<EventField> parameters;
        EventStatus status;
    } rows[] = {
        {kEditorSignature, fourCharCode("none"), {}, eventNotHandled},
        {fourCharCode("aevt"), EditorEvent::listOpenProjects, {}, eventNotHandled},
        {kEditorSignature, EditorEvent::exportProject, {}, failed},
        {kEditorSignature,
         EditorEvent::exportProject,
         {{project, text(EventType::fsrf, std::string(kFileReferenceBytes, 'x'))}},
         failed},
        {kEditorSignature,
         EditorEvent::exportProject,
         {{EditorKey::projectUrl, text(EventType::furl, "/no%20project")}},
         failed},
        {kEditorSignature,
         EditorEvent::exportProject,
         {{EditorKey::projectUrl, text(EventType::furl, a_ + "%4")}},
         failed},
        {kEditorSignature,
         EditorEvent::exportItem,
         {{EditorKey::projectUrl, text(EventType::furl, a_)}},
         failed},
        {kEditorSignature,
         EditorEvent::saveProject,
         {{EditorKey::projectUrl, text(EventType::furl, a_)},
          {EditorKey::overwriteFlag, EventDescriptor::ofBoolean(false)}},
         failed},
        {kEditorSignature, EditorEvent::importXml, {}, failed},
        {kEditorSignature,
         EditorEvent::exportProject,
         {{EditorKey::projectUrl, text(EventType::furl, a_)}},
         noError},
    };
    for (const auto& row : rows)
        EXPECT_EQ(statusOf(row.eventClass, row.eventID, row.parameters), row.status)
            << textOf(row.eventID);
}

TEST_F(ProjectHostTest, KeepsItsListWhenItIsKilled) {
    openBoth();
    endHost(SIGKILL);
    EXPECT_EQ(projecthost({"--list"}).status, 1);
    std::filesystem::remove(b_);
    const std::string c = a_ + "c";
    writeContent(c, kProject);
    EXPECT_TRUE(holds(ZTAppleEvents::getProjectXML(c, true), "Promo"));
    EXPECT_EQ(openPaths(), (Paths{a_, c}));
}

TEST_F(ProjectHostTest, ASecondOneHandsItsFilesOver) {
    ASSERT_EQ(projecthost({"--open", b_}).status, 0);
    const pid_t first = hostProcess();
    const Finished second = projecthost({a_});
    EXPECT_EQ(second.status, 0) << second.errors;
    EXPECT_EQ(hostProcess(), first);
    EXPECT_EQ(openPaths(), (Paths{b_, a_}));
}

TEST_F(ProjectHostTest, TheCommandLineSaysWhatCannotBeDone) {
    const struct {
        Paths arguments;
        int status;
        std::string output;
        std::string errors; ///< the last line
    } rows[] = {
        {{"--list"}, 1, "", "no project host is running"},
        {{"--close", a_}, 1, "", "no project host is running"},
        {{"--open", a_ + "x"}, 1, "", a_ + "x: No such file or directory"},
        {{"--open", PROJECTHOST}, 1, "", "This is no whole XMEML document"},
        {{"--open", a_, a_ + "x"}, 1, "", a_ + "x: No such file or directory"},
        {{"--list"}, 0, a_ + "\n", ""},
        {{"--close", b_}, 1, "", b_ + ": is not open"},
        {{"--close", "--discard", a_}, 0, "", ""},
        {{"--list"}, 0, "", ""},
        {{"--open"}, 2, "", "at least one file is needed"},
        {{"--open", "--list", a_}, 2, "", "only one of"},
        {{"--discard"}, 2, "", "'--discard' belongs to '--close'"},
        {{"--list", a_}, 2, "", "'--list' takes no file"},
        {{"--nothing"}, 2, "", "unknown option"},
    };
    for (const auto& row : rows) {
        const Finished done = projecthost(row.arguments);
        EXPECT_EQ(done.status, row.status) << row.arguments[0] << done.errors;
        EXPECT_EQ(done.output, row.output) << row.arguments[0];
        EXPECT_NE(done.errors.find(row.errors), std::string::npos) << done.errors;
        EXPECT_EQ(done.errors.empty(), row.errors.empty()) << done.errors;
    }
}

/// The program that the service file of the build folder names.
std::string activatedProgram() {
    const std::string file = contentOf(PROJECTHOST_SERVICE);
    const std::size_t begin = file.find("Exec=") + 5;
    return file.substr(begin, file.find('\n', begin) - begin);
}

TEST(ProjectHostActivation, TheBusStartsIt) {
    static_cast<void>(home());
    const std::map<std::string, std::string> programs{
        {std::string(kEditorIdentifier), activatedProgram()}};
    const PrivateBus bus(programs);
    const TemporaryFolder folder;
    const std::string path = folder / "a.fcp";
    writeContent(path, kProject);
    EXPECT_TRUE(holds(ZTAppleEvents::getProjectXML(path, true), "Promo"));
    // One that is just ending still has the name, and may take the question with it.
    ASSERT_EQ(::kill(hostProcess(), SIGTERM), 0);
    const Finished opened = projecthost({"--open", path});
    EXPECT_EQ(opened.status, 0) << opened.errors;
    endHost(SIGTERM);
    std::filesystem::remove_all(home().path() / "Library");
}

} // namespace
} // namespace cutstack
