#include "fcp/ZTAppleEvents.h"

#include <algorithm>
#include <utility>

#include "fcp/EditorVersion.h"
#include "fcp/EventCodes.h"
#include "fcp/EventExchange.h"
#include "fcp/EventText.h"
#include "support/ZTException.h"

namespace cutstack {

namespace {

constexpr std::string_view kNotRunning = "Error: Final Cut Pro is not running.";

constexpr std::string_view kDestinationFailure =
    "Error adding destination project file to AppleEvent query";
constexpr std::string_view kFlagFailure = "Error adding overwrite flag to AppleEvent query";

constexpr ExchangeMessages kControlMessages{
    .project = "Error adding source project file to AppleEvent query"};
constexpr ExchangeMessages kImportMessages{.target = "Error creating AEDescription: %d",
                                           .event = "Error creating AppleEvent: %d",
                                           .project = "Error creating project FSRef: %d",
                                           .send = "Error sending AppleEvent: %d"};

/// Runs an operation whose result says of a failure that it is `Result()`.
template <typename Operation>
auto guardedOperation(std::string_view method, const EditorServices& at, Operation&& operation) {
    using Result = std::invoke_result_t<Operation>;
    return guarded(method, std::forward<Operation>(operation), at.log).value_or(Result());
}

bool isRunning(const EditorServices& at) {
    return at.workspace.isRunning(std::string(kEditorIdentifier));
}

bool isRunningOrToldNot(const EditorServices& at) {
    const bool isThere = isRunning(at);
    if (!isThere)
        at.log.console().log(kNotRunning);
    return isThere;
}

// Having the project open.

enum class Opening { failed, wasOpen, openedByThisCall };

struct OpeningRule {
    std::string_view messageWhenNotOpen; ///< empty when nobody is told
    LaunchOptions options;               ///< for opening a project that is not open
};
constexpr OpeningRule kQuietOpening{"", LaunchOptions::withoutActivation};
constexpr OpeningRule kPlainOpening{"Error: project is not open.", LaunchOptions::launchDefault};

bool isOpen(const std::string& path, const EditorServices& at) {
    const auto open = ZTAppleEvents::listOfOpenFCPProjects(at);
    return open && std::ranges::find(*open, path) != open->end();
}

/// Does not wait for the editor: the event that follows does.
Opening openProject(const std::string& path, bool launchFCP, const OpeningRule& rule,
                    const EditorServices& at) {
    const std::string editor(kEditorIdentifier);
    if (!isRunning(at)) {
        if (!launchFCP)
            return Opening::failed;
        at.workspace.openFile(path, editor, LaunchOptions::launchDefault);
    }
    if (isOpen(path, at))
        return Opening::wasOpen;
    if (!launchFCP) {
        if (!rule.messageWhenNotOpen.empty())
            at.log.console().log(rule.messageWhenNotOpen);
        return Opening::failed;
    }
    at.workspace.openFile(path, editor, rule.options);
    return Opening::openedByThisCall;
}

// Exports.

ExchangeRequest itemRequest(FourCharCode eventID, const std::string& item,
                            const std::string& path) {
    return {.eventID = eventID,
            .projectPath = path,
            .parameters = {{EditorKey::item, EventDescriptor::ofBytes(EventType::utf8, item),
                            kDestinationFailure}}};
}

/// Has the exchange that a project was opened for; when the editor has answered with XML, however
/// little, the project is closed again if that is wanted.
std::optional<SharedBytes> exportedXml(ExchangeRequest request, bool closesAfterwards,
                                       const EditorServices& at) {
    const std::string path = request.projectPath.value_or("");
    const auto reply = exchangeEvent(std::move(request), at);
    auto xml = reply ? xmlOfReply(*reply, at) : std::nullopt;
    if (!xml)
        return std::nullopt;
    if (xml->isEmpty())
        at.log.console().log(kNoCommunication);
    if (closesAfterwards)
        ZTAppleEvents::closeProject(path, true, at);
    return xml->isEmpty() ? std::nullopt : std::move(xml);
}

std::optional<SharedBytes> openAndExport(ExchangeRequest request, bool launchFCP,
                                         bool closesProject, const EditorServices& at) {
    const Opening opening = openProject(*request.projectPath, launchFCP, kPlainOpening, at);
    if (opening == Opening::failed)
        return std::nullopt;
    return exportedXml(std::move(request), closesProject && opening == Opening::openedByThisCall,
                       at);
}

std::optional<std::string> textOfData(const std::optional<SharedBytes>& data) {
    return data && isUtf8(data->view()) ? std::optional(std::string(data->view())) : std::nullopt;
}

/// The path of one entry of the list of open projects.
std::optional<std::string> openProjectPath(const EventDescriptor& entry, const EditorServices& at) {
    const EventDescriptor* file =
        entry.type == EventType::record
            ? valueOf(entry.fields, EditorKey::openProjectFile, EventType::fsrf)
            : nullptr;
    return file == nullptr ? std::nullopt : at.pathOfReference(file->bytes.view());
}

/// A question about a project that is named by its file and by its path.
ExchangeRequest controlRequest(FourCharCode eventID, const std::string& path, EventParameter flag) {
    auto url = EventDescriptor::ofBytes(EventType::furl, addingPercentEscapes(path));
    return {.eventID = eventID,
            .projectPath = path,
            .parameters = {{EditorKey::projectUrl, std::move(url), kDestinationFailure},
                           std::move(flag)},
            .messages = kControlMessages};
}

} // namespace

ZTAppleEvents::Text ZTAppleEvents::finalCutProVersionString(const Services& at) {
    return guardedOperation("+[ZTAppleEvents finalCutProVersionString]", at,
                            [&] { return installedEditorVersion(at.workspace, at.locations); });
}

int ZTAppleEvents::finalCutProMajorVersion(const Services& at) {
    return majorVersionOf(finalCutProVersionString(at));
}

int ZTAppleEvents::maximumXMEMLVersion(const Services& at) {
    return maximumXMEMLVersionOf(finalCutProVersionString(at));
}

std::optional<std::vector<std::string>> ZTAppleEvents::listOfOpenFCPProjects(const Services& at) {
    using Paths = std::vector<std::string>;
    const auto list = [&]() -> std::optional<Paths> {
        if (!isRunningOrToldNot(at))
            return std::nullopt;
        const auto reply = exchangeEvent({.eventID = EditorEvent::listOpenProjects}, at);
        if (!reply)
            return std::nullopt;
        Paths paths;
        const EventDescriptor* open = valueOf(*reply, EditorKey::openProjects, EventType::list);
        if (open == nullptr)
            return paths;
        for (const EventField& entry : open->fields) {
            auto path = openProjectPath(entry.value, at);
            if (!path)
                break;
            paths.push_back(*std::move(path));
        }
        return paths;
    };
    return guardedOperation("+[ZTAppleEvents listOfOpenFCPProjects]", at, list);
}

std::string ZTAppleEvents::generateUUID(const Services& at) {
    return ZTLocalPaths::uuid(at.locations);
}

ZTAppleEvents::Data ZTAppleEvents::getTOCData(const std::string& path, bool launchFCP,
                                              const Services& at) {
    return guardedOperation("+[ZTAppleEvents getTOCData:launchFCP:]", at, [&]() -> Data {
        if (openProject(path, launchFCP, kQuietOpening, at) == Opening::failed)
            return std::nullopt;
        return exportedXml({.eventID = EditorEvent::exportTableOfContents, .projectPath = path},
                           false, at);
    });
}

ZTAppleEvents::Text ZTAppleEvents::getTOC(const std::string& path, bool launchFCP,
                                          const Services& at) {
    return guardedOperation("+[ZTAppleEvents getTOC:launchFCP:]", at,
                            [&] { return textOfData(getTOCData(path, launchFCP, at)); });
}

ZTAppleEvents::Text ZTAppleEvents::getTOC(const std::string& path, const Services& at) {
    return getTOC(path, false, at);
}

ZTAppleEvents::Data ZTAppleEvents::getProjectXMLData(const std::string& path, bool launchFCP,
                                                     bool closesProject, const Services& at) {
    return guardedOperation("+[ZTAppleEvents getProjectXMLData:launchFCP:closeProject:]", at, [&] {
        return openAndExport({.eventID = EditorEvent::exportProject, .projectPath = path},
                             launchFCP, closesProject, at);
    });
}

ZTAppleEvents::Data ZTAppleEvents::getProjectXMLData(const std::string& path, bool launchFCP,
                                                     const Services& at) {
    return getProjectXMLData(path, launchFCP, false, at);
}

ZTAppleEvents::Text ZTAppleEvents::getProjectXML(const std::string& path, bool launchFCP,
                                                 bool closesProject, const Services& at) {
    return guardedOperation("+[ZTAppleEvents getProjectXML:launchFCP:closeProject:]", at, [&] {
        return textOfData(getProjectXMLData(path, launchFCP, closesProject, at));
    });
}

ZTAppleEvents::Text ZTAppleEvents::getProjectXML(const std::string& path, bool launchFCP,
                                                 const Services& at) {
    return getProjectXML(path, launchFCP, false, at);
}

ZTAppleEvents::Text ZTAppleEvents::getProjectXML(const std::string& path, const Services& at) {
    return getProjectXML(path, false, false, at);
}

ZTAppleEvents::Data ZTAppleEvents::getItemXMLData(const std::string& item, const std::string& path,
                                                  bool launchFCP, bool closesProject,
                                                  const Services& at) {
    return guardedOperation(
        "+[ZTAppleEvents getItemXMLData:forProject:launchFCP:closeProject:]", at, [&] {
            return openAndExport(itemRequest(EditorEvent::exportItem, item, path), launchFCP,
                                 closesProject, at);
        });
}

ZTAppleEvents::Data ZTAppleEvents::getItemXMLData(const std::string& item, const std::string& path,
                                                  bool launchFCP, const Services& at) {
    return getItemXMLData(item, path, launchFCP, false, at);
}

ZTAppleEvents::Text ZTAppleEvents::getItemXML(const std::string& item, const std::string& path,
                                              bool launchFCP, bool closesProject,
                                              const Services& at) {
    return guardedOperation(
        "+[ZTAppleEvents getItemXML:forProject:launchFCP:closeProject:]", at,
        [&] { return textOfData(getItemXMLData(item, path, launchFCP, closesProject, at)); });
}

ZTAppleEvents::Text ZTAppleEvents::getItemXML(const std::string& item, const std::string& path,
                                              bool launchFCP, const Services& at) {
    return getItemXML(item, path, launchFCP, false, at);
}

ZTAppleEvents::Text ZTAppleEvents::getItemXML(const std::string& item, const std::string& path,
                                              const Services& at) {
    return getItemXML(item, path, false, false, at);
}

std::optional<std::vector<EditorSequence>>
ZTAppleEvents::sequencesInProject(const std::string& path, const Services& at) {
    const auto read = [&]() -> std::optional<std::vector<EditorSequence>> {
        const Data xml = finalCutProMajorVersion(at) > 6 ? getTOCData(path, true, at)
                                                         : getProjectXMLData(path, true, at);
        if (!xml)
            return std::nullopt;
        XmlError fault;
        auto sequences = readEditorSequences(*xml, fault);
        if (!sequences)
            at.log.console().log(formatString("Error: %@", {fault.description()}));
        return sequences;
    };
    return guardedOperation("+[ZTAppleEvents sequencesInProject:]", at, read);
}

void ZTAppleEvents::openItem(const std::string& item, const std::string& path, bool launchFCP,
                             const Services& at) {
    const auto open = [&] {
        if (openProject(path, launchFCP, kPlainOpening, at) != Opening::failed)
            static_cast<void>(exchangeEvent(itemRequest(EditorEvent::openItem, item, path), at));
    };
    guarded("+[ZTAppleEvents openItem:forProject:launchFCP:]", open, at.log);
}

void ZTAppleEvents::closeProject(const std::string& path, bool saveChanges, const Services& at) {
    const auto close = [&] {
        if (!isRunningOrToldNot(at))
            return;
        EventParameter flag{EditorKey::closeFlag, EventDescriptor::ofInteger(saveChanges ? 0 : 1),
                            kFlagFailure};
        static_cast<void>(
            exchangeEvent(controlRequest(EditorEvent::closeProject, path, std::move(flag)), at));
    };
    guarded("+[ZTAppleEvents closeProject:saveChanges:]", close, at.log);
}

bool ZTAppleEvents::saveProject(const std::string& path, const Services& at) {
    return guardedOperation("+[ZTAppleEvents saveProject:]", at, [&] {
        if (!isRunningOrToldNot(at))
            return false;
        EventParameter flag{EditorKey::overwriteFlag, EventDescriptor::ofBoolean(true),
                            kFlagFailure};
        const auto request = controlRequest(EditorEvent::saveProject, path, std::move(flag));
        return exchangeEvent(request, at).has_value();
    });
}

bool ZTAppleEvents::sendXMLToFCP(std::string_view xml, const std::string& projectPath,
                                 const Services& at) {
    return guardedOperation("+[ZTAppleEvents sendXMLToFCP:projectPath:]", at, [&] {
        auto escaped = EventDescriptor::ofBytes(EventType::utf8, escapeCharactersInXMLString(xml));
        return exchangeEvent({.eventID = EditorEvent::importXml,
                              .projectPath = projectPath,
                              .parameters = {{EditorKey::xml, std::move(escaped),
                                              "Error adding XML data to event: %d"}},
                              .messages = kImportMessages,
                              .keepsParametersWithoutProject = true},
                             at)
            .has_value();
    });
}

} // namespace cutstack
