#include "platform/linux/FreedesktopApplication.h"

#include <string_view>

#include "platform/SystemErrors.h"
#include "platform/linux/FileUri.h"
#include "platform/linux/SessionBus.h"

namespace cutstack {

namespace {

constexpr auto kWithoutActivation = "without-activation";

/// The truth in the variant that comes next; false for another kind of value, which is skipped.
bool readTruth(sd_bus_message* message) {
    int truth = 0;
    if (sd_bus_message_read(message, "v", "b", &truth) > 0)
        return truth != 0;
    sd_bus_message_skip(message, "v");
    return false;
}

} // namespace

std::string applicationPath(const std::string& identifier) {
    std::string path = "/";
    for (const char c : identifier) {
        if (c == '.')
            path += '/';
        else
            path += c == '-' ? '_' : c;
    }
    return path;
}

int appendOpen(sd_bus_message* message, const std::vector<std::string>& paths, bool inBackground) {
    std::vector<std::string> uris;
    uris.reserve(paths.size());
    for (const std::string& path : paths)
        uris.push_back(fileUri(path));
    const int result = appendStrings(message, uris);
    return result < 0 ? result : appendPlatformData(message, inBackground);
}

int appendPlatformData(sd_bus_message* message, bool inBackground) {
    return inBackground ? sd_bus_message_append(message, "a{sv}", 1, kWithoutActivation, "b", 1)
                        : sd_bus_message_append(message, "a{sv}", 0);
}

std::optional<std::vector<std::string>> readPaths(sd_bus_message* message, std::string& error) {
    std::vector<std::string> paths;
    const char* uri = nullptr;
    int result = sd_bus_message_enter_container(message, 'a', "s");
    while (result > 0 &&
           (result = sd_bus_message_read_basic(message, 's', static_cast<void*>(&uri))) > 0) {
        auto path = pathOfFileUri(uri);
        if (!path) {
            error = std::string("Not a file of this machine: ") + uri;
            return std::nullopt;
        }
        paths.push_back(std::move(*path));
    }
    if (result >= 0)
        result = sd_bus_message_exit_container(message);
    if (result < 0) {
        error = wordingOf(-result);
        return std::nullopt;
    }
    return paths;
}

bool readInBackground(sd_bus_message* message) {
    bool inBackground = false;
    if (sd_bus_message_enter_container(message, 'a', "{sv}") <= 0)
        return false;
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const char* key = nullptr;
        if (sd_bus_message_read_basic(message, 's', static_cast<void*>(&key)) <= 0)
            break;
        if (std::string_view(key) == kWithoutActivation)
            inBackground = readTruth(message);
        else
            sd_bus_message_skip(message, "v");
        sd_bus_message_exit_container(message);
    }
    return inBackground;
}

} // namespace cutstack
