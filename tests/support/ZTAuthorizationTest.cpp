#include "support/ZTAuthorization.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/HelperPrivileges.h"
#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"
#include "tests/platform/SudoRule.h"
#include "tests/platform/TaskFakes.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;
using Commands = std::vector<std::vector<std::string>>;

/// Gives the rights when `agrees`, and runs tools by noting them.
struct FakePrivileges final : Privileges {
    bool agrees = true;
    int fault = 0;
    std::optional<int> status = 0;
    bool areThere = false;
    int timesAsked = 0;
    std::string passwordGiven;
    Commands run_; ///< tool, arguments, and "&" when nobody waits

    int faultOfMeans(std::string& error) override {
        error = fault == 0 ? "" : "no helper";
        return fault;
    }
    bool areObtained() override { return areThere; }
    bool obtain(std::string& error) override {
        ++timesAsked;
        areThere = agrees;
        error = agrees ? "" : "no";
        return agrees;
    }
    bool obtainAs(const std::string& user, const std::string& password,
                  std::string& error) override {
        passwordGiven = user + ":" + password;
        return obtain(error);
    }
    void giveUp() override { areThere = false; }
    std::optional<int> run(const std::string& tool, const std::vector<std::string>& arguments,
                           bool waits, std::string& error) override {
        EXPECT_TRUE(areThere);
        run_.push_back({tool});
        run_.back().insert(run_.back().end(), arguments.begin(), arguments.end());
        if (!waits)
            run_.back().emplace_back("&");
        error = status ? "" : "not that";
        return status;
    }
};

/// A user with a home, and everything that an authorization needs.
struct Situation {
    TemporaryFolder folder;
    FakeEnvironment environment;
    FakeConsole desk;
    Locations locations{environment, desk};
    FakeClock clock;
    FakeSystemLog console;
    LogWriter log{{locations, clock, console, [] { return LogHeader(); }}};
    FakeChildProcessLauncher launcher;
    FakeMainThreadQueue mainThread;
    FakeToolPaths tools;
    TaskServices tasks{launcher, mainThread, tools, log};
    FakePrivileges privileges;
    AuthorizationServices services{privileges, locations, clock, tasks};

    Situation() {
        environment.home = folder / "anna";
        fs::create_directories(folder / "anna");
        for (const char* tool : {"/bin/cp", "/bin/mv", "/bin/rm", "/bin/mkdir"})
            tools.places[tool] = "/usr/bin/env"; // exists everywhere and can be executed
    }
    void beRoot(std::optional<std::string> userAtDesk = std::nullopt) {
        environment.root = true;
        environment.home = folder / "admin";
        desk.user = std::move(userAtDesk);
        desk.homes["otto"] = folder / "otto";
        for (const char* home : {"admin", "otto"})
            fs::create_directories(folder / home);
    }
    /// What root started, without the path of the program.
    [[nodiscard]] Commands startedByRoot() const {
        Commands commands = launcher.started();
        for (auto& command : commands)
            command.erase(command.begin());
        return commands;
    }
};

using Operation = std::function<bool(ZTAuthorization&)>;

