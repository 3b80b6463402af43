#pragma once

// The names of all settings, and the values that hold until the user changes them. The windowed
// program registers these defaults with its UserDefaults; runs without a window read the
// preferences file alone and have their own fallbacks. Constants and pure functions; any thread.

#include <optional>
#include <string>
#include <string_view>

#include "support/PropertyList.h"
#include "support/ZTLocalPaths.h"

namespace cutstack {

/// The file, in the user's preferences folder, that keeps the settings.
inline constexpr std::string_view kPreferencesFileName = "com.zantrel.Cutstack.plist";

/// Keys of the preferences file. An absent key reads as nil, 0 or false.
namespace settings {

// The program.
inline constexpr std::string_view firstRun = "firstRun";
inline constexpr std::string_view SUCheckAtStartup = "SUCheckAtStartup";
inline constexpr std::string_view lastProject = "lastProject"; ///< folder shown last
inline constexpr std::string_view filelist = "filelist";       ///< the watch list

// Jobs. Only the number 0 under autoBackup turns backups off; the interval is in minutes.
inline constexpr std::string_view autoBackup = "autoBackup";
inline constexpr std::string_view autosaveEnabled = "autosaveEnabled";
inline constexpr std::string_view autosaveInterval = "autosaveInterval";

// Backups.
inline constexpr std::string_view storagePath = "storagePath";
inline constexpr std::string_view removeDuplicates = "removeDuplicates";
inline constexpr std::string_view xmlLimit = "xmlLimit"; ///< 0 no XML copies, 1 to 7 a policy

// Retention. Ages are in days; a limit counts only when its "...Set" is 1.
inline constexpr std::string_view manageBackups = "manageBackups";
inline constexpr std::string_view backupManagementMinLimitSet = "backupManagementMinLimitSet";
inline constexpr std::string_view backupManagementMinLimit = "backupManagementMinLimit";
inline constexpr std::string_view currentDayCount = "currentDayCount";
inline constexpr std::string_view currentBackupLimitSet = "currentBackupLimitSet";
inline constexpr std::string_view currentBackupLimit = "currentBackupLimit";
inline constexpr std::string_view oldBackupCount = "oldBackupCount";
inline constexpr std::string_view oldBackupType = "oldBackupType"; ///< 0 day, 1 week, 2 month
inline constexpr std::string_view oldBackupLimitSet = "oldBackupLimitSet";
inline constexpr std::string_view oldBackupLimit = "oldBackupLimit";
inline constexpr std::string_view deleteBackupSet = "deleteBackupSet";
inline constexpr std::string_view deleteBackupCount = "deleteBackupCount";
inline constexpr std::string_view deleteBackupType = "deleteBackupType"; ///< read by nobody
inline constexpr std::string_view removalType = "removalType"; ///< 0 to the Trash, 1 outright

// Kinds of change that are hidden where the setting is 1.
inline constexpr std::string_view filterInPoints = "filterInPoints";
inline constexpr std::string_view filterOutPoints = "filterOutPoints";
inline constexpr std::string_view filterMarkers = "filterMarkers";
inline constexpr std::string_view filterFilters = "filterFilters";
inline constexpr std::string_view filterSequences = "filterSequences";
inline constexpr std::string_view filterClips = "filterClips";
inline constexpr std::string_view filterSubclips = "filterSubclips";
inline constexpr std::string_view filterFreezeFrames = "filterFreezeFrames";
inline constexpr std::string_view filterBins = "filterBins";
inline constexpr std::string_view filterMulticlips = "filterMulticlips";

} // namespace settings

/// The defaults to register: every setting that has one. `storagePath` is defaultStoragePath().
[[nodiscard]] PropertyList::Dictionary registeredDefaults(std::string_view storagePath);

/// The absolute path of the version store where the settings name none, in the user's Application
/// Support folder; nothing for a user without a home. The folder need not exist.
[[nodiscard]] std::optional<std::string>
defaultStoragePath(const Locations& at = Locations::ofProcess());

/// The same for the folder of the changelist caches.
[[nodiscard]] std::optional<std::string> cacheFolder(const Locations& at = Locations::ofProcess());

} // namespace cutstack
