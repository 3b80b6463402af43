#pragma once

// An editor that behaves as a test tells it to, also as no editor should: an application on the
// session's bus, on a thread of its own, that speaks to the bus without the program's own service.

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <systemd/sd-bus.h>

#include "platform/EventService.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/SessionBus.h"

namespace cutstack {

/// How the editor meets one event.
struct Scripted {
    enum class Manner {
        answers,        ///< with `answer`
        keepsSilent,    ///< and never answers, but lives
        dies,           ///< instead of answering
        diesHalfway,    ///< with part of the answer sent
        answersNothing, ///< a reply without anything in it
        refuses,        ///< with an error of the bus named `error`
        writes,         ///< a reply that `write` fills in
    };
    Manner manner = Manner::answers;
    EventAnswer answer;
    std::string error;
    std::function<void(sd_bus_message*)> write;
};

class ScriptedEditor {
public:
    using Script = std::function<Scripted(const Event&)>;

    /// Takes the name and answers from a thread; fails the running test when it cannot.
    explicit ScriptedEditor(Script script, const std::string& identifier = "com.apple.FinalCutPro");
    /// An editor that gives every event this answer.
    explicit ScriptedEditor(EventAnswer answer);
    explicit ScriptedEditor(Scripted::Manner manner);
    ~ScriptedEditor();
    ScriptedEditor(const ScriptedEditor&) = delete;
    ScriptedEditor& operator=(const ScriptedEditor&) = delete;

    /// What came so far.
    [[nodiscard]] std::vector<Event> received() const;
    /// The paths that it was asked to open so far, with " (background)" where it was not
    /// to come to the front.
    [[nodiscard]] std::vector<std::string> opened() const;
    /// Waits until as many events have come, and openings; they may come without being answered.
    void awaitReceived(std::size_t count) const;
    void awaitOpened(std::size_t count) const;

private:
    static int hear(sd_bus_message* call, void* editor, sd_bus_error* error);
    int hearEvent(sd_bus_message* call);
    int hearOpen(sd_bus_message* call);
    int meet(sd_bus_message* call, const Scripted& scripted);
    int sendReply(sd_bus_message* call, const std::function<void(sd_bus_message*)>& write);
    void beginReply(sd_bus_message* call);
    void die();
    void run();

    const Script script_;
    Bus bus_;
    Descriptor wake_;
    std::atomic<bool> isOver_ = false;
    mutable std::mutex guard_;
    std::vector<Event> received_;
    std::vector<std::string> opened_;
    mutable std::atomic<std::size_t> receivedCount_ = 0;
    mutable std::atomic<std::size_t> openedCount_ = 0;
    std::thread thread_;
};

} // namespace cutstack
