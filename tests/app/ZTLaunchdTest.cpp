#include "app/ZTLaunchd.h"

#include "tests/app/LaunchdFixture.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

const PropertyList::Dictionary kJob = {{"Label", "com.a.b"}, {"Nice", 10}};
const std::string kAgent = "~/home/Library/LaunchAgents/com.a.plist";
const std::string kDaemon = "~/local/Library/LaunchDaemons/com.a.plist";
const std::string kAuthorizing = "Unable to write plist - trying to authorize...";

Events row(std::initializer_list<Events> parts) {
    Events all;
    for (const Events& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

/// Line and alert for a failure in a folder.
Events told(const std::string& what, const std::string& folder) {
    const std::string advice =
        "Please check you have correct permissions for the directory " + folder;
    return {what + ". " + advice, "main thread:", "alert " + what + " | " + advice + ". | OK"};
}

Events loading(const std::string& file) {
    return {"/bin/launchctl unload " + file, "/bin/launchctl load " + file};
}

class ZTLaunchdTest : public LaunchdFixture {
protected:
    bool startAgent() { return ZTLaunchd::startLaunchAgent("com.a", kJob, true, launchd_); }
    void expectNothingTemporary() const { EXPECT_TRUE(fs::is_empty(environment_.temporary)); }
};

TEST_F(ZTLaunchdTest, WritesAndLoadsAgentsInThePlaceOfEarlierOnes) {
    const Events start = row({{"/bin/chmod 644 " + kAgent}, loading(kAgent)});
    EXPECT_TRUE(startAgent());
    EXPECT_EQ(takeEvents(), start);
    writeContent(agent("com.a"), "earlier one");
    EXPECT_TRUE(startAgent());
    EXPECT_EQ(takeEvents(), row({{"/bin/launchctl unload " + kAgent}, start}));
    EXPECT_EQ(listIn(contentOf(agent("com.a"))), PropertyList(kJob));
}

TEST_F(ZTLaunchdTest, GivesDaemonsToRoot) {
    EXPECT_TRUE(ZTLaunchd::startJob("com.a", kJob, false, false, false, "Old One", launchd_));
    EXPECT_EQ(takeEvents(),
              row({{"/usr/bin/killall Old One", "/usr/sbin/chown root:wheel " + kDaemon,
                    "/bin/chmod 644 " + kDaemon},
                   loading(kDaemon)}));
}

TEST_F(ZTLaunchdTest, DoesNothingForAUserWithoutAHome) {
    environment_.home = std::nullopt;
    EXPECT_FALSE(startAgent());
    EXPECT_FALSE(ZTLaunchd::stopJob("com.a", true, true, false, launchd_));
    EXPECT_FALSE(ZTLaunchd::removeLaunchAgent("com.a", true, launchd_));
    EXPECT_EQ(takeEvents(), Events(3, "No folder for the job com.a: the user has no home folder"));
}

TEST_F(ZTLaunchdTest, WritesWithRightsWhereTheFolderIsNone) {
    writeContent(folder_ / "home/Library/LaunchAgents", "no folder");
    EXPECT_TRUE(startAgent());
    EXPECT_EQ(takeEvents(),
              row({{kAuthorizing, "move com.a.plist to " + kAgent, "pause 1000000", "pause 500",
                    "authorized /bin/chmod 644 " + kAgent, "pause 1000000"},
                   loading(kAgent)}));
    EXPECT_EQ(listIn(authorization_.moved), PropertyList(kJob));
    expectNothingTemporary();
}

TEST_F(ZTLaunchdTest, ReplacesWithRightsWhatIsInTheWay) {
    // Not even root can write over a folder.
    writeContent(folder_ / "local/Library/LaunchDaemons/com.a.plist/file", "");
    EXPECT_TRUE(ZTLaunchd::startJob("com.a", kJob, false, false, false, "Old", launchd_));
    EXPECT_EQ(takeEvents(),
              row({{"/bin/launchctl unload " + kDaemon},
                   told("Error: Unable to remove LaunchAgent", "~/local/Library/LaunchDaemons"),
                   {"remove " + kDaemon, "pause 500", kAuthorizing,
                    "move com.a.plist to " + kDaemon, "pause 1000000", "/usr/bin/killall Old",
                    "authorized /usr/sbin/chown root:wheel " + kDaemon, "pause 500",
                    "authorized /bin/chmod 644 " + kDaemon, "pause 1000000"},
                   loading(kDaemon)}));
}

TEST_F(ZTLaunchdTest, TellsWhatFailed) {
    const std::string folder = "~/home/Library/LaunchAgents";
    const Events notWritten = told("Error: Unable to write LaunchAgent data", folder);
    EXPECT_FALSE(ZTLaunchd::startLaunchAgent("com.a", {{"Label", "\xFF"}}, true, launchd_));
    EXPECT_EQ(takeEvents(), notWritten);
    EXPECT_FALSE(fs::exists(agent("com.a")));

    fs::remove_all(folder_ / "home/Library/LaunchAgents");
    writeContent(folder_ / "home/Library/LaunchAgents", "no folder");
    authorization_.canMove = false;
    EXPECT_FALSE(startAgent());
    EXPECT_EQ(takeEvents(), row({{kAuthorizing, "move com.a.plist to " + kAgent},
                                 told("Error: Unable to create LaunchAgent", folder)}));
    expectNothingTemporary();

    environment_.temporary = folder_ / "none";
    launchd_.userInterface = nullptr;
    EXPECT_FALSE(startAgent());
    EXPECT_EQ(takeEvents(), Events{notWritten.front()});
}

TEST_F(ZTLaunchdTest, RemovesWithRightsIfItMay) {
    const std::string unload = "/bin/launchctl unload " + kAgent;
    EXPECT_TRUE(ZTLaunchd::removeLaunchAgent("com.a", false, launchd_));
    writeContent(agent("com.a"), "list");
    EXPECT_TRUE(ZTLaunchd::removeLaunchAgent("com.a", false, launchd_));
    EXPECT_EQ(takeEvents(), Events({unload, unload}));
    EXPECT_FALSE(fs::exists(agent("com.a")));

    writeContent(agent("com.a") + "/file", "");
    const Events failure =
        told("Error: Unable to remove LaunchAgent", "~/home/Library/LaunchAgents");
    EXPECT_FALSE(ZTLaunchd::removeJob("com.a", true, true, false, launchd_));
    EXPECT_EQ(takeEvents(), row({{unload}, failure}));
    const Events removal = {unload, "remove " + kAgent, "pause 1000000"};
    EXPECT_FALSE(ZTLaunchd::removeLaunchAgent("com.a", true, launchd_));
    EXPECT_EQ(takeEvents(), row({removal, failure}));
    authorization_.remove = [](const std::string& path) { fs::remove_all(path); };
    EXPECT_TRUE(ZTLaunchd::removeLaunchAgent("com.a", true, launchd_));
    EXPECT_EQ(takeEvents(), removal);
}

TEST_F(ZTLaunchdTest, StopsJobsAndLeavesTheirLists) {
    writeContent(agent("com.a"), "list");
    EXPECT_TRUE(ZTLaunchd::stopJob("com.a", true, true, false, launchd_));
    EXPECT_EQ(takeEvents(),
              Events({"/bin/launchctl unload " + kAgent, "/bin/launchctl remove com.a"}));
    EXPECT_EQ(contentOf(agent("com.a")), "list");
}

} // namespace
} // namespace cutstack
