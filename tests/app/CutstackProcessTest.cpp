// The real executable in a bundle of its own, started as the system starts it: with a home, a local
// root and a console that belong to the test.

#include <gtest/gtest.h>

#include <unistd.h>

#include "support/ZTLocalPaths.h"
#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"
#include "tests/platform/ExtendedRegex.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

// What tells the jobs apart in the log. One that saves says nothing without settings.
constexpr const char* kRepopulate = "Repopulating watch files";
constexpr const char* kReload = "Reloading launchd plist";

class CutstackProcess : public testing::Test {
protected:
    void SetUp() override {
        if (isRoot_ && ZTLocalPaths::currentConsoleUser())
            GTEST_SKIP() << "run by root, the program would log into the console user's home";
        fs::create_directories(fs::path(executable_).parent_path());
        fs::copy_file(CUTSTACK_EXECUTABLE, executable_);
        fs::copy_file(CUTSTACK_INFO_PLIST, folder_ / "Cutstack.app/Contents/Info.plist");
        fs::create_directories(folder_ / "Cutstack.app/Contents/Helpers");
        fs::copy_file("/bin/true", folder_ / "Cutstack.app/Contents/Helpers/launchctl");
        fs::create_directories(folder_ / "home");
        if (isRoot_) // nobody makes this folder for root
            fs::create_directories(folder_ / "local/Library/Logs/Zantrel");
    }

    /// Starts `program` with nothing in its environment but the test's own folders, and returns
    /// its exit status.
    int start(const std::string& program, const std::vector<std::string>& arguments) {
        std::vector<std::string> words = {"/usr/bin/env", "-i", "HOME=" + (folder_ / "home"),
                                          "CUTSTACK_LOCAL_ROOT=" + (folder_ / "local"), program};
        words.insert(words.end(), arguments.begin(), arguments.end());
        const Finished run = finished(words);
        console_ += run.errors;
        return run.status;
    }
    int start(const std::string& argument) { return start(executable_, {argument}); }

    [[nodiscard]] std::string logFile(int number) const {
        const std::string library = isRoot_ ? "local/Library" : "home/Library";
        return folder_ / (library + "/Logs/Zantrel/Cutstack." + std::to_string(number) + ".log");
    }
    /// The logs that are there, newest first, each told by the job that it speaks of.
    [[nodiscard]] std::vector<std::string> jobsInLogs() const {
        std::vector<std::string> jobs;
        for (int number = 1; fs::exists(logFile(number)); ++number) {
            const auto job =
                found(contentOf(logFile(number)),
                      "Processing projects|Repopulating watch files|Reloading launchd plist");
            jobs.push_back(job.empty() ? "none" : job[0]);
        }
        return jobs;
    }

    const bool isRoot_ = getuid() == 0;
    TemporaryFolder folder_;
    const std::string executable_ = folder_ / "Cutstack.app/Contents/MacOS/Cutstack";
    std::string console_; ///< what all runs said
};

TEST_F(CutstackProcess, SixStartsLeaveTheLogsOfTheLastFive) {
    for (const char* mode :
         {"-repopulate", "-reload", "-repopulate", "-reload", "-repopulate", "-repopulate"})
        EXPECT_EQ(start(mode), 0);
    const std::vector<std::string> lastFive = {kRepopulate, kRepopulate, kReload, kRepopulate,
                                               kReload};
    // Root's runs have one file, and move up only what is in the folder of a user.
    EXPECT_EQ(jobsInLogs(), isRoot_ ? std::vector{lastFive[0]} : lastFive);
    EXPECT_EQ(console_, "");

    const std::string date = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} [+-][0-9]{4}";
    const std::string content = contentOf(logFile(1));
    EXPECT_TRUE(matches(content, "Log started: " + date +
                                     "\nVersion: [0-9.]+\nPath: " + executable_ +
                                     "\nSystem: OS X .+, [0-9]+ CPU\\(s\\), [0-9]+\\.[0-9]{2} GB "
                                     "RAM\nRunning in 32-bit mode\n" +
                                     date + " - Repopulating watch files...\n"))
        << content;
}

TEST_F(CutstackProcess, RunsThatBackUpAreFollowedByOneReload) {
    for (const auto& [mode, job] :
         {std::pair{"-process", "Processing projects"}, std::pair{"-autosave", "none"}}) {
        fs::remove_all(folder_ / "home/Library");
        EXPECT_EQ(start(mode), 0);
        if (isRoot_)
            EXPECT_EQ(jobsInLogs(), std::vector<std::string>{kReload});
        else
            EXPECT_EQ(jobsInLogs(), (std::vector<std::string>{kReload, job}));
    }
    EXPECT_EQ(console_, "");
}

TEST_F(CutstackProcess, AnInstalledLinkStartsTheBundle) {
    fs::create_directory(folder_ / "bin");
    fs::create_symlink("../Cutstack.app/Contents/MacOS/Cutstack", folder_ / "bin/cutstack");
    EXPECT_EQ(start(folder_ / "bin/cutstack", {"-process"}), 0);
    EXPECT_EQ(jobsInLogs()[0], kReload);
    EXPECT_NE(contentOf(logFile(1)).find("Path: " + executable_), std::string::npos);
}

TEST_F(CutstackProcess, WithoutTheWindowModuleTheWindowFails) {
    EXPECT_EQ(start(executable_, {}), 1);
    EXPECT_EQ(start("-Process"), 1);
    EXPECT_TRUE(matches(console_,
                        "([-0-9]+ [:.0-9]+ Cutstack\\[[0-9]+\\] Unable to open the window: "
                        "[^\n]*/Contents/PlugIns/libCutstackWindow\\.so: [^\n]*\n){2}"))
        << console_;
    EXPECT_TRUE(jobsInLogs().empty());
}

} // namespace
} // namespace cutstack
