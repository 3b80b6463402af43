#include "platform/EventTransport.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>
#include <utility>

#include "platform/SystemLog.h"
#include "platform/linux/EventMessage.h"
#include "platform/linux/LaunchedApplications.h"
#include "platform/linux/PendingCall.h"
#include "platform/linux/SessionBus.h"

namespace cutstack {

namespace {

using SteadyClock = std::chrono::steady_clock;

std::uint64_t microsecondsUntil(SteadyClock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline - SteadyClock::now());
    return left.count() > 0 ? static_cast<std::uint64_t>(left.count()) : 0;
}

/// One event on its way to one application, over a connection of its own.
class Exchange {
public:
    Exchange(const std::string& identifier, SteadyClock::time_point deadline, SystemLog& console)
        : identifier_(identifier), deadline_(deadline), console_(console) {}

    EventStatus run(const Event& event, SendMode mode, std::vector<EventField>& reply) {
        std::string error;
        bus_ = openSessionBus(error);
        if (bus_ == nullptr)
            return EventStatus::applicationNotFound;
        const EventStatus found = findReceiver();
        if (found != EventStatus::noError)
            return found;
        BusMessage call =
            newCall(bus_.get(), receiver_, kEventPath, kEventInterface, kEventMethod, error);
        if (call == nullptr || sd_bus_message_set_auto_start(call.get(), 0) < 0)
            return EventStatus::failed;
        if (!appendEvent(call.get(), event, error))
            return refused(EventStatus::wrongData, "cannot be sent this event", error);
        if (mode == SendMode::noReply)
            return sendWithoutReply(std::move(bus_), std::move(call), error)
                       ? EventStatus::noError
                       : EventStatus::connectionInvalid;
        return exchange(call.get(), reply);
    }

private:
    /// The connection that is the application, if need be after waiting for it to start. Events go
    /// to the connection, not to the name: nobody else can take them who has the name meanwhile.
    EventStatus findReceiver() {
        auto owner = ownerOf(bus_.get(), identifier_);
        const auto launch = owner ? nullptr : launchedApplications().underWay(identifier_);
        if (launch != nullptr)
            owner = awaitOwner(bus_.get(), identifier_, *launch, deadline_);
        if (!owner)
            return launch != nullptr && !launch->isOver() ? EventStatus::timeout
                                                          : EventStatus::applicationNotFound;
        launchedApplications().forget(identifier_);
        if (owner->userId != ::geteuid())
            return refused(EventStatus::applicationNotFound, "is another user's", "");
        receiver_ = owner->uniqueName;
        return EventStatus::noError;
    }

    EventStatus exchange(sd_bus_message* call, std::vector<EventField>& reply) {
        BusError failure;
        sd_bus_message* message = nullptr;
        // 0 would stand for the bus's own time-out.
        const std::uint64_t time = std::max<std::uint64_t>(1, microsecondsUntil(deadline_));
        const int result = sd_bus_call(bus_.get(), call, time, failure.address(), &message);
        const BusMessage answered(message);
        if (result < 0)
            return statusOf(result, failure);
        std::string error;
        auto answer = readAnswer(message, error);
        if (!answer)
            return refused(EventStatus::wrongData, "gave an answer that is none", error);
        if (answer->status != EventStatus::noError)
            return refused(answer->status, "reports a failure", answer->message);
        reply = std::move(answer->parameters);
        return EventStatus::noError;
    }

    EventStatus statusOf(int result, const BusError& failure) {
        // What sd-bus itself answers when time is up; the bus says "NoReply" of a peer that died.
        if (failure.isOneOf({SD_BUS_ERROR_TIMEOUT}))
            return EventStatus::timeout;
        if (result == -ECONNRESET || result == -ENOTCONN ||
            failure.isOneOf({SD_BUS_ERROR_NO_REPLY, SD_BUS_ERROR_DISCONNECTED,
                             SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NAME_HAS_NO_OWNER}))
            return EventStatus::connectionInvalid;
        if (failure.isOneOf({SD_BUS_ERROR_UNKNOWN_METHOD, SD_BUS_ERROR_UNKNOWN_OBJECT,
                             SD_BUS_ERROR_UNKNOWN_INTERFACE, SD_BUS_ERROR_ACCESS_DENIED}))
            return refused(EventStatus::eventNotHandled, "takes no events", failure.text());
        return refused(EventStatus::failed, "reports a failure", failure.text());
    }

    EventStatus refused(EventStatus status, std::string_view what, const std::string& reason) {
        std::string line = identifier_;
        line += ' ';
        line += what;
        if (!reason.empty())
            line += ": " + reason;
        console_.log(line);
        return status;
    }

    const std::string& identifier_;
    const SteadyClock::time_point deadline_;
    SystemLog& console_;
    Bus bus_;
    std::string receiver_;
};

class SessionEventTransport final : public EventTransport {
public:
    explicit SessionEventTransport(SystemLog& console) : console_(console) {}

    EventStatus send(const Event& event, SendMode mode, std::chrono::milliseconds timeout,
                     std::vector<EventField>& reply) override {
        reply.clear();
        const auto signature = event.target.type == EventType::sign
                                   ? fourCharCodeOf(event.target.bytes.view())
                                   : std::nullopt;
        const auto known = signature ? identifierOfSignature(*signature) : std::nullopt;
        if (!known)
            return EventStatus::applicationNotFound;
        const auto time =
            timeout < std::chrono::milliseconds::zero() ? kDefaultEventTimeout : timeout;
        const std::string identifier(*known);
        return Exchange(identifier, SteadyClock::now() + time, console_).run(event, mode, reply);
    }

private:
    SystemLog& console_;
};

} // namespace

EventTransport& eventTransport() {
    static auto& instance = *new SessionEventTransport(systemLog());
    return instance;
}

} // namespace cutstack
