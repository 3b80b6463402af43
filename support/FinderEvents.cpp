#include "support/FinderEvents.h"

#include <unistd.h>

#include "support/ZTFileManager.h"

namespace cutstack {

namespace {

constexpr auto kFinderClass = fourCharCode("fndr");
constexpr auto kFinderUpdate = fourCharCode("fupd");
constexpr auto kDirectObject = fourCharCode("----");
constexpr const char* kFinderSignature = "MACS";

EventDescriptor descriptor(FourCharCode type, std::string bytes) {
    return {type, SharedBytes(std::move(bytes)), {}};
}

} // namespace

void SendFinderSyncEvent(const std::string& path, EventTransport& events) {
    if (::access(path.c_str(), F_OK) != 0)
        return;
    Event event;
    event.eventClass = kFinderClass;
    event.eventID = kFinderUpdate;
    event.target = descriptor(EventType::sign, kFinderSignature);
    event.parameters.push_back({kDirectObject, descriptor(EventType::alias, path)});
    std::vector<EventField> noReply;
    static_cast<void>(events.send(event, SendMode::noReply, kDefaultEventTimeout, noReply));
}

void ZTFileManager::notifyFileSystemChanged(const std::string& path, const FileServices& at) {
    SendFinderSyncEvent(path, at.events);
}

} // namespace cutstack
