#pragma once

// What the program tells the Finder. Any thread.

#include <string>

#include "platform/EventTransport.h"

namespace cutstack {

/// Tells the Finder that the item at `path` changed: event 'fndr' 'fupd' with the item as its
/// direct object, an alias whose bytes are the path in UTF-8. Nobody need be listening; failures
/// are ignored, and nothing is sent for a path that leads nowhere.
void SendFinderSyncEvent(const std::string& path, EventTransport& events);

} // namespace cutstack
