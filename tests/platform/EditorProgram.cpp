// An editor to be started: takes its name on the session's bus, opens what it is told to, by its
// argument or over the bus, and answers every event with the paths so far. The event 'quit' ends
// it.

#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "platform/EventService.h"

int main(int argc, char** argv) {
    using namespace cutstack;
    std::vector<EventDescriptor> opened;
    const auto open = [&](const std::string& path) {
        opened.push_back(EventDescriptor::ofBytes(EventType::utf8, path));
    };
    for (int i = 1; i < argc; ++i)
        open(std::string("argument ") + argv[i]);

    std::unique_ptr<EventService> service;
    EventServiceHandlers handlers;
    handlers.handleEvent = [&](const Event& event) {
        if (event.eventID == fourCharCode("quit"))
            service->stop();
        return EventAnswer{
            EventStatus::noError, {{fourCharCode("open"), EventDescriptor::ofList(opened)}}, {}};
    };
    handlers.open = [&](const std::vector<std::string>& paths, bool inBackground) {
        if (paths.empty())
            open(inBackground ? "shown in the background" : "shown");
        for (const std::string& path : paths)
            open((inBackground ? "background " : "front ") + path);
    };
    bool isTaken = false;
    std::string error;
    service = openEventService("com.apple.FinalCutPro", std::move(handlers), isTaken, error);
    if (service == nullptr || !service->serve(error)) {
        std::cerr << error << '\n';
        return 1;
    }
    return 0;
}
