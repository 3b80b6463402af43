#pragma once

// The other side of events: an application that answers them under its identifier. Only the same
// user is answered.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/Event.h"

namespace cutstack {

/// What an application answers: parameters, or a failure with words for people.
struct EventAnswer {
    EventStatus status = EventStatus::noError;
    std::vector<EventField> parameters;
    std::string message; ///< of a failure
};

/// What an application does when it is asked to show itself or to open files.
struct EventServiceHandlers {
    std::function<EventAnswer(const Event&)> handleEvent;
    /// Absolute paths; none when the application is only to be there. `inBackground` when it is
    /// not to come to the front.
    std::function<void(const std::vector<std::string>& paths, bool inBackground)> open;
};

class EventService {
public:
    virtual ~EventService() = default;

    /// Serves until stop() is called or the session ends; handlers run on the calling thread, one
    /// after the other, and must not throw. Returns false, with the reason in `error`, when the
    /// session ended.
    [[nodiscard]] virtual bool serve(std::string& error) = 0;

    /// Runs `work` on the serving thread between two events. Any thread.
    virtual void perform(std::function<void()> work) = 0;

    /// Ends serve() after the event that is being answered. Any thread.
    virtual void stop() = 0;
};

/// Takes the identifier ("com.apple.FinalCutPro") on the session's bus. On failure, also when
/// another process has it, returns nullptr with the reason in `error`, and `isTaken` tells whether
/// it was that.
[[nodiscard]] std::unique_ptr<EventService> openEventService(const std::string& identifier,
                                                             EventServiceHandlers handlers,
                                                             bool& isTaken, std::string& error);

} // namespace cutstack
