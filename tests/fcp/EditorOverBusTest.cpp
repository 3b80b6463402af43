// The bridge as the program has it, over a real bus, with an editor that behaves as no editor
// should: each failure has its line and its result, and nothing stays behind.

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "fcp/EventCodes.h"
#include "fcp/ZTAppleEvents.h"
#include "platform/FileReference.h"
#include "platform/linux/EventMessage.h"
#include "tests/PrivateBus.h"
#include "tests/platform/ScriptedEditor.h"

namespace cutstack {
namespace {

using Manner = Scripted::Manner;
using Lines = std::vector<std::string>;

/// What the console was told while `work` ran, without the dates of the lines.
template <typename Work>
Lines consoleDuring(const Work& work) {
    testing::internal::CaptureStderr();
    work();
    Lines lines;
    std::istringstream captured(testing::internal::GetCapturedStderr());
    for (std::string line; std::getline(captured, line);)
        lines.push_back(line.substr(std::min(line.find("] ") + 2, line.size())));
    return lines;
}

EventAnswer answerOf(FourCharCode keyword, EventDescriptor value) {
    return {EventStatus::noError, {{keyword, std::move(value)}}, {}};
}

EventDescriptor text(std::string bytes) {
    return EventDescriptor::ofBytes(EventType::utf8, std::move(bytes));
}

/// An editor that has the project open and meets every other event in that way.
class EditorWith {
public:
    EditorWith(const std::string& project, Scripted scripted)
        : reference_(*FileReference::toPath(project, error_)),
          editor_([this, scripted = std::move(scripted)](const Event& event) {
              return event.eventID == EditorEvent::listOpenProjects ? list() : scripted;
          }) {}

    [[nodiscard]] const ScriptedEditor& editor() const { return editor_; }

private:
    Scripted list() const {
        auto file = EventDescriptor::ofBytes(EventType::fsrf, std::string(reference_.bytes()));
        auto open = EventDescriptor::ofList(
            {EventDescriptor::ofRecord({{EditorKey::openProjectFile, std::move(file)}})});
        return {Manner::answers, answerOf(EditorKey::openProjects, std::move(open)), {}, {}};
    }

    std::string error_;
    FileReference reference_;
    ScriptedEditor editor_;
};

class EditorOverBusTest : public testing::Test {
protected:
    EditorOverBusTest() { writeContent(project_, "a project"); }

