// Events over a real bus: what arrives on the other side, and what each way of failing gives.

#include "platform/EventTransport.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "platform/linux/EventMessage.h"
#include "platform/linux/SealedMemory.h"
#include "tests/PrivateBus.h"
#include "tests/platform/EventDescription.h"
#include "tests/platform/ScriptedEditor.h"

namespace cutstack {
namespace {

using Manner = Scripted::Manner;
using Fields = std::vector<EventField>;
using namespace std::chrono_literals;

constexpr auto kExport = fourCharCode("eXML");
constexpr auto kXml = fourCharCode("xmlD");

struct Outcome {
    EventStatus status;
    Fields reply;
};

Outcome sent(const Event& event, std::chrono::milliseconds timeout = -1ms,
             SendMode mode = SendMode::waitReply) {
    Outcome outcome{EventStatus::failed, {{kXml, EventDescriptor::ofInteger(1)}}};
    outcome.status = eventTransport().send(event, mode, timeout, outcome.reply);
    return outcome;
}

EventStatus statusOf(const Event& event = eventForEditor(kExport)) {
    const Outcome outcome = sent(event);
    EXPECT_TRUE(outcome.status == EventStatus::noError || outcome.reply.empty());
    return outcome.status;
}

EventDescriptor text(std::string bytes) {
    return EventDescriptor::ofBytes(EventType::utf8, std::move(bytes));
}

EventDescriptor nested(unsigned levels) {
    EventDescriptor value = text("innermost");
    for (unsigned i = 0; i < levels; ++i)
        value = i % 2 == 0 ? EventDescriptor::ofList({value})
                           : EventDescriptor::ofRecord({{kXml, value}});
    return value;
}

EventAnswer answerOf(EventDescriptor value) {
    return {EventStatus::noError, {{kXml, std::move(value)}}, {}};
}

std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

/// Whether memory at that place is a memory file's, not a copy of it.
bool isMappedMemoryFile(const void* place) {
    const auto address = reinterpret_cast<std::uintptr_t>(place);
    const std::string maps = contentOf("/proc/self/maps");
    for (std::size_t line = 0; line < maps.size(); line = maps.find('\n', line) + 1) {
        char* rest = nullptr;
        const auto first = std::strtoull(&maps[line], &rest, 16);
        const auto last = std::strtoull(rest + 1, nullptr, 16);
        if (address >= first && address < last)
            return maps.substr(line, maps.find('\n', line) - line).find("/memfd:") !=
                   std::string::npos;
    }
    return false;
}

/// A reply with one value of that type, in the form that `append` gives it.
Scripted valueOfForm(const char* type, const std::function<void(sd_bus_message*)>& append) {
    const auto write = [=](sd_bus_message* reply) {
        sd_bus_message_append(reply, "is", 0, "");
        sd_bus_message_open_container(reply, 'a', "(ssv)");
        sd_bus_message_open_container(reply, 'r', "ssv");
        sd_bus_message_append(reply, "ss", "xmlD", type);
        append(reply);
        sd_bus_message_close_container(reply);
        sd_bus_message_close_container(reply);
    };
    return {Manner::writes, {}, {}, write};
}

class EventTransportTest : public testing::Test {
protected:
    PrivateBus bus_;
};

TEST_F(EventTransportTest, ValuesOfAllTypesArriveAsTheyWere) {
    std::string everyByte;
    for (int byte = 0; byte < 256; ++byte)
        everyByte += static_cast<char>(byte);
    const EventDescriptor values[] = {
        {},
        EventDescriptor::ofBytes(EventType::sign, "KeyG"),
        EventDescriptor::ofBytes(EventType::fsrf, everyByte.substr(0, 80)),
        EventDescriptor::ofBytes(EventType::furl, "/caf%C3%A9"),
        EventDescriptor::ofBytes(EventType::alias, everyByte),
        EventDescriptor::ofBytes(fourCharCode("odd "), everyByte),
        text(""),
        text("caf\xC3\xA9\r\n"),
        text(std::string(kMostInlineBytes, 'i')),
        text(std::string(kMostInlineBytes + 1, 'm')),
        EventDescriptor::ofInteger(0),
        EventDescriptor::ofInteger(std::numeric_limits<std::int32_t>::min()),
        EventDescriptor::ofInteger(0x01020304),
        EventDescriptor::ofBoolean(true),
        EventDescriptor::ofBoolean(false),
        EventDescriptor::ofList({}),
        EventDescriptor::ofRecord({}),
        EventDescriptor::ofList({text("a"), EventDescriptor::ofInteger(-1), nested(3)}),
        nested(kMostLevels),
    };
    Fields fields;
    for (const EventDescriptor& value : values)
        fields.push_back({kXml, value});
    // More than a bus passes on as descriptors in one message.
    for (int i = 0; i < 20; ++i)
        fields.push_back({kXml, text(std::string(kMostInlineBytes + 1, static_cast<char>(i)))});

    ScriptedEditor editor([](const Event& event) {
        return Scripted{Manner::answers, {EventStatus::noError, event.parameters, {}}, {}, {}};
    });
    const Outcome outcome = sent(eventForEditor(kExport, fields));
    EXPECT_EQ(outcome.status, EventStatus::noError);
    EXPECT_EQ(describe(outcome.reply), describe(fields));
    ASSERT_EQ(editor.received().size(), 1U);
    EXPECT_EQ(editor.received()[0].eventClass, fourCharCode("KeyG"));
    EXPECT_EQ(editor.received()[0].eventID, kExport);
    EXPECT_EQ(outcome.reply[11].value.integer(), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(outcome.reply[13].value.boolean(), true);
    EXPECT_EQ(outcome.reply[13].value.integer(), std::nullopt);
}

TEST_F(EventTransportTest, FormsThatScriptsWriteAreReadAndOthersRefused) {
    const struct {
        const char* type;
        const char* form;
        std::function<int(sd_bus_message*)> append;
        const char* read; ///< nullptr when it is refused
    } rows[] = {
        {"utf8", "s", [](auto* m) { return sd_bus_message_append(m, "v", "s", "text"); },
         "xmlD=utf8(text) "},
        {"furl", "s", [](auto* m) { return sd_bus_message_append(m, "v", "s", "/a"); },
         "xmlD=furl(/a) "},
        {"long", "i", [](auto* m) { return sd_bus_message_append(m, "v", "i", 0x41424344); },
         "xmlD=long(ABCD) "},
        {"bool", "b", [](auto* m) { return sd_bus_message_append(m, "v", "b", 1); },
         "xmlD=bool(\1) "},
        {"list", "a(sv)",
         [](auto* m) { return sd_bus_message_append(m, "v", "a(sv)", 1, "utf8", "s", "x"); },
         "xmlD=list[utf8(x) ] "},
        {"fsrf", "s", [](auto* m) { return sd_bus_message_append(m, "v", "s", "/a"); }, nullptr},
        {"utf8", "i", [](auto* m) { return sd_bus_message_append(m, "v", "i", 1); }, nullptr},
        {"long", "b", [](auto* m) { return sd_bus_message_append(m, "v", "b", 1); }, nullptr},
        {"list", "ay", [](auto* m) { return sd_bus_message_append(m, "v", "ay", 1, 65); }, nullptr},
        {"list", "a(ssv)", [](auto* m) { return sd_bus_message_append(m, "v", "a(ssv)", 0); },
         nullptr},
        {"utf8", "v", [](auto* m) { return sd_bus_message_append(m, "v", "v", "s", "x"); },
         nullptr},
        {"four!", "s", [](auto* m) { return sd_bus_message_append(m, "v", "s", "x"); }, nullptr},
        {"caf\xC3\xA9", "s", [](auto* m) { return sd_bus_message_append(m, "v", "s", "x"); },
         nullptr},
        {"a\tbc", "s", [](auto* m) { return sd_bus_message_append(m, "v", "s", "x"); }, nullptr},
    };
    std::size_t next = 0;
    const ScriptedEditor editor(
        [&](const Event&) { return valueOfForm(rows[next].type, rows[next].append); });
    for (; next < std::size(rows); ++next) {
        SCOPED_TRACE(std::string(rows[next].type) + " as " + rows[next].form);
        const Outcome outcome = sent(eventForEditor(kExport));
        const bool isRead = rows[next].read != nullptr;
        EXPECT_EQ(outcome.status, isRead ? EventStatus::noError : EventStatus::wrongData);
        EXPECT_EQ(describe(outcome.reply), isRead ? rows[next].read : "");
    }
}

TEST_F(EventTransportTest, OnlyMemoryThatNobodyCanChangeIsTaken) {
    const auto memory = [](int seals, off_t size) {
        Descriptor file(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
        EXPECT_EQ(ftruncate(file.number(), size), 0);
        EXPECT_EQ(fcntl(file.number(), F_ADD_SEALS, seals), 0);
        return file;
    };
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const Descriptor writing(ends[1]);
    const TemporaryFolder folder;
    writeContent(folder / "file", "content");
    const struct {
        const char* what;
        Descriptor file;
        bool isTaken;
    } rows[] = {
        {"sealed", memory(F_SEAL_SHRINK | F_SEAL_WRITE, 9), true},
        {"empty", memory(F_SEAL_SHRINK | F_SEAL_WRITE, 0), true},
        {"large and empty", memory(F_SEAL_SHRINK | F_SEAL_WRITE, 1 << 30), true},
        {"too large", memory(F_SEAL_SHRINK | F_SEAL_WRITE, (1 << 30) + 1L), false},
        {"can be written", memory(F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL, 9), false},
        {"can be cut", memory(F_SEAL_WRITE, 9), false},
        {"can be written by whoever has mapped it", memory(F_SEAL_SHRINK | F_SEAL_FUTURE_WRITE, 9),
         false},
        {"file", Descriptor(open((folder / "file").c_str(), O_RDONLY | O_CLOEXEC)), false},
        {"pipe", Descriptor(ends[0]), false},
        {"device", Descriptor(open("/dev/zero", O_RDONLY | O_CLOEXEC)), false},
        {"folder", Descriptor(open("/", O_RDONLY | O_CLOEXEC)), false},
    };
    std::size_t next = 0;
    const ScriptedEditor editor([&](const Event&) {
        return valueOfForm("utf8", [&](sd_bus_message* reply) {
            sd_bus_message_append(reply, "v", "h", rows[next].file.number());
        });
    });
    for (; next < std::size(rows); ++next)
        EXPECT_EQ(statusOf(), rows[next].isTaken ? EventStatus::noError : EventStatus::wrongData)
            << rows[next].what;
}

TEST_F(EventTransportTest, EveryFailureHasItsStatus) {
    const auto refusal = [](const char* error) { return Scripted{Manner::refuses, {}, error, {}}; };
    const auto failure = [](std::int32_t status) {
        return Scripted{Manner::answers, {EventStatus{status}, {}, "as scripted \xFF"}, {}, {}};
    };
    const struct {
        Scripted scripted;
        EventStatus status;
    } rows[] = {
        {{Manner::dies, {}, {}, {}}, EventStatus::connectionInvalid},
        {{Manner::diesHalfway, {}, {}, {}}, EventStatus::connectionInvalid},
        {{Manner::answersNothing, {}, {}, {}}, EventStatus::wrongData},
        {refusal("org.freedesktop.DBus.Error.UnknownMethod"), EventStatus::eventNotHandled},
        {refusal("org.freedesktop.DBus.Error.AccessDenied"), EventStatus::eventNotHandled},
        {refusal("org.freedesktop.DBus.Error.Failed"), EventStatus::failed},
        {refusal("com.example.OutOfPaper"), EventStatus::failed},
        {failure(-10000), EventStatus::failed},
        {failure(-1708), EventStatus::eventNotHandled},
        {failure(-43), EventStatus{-43}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        const ScriptedEditor editor([&](const Event&) { return row.scripted; });
        EXPECT_EQ(statusOf(), row.status);
    }
}

TEST_F(EventTransportTest, AnEditorThatIsSilentTimesOut) {
    ScriptedEditor editor(Manner::keepsSilent);
    EXPECT_EQ(sent(eventForEditor(kExport), 50ms).status, EventStatus::timeout);
    EXPECT_EQ(sent(eventForEditor(kExport), 0ms).status, EventStatus::timeout);
    EXPECT_EQ(sent(eventForEditor(kExport), -1ms, SendMode::noReply).status, EventStatus::noError);
    editor.awaitReceived(2); // the one that had no time at all may not have been sent
}

TEST_F(EventTransportTest, NobodyAnswersForATargetThatIsNotThere) {
    EXPECT_EQ(statusOf(), EventStatus::applicationNotFound);
    const ScriptedEditor editor(answerOf(text("x")));
    EXPECT_EQ(statusOf(), EventStatus::noError);
    Event event = eventForEditor(kExport);
    event.target = EventDescriptor::ofBytes(EventType::sign, "none");
    EXPECT_EQ(statusOf(event), EventStatus::applicationNotFound);
    event.target = text("KeyG");
    EXPECT_EQ(statusOf(event), EventStatus::applicationNotFound);
    event = eventForEditor(kExport);
    bus_.end();
    EXPECT_EQ(statusOf(event), EventStatus::applicationNotFound);
}

TEST_F(EventTransportTest, WhatIsOutOfBoundsIsNotSent) {
    const ScriptedEditor editor(answerOf(text("x")));
    const std::vector<EventDescriptor> many(kMostValues, text(""));
    for (const EventDescriptor& value : {nested(kMostLevels + 1), EventDescriptor::ofList(many),
                                         EventDescriptor::ofBytes(FourCharCode{1}, "")})
        EXPECT_EQ(statusOf(eventForEditor(kExport, {{kXml, value}})), EventStatus::wrongData);
    EXPECT_TRUE(editor.received().empty());
}

TEST_F(EventTransportTest, WhatIsOutOfBoundsIsNotRead) {
    const auto deep = [](sd_bus_message* reply) {
        for (unsigned i = 0; i <= kMostLevels; ++i) {
            sd_bus_message_open_container(reply, 'v', "a(sv)");
            sd_bus_message_open_container(reply, 'a', "(sv)");
            sd_bus_message_open_container(reply, 'r', "sv");
            sd_bus_message_append(reply, "s", i < kMostLevels ? "list" : "utf8");
        }
        sd_bus_message_append(reply, "v", "s", "x");
        for (unsigned i = 0; i <= 3 * kMostLevels + 2; ++i)
            sd_bus_message_close_container(reply);
    };
    const auto wide = [](sd_bus_message* reply) {
        sd_bus_message_open_container(reply, 'v', "a(sv)");
        sd_bus_message_open_container(reply, 'a', "(sv)");
        for (unsigned i = 0; i < kMostValues; ++i)
            sd_bus_message_append(reply, "(sv)", "utf8", "s", "");
        sd_bus_message_close_container(reply);
        sd_bus_message_close_container(reply);
    };
    const Descriptor memory = sealedMemoryOf("x");
    const auto manyFiles = [&](sd_bus_message* reply) {
        sd_bus_message_open_container(reply, 'v', "a(sv)");
        sd_bus_message_open_container(reply, 'a', "(sv)");
        for (unsigned i = 0; i < 20; ++i)
            sd_bus_message_append(reply, "(sv)", "utf8", "h", memory.number());
        sd_bus_message_close_container(reply);
        sd_bus_message_close_container(reply);
    };
    for (const std::function<void(sd_bus_message*)>& write :
         {std::function<void(sd_bus_message*)>(deep), {wide}}) {
        const ScriptedEditor editor([&](const Event&) { return valueOfForm("list", write); });
        EXPECT_EQ(statusOf(), EventStatus::wrongData);
    }
    // The bus itself ends an editor that sends more descriptors than it passes on.
    const ScriptedEditor editor([&](const Event&) { return valueOfForm("list", manyFiles); });
    EXPECT_EQ(statusOf(), EventStatus::connectionInvalid);
}

TEST_F(EventTransportTest, ALargeReplyIsMappedAndLeavesNothingOpen) {
    const std::string document(std::size_t{100} << 20U, 'x');
    const ScriptedEditor editor(answerOf(text(document)));
    const auto before = openDescriptors();
    for (int i = 0; i < 3; ++i) {
        const Outcome outcome = sent(eventForEditor(kExport));
        ASSERT_EQ(outcome.status, EventStatus::noError);
        const auto* const value = valueOf(outcome.reply, kXml, EventType::utf8);
        ASSERT_NE(value, nullptr);
        EXPECT_EQ(value->bytes.view(), document);
        EXPECT_TRUE(isMappedMemoryFile(value->bytes.view().data()));
        EXPECT_FALSE(isMappedMemoryFile(document.data()));
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(contentOf("/proc/self/maps").find("/memfd:event"), std::string::npos);
}

TEST_F(EventTransportTest, FailuresLeaveNothingOpen) {
    const auto before = openDescriptors();
    for (const Manner manner :
         {Manner::dies, Manner::diesHalfway, Manner::answersNothing, Manner::keepsSilent}) {
        const ScriptedEditor editor(manner);
        EXPECT_NE(sent(eventForEditor(kExport), 1000ms).status, EventStatus::noError);
    }
    EXPECT_EQ(statusOf(), EventStatus::applicationNotFound);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(EventTransportTest, ThreadsGetTheAnswersToTheirOwnEvents) {
    ScriptedEditor editor([](const Event& event) {
        return Scripted{Manner::answers, {EventStatus::noError, event.parameters, {}}, {}, {}};
    });
    const auto exchange = [](const std::string& own) {
        for (int i = 0; i < 50; ++i) {
            const Fields fields{{kXml, text(own + std::to_string(i))}};
            EXPECT_EQ(describe(sent(eventForEditor(kExport, fields)).reply), describe(fields));
        }
    };
    std::thread other(exchange, std::string(kMostInlineBytes, 'o'));
    exchange("mine");
    other.join();
    EXPECT_EQ(editor.received().size(), 100U);
}

TEST_F(EventTransportTest, AnotherUsersEditorIsNotAsked) {
    if (getuid() != 0)
        GTEST_SKIP() << "only root can be two users";
    int ready[2] = {-1, -1};
    int over[2] = {-1, -1};
    ASSERT_TRUE(pipe(ready) == 0 && pipe(over) == 0);
    const pid_t child = fork();
    if (child == 0) {
        constexpr uid_t nobody = 65534;
        char letter = 'x';
        bool isAsked = setuid(nobody) != 0;
        close(over[1]);
        const ScriptedEditor editor(answerOf(text("x")));
        isAsked = write(ready[1], &letter, 1) != 1 || isAsked;
        isAsked = read(over[0], &letter, 1) != 0 || !editor.received().empty() || isAsked;
        _exit(isAsked ? 1 : 0);
    }
    char letter = 0;
    EXPECT_EQ(read(ready[0], &letter, 1), 1);
    EXPECT_EQ(statusOf(), EventStatus::applicationNotFound);
    for (const int end : {ready[0], ready[1], over[0], over[1]})
        close(end);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(EventTransportWithoutBus, FindsNobody) {
    const NoBus noBus;
    EXPECT_EQ(statusOf(), EventStatus::applicationNotFound);
}

TEST(EventTransportWithoutBus, FindsNobodyAtAnAddressThatIsNone) {
    for (const char* address : {"", "nonsense", "unix:path=/nonexistent/bus", "tcp:host=,port="}) {
        const NoBus noBus;
        setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);
        EXPECT_EQ(statusOf(), EventStatus::applicationNotFound) << address;
    }
}

} // namespace
} // namespace cutstack
