#include "platform/linux/PendingCall.h"

#include <cerrno>
#include <chrono>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/SystemErrors.h"

namespace cutstack {

namespace {

/// As long as an application has to start in.
constexpr std::chrono::microseconds kLongest = std::chrono::seconds(120);

int noteAnswer(sd_bus_message* /*message*/, void* hasAnswer, sd_bus_error* /*error*/) {
    *static_cast<bool*>(hasAnswer) = true;
    return 1;
}

struct Pending {
    Bus bus;
    std::function<void()> whenOver;
    bool hasAnswer = false;

    void await() {
        while (!hasAnswer) {
            int result = sd_bus_process(bus.get(), nullptr);
            if (result == 0)
                result = sd_bus_wait(bus.get(), UINT64_MAX);
            if (result < 0 && result != -EINTR)
                break;
        }
        whenOver();
    }
};

} // namespace

bool beginCall(Bus bus, BusMessage call, std::function<void()> whenOver, std::string& error) {
    const auto pending = std::make_shared<Pending>(Pending{std::move(bus), std::move(whenOver)});
    int result =
        sd_bus_call_async(pending->bus.get(), nullptr, call.get(), noteAnswer, &pending->hasAnswer,
                          static_cast<std::uint64_t>(kLongest.count()));
    if (result >= 0)
        result = sd_bus_flush(pending->bus.get());
    if (result < 0) {
        error = wordingOf(-result);
        return false;
    }
    call.reset(); // it counts as a user of the connection, which now moves to a thread
    try {
        std::thread([pending] { pending->await(); }).detach();
    } catch (const std::system_error&) {
        // Out of threads: the call is on its way all the same; only its end goes unnoticed.
    }
    return true;
}

bool sendWithoutReply(Bus bus, BusMessage call, std::string& error) {
    const std::string receiver = sd_bus_message_get_destination(call.get());
    int result = sd_bus_message_set_expect_reply(call.get(), 0);
    if (result >= 0)
        result = sd_bus_send(bus.get(), call.get(), nullptr);
    if (result < 0) {
        error = wordingOf(-result);
        return false;
    }
    call.reset();
    // Calls arrive in order: who answers this one has had the other.
    BusMessage ping = newCall(bus.get(), receiver, "/", "org.freedesktop.DBus.Peer", "Ping", error);
    return ping != nullptr && beginCall(
                                  std::move(bus), std::move(ping), [] {}, error);
}

} // namespace cutstack
