#include "support/LogWriter.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <sstream>
#include <thread>

#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDate = "2010-03-14 17:05:09 +0100";
const std::string kHeader = "Log started: " + std::string(kDate) +
                            "\nSystem: OS X Some System, 2 CPU(s), 1.00 GB RAM\n"
                            "Running in 32-bit mode\n";

/// A clock that can hold up whoever asks: every line asks for the time as it is written.
class GatedClock final : public FakeClock {
public:
    std::chrono::system_clock::time_point now() const override {
        std::unique_lock lock(guard_);
        opened_.wait(lock, [this] { return isOpen_; });
        lock.unlock();
        std::this_thread::sleep_for(delay);
        return time;
    }
    void close() {
        const std::lock_guard lock(guard_);
        isOpen_ = false;
    }
    void open() {
        const std::lock_guard lock(guard_);
        isOpen_ = true;
        opened_.notify_all();
    }

    std::chrono::milliseconds delay{0};

private:
    mutable std::mutex guard_;
    mutable std::condition_variable opened_;
    bool isOpen_ = true;
};

class LogWriterTest : public testing::Test {
protected:
    LogWriterTest() {
        environment_.home = home_ / "anna";
        environment_.local = home_ / "local";
    }

    void append(std::string_view format, std::initializer_list<FormatArgument> arguments = {}) {
        log_.appendLog(format, std::span(arguments.begin(), arguments.size()));
    }
    [[nodiscard]] std::string userFile(int number) const {
        return home_ / ("anna/Library/Logs/Zantrel/Cutstack." + std::to_string(number) + ".log");
    }
    [[nodiscard]] static std::string line(std::string_view message) {
        return std::string(kDate).append(" - ").append(message).append("\n");
    }
    /// The lines after the header.
    [[nodiscard]] std::string lines(int number = 1) const {
        const std::string content = contentOf(userFile(number));
        EXPECT_TRUE(content.starts_with(kHeader)) << content.substr(0, 200);
        return content.substr(std::min(content.size(), kHeader.size()));
    }

    TemporaryFolder home_;
    FakeEnvironment environment_;
    FakeConsole screen_;
    Locations locations_{environment_, screen_};
    GatedClock clock_;
    FakeSystemLog console_;
    LogWriter log_{{locations_, clock_, console_, [] {
                        LogHeader header;
                        header.system = {"Some System", 2, std::uint64_t{1} << 30};
                        return header;
                    }}};
};

TEST_F(LogWriterTest, WritesFilledInAndTrimmedLines) {
    log_.createNewLog("Cutstack.task");
    append("  %@ has %i of %0.2f\n", {"caf\xC3\xA9", 3, 2.5});
    append(" \t\r\n ");
    append("\xC2\xA0\xE3\x80\x80wide\xE2\x80\xA8");
    append("two\nlines");
    log_.appendLog(std::nullopt);
    log_.finishWriting();
    EXPECT_EQ(lines(),
              line("caf\xC3\xA9 has 3 of 2.50") + line("") + line("wide") + line("two\nlines"));
    EXPECT_TRUE(console_.messages().empty());
}

TEST_F(LogWriterTest, TheFileIsNamedAfterTheExecutable) {
    environment_.executable = "/opt/tools/X.y";
    log_.createNewLog("Cutstack.task");
    EXPECT_TRUE(fs::exists(home_ / "anna/Library/Logs/Zantrel/X.1.log"));
    environment_.executable = "";
    log_.createNewLog("Cutstack.task");
    log_.createNewLog("another");
    EXPECT_TRUE(fs::exists(home_ / "anna/Library/Logs/Zantrel/Cutstack.task.2.log"));
    EXPECT_EQ(console_.messages(), std::vector<std::string>());
}

TEST_F(LogWriterTest, PrintsAndInterpretsPerCentSignsTwice) {
    log_.createNewLog(std::nullopt);
    const std::array<FormatArgument, 1> argument = {"50%% of %@"};
    log_.appendLogAndPrint("  copied %@\n", argument);
    EXPECT_EQ(lines(), line("copied 50% of"));
    EXPECT_EQ(console_.messages(), std::vector<std::string>{"copied 50%% of %@"});
}

TEST_F(LogWriterTest, ShortMessagesAreInTheFileAtOnce) {
    log_.createNewLog(std::nullopt);
    clock_.delay = std::chrono::milliseconds(20);
    const std::string units99 = [] { // 49 characters of two units and one of one
        std::string text = "a";
        for (int i = 0; i < 49; ++i)
            text += "\xF0\x9F\x8E\xAC";
        return text;
    }();
    for (const std::string& message : {std::string("x"), std::string(99, 'x'), units99}) {
        append(message);
        EXPECT_TRUE(contentOf(userFile(1)).ends_with(line(message)));
    }
}

TEST_F(LogWriterTest, NobodyWaitsForLongMessagesOrUnderLoad) {
    log_.createNewLog(std::nullopt);
    const std::string units100(100, 'x');
    clock_.close(); // whoever waited would wait for ever
    append(units100);
    append("");
    append("short, but a hundred units wait");
    EXPECT_EQ(lines(), "");
    clock_.open();
    log_.finishWriting();
    EXPECT_EQ(lines(), line(units100) + line("") + line("short, but a hundred units wait"));
}

