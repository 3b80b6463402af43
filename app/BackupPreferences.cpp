#include "app/BackupPreferences.h"

#include "app/Settings.h"

namespace cutstack {

namespace {

/// The settings that are numbers, each with what holds where it is absent.
class Numbers {
public:
    explicit Numbers(const PropertyList& file) : file_(file) {}

    [[nodiscard]] std::int64_t of(std::string_view key, std::int64_t fallback) const {
        const PropertyList* const value = file_.valueForKey(key);
        return value != nullptr && isNumeric(*value) ? value->integerValue() : fallback;
    }
    /// Such a setting is on only at exactly 1.
    [[nodiscard]] bool isOne(std::string_view key, bool fallback) const {
        return of(key, fallback ? 1 : 0) == 1;
    }

private:
    /// A text counts: that is what `defaults write` leaves.
    static bool isNumeric(const PropertyList& value) {
        return value.asInteger() || value.asUnsigned() || value.asReal() || value.asBoolean() ||
               value.asString() != nullptr;
    }

    const PropertyList& file_;
};

RetentionRules retentionRules(const Numbers& numbers) {
    const RetentionRules unset;
    return {
        .manageBackups = numbers.isOne(settings::manageBackups, unset.manageBackups),
        .isMinimumSet = numbers.isOne(settings::backupManagementMinLimitSet, unset.isMinimumSet),
        .minimum = numbers.of(settings::backupManagementMinLimit, unset.minimum),
        .currentDayCount = numbers.of(settings::currentDayCount, unset.currentDayCount),
        .isCurrentLimitSet =
            numbers.isOne(settings::currentBackupLimitSet, unset.isCurrentLimitSet),
        .currentLimit = numbers.of(settings::currentBackupLimit, unset.currentLimit),
        .isOldLimitSet = numbers.isOne(settings::oldBackupLimitSet, unset.isOldLimitSet),
        .oldLimit = numbers.of(settings::oldBackupLimit, unset.oldLimit),
        .oldBackupType = numbers.of(settings::oldBackupType, unset.oldBackupType),
        .oldBackupCount = numbers.of(settings::oldBackupCount, unset.oldBackupCount),
        .isAgeLimitSet = numbers.isOne(settings::deleteBackupSet, unset.isAgeLimitSet),
        .ageLimitInDays = numbers.of(settings::deleteBackupCount, unset.ageLimitInDays),
    };
}

} // namespace

BackupPreferences backupPreferences(const PropertyList& file,
                                    const std::string& defaultStoragePath) {
    const Numbers numbers(file);
    BackupPreferences preferences;
    if (const PropertyList* const list = file.valueForKey(settings::filelist);
        list != nullptr && list->asArray() != nullptr)
        preferences.backups.filelist = *list->asArray();
    const PropertyList* const path = file.valueForKey(settings::storagePath);
    BackupSettings& backups = preferences.backups;
    backups.storagePath =
        path != nullptr && path->asString() != nullptr ? *path->asString() : defaultStoragePath;
    backups.xmlLimit = numbers.of(settings::xmlLimit, backups.xmlLimit);
    backups.removeDuplicates = numbers.isOne(settings::removeDuplicates, backups.removeDuplicates);
    preferences.retention = retentionRules(numbers);
    if (numbers.of(settings::removalType, 0) == 1)
        preferences.removalType = RemovalType::outright;
    return preferences;
}

} // namespace cutstack
