#include "support/ZTLocalPaths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "tests/platform/Fakes.h"

namespace cutstack {
namespace {

using Path = std::optional<std::string>;

/// A process and a machine that a test puts together.
struct Situation {
    FakeEnvironment environment;
    FakeConsole console;
    Locations at{environment, console};

    Situation() { console.homes = {{"otto", "/home/otto"}}; }
    void beRoot(std::optional<std::string> userAtConsole) {
        environment.root = true;
        environment.user = "root";
        environment.home = "/root";
        console.user = std::move(userAtConsole);
    }
};

struct Row {
    const char* name;
    std::function<Path(const Locations&)> ask;
    Path expected; ///< begins with '~' for the user's home or '^' for the local root
};

/// Every location.
std::vector<Row> rows() {
    using Z = ZTLocalPaths;
    std::vector<Row> all;
    const auto bothDomains = [&all](const char* name, Path (*ask)(bool, const Locations&),
                                    const char* user, const char* local) {
        all.push_back({name, [ask](const Locations& at) { return ask(true, at); }, user});
        all.push_back({name, [ask](const Locations& at) { return ask(false, at); },
                       local == nullptr ? Path() : Path(local)});
    };
    bothDomains("applicationDirectory", &Z::applicationDirectory, "~/Applications",
                "^/Applications");
    bothDomains("adminApplicationDirectory", &Z::adminApplicationDirectory,
                "~/Applications/Utilities", "^/Applications/Utilities");
    bothDomains("libraryDirectory", &Z::libraryDirectory, "~/Library", "^/Library");
    bothDomains("documentDirectory", &Z::documentDirectory, "~/Documents", nullptr);
    bothDomains("cacheDirectory", &Z::cacheDirectory, "~/Library/Caches", "^/Library/Caches");
    bothDomains("appSupportDirectory", &Z::appSupportDirectory, "~/Library/Application Support",
                "^/Library/Application Support");
    bothDomains("prefsDirectory", &Z::prefsDirectory, "~/Library/Preferences",
                "^/Library/Preferences");
    bothDomains("logDirectory", &Z::logDirectory, "~/Library/Logs", "^/Library/Logs");
    all.push_back({"desktopDirectory", &Z::desktopDirectory, "~/Desktop"});
    all.push_back({"systemLibraryDirectory", &Z::systemLibraryDirectory, "^/System/Library"});
    all.push_back({"localDocumentationDirectory", &Z::localDocumentationDirectory,
                   "^/Library/Documentation"});
    all.push_back({"userDirectory", &Z::userDirectory, "~"});
    all.push_back({"trashDirectory", &Z::trashDirectory, "~/.Trash"});
    all.push_back({"movieDirectory", &Z::movieDirectory, "~/Movies"});
    return all;
}

Path resolved(const Path& pattern, const std::string& home, const std::string& localRoot) {
    if (!pattern || (*pattern)[0] == '~')
        return pattern ? Path(home + pattern->substr(1)) : pattern;
    return localRoot + pattern->substr(1);
}

void expectRows(const Situation& situation, const std::string& home, const std::string& localRoot) {
    for (const Row& row : rows())
        EXPECT_EQ(row.ask(situation.at), resolved(row.expected, home, localRoot)) << row.name;
}

TEST(ZTLocalPaths, OfAnOrdinaryUser) {
    Situation situation;
    situation.console.user = "otto"; // somebody else's screen is of no interest
    expectRows(situation, "/home/anna", "");
    EXPECT_EQ(ZTLocalPaths::username(situation.at), "anna");
}

TEST(ZTLocalPaths, OfRootAreThoseOfTheUserAtTheConsole) {
    Situation situation;
    situation.beRoot("otto");
    expectRows(situation, "/home/otto", "");
    EXPECT_EQ(ZTLocalPaths::username(situation.at), "otto");
    EXPECT_EQ(ZTLocalPaths::currentConsoleUser(situation.at), "otto");
}

TEST(ZTLocalPaths, OfRootAreItsOwnWithNobodyAtTheConsole) {
    for (const auto& user : {std::optional<std::string>(), {""}, {"loginwindow"}}) {
        Situation situation;
        situation.beRoot(user);
        expectRows(situation, "/root", "");
        EXPECT_EQ(ZTLocalPaths::currentConsoleUser(situation.at), std::nullopt);
        EXPECT_EQ(ZTLocalPaths::username(situation.at), "root");
    }
}

TEST(ZTLocalPaths, TheLocalRootHoldsEverythingThatNoUserOwns) {
    Situation situation;
    situation.environment.local = "/demo";
    expectRows(situation, "/home/anna", "/demo");
}

TEST(ZTLocalPaths, WithoutAHomeTheUserHasNoFolders) {
    Situation situation;
    situation.environment.home = std::nullopt;
    EXPECT_EQ(ZTLocalPaths::libraryDirectory(true, situation.at), std::nullopt);
    EXPECT_EQ(ZTLocalPaths::prefsDirectory(true, situation.at), std::nullopt);
    EXPECT_EQ(ZTLocalPaths::trashDirectory(situation.at), std::nullopt);
    EXPECT_EQ(ZTLocalPaths::libraryDirectory(false, situation.at), "/Library");
    EXPECT_FALSE(ZTLocalPaths::isPathSystemDirectory("/Documents", true, situation.at));
}

TEST(ZTLocalPaths, DomainsThatLackAFolderAnswerNothing) {
    const Situation situation;
    const auto ask = [&](SearchPathDirectory directory, SearchPathDomainMask domain) {
        return ZTLocalPaths::pathForDirectory(directory, domain, situation.at);
    };
    EXPECT_EQ(ask(SearchPathDirectory::desktop, SearchPathDomainMask::local), std::nullopt);
    EXPECT_EQ(ask(SearchPathDirectory::library, SearchPathDomainMask::network), std::nullopt);
    EXPECT_EQ(ask(static_cast<SearchPathDirectory>(99), SearchPathDomainMask::user), std::nullopt);
    EXPECT_EQ(ask(SearchPathDirectory::caches, SearchPathDomainMask::system),
              "/System/Library/Caches");
}

TEST(ZTLocalPaths, TemporaryFilesAreFresh) {
    const Situation situation;
    EXPECT_EQ(ZTLocalPaths::tempFile(situation.at), "/tmp/UNIQUE-1");
    EXPECT_EQ(ZTLocalPaths::tempFile(situation.at), "/tmp/UNIQUE-2");
}

TEST(ZTLocalPaths, ProtectsStandardFoldersAndWhatTheSystemOwns) {
    struct Case {
        const char* path;
        bool exact;
        bool byPrefix;
    };
    const Situation situation;
    for (const Case& c : {
             Case{"/", true, true},
             {"", false, false},
             {"/V", false, false},
             {"/\xC3\xA9", false, false}, // three bytes, two characters
             {"/Applications", true, true},
             {"/Applications/Utilities", true, true},
             {"/applications", false, false},
             {"/home/anna", true, true},
             {"/home/anna/Documents", true, true},
             {"/home/anna/Documents/x", false, false},
             {"/home/anna/Desktop", true, true},
             {"/home/anna/Library/Preferences", true, true},
             {"/home/anna/Library/Logs", false, false},
             {"/home/anna/.Trash", false, false},
             {"/Library/Documentation", true, true},
             {"/System/Library", true, true},
             {"/Users/Shared", true, true},
             {"/Volumes", true, true},
             {"/Volumes/Disk", false, false},
             // The slash takes the character before it along.
             {"/Volumes/", false, false},
             {"/Volumesx/", true, true},
             {"/Volumes\xC3\xA9/", true, true},
             {"/Volumes\xF0\x9F\x8E\xAC/", false, false}, // half of the last character stays
             {"///", false, false},
             {"/usr/", false, false},
             {"/usr/local/bin", false, true},
             {"/usr2", false, true},
             {"/Systemfoo", false, true},
             {"/var/tmp/x/", false, true},
             {"/private/var", false, true},
             {"/private/etc", false, false},
         }) {
        EXPECT_EQ(ZTLocalPaths::isPathSystemDirectory(c.path, true, situation.at), c.exact)
            << c.path;
        EXPECT_EQ(ZTLocalPaths::isPathSystemDirectory(c.path, false, situation.at), c.byPrefix)
            << c.path;
    }
}

TEST(ZTLocalPaths, KnowsBackupVolumes) {
    EXPECT_TRUE(ZTLocalPaths::isPathOnTimeMachineVolume("/Volumes/TM/Backups.backupdb/mac/Latest"));
    EXPECT_TRUE(ZTLocalPaths::isPathOnTimeMachineVolume("/Volumes/Backups.backupdb"));
    EXPECT_FALSE(ZTLocalPaths::isPathOnTimeMachineVolume("/Backups.backupdb/x"));
    EXPECT_FALSE(ZTLocalPaths::isPathOnTimeMachineVolume("/Volumes/TM/Backups.backupdb2/x"));
    EXPECT_FALSE(ZTLocalPaths::isPathOnTimeMachineVolume("/Volumes/TM/x"));
}

TEST(ZTLocalPaths, OfThisProcessAreAbsolute) {
    EXPECT_TRUE(ZTLocalPaths::tempDirectory().starts_with('/'));
    EXPECT_TRUE(ZTLocalPaths::libraryDirectory(false)->ends_with("/Library"));
    EXPECT_FALSE(std::filesystem::exists(ZTLocalPaths::tempFile()));
}

} // namespace
} // namespace cutstack
