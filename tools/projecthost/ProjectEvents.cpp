#include "tools/projecthost/ProjectEvents.h"

#include <charconv>
#include <memory>
#include <utility>

#include "fcp/EventCodes.h"
#include "platform/FileReference.h"
#include "support/Format.h"
#include "tools/projecthost/ItemExport.h"
#include "tools/projecthost/TableOfContents.h"

namespace cutstack::projecthost {

namespace {

EventAnswer failure(std::string message) { return {EventStatus::failed, {}, std::move(message)}; }

EventAnswer xmlAnswer(SharedBytes xml) {
    return {EventStatus::noError,
            {{EditorKey::xml, EventDescriptor{EventType::utf8, std::move(xml), {}}}},
            {}};
}

bool namesProject(const Event& event) {
    return valueOf(event.parameters, EditorKey::project, EventType::fsrf) != nullptr ||
           valueOf(event.parameters, EditorKey::projectUrl, EventType::furl) != nullptr;
}

/// Where the project that the event is about lies.
std::optional<std::string> pathOfProject(const Event& event) {
    if (const auto* file = valueOf(event.parameters, EditorKey::project, EventType::fsrf))
        return FileReference::pathOf(file->bytes.view());
    const auto* url = valueOf(event.parameters, EditorKey::projectUrl, EventType::furl);
    return url == nullptr ? std::nullopt : withoutPercentEscapes(url->bytes.view());
}

/// The open project that the event is about; else the answer says what is wrong.
OpenProject* projectOf(const Event& event, OpenProjects& projects, EventAnswer& answer) {
    if (!namesProject(event)) {
        answer = failure("The event names no project");
        return nullptr;
    }
    const auto path = pathOfProject(event);
    OpenProject* project = path ? projects.find(*path) : nullptr;
    if (project == nullptr)
        answer = failure(path ? formatString("%@ is not open", {*path})
                              : "The file that the event names cannot be found");
    return project;
}

/// What `work` answers for the document of the project that the event is about.
template <typename Work>
EventAnswer withDocument(const Event& event, OpenProjects& projects, Work work) {
    EventAnswer answer;
    OpenProject* project = projectOf(event, projects, answer);
    if (project == nullptr)
        return answer;
    std::string error;
    const auto document = project->content().document(error);
    return document ? work(*document)
                    : failure(formatString("%@ cannot be served: %@", {project->path(), error}));
}

/// The same for an item of it that the event names.
template <typename Work>
EventAnswer withItem(const Event& event, OpenProjects& projects, Work work) {
    const auto* item = valueOf(event.parameters, EditorKey::item, EventType::utf8);
    if (item == nullptr)
        return failure("The event names no item");
    return withDocument(event, projects, [&](const SharedBytes& document) {
        return work(DocumentOutline(document.view()), item->bytes.view());
    });
}

EventAnswer unknownItem(std::string_view uuid) {
    return failure(formatString("The project has no item %@", {uuid}));
}

std::string savingFailed(OpenProject& project, const std::string& error) {
    return formatString("%@ cannot be saved: %@", {project.path(), error});
}

} // namespace

struct ProjectEvents::Row {
    FourCharCode eventID;
    Handling handling;
};

const ProjectEvents::Row ProjectEvents::kRows[] = {
    {EditorEvent::listOpenProjects, &ProjectEvents::listOpenProjects},
    {EditorEvent::exportTableOfContents, &ProjectEvents::exportTableOfContents},
    {EditorEvent::exportProject, &ProjectEvents::exportProject},
    {EditorEvent::exportItem, &ProjectEvents::exportItem},
    {EditorEvent::openItem, &ProjectEvents::openItem},
    {EditorEvent::closeProject, &ProjectEvents::closeProject},
    {EditorEvent::saveProject, &ProjectEvents::saveProject},
    {EditorEvent::importXml, &ProjectEvents::importXml},
};

EventAnswer ProjectEvents::answer(const Event& event) {
    for (const Row& row : kRows)
        if (event.eventClass == kEditorSignature && event.eventID == row.eventID)
            return (this->*row.handling)(event);
    return {EventStatus::eventNotHandled,
            {},
            formatString("The event '%@' '%@' is not known",
                         {textOf(event.eventClass), textOf(event.eventID)})};
}

/// Whose file is gone is left out: a client stops at an entry that leads nowhere.
EventAnswer ProjectEvents::listOpenProjects(const Event& /*event*/) {
    std::vector<EventDescriptor> entries;
    for (const auto& project : projects_.all()) {
        auto reference = project->reference();
        if (!reference || reference->path() != project->path())
            continue;
        EventDescriptor file =
            EventDescriptor::ofBytes(EventType::fsrf, std::string(reference->bytes()));
        entries.push_back(
            EventDescriptor::ofRecord({{EditorKey::openProjectFile, std::move(file)}}));
    }
    return {EventStatus::noError,
            {{EditorKey::openProjects, EventDescriptor::ofList(std::move(entries))}},
            {}};
}

EventAnswer ProjectEvents::exportTableOfContents(const Event& event) {
    return withDocument(event, projects_, [](const SharedBytes& document) {
        return xmlAnswer(SharedBytes(tableOfContents(DocumentOutline(document.view()))));
    });
}

EventAnswer ProjectEvents::exportProject(const Event& event) {
    return withDocument(event, projects_, xmlAnswer);
}

EventAnswer ProjectEvents::exportItem(const Event& event) {
    return withItem(event, projects_, [](const DocumentOutline& project, std::string_view uuid) {
        auto item = exportedItem(project, uuid);
        return item ? xmlAnswer(SharedBytes(*std::move(item))) : unknownItem(uuid);
    });
}

/// There is no window to show it in: all that can be told is whether it is there.
EventAnswer ProjectEvents::openItem(const Event& event) {
    return withItem(event, projects_, [](const DocumentOutline& project, std::string_view uuid) {
        return findItem(project, uuid) ? EventAnswer() : unknownItem(uuid);
    });
}

EventAnswer ProjectEvents::closeProject(const Event& event) {
    EventAnswer answer;
    OpenProject* project = projectOf(event, projects_, answer);
    if (project == nullptr)
        return answer;
    const auto* flag = valueOf(event.parameters, EditorKey::closeFlag, EventType::longInteger);
    const bool drops = flag != nullptr && flag->integer() == 1;
    std::string error;
    if (!drops && !project->content().save(error))
        return failure(savingFailed(*project, error));
    projects_.close(*project);
    return answer;
}

EventAnswer ProjectEvents::saveProject(const Event& event) {
    EventAnswer answer;
    OpenProject* project = projectOf(event, projects_, answer);
    if (project == nullptr)
        return answer;
    const auto* overwrites =
        valueOf(event.parameters, EditorKey::overwriteFlag, EventType::boolean);
    if (overwrites != nullptr && overwrites->boolean() == false)
        return failure("The project can only be saved over its own file");
    std::string error;
    if (!project->content().save(error))
        return failure(savingFailed(*project, error));
    return answer;
}

EventAnswer ProjectEvents::importXml(const Event& event) {
    const auto* xml = valueOf(event.parameters, EditorKey::xml, EventType::utf8);
    if (xml == nullptr)
        return failure("The event has nothing to import");
    EventAnswer answer;
    OpenProject* project =
        namesProject(event) ? projectOf(event, projects_, answer) : projects_.only();
    if (project == nullptr)
        return answer.message.empty()
                   ? failure("The event names no project, and not exactly one is open")
                   : answer;
    std::string error;
    if (!project->content().importXml(std::string(xml->bytes.view()), error))
        return failure(formatString("Nothing was imported into %@: %@", {project->path(), error}));
    return answer;
}

std::optional<std::string> withoutPercentEscapes(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            plain += text[i];
            continue;
        }
        unsigned byte = 0;
        const char* const digits = text.data() + i + 1;
        const bool hasDigits =
            i + 2 < text.size() && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
        if (!hasDigits)
            return std::nullopt;
        plain += static_cast<char>(byte);
        i += 2;
    }
    return plain;
}

} // namespace cutstack::projecthost
