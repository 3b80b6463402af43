#include "app/Settings.h"

#include <gtest/gtest.h>

#include "tests/platform/Fakes.h"

namespace cutstack {

namespace {

TEST(SettingsTest, aFreshAccount) {
    FakeEnvironment environment;
    environment.home = "/home/someone";
    const FakeConsole screen;
    const Locations locations{environment, screen};
    const std::string folder = "/home/someone/Library/Application Support/Zantrel/Cutstack/";
    const std::string store = folder + "Versions";
    EXPECT_EQ(defaultStoragePath(locations), store);
    EXPECT_EQ(cacheFolder(locations), folder + "Caches");
    const PropertyList::Dictionary expected{
        {"firstRun", true},
        {"SUCheckAtStartup", true},
        {"autosaveEnabled", 0},
        {"autosaveInterval", 15},
        {"removeDuplicates", 1},
        {"xmlLimit", 5},
        {"storagePath", store},
        {"manageBackups", 1},
        {"backupManagementMinLimitSet", 1},
        {"backupManagementMinLimit", 25},
        {"currentDayCount", 3},
        {"currentBackupLimitSet", 0},
        {"currentBackupLimit", 30},
        {"oldBackupCount", 1},
        {"oldBackupType", 0},
        {"oldBackupLimitSet", 1},
        {"oldBackupLimit", 30},
        {"deleteBackupSet", 1},
        {"deleteBackupCount", 90},
        {"deleteBackupType", 0},
        {"removalType", 0},
    };
    EXPECT_EQ(registeredDefaults(store), expected);

    environment.home = std::nullopt;
    EXPECT_EQ(defaultStoragePath(locations), std::nullopt);
    EXPECT_EQ(cacheFolder(locations), std::nullopt);
}

} // namespace

} // namespace cutstack
