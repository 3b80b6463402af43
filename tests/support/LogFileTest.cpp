#include "support/LogFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

class LogFileTest : public testing::Test {
protected:
    /// A run of the program that starts its log with `header`.
    void start(const std::string& header) {
        LogFile file(console_);
        file.start(place_, header);
        isOpen_ = file.isOpen();
    }
    [[nodiscard]] std::string numbered(int number) const {
        const std::string path = place_.numberedFile(number);
        return fs::is_regular_file(path) ? contentOf(path) : "none";
    }
    /// The contents of the files 1 to 6.
    [[nodiscard]] std::vector<std::string> files() const {
        std::vector<std::string> contents;
        for (int number = 1; number <= 6; ++number)
            contents.push_back(numbered(number));
        return contents;
    }

    TemporaryFolder home_;
    FakeSystemLog console_;
    LogPlace place_{home_ / "Library/Logs/Zantrel", home_ / "Library/Logs/Zantrel", "Cutstack"};
    bool isOpen_ = false;
};

TEST(LogHeader, LeavesOutWhatTheBundleDoesNotSay) {
    LogHeader header{
        "2010-03-14 17:05:09 +0100", "1.7", "/opt/Cutstack", {"Some System 12", 2, 6'000'000'000}};
    EXPECT_EQ(header.text(), "Log started: 2010-03-14 17:05:09 +0100\n"
                             "Version: 1.7\n"
                             "Path: /opt/Cutstack\n"
                             "System: OS X Some System 12, 2 CPU(s), 5.59 GB RAM\n"
                             "Running in 32-bit mode\n");
    header.bundleVersion = std::nullopt;
    header.executablePath = std::nullopt;
    EXPECT_EQ(header.text(), "Log started: 2010-03-14 17:05:09 +0100\n"
                             "System: OS X Some System 12, 2 CPU(s), 5.59 GB RAM\n"
                             "Running in 32-bit mode\n");
}

TEST_F(LogFileTest, FirstStartMakesTheFolder) {
    start("header");
    EXPECT_EQ(files(),
              (std::vector<std::string>{"header", "none", "none", "none", "none", "none"}));
    EXPECT_TRUE(isOpen_);
    EXPECT_TRUE(console_.messages().empty());
}

TEST_F(LogFileTest, RootMakesTheFoldersOfAUserForThatUser) {
    if (getuid() != 0)
        GTEST_SKIP() << "only root can give folders away";
    ASSERT_EQ(chown(home_.path().c_str(), 1234, 2345), 0);
    fs::create_directory(home_ / "Library"); // root's, and to be left so
    place_.folder = place_.current = home_ / "Logs/Zantrel";
    start("header");
    EXPECT_TRUE(isOpen_);
    const std::pair<const char*, uid_t> owners[] = {
        {"Logs", 1234}, {"Logs/Zantrel", 1234}, {"Library", 0}};
    for (const auto& [folder, owner] : owners) {
        struct stat status {};
        EXPECT_EQ(stat((home_ / folder).c_str(), &status), 0);
        EXPECT_EQ(status.st_uid, owner) << folder;
    }
}

TEST_F(LogFileTest, SixStartsLeaveTheFiveNewestFiles) {
    for (const char* run : {"a", "b", "c", "d", "e", "f"})
        start(run);
    EXPECT_EQ(files(), (std::vector<std::string>{"f", "e", "d", "c", "b", "none"}));
}

TEST_F(LogFileTest, AGapMovesUpWithTheOthers) {
    for (const int number : {1, 2, 4})
        writeContent(place_.numberedFile(number), std::to_string(number));
    start("new");
    EXPECT_EQ(files(), (std::vector<std::string>{"new", "1", "2", "none", "4", "none"}));
}

TEST_F(LogFileTest, NothingRotatesWhileThereIsNoCurrentFile) {
    writeContent(place_.numberedFile(2), "2");
    start("new");
    EXPECT_EQ(files(), (std::vector<std::string>{"new", "2", "none", "none", "none", "none"}));
}

TEST_F(LogFileTest, LinesGoToTheEndAndAreCounted) {
    LogFile file(console_);
    file.start(place_, "header\n");
    std::string error;
    EXPECT_TRUE(file.write("one\n", error));
    EXPECT_TRUE(file.write("zwei \xC3\xBC\n", error));
    EXPECT_EQ(file.bytesWritten(), 12U);
    EXPECT_EQ(numbered(1), "header\none\nzwei \xC3\xBC\n");
    file.start(place_, "next\n");
    EXPECT_EQ(file.bytesWritten(), 0U);
    EXPECT_EQ(error, "");
}

TEST_F(LogFileTest, AFailedStartTellsTheConsoleAndOpensNothing) {
    struct Case {
        const char* name;
        std::function<void()> prepare;
        std::string message;
    };
    const std::string folder = place_.folder;
    const std::array cases = {
        Case{"a file stands where the folder's folder should be",
             [&] { writeContent(home_ / "Library/Logs", ""); },
             "Unable to create folder " + folder + "."},
        Case{"number 5 cannot be deleted",
             [&] {
                 writeContent(place_.numberedFile(5) + "/kept", "");
                 writeContent(place_.numberedFile(4), "4");
                 writeContent(place_.numberedFile(1), "1");
             },
             "Unable to move file " + folder + "/Cutstack.4.log to " + folder + "/Cutstack.5.log"},
        Case{"the current file's folder is missing", [&] { place_.current = home_ / "elsewhere"; },
             "Unable to create log file " + (home_ / "elsewhere/Cutstack.1.log") +
                 " - No such file or directory"},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(cases[i].name);
        fs::remove_all(home_ / "Library");
        cases[i].prepare();
        start("header");
        EXPECT_FALSE(isOpen_);
        ASSERT_EQ(console_.messages().size(), i + 1);
        EXPECT_EQ(console_.messages()[i], cases[i].message);
    }
}

TEST_F(LogFileTest, OpensOnlyWhatExistsAndNeverWaits) {
    LogFile file(console_);
    EXPECT_FALSE(file.open(home_ / "missing"));
    ASSERT_EQ(mkfifo((home_ / "pipe").c_str(), 0600), 0);
    EXPECT_FALSE(file.open(home_ / "pipe"));
    EXPECT_FALSE(fs::exists(home_ / "missing"));
}

/// Runs `work(i)` for i from 0 in as many processes at once, and returns whether all ended well.
bool inProcesses(int count, const std::function<void(int)>& work) {
    std::vector<pid_t> children;
    for (int i = 0; i < count; ++i) {
        children.push_back(fork());
        if (children.back() == 0) {
            work(i);
            _exit(0);
        }
    }
    bool allWell = true;
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        allWell = allWell && status == 0;
    }
    return allWell;
}

TEST_F(LogFileTest, ProcessesThatStartAtOnceGetAFileEach) {
    for (int round = 0; round < 20; ++round) {
        fs::remove_all(place_.folder);
        ASSERT_TRUE(inProcesses(5, [&](int i) {
            LogFile file(console_);
            file.start(place_, std::to_string(i) + "\n");
            std::string error;
            if (!file.write(std::to_string(i) + "\n", error))
                _exit(1);
        }));
        std::vector<std::string> contents = files();
        std::ranges::sort(contents);
        ASSERT_EQ(contents, (std::vector<std::string>{"0\n0\n", "1\n1\n", "2\n2\n", "3\n3\n",
                                                      "4\n4\n", "none"}));
    }
}

TEST_F(LogFileTest, LinesOfProcessesStayWhole) {
    start("");
    constexpr int kLines = 500;
    const std::string text(300, '-');
    ASSERT_TRUE(inProcesses(3, [&](int i) {
        LogFile file(console_);
        std::string error;
        bool isWell = file.open(place_.currentFile());
        for (int line = 0; line < kLines && isWell; ++line)
            isWell = file.write(std::to_string(i) + text + "\n", error);
        _exit(isWell ? 0 : 1);
    }));
    std::istringstream lines(numbered(1));
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        ASSERT_EQ(line.substr(1), text);
    EXPECT_EQ(count, 3 * kLines);
}

} // namespace
} // namespace cutstack