TEST(ZTAuthorization, RunsOneToolForEachOperation) {
    struct Case {
        const char* name;
        Operation operation;
        std::vector<std::string> command;
    };
    for (const Case& c : {
             Case{"copy",
                  [](auto& a) { return a.authCopyFile("/a", "/b"); },
                  {"/bin/cp", "-f", "-p", "-R", "/a", "/b"}},
             {"move",
              [](auto& a) { return a.authMoveFile("/a", "/b"); },
              {"/bin/mv", "-f", "/a", "/b"}},
             {"remove",
              [](auto& a) { return a.authRemoveFile("/ab"); },
              {"/bin/rm", "-Rdf", "/ab"}},
             {"remove by a relative path",
              [](auto& a) { return a.authRemoveFile("-i"); },
              {"/bin/rm", "-Rdf", "./-i"}},
             {"create",
              [](auto& a) { return a.authCreateDir("/ab"); },
              {"/bin/mkdir", "-p", "/ab"}},
         }) {
        Situation ordinary;
        ZTAuthorization asked(true, ordinary.services);
        EXPECT_TRUE(c.operation(asked)) << c.name;
        EXPECT_TRUE(c.operation(asked)) << c.name;
        auto withoutWaiting = c.command;
        withoutWaiting.emplace_back("&");
        EXPECT_EQ(ordinary.privileges.run_, Commands(2, withoutWaiting)) << c.name;
        EXPECT_EQ(ordinary.privileges.timesAsked, 1) << c.name;
        EXPECT_TRUE(ordinary.launcher.started().empty()) << c.name;

        ordinary.privileges.status = std::nullopt;
        EXPECT_FALSE(c.operation(asked)) << c.name;
        EXPECT_EQ(ordinary.console.messages(),
                  Lines{"Unable to execute task " + c.command[0] + ": not that"});

        Situation root;
        root.beRoot();
        ZTAuthorization direct(false, root.services);
        EXPECT_TRUE(c.operation(direct)) << c.name;
        EXPECT_EQ(root.startedByRoot(), (Commands{{c.command.begin() + 1, c.command.end()}}))
            << c.name;
        EXPECT_EQ(root.privileges.timesAsked, 0) << c.name;
    }
}

TEST(ZTAuthorization, RefusesBeforeAnythingRuns) {
    struct Case {
        Operation operation;
        const char* line;
    };
    const ZTAuthorization::Path nothing;
    for (const bool isRoot : {false, true}) {
        for (const Case& c : {
                 Case{[&](auto& a) { return a.authCopyFile(nothing, nothing); },
                      "Error in authCopyFile: old path is null"},
                 {[&](auto& a) { return a.authCopyFile("/a", nothing); },
                  "Error in authCopyFile: new path is null"},
                 {[&](auto& a) { return a.authMoveFile(nothing, "/b"); },
                  "Error in authMoveFile: old path is null"},
                 {[&](auto& a) { return a.authMoveFile("/Library", nothing); },
                  "Error in authMoveFile: new path is null"},
                 {[](auto& a) { return a.authMoveFile("/Library", "/b"); },
                  "Unable to move path /Library because it is a system directory."},
                 {[](auto& a) { return a.authRemoveFile("/"); },
                  "Unable to delete path / because it is a system directory."},
                 {[](auto& a) { return a.authMoveFolderContents("/Volumes", "/b"); },
                  "Unable to move contents of path /Volumes because it is a system directory."},
                 {[](auto& a) { return a.authTrashFolderContents("/Users/Shared", true); },
                  "Unable to trash folder contents of path /Users/Shared because it is a system "
                  "directory."},
                 {[](auto& a) { return a.authTrashFile("/Library", true); },
                  "Unable to trash path /Library because it is a system directory."},
                 {[](auto& a) { return a.authMoveFolderContents("/no such folder", "/b"); },
                  "Unable to list the contents of path /no such folder"},
                 {[](auto& a) { return a.authExecTask("/bin/no such tool", {}) == 0; },
                  "Unable to execute task: path /bin/no such tool doesn't exist"},
             }) {
            Situation situation;
            if (isRoot)
                situation.beRoot();
            ZTAuthorization authorization(true, situation.services);
            EXPECT_FALSE(c.operation(authorization)) << c.line;
            EXPECT_EQ(situation.console.messages(), Lines{c.line});
            EXPECT_EQ(situation.privileges.timesAsked, 0) << c.line;
            EXPECT_TRUE(situation.launcher.started().empty()) << c.line;
        }
    }
}

