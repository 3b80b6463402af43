#include "support/ZTLocalPaths.h"

#include <algorithm>
#include <array>

#include "support/Unicode.h"

namespace cutstack {

namespace {

/// Where a kind of folder stands in each domain, below the domain's root; empty for nowhere.
struct StandardFolder {
    SearchPathDirectory directory;
    std::string_view user;
    std::string_view local;
    std::string_view system;
};

using enum SearchPathDirectory;
constexpr std::array kStandardFolders = {
    StandardFolder{application, "Applications", "Applications", ""},
    StandardFolder{adminApplication, "Applications/Utilities", "Applications/Utilities", ""},
    StandardFolder{library, "Library", "Library", "System/Library"},
    StandardFolder{documentation, "Library/Documentation", "Library/Documentation",
                   "System/Library/Documentation"},
    StandardFolder{document, "Documents", "", ""},
    StandardFolder{desktop, "Desktop", "", ""},
    StandardFolder{caches, "Library/Caches", "Library/Caches", "System/Library/Caches"},
    StandardFolder{applicationSupport, "Library/Application Support", "Library/Application Support",
                   ""},
};

/// Plain beginnings of protected paths, so that "/usr2" is protected as well.
constexpr std::array<std::string_view, 4> kSystemPrefixes = {"/usr", "/var", "/private/var",
                                                             "/System"};
constexpr std::array<std::string_view, 2> kSharedFolders = {"/Users/Shared", "/Volumes"};

std::string_view folderInDomain(const StandardFolder& folder, SearchPathDomainMask domain) {
    switch (domain) {
    case SearchPathDomainMask::user:
        return folder.user;
    case SearchPathDomainMask::local:
        return folder.local;
    case SearchPathDomainMask::system:
        return folder.system;
    case SearchPathDomainMask::network:
        return {};
    }
    return {};
}

std::string appended(const std::string& folder, std::string_view component) {
    return (folder + (folder.ends_with('/') ? "" : "/")).append(component);
}

ZTLocalPaths::Path appended(const ZTLocalPaths::Path& folder, std::string_view component) {
    return folder ? std::optional(appended(*folder, component)) : std::nullopt;
}

SearchPathDomainMask userOrLocal(bool userDomain) {
    return userDomain ? SearchPathDomainMask::user : SearchPathDomainMask::local;
}

/// A path without its last two UTF-16 units, of which the last one is a slash.
std::string withoutTwoUnits(std::string_view path) {
    path.remove_suffix(1);
    std::size_t last = path.size() - 1;
    while (last > 0 && (path[last] & 0xC0) == 0x80)
        --last;
    // Half of a character of two units stays behind; it is nobody's name.
    const bool halved = utf16Length(path.substr(last)) == 2;
    return std::string(path.substr(0, last)) + (halved ? "\xEF\xBF\xBD" : "");
}

bool isStandardFolder(const std::string& path, const Locations& at) {
    for (const bool userDomain : {true, false}) {
        for (const auto directory :
             {&ZTLocalPaths::applicationDirectory, &ZTLocalPaths::adminApplicationDirectory,
              &ZTLocalPaths::documentDirectory, &ZTLocalPaths::libraryDirectory,
              &ZTLocalPaths::prefsDirectory, &ZTLocalPaths::cacheDirectory,
              &ZTLocalPaths::appSupportDirectory}) {
            if (directory(userDomain, at) == path)
                return true;
        }
    }
    return ZTLocalPaths::desktopDirectory(at) == path || ZTLocalPaths::userDirectory(at) == path ||
           ZTLocalPaths::systemLibraryDirectory(at) == path ||
           ZTLocalPaths::localDocumentationDirectory(at) == path ||
           std::ranges::find(kSharedFolders, path) != kSharedFolders.end();
}

} // namespace

const Locations& Locations::ofProcess() {
    static const Locations locations{processEnvironment(), systemConsole()};
    return locations;
}

ZTLocalPaths::Path ZTLocalPaths::pathForDirectory(SearchPathDirectory directory,
                                                  SearchPathDomainMask domain,
                                                  const Locations& at) {
    const auto folder = std::ranges::find(kStandardFolders, directory, &StandardFolder::directory);
    const std::string_view name =
        folder == kStandardFolders.end() ? std::string_view() : folderInDomain(*folder, domain);
    if (name.empty())
        return std::nullopt;
    // What lies in root's home is looked for in the home of the user whom root works for.
    if (domain == SearchPathDomainMask::user)
        return appended(userDirectory(at), name);
    return appended(at.environment.localRoot().value_or("/"), name);
}

ZTLocalPaths::Path ZTLocalPaths::applicationDirectory(bool userDomain, const Locations& at) {
    return pathForDirectory(application, userOrLocal(userDomain), at);
}

ZTLocalPaths::Path ZTLocalPaths::adminApplicationDirectory(bool userDomain, const Locations& at) {
    return pathForDirectory(adminApplication, userOrLocal(userDomain), at);
}

ZTLocalPaths::Path ZTLocalPaths::libraryDirectory(bool userDomain, const Locations& at) {
    return pathForDirectory(library, userOrLocal(userDomain), at);
}

ZTLocalPaths::Path ZTLocalPaths::documentDirectory(bool userDomain, const Locations& at) {
    return pathForDirectory(document, userOrLocal(userDomain), at);
}

ZTLocalPaths::Path ZTLocalPaths::cacheDirectory(bool userDomain, const Locations& at) {
    return pathForDirectory(caches, userOrLocal(userDomain), at);
}

ZTLocalPaths::Path ZTLocalPaths::appSupportDirectory(bool userDomain, const Locations& at) {
    return pathForDirectory(applicationSupport, userOrLocal(userDomain), at);
}

ZTLocalPaths::Path ZTLocalPaths::prefsDirectory(bool userDomain, const Locations& at) {
    return appended(libraryDirectory(userDomain, at), "Preferences");
}

ZTLocalPaths::Path ZTLocalPaths::logDirectory(bool userDomain, const Locations& at) {
    return appended(libraryDirectory(userDomain, at), "Logs");
}

ZTLocalPaths::Path ZTLocalPaths::desktopDirectory(const Locations& at) {
    return pathForDirectory(desktop, SearchPathDomainMask::user, at);
}

ZTLocalPaths::Path ZTLocalPaths::systemLibraryDirectory(const Locations& at) {
    return pathForDirectory(library, SearchPathDomainMask::system, at);
}

ZTLocalPaths::Path ZTLocalPaths::localDocumentationDirectory(const Locations& at) {
    return pathForDirectory(documentation, SearchPathDomainMask::local, at);
}

ZTLocalPaths::Path ZTLocalPaths::userDirectory(const Locations& at) {
    if (at.environment.isRoot()) {
        const auto user = currentConsoleUser(at);
        if (auto home = user ? at.console.homeFolderOf(*user) : std::nullopt)
            return home;
    }
    return at.environment.homeFolder();
}

ZTLocalPaths::Path ZTLocalPaths::trashDirectory(const Locations& at) {
    return appended(userDirectory(at), ".Trash");
}

ZTLocalPaths::Path ZTLocalPaths::movieDirectory(const Locations& at) {
    return appended(userDirectory(at), "Movies");
}

std::string ZTLocalPaths::tempDirectory(const Locations& at) {
    return at.environment.temporaryFolder();
}

std::string ZTLocalPaths::uuid(const Locations& at) {
    return at.environment.globallyUniqueString();
}

std::string ZTLocalPaths::tempFile(const Locations& at) {
    return appended(tempDirectory(at), uuid(at));
}

std::optional<std::string> ZTLocalPaths::username(const Locations& at) {
    if (at.environment.isRoot()) {
        if (auto user = currentConsoleUser(at))
            return user;
    }
    return at.environment.userName();
}

std::optional<std::string> ZTLocalPaths::currentConsoleUser(const Locations& at) {
    auto user = at.console.userAtConsole();
    if (!user || user->empty() || *user == kLoginWindowUser)
        return std::nullopt;
    return user;
}

bool ZTLocalPaths::isPathSystemDirectory(std::string_view path, bool exactMatch,
                                         const Locations& at) {
    if (path == "/")
        return true;
    if (utf16Length(path) < 3)
        return false;
    // A slash at the end costs the character before it as well, deliberately: such a path is
    // nearly never found among the standard folders.
    const std::string compared = path.ends_with('/') ? withoutTwoUnits(path) : std::string(path);
    if (isStandardFolder(compared, at))
        return true;
    return !exactMatch && std::ranges::any_of(kSystemPrefixes, [&](std::string_view prefix) {
        return compared.starts_with(prefix);
    });
}

bool ZTLocalPaths::isPathOnTimeMachineVolume(std::string_view path) {
    return path.starts_with("/Volumes/") &&
           appended(std::string(path), "").find("/Backups.backupdb/") != std::string::npos;
}

} // namespace cutstack
