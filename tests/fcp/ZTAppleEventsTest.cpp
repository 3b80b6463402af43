#include "fcp/ZTAppleEvents.h"

#include <gtest/gtest.h>
#include <set>

#include "fcp/EditorVersion.h"
#include "fcp/EventText.h"
#include "support/ZTException.h"
#include "tests/fcp/AllocationFailures.h"
#include "tests/fcp/EditorFakes.h"

namespace cutstack {
namespace {

using Texts = std::vector<std::string>;
using namespace std::string_literals;

const std::string kPath = "/p.fcp";
constexpr std::string_view kNoCommunication =
    "Unable to communicate with Final Cut Pro. Please make sure it is running.";

std::string shown(const ZTAppleEvents::Data& data) {
    return data ? std::string(data->view()) : "nil";
}
std::string shown(bool result) { return result ? "YES" : "NO"; }

/// What the bridge can do with a project, each with what it sends to an editor that has the project
/// open, and what comes of it.
struct Operation {
    const char* method;
    FourCharCode eventID;
    std::string (*run)(const std::string& path, bool launchFCP, const EditorServices& at);
    Texts sent;
    std::string result;
    std::string failure;
    std::string projectMessage = "Error adding project file to AppleEvent query";
    std::string sendMessage = "Error sending AppleEvent";
    Texts sentWithoutFile{};
};

const std::vector<Operation>& operations() {
    using Z = ZTAppleEvents;
    static const std::vector<Operation> all{
        {"getTOCData:launchFCP:",
         EditorEvent::exportTableOfContents,
         [](auto& path, bool launch, auto& at) { return shown(Z::getTOCData(path, launch, at)); },
         {"eTCX fcpP fsrf /p.fcp"},
         "<x/>",
         "nil"},
        {"getProjectXMLData:launchFCP:closeProject:",
         EditorEvent::exportProject,
         [](auto& path, bool launch, auto& at) {
             return shown(Z::getProjectXMLData(path, launch, true, at));
         },
         {"eXML fcpP fsrf /p.fcp"},
         "<x/>",
         "nil"},
        {"getItemXMLData:forProject:launchFCP:closeProject:",
         EditorEvent::exportItem,
         [](auto& path, bool launch, auto& at) {
             return shown(Z::getItemXMLData("ID-é", path, launch, true, at));
         },
         {"gXML fcpP fsrf /p.fcp, fcIU utf8 ID-é"},
         "<x/>",
         "nil"},
        {"openItem:forProject:launchFCP:",
         EditorEvent::openItem,
         [](auto& path, bool launch, auto& at) {
             Z::openItem("ID", path, launch, at);
             return ""s;
         },
         {"fcOI fcpP fsrf /p.fcp, fcIU utf8 ID"},
         "",
         ""},
        {"closeProject:saveChanges:",
         EditorEvent::closeProject,
         [](auto& path, bool, auto& at) {
             Z::closeProject(path, false, at);
             return ""s;
         },
         {"cfcP fcpP fsrf /p.fcp, fcpU furl /p.fcp, fcCF long 00000001"},
         "",
         "",
         "Error adding source project file to AppleEvent query"},
        {"saveProject:",
         EditorEvent::saveProject,
         [](auto& path, bool, auto& at) { return shown(Z::saveProject(path, at)); },
         {"sfcP fcpP fsrf /p.fcp, fcpU furl /p.fcp, fsOF bool 01"},
         "YES",
         "NO",
         "Error adding source project file to AppleEvent query"},
        {"sendXMLToFCP:projectPath:",
         EditorEvent::importXml,
         [](auto& path, bool, auto& at) { return shown(Z::sendXMLToFCP("<é\r/>", path, at)); },
         {"iXML fcpP fsrf /p.fcp, xmlD utf8 <&#233;&#13;/>"},
         "YES",
         "NO",
         "Error creating project FSRef: -1700",
         "Error sending AppleEvent: -1712",
         {"iXML xmlD utf8 <&#233;&#13;/>"}},
    };
    return all;
}

/// An editor that runs, has the project open, and answers every export with a small document.
struct BusyEditor : FakeEditor {
    BusyEditor() {
        transport.answerOpenProjects({kPath});
        for (const Operation& operation : operations())
            transport.answerXml(operation.eventID, "<x/>\0"s);
    }
};

TEST(ZTAppleEventsTest, SendsWhatEachOperationConsistsOf) {
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.method);
        BusyEditor editor;
        EXPECT_EQ(operation.run(kPath, false, editor.services), operation.result);
        for (const Event& event : editor.transport.events) {
            EXPECT_EQ(textOf(event.eventClass), "KeyG");
            EXPECT_EQ(event.target.type, EventType::sign);
            EXPECT_EQ(event.target.bytes.view(), "KeyG");
            EXPECT_EQ(event.returnID, -1);
            EXPECT_EQ(event.transactionID, 0);
        }
        EXPECT_EQ(editor.transport.modes.back(), SendMode::waitReply);
        EXPECT_EQ(editor.transport.timeouts.back(), kDefaultEventTimeout);
        EXPECT_EQ(editor.transport.takeEvents(), operation.sent);
        EXPECT_EQ(editor.console.messages(), Texts());
    }
}