TEST(ZTAuthorization, RefusesSystemDirectoriesHoweverTheyAreWritten) {
    Situation situation;
    ZTAuthorization authorization(true, situation.services);
    const std::string home = situation.folder / "anna";
    fs::create_directories(home + "/Library");
    fs::create_directory_symlink(home, situation.folder / "way");
    fs::create_directory_symlink(home + "/Library", situation.folder / "link");
    for (const std::string& path :
         {std::string("//"), std::string("/Library/"), std::string("/Library//"),
          std::string("/tmp/../Library"), std::string("/./Library/."), home + "/Library/",
          situation.folder / "way/Library", situation.folder / "way/Library/",
          situation.folder / "link/"}) {
        EXPECT_FALSE(authorization.authRemoveFile(path)) << path;
        EXPECT_FALSE(authorization.authMoveFile(path, "/b")) << path;
    }
    EXPECT_FALSE(authorization.authTrashFolderContents(situation.folder / "link"));
    EXPECT_FALSE(authorization.authMoveFolderContents(situation.folder / "link", "/b"));
    EXPECT_TRUE(situation.privileges.run_.empty());
    EXPECT_TRUE(authorization.authRemoveFile(situation.folder / "link")) << "only the link goes";
    EXPECT_TRUE(authorization.authRemoveFile(home + "/Library/one"));
}

TEST(ZTAuthorization, AWindowlessRunAsksNobody) {
    Situation situation;
    ZTAuthorization authorization(false, situation.services);
    EXPECT_FALSE(authorization.canAuthorize());
    EXPECT_FALSE(authorization.authCopyFile("/a", "/b"));
    EXPECT_EQ(situation.console.messages(), Lines{"Unable to authorize"});
    EXPECT_EQ(situation.privileges.timesAsked, 0);
}

TEST(ZTAuthorization, KeepsTheRightsUntilItsEnd) {
    Situation situation;
    {
        ZTAuthorization authorization(true, situation.services);
        EXPECT_TRUE(authorization.canAuthorize());
        EXPECT_EQ(authorization.userDirectory(), std::nullopt);
        EXPECT_FALSE(authorization.isAuthorized());
        situation.privileges.agrees = false;
        EXPECT_FALSE(authorization.authStart());
        EXPECT_NE(authorization.authExecTask("/bin/rm", {}), 0);
        situation.privileges.agrees = true;
        EXPECT_TRUE(authorization.authStart());
        EXPECT_TRUE(authorization.isAuthorized());
        authorization.authEnd();
        EXPECT_FALSE(authorization.isAuthorized());
        situation.privileges.status = 3;
        EXPECT_EQ(authorization.authExecTask("/bin/rm", {"-Rdf", "/x"}, false), 3);
        EXPECT_EQ(situation.privileges.run_, (Commands{{"/bin/rm", "-Rdf", "/x"}}));
    }
    EXPECT_FALSE(situation.privileges.areThere);
}

TEST(ZTAuthorization, TakesANameAndAPasswordWithoutAWindow) {
    Situation situation;
    ZTAuthorization authorization(false, situation.services);
    situation.privileges.agrees = false;
    EXPECT_FALSE(authorization.authStartWithUser("anna", "secret"));
    situation.privileges.fault = 2;
    EXPECT_FALSE(authorization.authStartWithUser("anna", "secret"));
    EXPECT_EQ(
        situation.console.messages(),
        (Lines{"Authorization failed. Invalid username or password", "Unable to authorize: no",
               "Unable to create authRef - error 2", "Unable to authorize: no helper"}));
    situation.privileges.fault = 0;
    situation.privileges.agrees = true;
    EXPECT_TRUE(authorization.authStartWithUser("anna", "secret"));
    EXPECT_EQ(situation.privileges.passwordGiven, "anna:secret");
    EXPECT_TRUE(authorization.isAuthorized());
}

TEST(ZTAuthorization, RootWaitsForAToolWhenToldTo) {
    Situation situation;
    situation.beRoot();
    situation.launcher.tools[""].status = 9;
    ZTAuthorization authorization(false, situation.services);
    EXPECT_TRUE(authorization.isAuthorized());
    EXPECT_TRUE(authorization.authStart());
    EXPECT_EQ(authorization.authExecTask("/bin/rm", {"/x"}, false), 0);
    EXPECT_EQ(situation.startedByRoot(), (Commands{{"/x"}}));
}