    TemporaryFolder folder_;
    const std::string project_ = std::filesystem::canonical(folder_.path()) / "Promo.fcp";
    const EditorServices& at_ = EditorServices::ofProcess();
};

Scripted saying(EventAnswer answer) { return {Manner::answers, std::move(answer), {}, {}}; }
Scripted behaving(Manner manner) { return {manner, {}, {}, {}}; }
Scripted writing(std::function<void(sd_bus_message*)> write) {
    return {Manner::writes, {}, {}, std::move(write)};
}

/// A reply whose XML is a value of a D-Bus type.
template <typename... Arguments>
Scripted xmlWrittenAs(Arguments... arguments) {
    return writing([arguments...](sd_bus_message* reply) {
        EXPECT_GE(sd_bus_message_append(reply, "isa(ssv)", 0, "", 1, "xmlD", "utf8", arguments...),
                  0);
    });
}

TEST_F(EditorOverBusTest, EachWayOfFailingHasItsLineAndItsResult) {
    const std::string send = "Error sending AppleEvent";
    const std::string noXml = "Error getting XML information";
    const std::string nothing =
        "Unable to communicate with Final Cut Pro. Please make sure it is running.";
    const int pipeEnd = dup(STDIN_FILENO);
    const struct {
        const char* what;
        Scripted scripted;
        std::string line;
        bool isSaved; ///< a reply that is read by nobody may be anything
    } cases[] = {
        {"dies", behaving(Manner::dies), send, false},
        {"dies halfway", behaving(Manner::diesHalfway), send, false},
        {"no event's reply", behaving(Manner::answersNothing), send, false},
        {"refuses", {Manner::refuses, {}, SD_BUS_ERROR_ACCESS_DENIED, {}}, send, false},
        {"says it is late", {Manner::refuses, {}, SD_BUS_ERROR_TIMEOUT, {}}, send, false},
        {"another form", xmlWrittenAs("t", std::uint64_t{7}), send, false},
        {"no memory file", xmlWrittenAs("h", pipeEnd), send, false},
        {"fails", saying({EventStatus::failed, {}, "out of\nmedia"}), send, false},
        {"other parameters", saying(answerOf(EditorKey::item, text("x"))), noXml, true},
        {"another type", saying(answerOf(EditorKey::xml, EventDescriptor::ofInteger(1))), noXml,
         true},
        {"a list", saying(answerOf(EditorKey::xml, EventDescriptor::ofList({text("<a/>")}))), noXml,
         true},
        {"empty", saying(answerOf(EditorKey::xml, text(""))), nothing, true},
        {"a zero byte", saying(answerOf(EditorKey::xml, text(std::string(1, '\0')))), nothing,
         true},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        const PrivateBus bus;
        {
            const EditorWith editor(project_, row.scripted);
            const Lines lines = consoleDuring(
                [&] { EXPECT_FALSE(ZTAppleEvents::getProjectXMLData(project_, false, at_)); });
            ASSERT_FALSE(lines.empty());
            EXPECT_EQ(lines.back(), row.line);
        }
        const EditorWith editor(project_, row.scripted);
        consoleDuring([&] { EXPECT_EQ(ZTAppleEvents::saveProject(project_, at_), row.isSaved); });
    }
    close(pipeEnd);
}

TEST_F(EditorOverBusTest, WithoutASessionTheEditorDoesNotRun) {
    const NoBus none;
    const Lines lines = consoleDuring([&] {
        EXPECT_FALSE(ZTAppleEvents::listOfOpenFCPProjects(at_));
        EXPECT_FALSE(ZTAppleEvents::saveProject(project_, at_));
        ZTAppleEvents::closeProject(project_, true, at_);
        EXPECT_FALSE(ZTAppleEvents::getProjectXMLData(project_, false, at_));
        EXPECT_FALSE(ZTAppleEvents::getTOCData(project_, false, at_));
    });
    EXPECT_EQ(lines, Lines(3, "Error: Final Cut Pro is not running."));
    EXPECT_EQ(
        consoleDuring([&] { EXPECT_FALSE(ZTAppleEvents::sendXMLToFCP("<a/>", project_, at_)); }),
        Lines{"Error sending AppleEvent: -600"});
}

TEST_F(EditorOverBusTest, ABusThatEndsIsAnEditorThatIsGone) {
    PrivateBus bus;
    const EditorWith editor(project_, behaving(Manner::keepsSilent));
    std::thread ending([&] {
        editor.editor().awaitReceived(2); // the list, and the event that is not answered
        bus.end();
    });
    const Lines lines = consoleDuring(
        [&] { EXPECT_FALSE(ZTAppleEvents::getProjectXMLData(project_, false, at_)); });
    ending.join();
    EXPECT_EQ(lines, Lines{"Error sending AppleEvent"});
}

TEST_F(EditorOverBusTest, TheListOfOpenProjectsEndsAtWhatIsNone) {
    const PrivateBus bus;
    const auto file = [](std::string bytes) {
        return EventDescriptor::ofRecord(
            {{EditorKey::openProjectFile,
              EventDescriptor::ofBytes(EventType::fsrf, std::move(bytes))}});
    };
    std::string error;
    const auto reference = FileReference::toPath(project_, error);
    ASSERT_TRUE(reference) << error;
    const std::string good(reference->bytes());
    const struct {
        EventDescriptor list;
        Lines paths;
    } cases[] = {
        {EventDescriptor::ofInteger(3), {}},
        {EventDescriptor::ofList({file(good), file(good)}), {project_, project_}},
        {EventDescriptor::ofList({file(good), file(good.substr(1)), file(good)}), {project_}},
        {EventDescriptor::ofList({file(std::string(kFileReferenceBytes, '\xFF')), file(good)}), {}},
        {EventDescriptor::ofList({text(project_), file(good)}), {}},
    };
    for (const auto& row : cases) {
        const ScriptedEditor editor(answerOf(EditorKey::openProjects, row.list));
        EXPECT_EQ(ZTAppleEvents::listOfOpenFCPProjects(at_), row.paths);
    }
}

/// What this process has: descriptors, memory files that are mapped, and bytes that are in use on
/// the heap (0 where a sanitizer looks after the heap).
struct Held {
    std::ptrdiff_t descriptors = 0;
    int memoryFiles = 0;
    std::size_t heapBytes = 0;

    static Held now() {
        Held held;
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        held.descriptors = std::distance(begin(entries), end(entries));
        std::ifstream maps("/proc/self/maps");
        for (std::string line; std::getline(maps, line);)
            held.memoryFiles += line.find("/memfd:") == std::string::npos ? 0 : 1;
        const auto heap = mallinfo2();
        held.heapBytes = heap.uordblks + heap.hblkhd;
        return held;
    }
};

TEST_F(EditorOverBusTest, NothingStaysBehindAnExchange) {
    constexpr std::size_t document = std::size_t{4} << 20U;
    const PrivateBus bus;
    std::atomic<int> asked = 0;
    const Scripted manners[] = {
        saying(answerOf(EditorKey::xml, text(std::string(document, 'x')))),
        saying(answerOf(EditorKey::item, text(std::string(document, 'x')))),
        behaving(Manner::answersNothing),
        {Manner::refuses, {}, SD_BUS_ERROR_FAILED, {}},
    };
    std::string error;
    const auto reference = FileReference::toPath(project_, error);
    const ScriptedEditor editor([&](const Event& event) {
        if (event.eventID != EditorEvent::listOpenProjects)
            return manners[static_cast<std::size_t>(asked++) % std::size(manners)];
        auto file = EventDescriptor::ofBytes(EventType::fsrf, std::string(reference->bytes()));
        return saying(answerOf(EditorKey::openProjects,
                               EventDescriptor::ofList({EventDescriptor::ofRecord(
                                   {{EditorKey::openProjectFile, std::move(file)}})})));
    });
    const auto exchange = [&](int times) {
        std::size_t exports = 0;
        for (int i = 0; i < times; ++i) {
            const auto xml = ZTAppleEvents::getProjectXMLData(project_, false, at_);
            if (xml && xml->view().size() == document)
                ++exports;
        }
        EXPECT_EQ(exports, static_cast<std::size_t>(times) / std::size(manners));
    };
    consoleDuring([&] {
        exchange(8); // whatever is made once
        const Held before = Held::now();
        exchange(200);
        const Held after = Held::now();
        EXPECT_EQ(after.descriptors, before.descriptors);
        EXPECT_EQ(after.memoryFiles, before.memoryFiles);
        EXPECT_LT(after.heapBytes, before.heapBytes + document);
    });
}

} // namespace
} // namespace cutstack
