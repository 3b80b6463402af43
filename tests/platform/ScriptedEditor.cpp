#include "tests/platform/ScriptedEditor.h"

#include <bit>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <utility>

#include "platform/linux/EventMessage.h"
#include "platform/linux/FreedesktopApplication.h"

namespace cutstack {

namespace {

void awaitCount(const std::atomic<std::size_t>& counted, std::size_t count) {
    for (std::size_t seen = counted; seen < count; seen = counted)
        counted.wait(seen);
}

} // namespace

ScriptedEditor::ScriptedEditor(Script script, const std::string& identifier)
    : script_(std::move(script)), wake_(eventfd(0, EFD_CLOEXEC)) {
    std::string error;
    bus_ = openSessionBus(error);
    EXPECT_NE(bus_, nullptr) << error;
    EXPECT_GE(sd_bus_add_filter(bus_.get(), nullptr, hear, this), 0);
    EXPECT_GE(sd_bus_request_name(bus_.get(), identifier.c_str(), 0), 0);
    thread_ = std::thread([this] { run(); });
}

ScriptedEditor::ScriptedEditor(EventAnswer answer)
    : ScriptedEditor([answer = std::move(answer)](const Event&) {
          return Scripted{Scripted::Manner::answers, answer, {}, {}};
      }) {}

ScriptedEditor::ScriptedEditor(Scripted::Manner manner)
    : ScriptedEditor([manner](const Event&) {
          return Scripted{manner, {}, {}, {}};
      }) {}

ScriptedEditor::~ScriptedEditor() {
    isOver_ = true;
    eventfd_write(wake_.number(), 1);
    thread_.join();
}

std::vector<Event> ScriptedEditor::received() const {
    const std::lock_guard lock(guard_);
    return received_;
}

std::vector<std::string> ScriptedEditor::opened() const {
    const std::lock_guard lock(guard_);
    return opened_;
}

void ScriptedEditor::awaitReceived(std::size_t count) const { awaitCount(receivedCount_, count); }
void ScriptedEditor::awaitOpened(std::size_t count) const { awaitCount(openedCount_, count); }

void ScriptedEditor::run() {
    while (!isOver_ && bus_ != nullptr) {
        const int done = sd_bus_process(bus_.get(), nullptr);
        if (done > 0)
            continue;
        if (done < 0)
            return;
        pollfd watched[] = {
            {sd_bus_get_fd(bus_.get()), static_cast<short>(sd_bus_get_events(bus_.get())), 0},
            {wake_.number(), POLLIN, 0}};
        poll(watched, 2, -1);
    }
}

int ScriptedEditor::hear(sd_bus_message* call, void* editor, sd_bus_error* /*error*/) {
    auto& self = *static_cast<ScriptedEditor*>(editor);
    if (sd_bus_message_is_method_call(call, kEventInterface, kEventMethod) > 0)
        return self.hearEvent(call);
    if (sd_bus_message_is_method_call(call, kApplicationInterface, "Open") > 0)
        return self.hearOpen(call);
    if (sd_bus_message_is_method_call(call, "org.freedesktop.FileManager1", "ShowItems") > 0)
        return self.hearOpen(call);
    return 0;
}

int ScriptedEditor::hearEvent(sd_bus_message* call) {
    std::string error;
    auto event = readEvent(call, error);
    EXPECT_TRUE(event) << error;
    if (!event)
        return 0;
    {
        const std::lock_guard lock(guard_);
        received_.push_back(*event);
    }
    ++receivedCount_;
    receivedCount_.notify_all();
    return sd_bus_message_get_expect_reply(call) > 0 ? meet(call, script_(*event)) : 1;
}

int ScriptedEditor::hearOpen(sd_bus_message* call) {
    std::string error;
    const auto paths = readPaths(call, error);
    const bool inBackground =
        sd_bus_message_has_signature(call, "asa{sv}") > 0 && readInBackground(call);
    {
        const std::lock_guard lock(guard_);
        for (const std::string& path : paths.value_or(std::vector<std::string>()))
            opened_.push_back(path + (inBackground ? " (background)" : ""));
    }
    ++openedCount_;
    openedCount_.notify_all();
    return sd_bus_reply_method_return(call, "");
}

int ScriptedEditor::meet(sd_bus_message* call, const Scripted& scripted) {
    using Manner = Scripted::Manner;
    switch (scripted.manner) {
    case Manner::answers:
        return sendReply(call, [&](sd_bus_message* reply) {
            std::string error;
            EXPECT_TRUE(appendAnswer(reply, scripted.answer, error)) << error;
        });
    case Manner::keepsSilent:
        break;
    case Manner::dies:
        die();
        break;
    case Manner::diesHalfway:
        beginReply(call);
        die();
        break;
    case Manner::answersNothing:
        return sd_bus_reply_method_return(call, "");
    case Manner::refuses:
        return sd_bus_reply_method_errorf(call, scripted.error.c_str(), "as scripted");
    case Manner::writes:
        return sendReply(call, scripted.write);
    }
    return 1;
}

int ScriptedEditor::sendReply(sd_bus_message* call,
                              const std::function<void(sd_bus_message*)>& write) {
    sd_bus_message* reply = nullptr;
    EXPECT_GE(sd_bus_message_new_method_return(call, &reply), 0);
    const BusMessage made(reply);
    write(reply);
    return sd_bus_send(nullptr, reply, nullptr);
}

/// Sends the head of a reply and less of its body than the head announces. This cannot be had from
/// the library; the bytes are those of the D-Bus Specification, "Message Format".
void ScriptedEditor::beginReply(sd_bus_message* call) {
    constexpr std::uint32_t announced = 1000;
    std::uint64_t serial = 0;
    sd_bus_message_get_cookie(call, &serial);
    const std::string destination = sd_bus_message_get_sender(call);
    const auto number = [](std::size_t value) {
        const auto narrow = static_cast<std::uint32_t>(value);
        return std::string(reinterpret_cast<const char*>(&narrow), sizeof narrow);
    };
    const auto padded = [](std::string bytes) {
        bytes.resize((bytes.size() + 7) / 8 * 8);
        return bytes;
    };
    std::string fields = padded(std::string("\5\1u\0", 4) + number(serial));
    fields += padded(std::string("\6\1s\0", 4) + number(destination.size()) + destination + '\0');
    fields += std::string("\x8\1g\0\1s\0", 7);
    const char order = std::endian::native == std::endian::little ? 'l' : 'B';
    const std::string message = padded(order + std::string("\2\1\1", 3) + number(announced) +
                                       number(4711) + number(fields.size()) + fields) +
                                number(announced - 5) + "half a word";
    EXPECT_EQ(send(sd_bus_get_fd(bus_.get()), message.data(), message.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(message.size()));
}

/// What is still waiting to be sent is lost, as when a process ends.
void ScriptedEditor::die() {
    isOver_ = true;
    sd_bus_close(bus_.get());
}

} // namespace cutstack