TEST(ZTAppleEventsTest, AVanishedFileLeavesTheParametersOut) {
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.method);
        BusyEditor editor;
        editor.files.clear();
        EXPECT_EQ(operation.run(kPath, true, editor.services), operation.result);
        const Texts expected = operation.sentWithoutFile.empty() ? Texts{textOf(operation.eventID)}
                                                                 : operation.sentWithoutFile;
        const Texts sent = editor.transport.takeEvents();
        EXPECT_EQ(Texts(sent.begin(), sent.begin() + 1), expected);
        EXPECT_EQ(editor.console.messages(), Texts());
    }
}

TEST(ZTAppleEventsTest, EachFailureHasItsMessageAndEndsTheOperation) {
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.method);
        BusyEditor editor;
        editor.transport.answers[operation.eventID].status = EventStatus::timeout;
        EXPECT_EQ(operation.run(kPath, false, editor.services), operation.failure);
        EXPECT_EQ(editor.console.messages(), Texts{operation.sendMessage});
        EXPECT_EQ(editor.transport.takeEvents(), operation.sent);

        BusyEditor other;
        other.referenceBytes = kFileReferenceBytes - 1;
        EXPECT_EQ(operation.run(kPath, false, other.services), operation.failure);
        EXPECT_EQ(other.console.messages(), Texts{operation.projectMessage});
        EXPECT_EQ(other.transport.takeEvents(), Texts());
    }
    BusyEditor editor;
    EXPECT_FALSE(ZTAppleEvents::getItemXMLData("\xFF", kPath, false, editor.services));
    EXPECT_EQ(editor.console.messages(),
              Texts{"Error adding destination project file to AppleEvent query"});
}

TEST(ZTAppleEventsTest, ExceptionsAreLoggedInTheNameOfTheOperation) {
    const auto messageFor = [](const std::string& method) {
        return "Exception in +[ZTAppleEvents " + method + "]. NSPortTimeoutException - late.";
    };
    for (const Operation& operation : operations()) {
        BusyEditor editor;
        editor.transport.whenAsked = [&](FourCharCode eventID) {
            if (eventID == operation.eventID)
                throw Exception(kPortTimeoutException, "late");
        };
        EXPECT_EQ(operation.run(kPath, false, editor.services), operation.failure);
        EXPECT_EQ(editor.console.messages(), Texts{messageFor(operation.method)});
    }
    BusyEditor editor;
    editor.transport.whenAsked = [](FourCharCode) {
        throw Exception(kPortTimeoutException, "late");
    };
    EXPECT_FALSE(ZTAppleEvents::listOfOpenFCPProjects(editor.services));
    EXPECT_EQ(editor.console.messages(), Texts{messageFor("listOfOpenFCPProjects")});
}

TEST(ZTAppleEventsTest, EveryStepMayRunOutOfMemory) {
    const Texts exportMessages{"Error creating app description", "Error creating AppleEvent",
                               "Error sending AppleEvent"};
    const Texts importMessages{"Error creating AEDescription: -108",
                               "Error creating AppleEvent: -108", "Error sending AppleEvent: -108"};
    for (const Operation& operation : {operations()[2], operations()[6]}) {
        BusyEditor editor;
        std::set<std::string> messages;
        bool hasFailed = true;
        for (int nth = 1; hasFailed; ++nth) {
            failAllocation(nth);
            const std::string result = operation.run(kPath, false, editor.services);
            hasFailed = endAllocationFailure();
            EXPECT_TRUE(result == operation.result || result == operation.failure) << nth;
        }
        for (const std::string& message : editor.console.messages())
            messages.insert(message);
        const bool isImport = operation.eventID == EditorEvent::importXml;
        for (const std::string& message : isImport ? importMessages : exportMessages)
            EXPECT_TRUE(messages.contains(message)) << message;
    }
}