TEST(ZTAuthorization, TrashesUnderAFreeName) {
    struct Case {
        const char* path;
        const char* taken;
        const char* name;
    };
    for (const Case& c : {
             Case{"/x/Promo.fcp", "", "Promo.fcp"},
             {"/x/Promo.fcp", "Promo.fcp", "Promo_20100314170509.fcp"},
             {"/x/Promo.v2.fcp", "Promo.v2.fcp", "Promo.v2_20100314170509.fcp"},
             {"/x/Promo", "Promo", "Promo_20100314170509."},
             {"/x/folder/", "folder", "folder_20100314170509."},
         }) {
        Situation situation;
        if (*c.taken != '\0')
            writeContent(situation.folder / "anna/.Trash/" + c.taken, "");
        ZTAuthorization authorization(true, situation.services);
        EXPECT_TRUE(authorization.authTrashFile(c.path, true));
        EXPECT_EQ(
            situation.privileges.run_,
            (Commands{{"/bin/mv", "-f", c.path, situation.folder / "anna/.Trash/" + c.name, "&"}}));
        EXPECT_TRUE(fs::is_directory(situation.folder / "anna/.Trash"));
    }
}

TEST(ZTAuthorization, NothingInTheTrashIsReplacedByWhatFollowsAtOnce) {
    Situation situation;
    const std::string trash = situation.folder / "anna/.Trash/";
    ZTAuthorization authorization(true, situation.services);
    for (const char* folder : {"/x", "/y", "/z"})
        EXPECT_TRUE(authorization.authTrashFile(std::string(folder) + "/Promo.fcp"));
    EXPECT_EQ(
        situation.privileges.run_,
        (Commands{{"/bin/mv", "-f", "/x/Promo.fcp", trash + "Promo.fcp", "&"},
                  {"/bin/mv", "-f", "/y/Promo.fcp", trash + "Promo_20100314170509.fcp", "&"},
                  {"/bin/mv", "-f", "/z/Promo.fcp", trash + "Promo_20100314170509 2.fcp", "&"}}));
}

TEST(ZTAuthorization, RootTrashesForTheUserAtTheConsole) {
    struct Case {
        std::optional<std::string> userAtDesk;
        bool deletes;
        std::vector<std::string> command; ///< "^" stands for the folder of the homes
    };
    for (const Case& c : {
             Case{"otto", true, {"-f", "/x/a", "^/otto/.Trash/a"}},
             {"otto", false, {"-f", "/x/a", "^/otto/.Trash/a"}},
             {std::nullopt, false, {"-f", "/x/a", "^/admin/.Trash/a"}},
             {std::nullopt, true, {"-Rdf", "/x/a"}},
         }) {
        Situation situation;
        situation.beRoot(c.userAtDesk);
        const bool canGiveAway = chown((situation.folder / "otto").c_str(), 4711, 4711) == 0;
        ZTAuthorization authorization(false, situation.services);
        EXPECT_TRUE(authorization.authTrashFile("/x/a", c.deletes));
        auto command = c.command;
        if (command.back().starts_with('^'))
            command.back().replace(0, 1, situation.folder.path().string());
        EXPECT_EQ(situation.startedByRoot(), Commands{command});
        struct stat trash {};
        if (canGiveAway && stat((situation.folder / "otto/.Trash").c_str(), &trash) == 0) {
            EXPECT_EQ(trash.st_uid, 4711U);
        }
    }
}

TEST(ZTAuthorization, WithoutAHomeThereIsNoTrash) {
    Situation situation;
    situation.environment.home = std::nullopt;
    ZTAuthorization authorization(true, situation.services);
    EXPECT_FALSE(authorization.authTrashFile("/x/a"));
    EXPECT_EQ(situation.console.messages(),
              Lines{"Unable to trash path /x/a: the user has no home folder"});
}

