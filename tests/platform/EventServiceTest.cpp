// An application that answers events, asked as the program asks it and as scripts do.

#include "platform/EventService.h"

#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "platform/EventTransport.h"
#include "platform/linux/FileUri.h"
#include "tests/PrivateBus.h"
#include "tests/Subprocess.h"
#include "tests/platform/EventDescription.h"

namespace cutstack {
namespace {

constexpr auto kEditor = "com.apple.FinalCutPro";

/// A service on a thread of its own that answers events with `answer`.
class Serving {
public:
    explicit Serving(std::function<EventAnswer(const Event&)> answer) {
        EventServiceHandlers handlers;
        handlers.handleEvent = std::move(answer);
        handlers.open = [this](const std::vector<std::string>& paths, bool inBackground) {
            opened_ += inBackground ? "background" : "front";
            for (const std::string& path : paths)
                opened_ += " " + path;
            opened_ += ";";
        };
        bool isTaken = true;
        service_ = openEventService(kEditor, std::move(handlers), isTaken, error_);
        EXPECT_FALSE(isTaken);
        EXPECT_NE(service_, nullptr) << error_;
        if (service_ != nullptr)
            thread_ = std::thread([this] { hasStopped_ = service_->serve(error_); });
    }
    ~Serving() {
        if (service_ != nullptr)
            service_->stop();
        end();
    }
    Serving(const Serving&) = delete;
    Serving& operator=(const Serving&) = delete;

    EventService& service() { return *service_; }
    /// Waits for the end of serve(), and tells whether it was stopped.
    bool end() {
        if (thread_.joinable())
            thread_.join();
        return hasStopped_;
    }
    [[nodiscard]] const std::string& opened() const { return opened_; }
    [[nodiscard]] const std::string& error() const { return error_; }

private:
    std::unique_ptr<EventService> service_;
    std::string opened_;
    std::string error_;
    bool hasStopped_ = false;
    std::thread thread_;
};

EventAnswer echo(const Event& event) { return {EventStatus::noError, event.parameters, {}}; }

EventStatus status(FourCharCode eventID = fourCharCode("eXML")) {
    std::vector<EventField> reply;
    return eventTransport().send(eventForEditor(eventID), SendMode::waitReply,
                                 std::chrono::milliseconds(-1), reply);
}

Finished busctl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"/usr/bin/busctl", "--user"});
    return finished(arguments);
}

Finished call(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"call", kEditor});
    return busctl(std::move(arguments));
}

class EventServiceTest : public testing::Test {
protected:
    PrivateBus bus_;
};

TEST_F(EventServiceTest, ANameHasOneOwner) {
    Serving serving(echo);
    bool isTaken = false;
    std::string error;
    EXPECT_EQ(openEventService(kEditor, {}, isTaken, error), nullptr);
    EXPECT_TRUE(isTaken);
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(openEventService("not a name", {}, isTaken, error), nullptr);
    EXPECT_FALSE(isTaken);
}

TEST_F(EventServiceTest, ScriptsCanAskIt) {
    const Serving serving([](const Event& event) {
        EXPECT_EQ(describe(event.target), "sign(KeyG)");
        return echo(event);
    });
    const Finished asked = call({"/com/zantrel/Events", "com.zantrel.Events1", "Send", "ssa(ssv)",
                                 "KeyG", "gXML", "3", "fcIU", "utf8", "s", "an item", "fcCF",
                                 "long", "i", "1", "fsOF", "bool", "b", "true"});
    EXPECT_EQ(asked.errors, "");
    EXPECT_EQ(asked.output, "isa(ssv) 0 \"\" 3 \"fcIU\" \"utf8\" ay 7 97 110 32 105 116 101 109 "
                            "\"fcCF\" \"long\" ay 4 0 0 0 1 \"fsOF\" \"bool\" ay 1 1\n");
}

TEST_F(EventServiceTest, ScriptsAreToldWhatIsWrong) {
    const Serving serving(echo);
    const struct {
        std::vector<std::string> arguments;
        const char* words;
    } rows[] = {
        {{"ssa(ssv)", "KeyG!", "gXML", "0"}, "a code is not four printable characters"},
        {{"ssa(ssv)", "KeyG", "gXML", "1", "fcpP", "fsrf", "s", "/a"},
         "a value of type 'fsrf' has the form s"},
        {{"ssa(ssv)", "KeyG", "gXML", "1", "fcpP", "list", "ay", "0"},
         "a value of type 'list' has the form ay"},
    };
    for (const auto& row : rows) {
        std::vector<std::string> arguments{"/com/zantrel/Events", "com.zantrel.Events1", "Send"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        EXPECT_NE(call(arguments).errors.find(row.words), std::string::npos) << row.words;
    }
    EXPECT_EQ(status(), EventStatus::noError);
}

TEST_F(EventServiceTest, ItSaysWhatItOffers) {
    const Serving serving(echo);
    const Finished events =
        busctl({"introspect", "--xml-interface", kEditor, "/com/zantrel/Events"});
    for (const char* part : {R"(<interface name="com.zantrel.Events1">)",
                             R"(<arg type="s" name="class" direction="in"/>)",
                             R"x(<arg type="a(ssv)" name="parameters" direction="out"/>)x"})
        EXPECT_NE(events.output.find(part), std::string::npos) << events.output << events.errors;
    EXPECT_NE(busctl({"introspect", kEditor, "/com/apple/FinalCutPro"})
                  .output.find("org.freedesktop.Application"),
              std::string::npos);
}

TEST_F(EventServiceTest, FilesAreOpenedByTheirUris) {
    Serving serving(echo);
    const auto application = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(),
                         {"/com/apple/FinalCutPro", "org.freedesktop.Application"});
        return call(std::move(arguments)).errors;
    };
    EXPECT_EQ(application({"Open", "asa{sv}", "2", "file:///a%20b/caf%c3%A9", "FILE://localhost/c",
                           "1", "without-activation", "b", "true"}),
              "");
    EXPECT_EQ(application({"Open", "asa{sv}", "1", "file:/d", "2", "desktop-startup-id", "s", "x",
                           "without-activation", "s", "true"}),
              "");
    EXPECT_EQ(application({"Activate", "a{sv}", "0"}), "");
    for (const char* uri : {"http://host/a", "file://other/a", "file:a", "file:///%", "file:///%0g",
                            "file:///a%00", "file:///a?b", ""})
        EXPECT_NE(application({"Open", "asa{sv}", "2", "file:///e", uri, "0"}), "") << uri;
    EXPECT_NE(application({"ActivateAction", "sava{sv}", "new", "0", "0"}), "");
    serving.service().stop();
    EXPECT_TRUE(serving.end());
    EXPECT_EQ(serving.opened(), "background /a b/caf\xC3\xA9 /c;front /d;front;");
}

