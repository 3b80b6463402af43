#include "app/Settings.h"

#include <cstdint>
#include <variant>

namespace cutstack {

namespace {

struct DefaultStoragePath {};

struct Setting {
    std::string_view key;
    std::variant<bool, std::int64_t, DefaultStoragePath> registered;
};

constexpr std::int64_t number(std::int64_t value) { return value; }

/// The other settings have no default: an absent key means something to their readers.
constexpr Setting kSettings[] = {
    {settings::firstRun, true},
    {settings::SUCheckAtStartup, true},
    {settings::autosaveEnabled, number(0)},
    {settings::autosaveInterval, number(15)},
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
};

std::optional<std::string> inApplicationSupport(std::string_view folder, const Locations& at) {
    auto support = ZTLocalPaths::appSupportDirectory(true, at);
    return support ? std::optional(support->append("/").append(folder)) : std::nullopt;
}

} // namespace

PropertyList::Dictionary registeredDefaults(std::string_view storagePath) {
    PropertyList::Dictionary defaults;
    for (const Setting& setting : kSettings) {
        if (const bool* flag = std::get_if<bool>(&setting.registered))
            defaults.emplace(setting.key, *flag);
        else if (const auto* value = std::get_if<std::int64_t>(&setting.registered))
            defaults.emplace(setting.key, *value);
        else
            defaults.emplace(setting.key, storagePath);
    }
    return defaults;
}

std::optional<std::string> defaultStoragePath(const Locations& at) {
    return inApplicationSupport("Zantrel/Cutstack/Versions", at);
}

std::optional<std::string> cacheFolder(const Locations& at) {
    return inApplicationSupport("Zantrel/Cutstack/Caches", at);
}

} // namespace cutstack
