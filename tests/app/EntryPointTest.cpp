#include "app/EntryPoint.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"

namespace cutstack {
namespace {

using Words = std::vector<std::string>;

class EntryPointTest : public testing::Test {
protected:
    EntryPointTest() {
        environment_.home = home_.path();
        environment_.executable = executable_;
        writeContent(home_ / "Cutstack.app/Contents/Info.plist",
                     "<plist><dict><key>CFBundleIdentifier</key>"
                     "<string>com.zantrel.Cutstack</string></dict></plist>");
        bundle_ = Bundle::ofExecutable(executable_);
    }

    EntryPoint entryPoint() {
        EntryPoint entry{.initWithoutGUI =
                             [this] {
                                 return AppController::initWithoutGUI(
                                     log_, locations_, bundle_ ? &*bundle_ : nullptr);
                             },
                         .operations = {},
                         .runApplication =
                             [this](int argc, char** argv) {
                                 windowArguments_ = Words(argv, argv + argc);
                                 return 42;
                             },
                         .programs = programs_,
                         .log = log_};
        for (const RunModeRule& rule : kRunModes)
            entry.operations[rule.mode] = [this, rule](AppController& controller) {
                EXPECT_FALSE(controller.hasGUI());
                EXPECT_FALSE(controller.progressCancelled);
                EXPECT_TRUE(programs_.started.empty()) << "the jobs are loaded again afterwards";
                performed_.emplace_back(rule.operation);
            };
        return entry;
    }

    static int run(const EntryPoint& entry, Words arguments) {
        arguments.insert(arguments.begin(), "cutstack");
        std::vector<char*> argv;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        const int argc = static_cast<int>(argv.size());
        argv.push_back(nullptr);
        return entry.run(argc, argv.data());
    }

    [[nodiscard]] std::string logged() {
        log_.finishWriting();
        return contentOf(home_ / "Library/Logs/Zantrel/Cutstack.1.log");
    }