TEST_F(EventServiceTest, ExceptionsBecomeAnswers) {
    const Serving serving([](const Event& event) -> EventAnswer {
        if (event.eventID == fourCharCode("fine"))
            return echo(event);
        if (event.eventID == fourCharCode("odd "))
            throw 1;
        throw std::runtime_error("no paper \xFF");
    });
    EXPECT_EQ(status(fourCharCode("eXML")), EventStatus::failed);
    EXPECT_EQ(status(fourCharCode("odd ")), EventStatus::failed);
    EXPECT_EQ(status(fourCharCode("fine")), EventStatus::noError);
}

TEST_F(EventServiceTest, WhoWantsNoReplyIsKnownAllTheSame) {
    std::atomic<int> taken = 0;
    const Serving serving([&](const Event& event) {
        ++taken;
        taken.notify_all();
        return echo(event);
    });
    std::vector<EventField> reply;
    EXPECT_EQ(eventTransport().send(eventForEditor(fourCharCode("fcLP")), SendMode::noReply,
                                    std::chrono::milliseconds(-1), reply),
              EventStatus::noError);
    taken.wait(0);
}

TEST_F(EventServiceTest, WorkIsDoneBetweenEvents) {
    Serving serving(echo);
    std::atomic<int> done = 0;
    std::thread::id worker;
    serving.service().perform([] { throw std::runtime_error("as every worker may"); });
    serving.service().perform([&] {
        worker = std::this_thread::get_id();
        done = 1;
        done.notify_all();
    });
    done.wait(0);
    EXPECT_NE(worker, std::this_thread::get_id());
    serving.service().perform([&] { serving.service().stop(); });
    EXPECT_TRUE(serving.end());
}

TEST_F(EventServiceTest, TheEventThatStopsItIsAnswered) {
    Serving* self = nullptr;
    Serving serving([&](const Event& event) {
        self->service().stop();
        return echo(event);
    });
    self = &serving;
    EXPECT_EQ(status(), EventStatus::noError);
    EXPECT_TRUE(serving.end());
}

TEST_F(EventServiceTest, ItEndsWithTheSession) {
    Serving serving(echo);
    bus_.end();
    EXPECT_FALSE(serving.end());
    EXPECT_FALSE(serving.error().empty());
}

TEST_F(EventServiceTest, OtherUsersAreNotAnswered) {
    if (getuid() != 0)
        GTEST_SKIP() << "only root can be two users";
    std::atomic<int> asked = 0;
    const Serving serving([&](const Event& event) {
        ++asked;
        return echo(event);
    });
    EXPECT_TRUE(asOrdinaryUser([] {
        // The bus lets everybody through, and what the service offers is no secret.
        const bool isReached = busctl({"introspect", kEditor, "/com/zantrel/Events"}).status == 0;
        const Finished refused = call({"/com/zantrel/Events", "com.zantrel.Events1", "Send",
                                       "ssa(ssv)", "KeyG", "fcLP", "0"});
        return isReached && refused.errors == "Call failed: Access denied\n";
    }));
    EXPECT_EQ(asked, 0);
}

TEST(EventServiceWithoutBus, SaysSo) {
    const NoBus noBus;
    bool isTaken = true;
    std::string error;
    EXPECT_EQ(openEventService(kEditor, {}, isTaken, error), nullptr);
    EXPECT_FALSE(isTaken);
    EXPECT_FALSE(error.empty());
}

TEST(FileUri, EveryPathComesBack) {
    std::string everyByte = "/";
    for (int byte = 1; byte < 256; ++byte)
        everyByte += static_cast<char>(byte);
    EXPECT_EQ(fileUri("/a b/\xC3\xA9%~"), "file:///a%20b/%C3%A9%25~");
    for (const std::string& path : {std::string("/"), std::string("//a"), everyByte})
        EXPECT_EQ(pathOfFileUri(fileUri(path)), path);
}

} // namespace
} // namespace cutstack