TEST(ZTAppleEventsTest, AReplyWithoutXmlIsAFailure) {
    const auto xml = [](EventDescriptor value) {
        return std::vector<EventField>{{EditorKey::xml, std::move(value)}};
    };
    const auto list = EventDescriptor::ofList({EventDescriptor::ofInteger(1)});
    const struct {
        std::vector<EventField> reply;
        std::string message;
        bool closes;
    } cases[] = {
        {{}, "Error getting XML information", false},
        {xml(EventDescriptor::ofInteger(1)), "Error getting XML information", false},
        {xml({EventType::utf8, {}, list.fields}), "Error retrieving XML data", false},
        {xml(EventDescriptor::ofBytes(EventType::utf8, "")), std::string(kNoCommunication), true},
        {xml(EventDescriptor::ofBytes(EventType::utf8, "\0"s)), std::string(kNoCommunication),
         true},
    };
    for (const auto& row : cases) {
        BusyEditor editor;
        editor.transport.answerOpenProjects({});
        editor.transport.answers[EditorEvent::exportProject].parameters = row.reply;
        EXPECT_FALSE(ZTAppleEvents::getProjectXMLData(kPath, true, true, editor.services));
        EXPECT_EQ(editor.console.messages(), Texts{row.message});
        EXPECT_EQ(editor.transport.events.size(), row.closes ? 2U : 1U);
    }
}

TEST(ZTAppleEventsTest, OpensTheProjectWhereThatIsWanted) {
    const Texts nothing;
    const Texts notRunning{"Error: Final Cut Pro is not running."};
    const Texts notOpen{"Error: project is not open."};
    const std::string save = "cfcP fcpP fsrf /p.fcp, fcpU furl /p.fcp, fcCF long 00000000";
    const struct {
        const char* name;
        bool isRunning, isOpen, launches;
        bool isDone;   ///< whether the exchange takes place
        Texts opened;  ///< by the workspace; the table of contents opens the last in the background
        Texts console; ///< of all but the table of contents, which is silent about closed projects
    } cases[] = {
        {"open", true, true, false, true, nothing, nothing},
        {"open, may launch", true, true, true, true, nothing, nothing},
        {"closed", true, false, false, false, nothing, notOpen},
        {"closed, may launch", true, false, true, true, {kPath}, nothing},
        {"not running", false, true, false, false, nothing, nothing},
        {"not running, may launch", false, false, true, true, {kPath, kPath}, notRunning},
    };
    for (const auto& row : cases) {
        for (std::size_t i = 0; i < 4; ++i) {
            const Operation& operation = operations()[i];
            SCOPED_TRACE(std::string(row.name) + ": " + operation.method);
            const bool isToc = operation.eventID == EditorEvent::exportTableOfContents;
            const bool mayClose = i == 1 || i == 2;
            BusyEditor editor;
            editor.workspace.isEditorRunning = row.isRunning;
            editor.workspace.opensUntilItRuns = 2;
            if (!row.isOpen)
                editor.transport.answerOpenProjects({"/P.fcp"});
            const std::string result = operation.run(kPath, row.launches, editor.services);
            EXPECT_EQ(result, row.isDone ? operation.result : operation.failure);
            Texts opened = row.opened;
            if (isToc && !opened.empty())
                opened.back() = "background " + opened.back();
            EXPECT_EQ(editor.workspace.opened, opened);
            Texts sent = row.isDone ? operation.sent : nothing;
            if (mayClose && !row.opened.empty())
                sent.push_back(save);
            EXPECT_EQ(editor.transport.takeEvents(), sent);
            const Texts console = isToc && row.console == notOpen ? nothing : row.console;
            EXPECT_EQ(editor.console.messages(), console);
        }
    }
}

TEST(ZTAppleEventsTest, AnEditorThatIsNotThereIsNotTold) {
    FakeEditor editor;
    editor.workspace.isEditorRunning = false;
    ZTAppleEvents::closeProject(kPath, true, editor.services);
    EXPECT_FALSE(ZTAppleEvents::saveProject(kPath, editor.services));
    EXPECT_FALSE(ZTAppleEvents::listOfOpenFCPProjects(editor.services));
    EXPECT_EQ(editor.console.messages(), Texts(3, "Error: Final Cut Pro is not running."));
    EXPECT_TRUE(editor.transport.modes.empty());
}

