#include "app/Settings.h"

#include <cstdint>
#include <variant>

namespace cutstack {

namespace {

/// An absent key means something to its readers.
struct NotRegistered {};
struct DefaultStoragePath {};

struct Setting {
    std::string_view key;
    std::variant<NotRegistered, bool, std::int64_t, DefaultStoragePath> registered;
};

constexpr std::int64_t number(std::int64_t value) { return value; }

constexpr Setting kSettings[] = {
    {settings::firstRun, true},
    {settings::SUCheckAtStartup, true},
    {settings::autosaveEnabled, number(0)},
    {settings::autosaveInterval, number(15)},
    {settings::autoBackup, NotRegistered()},
    {settings::removeDuplicates, number(1)},
    {settings::xmlLimit, number(5)},
    {settings::storagePath, DefaultStoragePath()},
    {settings::manageBackups, number(1)},
    {settings::backupManagementMinLimitSet, number(1)},
    {settings::backupManagementMinLimit, number(25)},
    {settings::currentDayCount, number(3)},
    {settings::currentBackupLimitSet, number(0)},
    {settings::currentBackupLimit, number(30)},
    {settings::oldBackupCount, number(1)},
    {settings::oldBackupType, number(0)},
    {settings::oldBackupLimitSet, number(1)},
    {settings::oldBackupLimit, number(30)},
    {settings::deleteBackupSet, number(1)},
    {settings::deleteBackupCount, number(90)},
    {settings::deleteBackupType, number(0)},
    {settings::removalType, number(0)},
    {settings::lastProject, NotRegistered()},
    {settings::filelist, NotRegistered()},
    {settings::filterInPoints, NotRegistered()},
    {settings::filterOutPoints, NotRegistered()},
    {settings::filterMarkers, NotRegistered()},
    {settings::filterFilters, NotRegistered()},
    {settings::filterSequences, NotRegistered()},
    {settings::filterClips, NotRegistered()},
    {settings::filterSubclips, NotRegistered()},
    {settings::filterFreezeFrames, NotRegistered()},
    {settings::filterBins, NotRegistered()},
    {settings::filterMulticlips, NotRegistered()},
};

} // namespace

PropertyList::Dictionary registeredDefaults(std::string_view defaultStoragePath) {
    PropertyList::Dictionary defaults;
    for (const Setting& setting : kSettings) {
        if (const bool* flag = std::get_if<bool>(&setting.registered))
            defaults.emplace(setting.key, *flag);
        else if (const auto* value = std::get_if<std::int64_t>(&setting.registered))
            defaults.emplace(setting.key, *value);
        else if (std::holds_alternative<DefaultStoragePath>(setting.registered))
            defaults.emplace(setting.key, defaultStoragePath);
    }
    return defaults;
}

} // namespace cutstack
