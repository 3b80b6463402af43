#pragma once

// An editor for tests of the bridge: a transport and a workspace that answer from a script and keep
// what they were asked, and the services that are made of them.

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "fcp/EditorServices.h"
#include "fcp/EventCodes.h"
#include "platform/FileReference.h"
#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"

namespace cutstack {

/// The bytes that the tests refer to a file with: its path, and zeros.
inline SharedBytes fakeReference(std::string path) {
    path.resize(kFileReferenceBytes);
    return SharedBytes(std::move(path));
}

inline std::string pathInReference(std::string_view reference) {
    return std::string(reference.substr(0, reference.find('\0')));
}

/// An event or a reply in a line: "eXML fcpP fsrf /p.fcp, fcIU utf8 ID", numbers in hexadecimal.
inline std::string description(const Event& event) {
    std::string text = textOf(event.eventID);
    for (const EventField& field : event.parameters) {
        const EventDescriptor& value = field.value;
        std::string bytes(value.bytes.view());
        if (value.type == EventType::fsrf)
            bytes = pathInReference(bytes);
        if (value.type == EventType::longInteger || value.type == EventType::boolean) {
            std::string digits;
            for (const char byte : bytes)
                digits.append({"0123456789ABCDEF"[static_cast<unsigned char>(byte) >> 4U],
                               "0123456789ABCDEF"[static_cast<unsigned char>(byte) & 0xFU]});
            bytes = digits;
        }
        text.append(field.keyword == event.parameters.front().keyword ? " " : ", ");
        text.append(textOf(field.keyword) + " " + textOf(value.type) + " " + bytes);
    }
    return text;
}

/// Answers by event ID; keeps every event but the questions for the open projects.
struct FakeEventTransport final : EventTransport {
    struct Answer {
        EventStatus status = EventStatus::noError;
        std::vector<EventField> parameters;
    };

    std::map<FourCharCode, Answer> answers;
    std::function<void(FourCharCode)> whenAsked; ///< called first with the event's ID; may throw
    std::vector<Event> events;
    std::vector<SendMode> modes;
    std::vector<std::chrono::milliseconds> timeouts;

    EventStatus send(const Event& event, SendMode mode, std::chrono::milliseconds timeout,
                     std::vector<EventField>& reply) override {
        if (whenAsked)
            whenAsked(event.eventID);
        if (event.eventID != EditorEvent::listOpenProjects)
            events.push_back(event);
        modes.push_back(mode);
        timeouts.push_back(timeout);
        const Answer& answer = answers[event.eventID];
        if (answer.status == EventStatus::noError)
            reply = answer.parameters;
        return answer.status;
    }

    /// The events in the form of description(), and forgets them.
    std::vector<std::string> takeEvents() {
        std::vector<std::string> texts;
        std::ranges::transform(events, std::back_inserter(texts), description);
        events.clear();
        return texts;
    }

    void answerXml(FourCharCode eventID, std::string xml) {
        answers[eventID].parameters = {
            {EditorKey::xml, EventDescriptor::ofBytes(EventType::utf8, std::move(xml))}};
    }
    void answerOpenProjects(const std::vector<std::string>& paths) {
        std::vector<EventDescriptor> entries;
        entries.reserve(paths.size());
        for (const std::string& path : paths)
            entries.push_back(EventDescriptor::ofRecord(
                {{EditorKey::openProjectFile, {EventType::fsrf, fakeReference(path), {}}}}));
        answers[EditorEvent::listOpenProjects].parameters = {
            {EditorKey::openProjects, EventDescriptor::ofList(std::move(entries))}};
    }
};

/// No session at all: every request fails.
struct FakeDesktop final : Desktop {
    bool isRunning(const std::string&) override { return false; }
    bool open(const std::string&, const std::string&, const std::string&, LaunchOptions,
              std::string&) override {
        return false;
    }
    bool openWithPreferred(const std::string&, std::string&) override { return false; }
    bool reveal(const std::string&, std::string&) override { return false; }
    int becomeForegroundApplication() override { return 0; }
};

class FakeWorkspace final : public Workspace {
public:
    using Workspace::openFile;
    using Workspace::Workspace;

    bool isEditorRunning = true;
    std::size_t opensUntilItRuns = 1; ///< how many files it is told to open before it runs
    std::optional<std::string> editorBundle;
    std::vector<std::string> opened; ///< "path", behind "background " without activation

    std::optional<std::string>
    absolutePathForAppBundleWithIdentifier(std::string_view identifier) override {
        return identifier == kEditorIdentifier ? editorBundle : std::nullopt;
    }
    bool isRunning(const std::string& identifier) override {
        return identifier == kEditorIdentifier && isEditorRunning;
    }
    bool openFile(const std::string& path, const std::string& identifier,
                  LaunchOptions options) override {
        const bool isQuiet = options == LaunchOptions::withoutActivation;
        opened.push_back((isQuiet ? "background " : "") + path);
        isEditorRunning = isEditorRunning || opened.size() >= opensUntilItRuns;
        return identifier == kEditorIdentifier;
    }
};

/// The services of a machine whose user has nothing but what the test puts into `folder`, which is
/// also the root of the machine's own folders. Files exist as `files` says.
struct FakeEditor {
    FakeEditor() {
        environment.home = folder / "Home";
        environment.local = folder.path().string();
        log.createNewLog("Test");
    }

    TemporaryFolder folder;
    FakeEnvironment environment;
    FakeConsole user;
    FakeClock clock;
    FakeSystemLog console;
    Locations locations{environment, user};
    LogWriter log{{locations, clock, console, [] { return LogHeader(); }}};
    FakeDesktop desktop;
    ApplicationBundles bundles{locations, nullptr};
    FakeWorkspace workspace{desktop, bundles, console};
    FakeEventTransport transport;
    std::vector<std::string> files{"/p.fcp"};
    std::size_t referenceBytes = kFileReferenceBytes;
    EditorServices services{transport,
                            workspace,
                            locations,
                            log,
                            [this](const std::string& path) -> std::optional<SharedBytes> {
                                if (std::ranges::find(files, path) == files.end())
                                    return std::nullopt;
                                return fakeReference(path).first(referenceBytes);
                            },
                            [this](std::string_view reference) -> std::optional<std::string> {
                                const std::string path = pathInReference(reference);
                                return std::ranges::find(files, path) == files.end()
                                           ? std::nullopt
                                           : std::optional(path);
                            }};
};

} // namespace cutstack
