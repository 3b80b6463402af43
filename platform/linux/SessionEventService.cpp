#include "platform/EventService.h"

#include <atomic>
#include <cerrno>
#include <exception>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

#include "platform/EventTransport.h"
#include "platform/SystemErrors.h"
#include "platform/SystemLog.h"
#include "platform/linux/BusText.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/EventMessage.h"
#include "platform/linux/FreedesktopApplication.h"
#include "platform/linux/SessionBus.h"

namespace cutstack {

namespace {

/// Runs `work`; what it throws ends here, as words. Empty when it threw nothing.
template <typename Work>
std::string wordsOfException(const Work& work) {
    try {
        work();
        return {};
    } catch (const std::exception& exception) {
        const std::string words = exception.what();
        return words.empty() ? "an exception without words" : words;
    } catch (...) {
        return "an unknown exception";
    }
}

int refuse(sd_bus_message* call, const char* name, const std::string& reason) {
    return sd_bus_reply_method_errorf(call, name, "%s", busText(reason).c_str());
}

class SessionEventService final : public EventService {
public:
    SessionEventService(const std::string& identifier, EventServiceHandlers handlers)
        : identifier_(identifier),
          handlers_(std::move(handlers)),
          wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~SessionEventService() override {
        if (bus_ != nullptr)
            sd_bus_flush(bus_.get()); // the answer to the last event
    }

    /// Connects and takes the name; false with the reason otherwise.
    [[nodiscard]] bool open(bool& isTaken, std::string& error) {
        if (!wake_.isOpen()) {
            error = wordingOf(errno);
            return false;
        }
        bus_ = openSessionBus(error);
        return bus_ != nullptr && addInterfaces(error) && takeName(isTaken, error);
    }

    bool serve(std::string& error) override {
        while (!isStopped_) {
            runWaitingWork();
            int result = isStopped_ ? 1 : sd_bus_process(bus_.get(), nullptr);
            if (result == 0)
                result = await();
            if (result < 0 && result != -EINTR) {
                error = "The session ended: " + wordingOf(-result);
                return false;
            }
        }
        sd_bus_flush(bus_.get());
        return true;
    }

    void perform(std::function<void()> work) override {
        {
            const std::lock_guard lock(guard_);
            waiting_.push_back(std::move(work));
        }
        ::eventfd_write(wake_.number(), 1);
    }

    void stop() override {
        isStopped_ = true;
        ::eventfd_write(wake_.number(), 1);
    }

private:
    using Handling = int (SessionEventService::*)(sd_bus_message*);

    /// What the bus calls for a method: nobody but the same user gets further, and no exception
    /// gets out into the library.
    template <Handling handling>
    static int handle(sd_bus_message* call, void* context, sd_bus_error* /*error*/) {
        auto& service = *static_cast<SessionEventService*>(context);
        const auto sender = ownerOf(service.bus_.get(), sd_bus_message_get_sender(call));
        if (!sender || sender->userId != ::geteuid())
            return refuse(call, SD_BUS_ERROR_ACCESS_DENIED, "Only the same user is answered");
        int result = 0;
        const std::string words = wordsOfException([&] { result = (service.*handling)(call); });
        return words.empty() ? result : refuse(call, SD_BUS_ERROR_FAILED, words);
    }

    bool addInterfaces(std::string& error);

    bool takeName(bool& isTaken, std::string& error) {
        const int result = sd_bus_request_name(bus_.get(), identifier_.c_str(), 0);
        isTaken = result == -EEXIST || result == -EALREADY;
        if (isTaken)
            error = "Another process is " + identifier_ + " already";
        else if (result < 0)
            error = wordingOf(-result);
        return result >= 0;
    }

    int send(sd_bus_message* call) {
        std::string error;
        auto event = readEvent(call, error);
        if (!event)
            return refuse(call, SD_BUS_ERROR_INVALID_ARGS, error);
        if (const auto signature = signatureOfIdentifier(identifier_))
            event->target = EventDescriptor::ofBytes(EventType::sign, textOf(*signature));
        const EventAnswer answer = answerTo(*event);
        return sd_bus_message_get_expect_reply(call) > 0 ? reply(call, answer) : 1;
    }

    EventAnswer answerTo(const Event& event) {
        EventAnswer answer{EventStatus::eventNotHandled, {}, {}};
        if (!handlers_.handleEvent)
            return answer;
        const std::string words = wordsOfException([&] { answer = handlers_.handleEvent(event); });
        return words.empty() ? answer : EventAnswer{EventStatus::failed, {}, words};
    }