TEST(ZTAuthorization, TakesTheContentsOfAFolderInListingOrder) {
    Situation situation;
    const std::string folder = situation.folder / "full";
    for (const char* name : {"b", "A", ".hidden", "c/deep"})
        writeContent(folder + "/" + name, "");
    ZTAuthorization authorization(true, situation.services);
    EXPECT_TRUE(authorization.authMoveFolderContents(folder, "/to"));
    Commands moves;
    for (const char* name : {".hidden", "A", "b", "c"})
        moves.push_back({"/bin/mv", "-f", folder + "/" + name, std::string("/to/") + name, "&"});
    EXPECT_EQ(situation.privileges.run_, moves);

    situation.privileges.run_.clear();
    EXPECT_TRUE(authorization.authTrashFolderContents(folder));
    for (auto& move : moves)
        move[3].replace(0, 3, situation.folder / "anna/.Trash");
    EXPECT_EQ(situation.privileges.run_, moves);

    situation.privileges.run_.clear();
    situation.privileges.status = std::nullopt;
    EXPECT_FALSE(authorization.authMoveFolderContents(folder, "/to"));
    EXPECT_EQ(situation.privileges.run_.size(), 4U) << "one failure keeps nothing back";
}

TEST(ZTAuthorization, RootRemovesTheContentsOfAFolderForGood) {
    Situation situation;
    situation.beRoot("otto");
    const std::string folder = situation.folder / "full";
    constexpr int kMany = 201;
    for (int i = 0; i < kMany; ++i)
        writeContent(folder + "/" + std::to_string(i), "");
    ZTAuthorization authorization(false, situation.services);
    EXPECT_TRUE(authorization.authTrashFolderContents(folder, true));
    const auto started = situation.startedByRoot();
    ASSERT_EQ(started.size(), 2U);
    EXPECT_EQ(started[0].size() + started[1].size(), 2U * 2 + kMany);
    EXPECT_EQ(started[1], (std::vector<std::string>{"-R", "-f", folder + "/99"}));
}

TEST(ZTAuthorizationBySudo, TrashesWhatBelongsToRoot) {
    const auto rule = SudoRule::ofThisRun();
    if (!rule)
        GTEST_SKIP() << SudoRule::kWhyNot;
    Situation situation;
    HelperPrivileges rights({.helper = rule->helper, .pkexec = "/no"});
    situation.tools.places.clear();
    const AuthorizationServices services{rights, situation.locations, situation.clock,
                                         situation.tasks};
    ZTAuthorization authorization(true, services);
    const std::string room = rule->rootsFolder + "/of ZTAuthorization";
    EXPECT_EQ(authorization.authExecTask("/bin/mkdir", {"-p", room + "/item"}, false), 0);
    EXPECT_NE(rename((room + "/item").c_str(), (situation.folder / "mine").c_str()), 0);
    const std::string trash = situation.folder / "anna/.Trash";
    fs::create_directories(trash);
    const int arrivals = inotify_init1(IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(arrivals, trash.c_str(), IN_CREATE | IN_MOVED_TO), 0);
    EXPECT_TRUE(authorization.authTrashFile(room + "/item"));
    std::array<char, 4096> event{};
    EXPECT_GT(read(arrivals, event.data(), event.size()), 0); // the tool has only been started
    close(arrivals);
    EXPECT_TRUE(fs::is_directory(trash + "/item"));
    EXPECT_EQ(authorization.authExecTask("/bin/rm", {"-Rdf", room}, false), 0);
    EXPECT_EQ(authorization.authExecTask("/bin/rm", {"-Rdf", situation.folder / "anna/.Trash/item"},
                                         false),
              0);
    EXPECT_EQ(situation.console.messages(), Lines());
}

} // namespace
} // namespace cutstack