    TemporaryFolder home_;
    const std::string executable_ = home_ / "Cutstack.app/Contents/MacOS/Cutstack";
    FakeEnvironment environment_;
    FakeConsole screen_;
    Locations locations_{environment_, screen_};
    FakeClock clock_;
    FakeSystemLog console_;
    LogWriter log_{{locations_, clock_, console_, [] { return LogHeader(); }}};
    FakeProgramStarter programs_;
    std::optional<Bundle> bundle_;
    Words performed_;
    std::optional<Words> windowArguments_;
};

TEST_F(EntryPointTest, EachModeDoesItsJobAndTwoLoadTheJobsAgain) {
    struct Case {
        const char* argument;
        const char* operation;
        bool isFollowedByReload;
    };
    for (const Case& c : {
             Case{"-process", "-[AppController processProjects]", true},
             {"-autosave", "-[AppController autosave]", true},
             {"-reload", "-[AppController reloadLaunchDPlist]", false},
             {"-repopulate", "-[AppController repopulateWatchFiles]", false},
         }) {
        SCOPED_TRACE(c.argument);
        performed_.clear();
        programs_.started.clear();
        EXPECT_EQ(run(entryPoint(), {c.argument, "-reload"}), 0);
        EXPECT_EQ(performed_, Words{c.operation});
        if (c.isFollowedByReload)
            EXPECT_EQ(programs_.started, (std::vector<Words>{{executable_, "-reload"}}));
        else
            EXPECT_TRUE(programs_.started.empty());
    }
    EXPECT_FALSE(windowArguments_);
    EXPECT_TRUE(console_.messages().empty());
}

TEST_F(EntryPointTest, EveryOtherStartShowsTheWindow) {
    for (const Words& arguments : {Words{},
                                   {""},
                                   {"-Process"},
                                   {"-process "},
                                   {"-processx"},
                                   {"-proces"},
                                   {"--process"},
                                   {"process"},
                                   {" -reload"},
                                   {"-reload\n"},
                                   {"-AUTOSAVE"},
                                   {"-psn_0_1", "-process"}}) {
        SCOPED_TRACE(arguments.empty() ? "no argument" : arguments[0]);
        windowArguments_.reset();
        EXPECT_EQ(run(entryPoint(), arguments), 42);
        Words expected{"cutstack"};
        expected.insert(expected.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(windowArguments_, expected);
    }
    EXPECT_TRUE(performed_.empty());
    EXPECT_TRUE(programs_.started.empty());
    EXPECT_FALSE(std::filesystem::exists(home_ / "Library"));
}

TEST_F(EntryPointTest, NoArgumentsAtAllShowTheWindow) {
    char* none[] = {nullptr};
    EXPECT_EQ(entryPoint().run(0, none), 42);
    EXPECT_EQ(windowArguments_, Words{"Cutstack"});
}

TEST_F(EntryPointTest, ExceptionsEndAtTheEntryPoint) {
    EntryPoint entry = entryPoint();
    log_.createNewLog(std::nullopt);
    entry.initWithoutGUI = []() -> std::unique_ptr<AppController> {
        throw std::runtime_error("boom");
    };
    entry.runApplication = [](int, char**) -> int { throw std::runtime_error("bang"); };
    EXPECT_EQ(run(entry, {"-reload"}), 1);
    EXPECT_EQ(run(entry, {}), 1);
    EXPECT_EQ(console_.messages(),
              (Words{"Exception in -[AppController initWithoutGUI]. NSGenericException - boom.",
                     "Fatal error: Unable to initialize application",
                     "Exception in main. NSGenericException - bang."}));
    EXPECT_TRUE(performed_.empty());
}

TEST_F(EntryPointTest, WithoutAControllerARunFails) {
    environment_.home = std::nullopt;
    for (const RunModeRule& rule : kRunModes)
        EXPECT_EQ(run(entryPoint(), {std::string(rule.argument)}), 1) << rule.argument;
    EXPECT_EQ(console_.messages(), Words(4, "Fatal error: Unable to initialize application"));
    EXPECT_TRUE(performed_.empty());
    EXPECT_TRUE(programs_.started.empty());
}

TEST_F(EntryPointTest, AModeWithoutAJobSaysSoAndEndsWell) {
    EntryPoint entry = entryPoint();
    entry.operations.clear();
    EXPECT_EQ(run(entry, {"-autosave"}), 0);
    EXPECT_TRUE(logged().ends_with(" - This build does not have -[AppController autosave]\n"));
    EXPECT_EQ(programs_.started.size(), 1U);
}

TEST_F(EntryPointTest, AFailingJobStillEndsWellAndLoadsTheJobsAgain) {
    EntryPoint entry = entryPoint();
    entry.operations[RunMode::process] = [](AppController&) { throw std::runtime_error("boom"); };
    EXPECT_EQ(run(entry, {"-process"}), 0);
    EXPECT_EQ(programs_.started.size(), 1U);
    EXPECT_EQ(console_.messages(), Words{"Exception in -[AppController processProjects]. "
                                         "NSGenericException - boom."});
}

TEST_F(EntryPointTest, JobsThatCannotBeLoadedAgainAreLogged) {
    programs_.end = {std::nullopt, "Permission denied"};
    EXPECT_EQ(run(entryPoint(), {"-process"}), 0);
    EXPECT_TRUE(
        logged().ends_with("Unable to run " + executable_ + " -reload: Permission denied\n"));

    programs_.started.clear();
    bundle_.reset();
    EXPECT_EQ(run(entryPoint(), {"-process"}), 0);
    EXPECT_TRUE(programs_.started.empty());
    EXPECT_TRUE(
        logged().ends_with("Unable to run -reload: the application's bundle is not known\n"));
}

TEST_F(EntryPointTest, OnlyTheOwnBundleIsTheApplication) {
    const auto pathIn = [this](const Bundle* bundle) {
        return AppController::initWithoutGUI(log_, locations_, bundle)->currentExePath();
    };
    EXPECT_EQ(pathIn(&*bundle_), executable_);
    EXPECT_EQ(pathIn(nullptr), std::nullopt);
    writeContent(home_ / "Other.app/Contents/Info.plist",
                 "<plist><dict><key>CFBundleIdentifier</key>"
                 "<string>com.zantrel.Other</string></dict></plist>");
    const auto other = Bundle::ofExecutable(home_ / "Other.app/Contents/MacOS/Cutstack");
    EXPECT_EQ(pathIn(&*other), std::nullopt);
}

} // namespace
} // namespace cutstack