TEST_F(LogWriterTest, AFileThatIsFullIsFollowedByANewOne) {
    log_.createNewLog(std::nullopt);
    const std::string big(499'999 - line("").size(), 'x');
    append(big);
    log_.finishWriting();
    EXPECT_EQ(lines().size(), 499'999U); // the header doesn't count
    append("the last straw");
    log_.finishWriting();
    EXPECT_EQ(lines(), line("Log truncated at 500KB"));
    EXPECT_EQ(lines(2), line(big) + line("the last straw"));

    append("more");
    EXPECT_EQ(lines(), line("Log truncated at 500KB") + line("more"));
}

TEST_F(LogWriterTest, LinesQueuedBehindAFullFileLoseNothing) {
    log_.createNewLog(std::nullopt);
    clock_.close();
    for (int i = 0; i < 3; ++i)
        append(std::string(300'000, static_cast<char>('a' + i)));
    append("end");
    clock_.open();
    log_.finishWriting();
    EXPECT_EQ(lines(2), line(std::string(300'000, 'a')) + line(std::string(300'000, 'b')));
    EXPECT_EQ(lines(),
              line(std::string(300'000, 'c')) + line("end") + line("Log truncated at 500KB"));
}

TEST_F(LogWriterTest, StartingANewFileLosesNoQueuedLine) {
    log_.createNewLog(std::nullopt);
    const std::string text(5000, 'x');
    append(text);
    append(text);
    log_.createNewLog(std::nullopt);
    append("next");
    EXPECT_EQ(lines(2), line(text) + line(text));
    EXPECT_EQ(lines(1), line("next"));
}

TEST_F(LogWriterTest, WithoutAFileTheConsoleGetsTheMessage) {
    append("lost");
    log_.finishWriting();
    EXPECT_EQ(console_.messages(),
              (std::vector<std::string>{"Unable to log the following information: lost",
                                        "Unable to open log for output"}));
    EXPECT_FALSE(fs::exists(home_ / "anna"));
    writeContent(userFile(1), "");
    append("found");
    EXPECT_EQ(contentOf(userFile(1)), line("found"));
}

TEST_F(LogWriterTest, AFullDiskIsReportedAndForgotten) {
    fs::create_directories(fs::path(userFile(1)).parent_path());
    fs::create_symlink("/dev/full", userFile(1));
    append("lost");
    EXPECT_EQ(console_.messages(),
              std::vector<std::string>{"Exception writing to log: No space left on device"});
    fs::remove(userFile(1));
    log_.createNewLog(std::nullopt);
    append("kept");
    EXPECT_EQ(lines(), line("kept"));
}

TEST_F(LogWriterTest, ForRootOnlyTheCurrentFileMoves) {
    environment_.root = true;
    environment_.home = home_ / "root";
    screen_.user = "anna";
    screen_.homes = {{"anna", home_ / "anna"}};
    const std::string rootFile = home_ / "local/Library/Logs/Zantrel/Cutstack.1.log";

    log_.createNewLog(std::nullopt);
    append("lost");
    EXPECT_TRUE(fs::is_directory(home_ / "anna/Library/Logs/Zantrel"));
    EXPECT_EQ(
        console_.messages(),
        (std::vector<std::string>{
            "Unable to create log file " + rootFile + " - No such file or directory",
            "Unable to log the following information: lost", "Unable to open log for output"}));

    writeContent(rootFile, "earlier run of root");
    writeContent(userFile(1), "run of the user");
    log_.createNewLog(std::nullopt);
    append("kept");
    EXPECT_EQ(contentOf(rootFile), kHeader + line("kept"));
    EXPECT_EQ(contentOf(userFile(2)), "run of the user");
    EXPECT_FALSE(fs::exists(userFile(1)));
    EXPECT_FALSE(fs::exists(home_ / "root"));
}

TEST_F(LogWriterTest, AUserWithoutAHomeHasNoLog) {
    environment_.home = std::nullopt;
    log_.createNewLog(std::nullopt);
    append("lost");
    EXPECT_EQ(console_.messages().size(), 2U);
}

TEST_F(LogWriterTest, AHomeThatGoesLeavesTheFullFileAsItIs) {
    log_.createNewLog(std::nullopt);
    environment_.home = std::nullopt;
    const std::string big(600'000, 'x');
    append(big);
    log_.finishWriting();
    EXPECT_EQ(lines(), line(big));
    EXPECT_EQ(console_.messages(),
              (std::vector<std::string>{"Unable to log the following information: Log truncated at "
                                        "500KB",
                                        "Unable to open log for output"}));
}

TEST_F(LogWriterTest, LinesOfThreadsKeepTheirOrder) {
    log_.createNewLog(std::nullopt);
    constexpr int kLines = 300;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < kLines; ++i)
                append("%i %i", {thread, i});
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    log_.finishWriting();

    std::istringstream written(lines());
    std::array<int, 4> next{};
    for (std::string text; std::getline(written, text);) {
        std::istringstream numbers(text.substr(kDate.size() + 3));
        std::size_t thread = 0;
        int number = -1;
        numbers >> thread >> number;
        ASSERT_EQ(number, next.at(thread)++) << text;
    }
    EXPECT_EQ(next, (std::array{kLines, kLines, kLines, kLines}));
}

TEST_F(LogWriterTest, DestructionWritesWhatIsQueued) {
    {
        LogWriter log({locations_, clock_, console_, [] { return LogHeader(); }});
        log.createNewLog(std::nullopt);
        clock_.close();
        log.appendLog(std::string(200, 'x'));
        clock_.open();
    }
    EXPECT_TRUE(contentOf(userFile(1)).ends_with(line(std::string(200, 'x'))));
}

} // namespace
} // namespace cutstack