    static int reply(sd_bus_message* call, const EventAnswer& answer) {
        sd_bus_message* message = nullptr;
        const int result = sd_bus_message_new_method_return(call, &message);
        if (result < 0)
            return result;
        const BusMessage made(message);
        std::string error;
        if (!appendAnswer(message, answer, error))
            return refuse(call, SD_BUS_ERROR_FAILED, "The answer cannot be sent: " + error);
        return sd_bus_send(nullptr, message, nullptr);
    }

    int openFiles(sd_bus_message* call) {
        std::string error;
        const auto paths = readPaths(call, error);
        return paths ? show(call, *paths) : refuse(call, SD_BUS_ERROR_INVALID_ARGS, error);
    }

    int activate(sd_bus_message* call) { return show(call, {}); }

    int activateAction(sd_bus_message* call) {
        return refuse(call, SD_BUS_ERROR_NOT_SUPPORTED, "This application has no actions");
    }

    int show(sd_bus_message* call, const std::vector<std::string>& paths) {
        const bool inBackground = readInBackground(call);
        if (!handlers_.open)
            return refuse(call, SD_BUS_ERROR_NOT_SUPPORTED, "This application opens nothing");
        handlers_.open(paths, inBackground);
        return sd_bus_reply_method_return(call, "");
    }

    void runWaitingWork() {
        eventfd_t count = 0;
        ::eventfd_read(wake_.number(), &count);
        std::vector<std::function<void()>> ready;
        {
            const std::lock_guard lock(guard_);
            ready.swap(waiting_);
        }
        for (const auto& work : ready) {
            const std::string words = wordsOfException(work);
            if (!words.empty())
                systemLog().log(identifier_ + " failed at its own work: " + words);
        }
    }

    /// Waits until there is something to do; less than 0 on failure.
    int await() const {
        const int events = sd_bus_get_events(bus_.get());
        if (events < 0)
            return events;
        pollfd watched[] = {{sd_bus_get_fd(bus_.get()), static_cast<short>(events), 0},
                            {wake_.number(), POLLIN, 0}};
        return ::poll(watched, 2, -1) < 0 ? -errno : 0;
    }

    const std::string identifier_;
    const EventServiceHandlers handlers_;
    const Descriptor wake_;
    std::atomic<bool> isStopped_ = false;
    std::mutex guard_;
    std::vector<std::function<void()>> waiting_;
    Bus bus_;
};

bool SessionEventService::addInterfaces(std::string& error) {
    static constexpr auto anybody = SD_BUS_VTABLE_UNPRIVILEGED; // handle() asks who it is
    static const sd_bus_vtable events[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD_WITH_NAMES(
            kEventMethod, kEventSignature,
            SD_BUS_PARAM(class) SD_BUS_PARAM(id) SD_BUS_PARAM(parameters), kAnswerSignature,
            SD_BUS_PARAM(status) SD_BUS_PARAM(message) SD_BUS_PARAM(parameters),
            &SessionEventService::handle<&SessionEventService::send>, anybody),
        SD_BUS_VTABLE_END};
    static const sd_bus_vtable application[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD_WITH_NAMES("Activate", "a{sv}", SD_BUS_PARAM(platform_data), "", "",
                                 &SessionEventService::handle<&SessionEventService::activate>,
                                 anybody),
        SD_BUS_METHOD_WITH_NAMES(
            "Open", "asa{sv}", SD_BUS_PARAM(uris) SD_BUS_PARAM(platform_data), "", "",
            &SessionEventService::handle<&SessionEventService::openFiles>, anybody),
        SD_BUS_METHOD_WITH_NAMES(
            "ActivateAction", "sava{sv}",
            SD_BUS_PARAM(action_name) SD_BUS_PARAM(parameter) SD_BUS_PARAM(platform_data), "", "",
            &SessionEventService::handle<&SessionEventService::activateAction>, anybody),
        SD_BUS_VTABLE_END};
    const std::string path = applicationPath(identifier_);
    int result =
        sd_bus_add_object_vtable(bus_.get(), nullptr, kEventPath, kEventInterface, events, this);
    if (result >= 0)
        result = sd_bus_add_object_vtable(bus_.get(), nullptr, path.c_str(), kApplicationInterface,
                                          application, this);
    if (result < 0)
        error = wordingOf(-result);
    return result >= 0;
}

} // namespace

std::unique_ptr<EventService> openEventService(const std::string& identifier,
                                               EventServiceHandlers handlers, bool& isTaken,
                                               std::string& error) {
    isTaken = false;
    auto service = std::make_unique<SessionEventService>(identifier, std::move(handlers));
    if (!service->open(isTaken, error))
        return nullptr;
    return service;
}

} // namespace cutstack