TEST(ZTAppleEventsTest, ListsOpenProjectsUpToTheFirstThatCannotBeRead) {
    FakeEditor editor;
    editor.files = {"/a.fcp", "/b.fcp"};
    auto& answer = editor.transport.answers[EditorEvent::listOpenProjects];
    const auto listed = [&] { return ZTAppleEvents::listOfOpenFCPProjects(editor.services); };
    EXPECT_EQ(listed(), Texts()); // no list in the reply
    editor.transport.answerOpenProjects({});
    EXPECT_EQ(listed(), Texts());
    editor.transport.answerOpenProjects({"/b.fcp", "/a.fcp"});
    EXPECT_EQ(listed(), (Texts{"/b.fcp", "/a.fcp"}));
    editor.transport.answerOpenProjects({"/b.fcp", "/gone.fcp", "/a.fcp"});
    EXPECT_EQ(listed(), Texts{"/b.fcp"});
    editor.transport.answerOpenProjects({"/b.fcp", "/a.fcp"});
    answer.parameters[0].value.fields[1].value = EventDescriptor::ofInteger(1);
    EXPECT_EQ(listed(), Texts{"/b.fcp"});
    answer.status = EventStatus::connectionInvalid;
    EXPECT_EQ(listed(), std::nullopt);
    EXPECT_EQ(editor.console.messages(), Texts{"Error sending AppleEvent"});
}

TEST(ZTAppleEventsTest, TextsAreTheDataWhereItIsText) {
    BusyEditor editor;
    const EditorServices& at = editor.services;
    const std::string x = "<x/>";
    EXPECT_EQ(ZTAppleEvents::getTOC(kPath, at), x);
    EXPECT_EQ(ZTAppleEvents::getProjectXML(kPath, at), x);
    EXPECT_EQ(ZTAppleEvents::getItemXML("ID", kPath, at), x);
    editor.transport.answerXml(EditorEvent::exportTableOfContents, "<\xFF/>");
    EXPECT_EQ(ZTAppleEvents::getTOC(kPath, at), std::nullopt);
    EXPECT_TRUE(ZTAppleEvents::getTOCData(kPath, false, at));
    editor.transport.answerOpenProjects({});
    EXPECT_EQ(ZTAppleEvents::getProjectXML(kPath, at), std::nullopt);
    EXPECT_EQ(editor.workspace.opened, Texts());
}

TEST(ZTAppleEventsTest, FindsSequencesInTheExportThatTheVersionHas) {
    const std::string document =
        "<?xml version=\"1.0\"?><!DOCTYPE xmeml><xmeml><project><name>P</name><children>"
        "<sequence id=\"a\"><uuid>U1</uuid><name>One<![CDATA[ & more]]></name><media>"
        "<sequence><name>Inner</name><uuid>U2</uuid></sequence><name>no child of one</name></media>"
        "<name>second</name></sequence><sequence id=\"b\"/><clip><name>C</name></clip>"
        "<bin><sequence><name/></sequence></bin></children></project></xmeml>";
    for (const char* version : {"6.0.6", "7.0.3"}) {
        BusyEditor editor;
        editor.workspace.editorBundle = editor.folder / "Editor.app";
        writeContent(editor.folder / "Editor.app/Contents/Info.plist",
                     "<plist><dict><key>CFBundleShortVersionString</key><string>"s + version +
                         "</string></dict></plist>");
        const auto eventID =
            version[0] == '6' ? EditorEvent::exportProject : EditorEvent::exportTableOfContents;
        editor.transport.answerXml(eventID, document);
        const auto read = [&] { return ZTAppleEvents::sequencesInProject(kPath, editor.services); };
        EXPECT_EQ(read(),
                  (std::vector<EditorSequence>{{"One & more", "U1"}, {"Inner", "U2"}, {"", ""}}));
        editor.transport.answerXml(eventID, "<xmeml><sequence></xmeml>");
        EXPECT_EQ(read(), std::nullopt);
        ASSERT_EQ(editor.console.messages().size(), 1U);
        EXPECT_TRUE(editor.console.messages()[0].starts_with("Error: line 1")) << version;
        editor.transport.answers[eventID].status = EventStatus::failed;
        EXPECT_EQ(read(), std::nullopt);
    }
}

