#pragma once

// Where things are: the standard folders of the user and of the machine, the Trash, temporary
// files, the user at the console; and whether a path is one that nobody may touch.
//
// Nothing here makes a folder: a path is answered whether or not it exists, and nothing where the
// system has no such place. Runs without a window may run as root. Then "the user" is the one at
// the console, not root; with nobody there it stays root.
//
// ZTLocalPaths is class functions only. They ask the process and the machine unless they are
// handed other Locations. Stateless; any thread.

#include "platform/Console.h"
#include "platform/ProcessEnvironment.h"

#include <optional>
#include <string>
#include <string_view>

namespace cutstack {

/// What the answers rest on.
struct Locations {
    const ProcessEnvironment& environment;
    const Console& console;

    /// Those of this process.
    [[nodiscard]] static const Locations& ofProcess();
};

/// The kinds of standard folder, with the platform's numbers.
enum class SearchPathDirectory : int {
    application = 1,
    adminApplication = 4,
    library = 5,
    documentation = 8,
    document = 9,
    desktop = 12,
    caches = 13,
    applicationSupport = 14,
};

/// Whose folders, with the platform's numbers.
enum class SearchPathDomainMask : unsigned { user = 1, local = 2, network = 4, system = 8 };

class ZTLocalPaths {
public:
    using Path = std::optional<std::string>;

    /// The folder of that kind in that domain; nothing where the domain has none.
    [[nodiscard]] static Path pathForDirectory(SearchPathDirectory directory,
                                               SearchPathDomainMask domain,
                                               const Locations& at = Locations::ofProcess());

    // Folders of the user (`userDomain`) or of the machine.
    [[nodiscard]] static Path applicationDirectory(bool userDomain,
                                                   const Locations& at = Locations::ofProcess());
    [[nodiscard]] static Path
    adminApplicationDirectory(bool userDomain, const Locations& at = Locations::ofProcess());
    [[nodiscard]] static Path libraryDirectory(bool userDomain,
                                               const Locations& at = Locations::ofProcess());
    [[nodiscard]] static Path documentDirectory(bool userDomain,
                                                const Locations& at = Locations::ofProcess());
    [[nodiscard]] static Path cacheDirectory(bool userDomain,
                                             const Locations& at = Locations::ofProcess());
    [[nodiscard]] static Path appSupportDirectory(bool userDomain,
                                                  const Locations& at = Locations::ofProcess());
    [[nodiscard]] static Path prefsDirectory(bool userDomain,
                                             const Locations& at = Locations::ofProcess());
    [[nodiscard]] static Path logDirectory(bool userDomain,
                                           const Locations& at = Locations::ofProcess());

    [[nodiscard]] static Path desktopDirectory(const Locations& at = Locations::ofProcess());
    [[nodiscard]] static Path systemLibraryDirectory(const Locations& at = Locations::ofProcess());
    [[nodiscard]] static Path
    localDocumentationDirectory(const Locations& at = Locations::ofProcess());

    /// The home folder of the user.
    [[nodiscard]] static Path userDirectory(const Locations& at = Locations::ofProcess());
    [[nodiscard]] static Path trashDirectory(const Locations& at = Locations::ofProcess());
    [[nodiscard]] static Path movieDirectory(const Locations& at = Locations::ofProcess());

    [[nodiscard]] static std::string tempDirectory(const Locations& at = Locations::ofProcess());
    /// A string that no other call gives.
    [[nodiscard]] static std::string uuid(const Locations& at = Locations::ofProcess());
    /// A path in the temporary folder at which nothing exists yet.
    [[nodiscard]] static std::string tempFile(const Locations& at = Locations::ofProcess());

    /// The short name of the user.
    [[nodiscard]] static std::optional<std::string>
    username(const Locations& at = Locations::ofProcess());
    /// The short name of the user at the console; nothing while the login screen shows.
    [[nodiscard]] static std::optional<std::string>
    currentConsoleUser(const Locations& at = Locations::ofProcess());

    /// Whether `path` is a standard folder, which must not be moved or deleted; unless
    /// `exactMatch`, also whether it begins with the name of a system folder. Case counts.
    [[nodiscard]] static bool isPathSystemDirectory(std::string_view path, bool exactMatch = false,
                                                    const Locations& at = Locations::ofProcess());

    /// Whether `path` lies in the backups of a backup volume.
    [[nodiscard]] static bool isPathOnTimeMachineVolume(std::string_view path);
};

} // namespace cutstack
