#pragma once

// What the host answers to the editor's events (fcp/EventCodes.h). A project is named by a
// reference to its file or, where there is none, by its escaped path. What cannot be done is
// answered with words for people. One thread at a time.

#include <string>

#include "platform/EventService.h"
#include "tools/projecthost/OpenProjects.h"

namespace cutstack::projecthost {

class ProjectEvents {
public:
    /// `projects` outlives this.
    explicit ProjectEvents(OpenProjects& projects) : projects_(projects) {}

    /// The answer; eventNotHandled for an event that no editor knows.
    [[nodiscard]] EventAnswer answer(const Event& event);

private:
    using Handling = EventAnswer (ProjectEvents::*)(const Event&);
    struct Row;
    static const Row kRows[];

    EventAnswer listOpenProjects(const Event& event);
    EventAnswer exportTableOfContents(const Event& event);
    EventAnswer exportProject(const Event& event);
    EventAnswer exportItem(const Event& event);
    EventAnswer openItem(const Event& event);
    EventAnswer closeProject(const Event& event);
    EventAnswer saveProject(const Event& event);
    EventAnswer importXml(const Event& event);

    OpenProjects& projects_;
};

/// The text whose bytes stand in `text` with "%XX" for some; nothing for a "%" without two digits.
[[nodiscard]] std::optional<std::string> withoutPercentEscapes(std::string_view text);

} // namespace cutstack::projecthost