TEST(EditorVersionTest, DecidesMajorVersionAndXmeml) {
    const struct {
        std::optional<std::string> version;
        int major, xmeml;
    } cases[] = {
        {"4.5", 4, 1},     {"5.0", 5, 3},   {"5.1", 5, 2},        {"5.1.1", 5, 2}, {"5.1.2", 5, 3},
        {"5.1.1.9", 5, 2}, {"6.0.6", 6, 4}, {"7", 7, 5},          {"10.1", 1, 5},  {"", 7, 1},
        {"x", 0, 1},       {"é7", 0, 1},    {std::nullopt, 7, 1},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(majorVersionOf(row.version), row.major) << row.version.value_or("nil");
        EXPECT_EQ(maximumXMEMLVersionOf(row.version), row.xmeml) << row.version.value_or("nil");
    }
}

TEST(EditorVersionTest, FindsTheEditorInItsPlacesInTurn) {
    FakeEditor editor;
    const auto version = [&] {
        return ZTAppleEvents::finalCutProVersionString(editor.services).value_or("nil");
    };
    const auto install = [&](const std::string& bundle, const std::string& entries) {
        writeContent(editor.folder / (bundle + "/Contents/Info.plist"),
                     "<plist><dict>" + entries + "</dict></plist>");
    };
    const std::string key = "<key>CFBundleShortVersionString</key>";
    EXPECT_EQ(version(), "7.0");
    EXPECT_EQ(ZTAppleEvents::maximumXMEMLVersion(editor.services), 5);
    install("Applications/Final Cut Pro.app", key + "<string>5.1</string>");
    EXPECT_EQ(version(), "5.1");
    editor.workspace.editorBundle = editor.folder / "gone.app";
    EXPECT_EQ(version(), "5.1");
    editor.workspace.editorBundle = std::nullopt;
    install("Applications/Final Cut Studio/Final Cut Pro.app", key + "<integer>6</integer>");
    EXPECT_EQ(version(), "nil");
    EXPECT_EQ(ZTAppleEvents::finalCutProMajorVersion(editor.services), 7);
    editor.workspace.editorBundle = editor.folder / "Known.app";
    writeContent(editor.folder / "Known.app/Contents/Info.plist", "<plist><array/></plist>");
    EXPECT_EQ(version(), "7.0");
    install("Known.app", key + "<string>10.1</string>");
    EXPECT_EQ(version(), "10.1");
}

TEST(EventTextTest, BringsTextsIntoTheFormsOfEvents) {
    const std::string_view escapes[][2] = {
        {"caf\u00E9\r", "caf&#233;&#13;"},
        {"<a b=\"c\">a & b</a>\n", "<a b=\"c\">a & b</a>\n"},
        {"\u009F\u00A0\uFFFF", "\u009F&#160;&#65535;"},
        {"x\U0001F3ACy", "x&#55356;&#57260;y"},
        {"a\xC3", "a&#65533;"},
        {"", ""},
    };
    for (const auto& [text, escaped] : escapes)
        EXPECT_EQ(escapeCharactersInXMLString(text), escaped);
    const std::string_view percents[][2] = {
        {"/Users/a b/100%.fcp", "/Users/a%20b/100%25.fcp"},
        {"/\u00E9\xFF", "/%C3%A9%FF"},
        {";/?:@&=+$,-_.!~*'()aZ09", ";/?:@&=+$,-_.!~*'()aZ09"},
        {"\"#<>[]\\^`{|}\x7F", "%22%23%3C%3E%5B%5D%5C%5E%60%7B%7C%7D%7F"},
    };
    for (const auto& [text, escaped] : percents)
        EXPECT_EQ(addingPercentEscapes(text), escaped);
    const std::string datas[][2] = {
        {"ab\0"s, "ab"}, {"a\0\0"s, "a\0"s}, {"\0"s, ""}, {"", ""}, {"a\0b"s, "a\0b"s}};
    for (const auto& [data, formatted] : datas)
        EXPECT_EQ(formatData(SharedBytes(data)).view(), formatted);
    EXPECT_FALSE(isUtf8("\xED\xA0\x80") || isUtf8("\xC0\x80") || isUtf8("a\xE2\x82"));
    EXPECT_TRUE(isUtf8("a\u00E9\U0001F3AC"s + '\0'));
}

} // namespace
} // namespace cutstack
