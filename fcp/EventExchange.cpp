#include "fcp/EventExchange.h"

#include <new>
#include <utility>

#include "fcp/EventCodes.h"
#include "fcp/EventText.h"
#include "platform/FileReference.h"

namespace cutstack {

namespace {

constexpr std::int32_t kNoError = 0;

/// Takes one step, which answers its result code. Returns whether it went well; else the console
/// has `failure`. Running out of memory is a failure of the step like any other.
template <typename Step>
bool succeeds(Step step, std::string_view failure, const EditorServices& at) {
    std::int32_t code = kNoError;
    try {
        code = step();
    } catch (const std::bad_alloc&) {
        code = kMemoryFull;
    }
    if (code != kNoError)
        at.log.console().log(formatString(failure, {code}));
    return code == kNoError;
}

/// Whether the bytes are such as the receiver expects of their type.
bool isWellFormed(const EventDescriptor& value) {
    const std::string_view bytes = value.bytes.view();
    if (value.type == EventType::fsrf)
        return bytes.size() == kFileReferenceBytes;
    return value.type != EventType::utf8 || isUtf8(bytes);
}

std::int32_t add(FourCharCode keyword, EventDescriptor value, Event& event) {
    if (!isWellFormed(value))
        return kCoercionFailed;
    event.parameters.push_back({keyword, std::move(value)});
    return kNoError;
}

/// The reference to the project's file; nothing without a path or a file.
std::optional<SharedBytes> projectReference(const ExchangeRequest& request,
                                            const EditorServices& at) {
    const auto& path = request.projectPath;
    // A zero byte would end the path early for the system, at another file.
    if (!path || path->empty() || path->find('\0') != std::string::npos)
        return std::nullopt;
    return at.referenceToFile(*path);
}

bool addParameters(ExchangeRequest& request, Event& event, const EditorServices& at) {
    const auto reference = projectReference(request, at);
    if (!reference && !request.keepsParametersWithoutProject)
        return true;
    const auto addProject = [&] {
        return add(EditorKey::project, {EventType::fsrf, *reference, {}}, event);
    };
    if (reference && !succeeds(addProject, request.messages.project, at))
        return false;
    for (EventParameter& parameter : request.parameters) {
        const auto addIt = [&] { return add(parameter.keyword, parameter.value, event); };
        if (!succeeds(addIt, parameter.failure, at))
            return false;
    }
    return true;
}

} // namespace

std::optional<std::vector<EventField>> exchangeEvent(ExchangeRequest request,
                                                     const EditorServices& at) {
    EventDescriptor target;
    Event event;
    std::vector<EventField> reply;
    const auto makeTarget = [&] {
        target = EventDescriptor::ofBytes(EventType::sign, textOf(kEditorSignature));
        return kNoError;
    };
    const auto makeEvent = [&] {
        event.eventClass = kEditorSignature;
        event.eventID = request.eventID;
        event.target = std::move(target);
        event.parameters.reserve(request.parameters.size() + 1);
        return kNoError;
    };
    const auto send = [&] {
        return static_cast<std::int32_t>(
            at.transport.send(event, SendMode::waitReply, kDefaultEventTimeout, reply));
    };
    const bool isAnswered = succeeds(makeTarget, request.messages.target, at) &&
                            succeeds(makeEvent, request.messages.event, at) &&
                            addParameters(request, event, at) &&
                            succeeds(send, request.messages.send, at);
    return isAnswered ? std::optional(std::move(reply)) : std::nullopt;
}

std::optional<SharedBytes> xmlOfReply(const std::vector<EventField>& reply,
                                      const EditorServices& at) {
    const EventDescriptor* xml = valueOf(reply, EditorKey::xml, EventType::utf8);
    if (xml == nullptr) {
        at.log.console().log("Error getting XML information");
        return std::nullopt;
    }
    if (!xml->fields.empty()) {
        at.log.console().log("Error retrieving XML data");
        return std::nullopt;
    }
    return formatData(xml->bytes);
}

} // namespace cutstack
