// Real processes: what they are given, what is read from them, and what is left behind.

#include "platform/ChildProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

constexpr ChildStreams kAll{ChildStreams::Output::collected, ChildStreams::Output::collected};

std::shared_ptr<ChildProcess> shell(const std::string& script, ChildStreams streams = kAll) {
    std::string error;
    auto process = childProcessLauncher().launch("/bin/sh", {"-c", script}, streams, error);
    EXPECT_NE(process, nullptr) << error;
    return process;
}

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// Waits until the process with that number is neither alive nor a zombie.
void awaitGone(const std::string& number) {
    while (kill(std::stoi(number), 0) == 0)
        std::this_thread::yield();
}

TEST(ChildProcess, AnswersStatusOrSignal) {
    struct Case {
        const char* script;
        int status;
    };
    for (const Case& c :
         {Case{"exit 0", 0}, {"exit 3", 3}, {"exit 255", 255}, {"kill -9 $$", SIGKILL}}) {
        const auto process = shell(c.script, {});
        EXPECT_EQ(process->waitUntilExit(), c.status) << c.script;
        EXPECT_EQ(process->waitUntilExit(), c.status) << c.script << ", asked again";
        EXPECT_FALSE(process->isRunning());
        process->terminate(); // nothing there any more
    }
}

TEST(ChildProcess, SaysInTheSystemsWordsWhyAProgramDoesNotStart) {
    const TemporaryFolder folder;
    const std::string noProgram = folder / "none";
    writeContent(noProgram, "no program\n");
    chmod(noProgram.c_str(), 0700);
    struct Case {
        std::string path;
        std::vector<std::string> arguments;
        const char* error;
    };
    const auto before = openDescriptors();
    for (const Case& c : {Case{folder / "missing", {}, "No such file or directory"},
                          {folder.path().string(), {}, "Permission denied"},
                          {noProgram, {}, "Exec format error"},
                          {"/bin/echo", {std::string("a\0b", 3)}, "Invalid argument"},
                          {"/bin/echo", {std::string(1 << 20, 'x')}, "Argument list too long"}}) {
        std::string error;
        EXPECT_EQ(childProcessLauncher().launch(c.path, c.arguments, kAll, error), nullptr);
        EXPECT_EQ(error, c.error) << c.path;
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(ChildProcess, GetsItsArgumentsAsTheyAre) {
    const std::vector<std::string> words = {"a b",   "-n",   "--",        "",        "line\nline",
                                            "$HOME", "'\"*", "\xFF\xC3(", "\xCC\x81"};
    std::vector<std::string> arguments = {"-c", R"(printf '<%s>' "$@")", "sh"};
    std::string expected;
    for (const std::string& word : words) {
        arguments.push_back(word);
        expected += "<" + word + ">";
    }
    std::string error;
    const auto process = childProcessLauncher().launch("/bin/sh", arguments, kAll, error);
    ASSERT_NE(process, nullptr) << error;
    EXPECT_EQ(process->readToEnd().output, expected);
}

TEST(ChildProcess, HasOnlyItsStandardStreams) {
    const int leaky = open("/dev/null", O_RDONLY); // without close-on-exec
    ASSERT_GE(leaky, 0);
    // The shell opens the folder as one more.
    const auto process = shell("exec ls /proc/self/fd");
    EXPECT_EQ(process->readToEnd().output, "0\n1\n2\n3\n");
    close(leaky);

    const auto input = shell("cat; read -r line || echo none");
    EXPECT_EQ(input->readToEnd().output, "none\n");
}

TEST(ChildProcess, ReadsBothStreamsWhicheverFillsFirst) {
    constexpr std::size_t kSize = 1 << 20;
    const std::string fill = "head -c " + std::to_string(kSize) + " /dev/zero";
    struct Case {
        std::string script;
        ChildStreams streams;
        std::size_t output;
        std::size_t errors;
    };
    const auto nowhere = ChildStreams::Output::nowhere;
    for (const Case& c : {Case{fill + " >&2; " + fill, kAll, kSize, kSize},
                          {fill + "; " + fill + " >&2", kAll, kSize, kSize},
                          {fill + "; " + fill + " >&2", {kAll.output, nowhere}, kSize, 0},
                          {fill + "; " + fill + " >&2", {nowhere, kAll.errors}, 0, kSize},
                          {fill + "; " + fill + " >&2", {}, 0, 0},
                          {"exec >&-; " + fill + " >&2", kAll, 0, kSize}}) {
        const auto process = shell(c.script, c.streams);
        const auto [output, errors] = process->readToEnd();
        EXPECT_EQ(output.size(), c.output) << c.script;
        EXPECT_EQ(errors.size(), c.errors) << c.script;
        EXPECT_EQ(process->waitUntilExit(), 0) << c.script;
    }
}

TEST(ChildProcess, HandsOutputOnAsItComes) {
    const TemporaryFolder folder;
    const std::string gate = folder / "gate";
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
    const auto process = shell("printf one; read -r line < '" + gate + "'; printf two");
    EXPECT_EQ(process->availableOutput(), "one");
    writeContent(gate, "go\n");
    EXPECT_EQ(process->availableOutput(), "two");
    EXPECT_EQ(process->availableOutput(), "");
    EXPECT_EQ(shell("echo", {})->availableOutput(), "");
}

TEST(ChildProcess, EndsWhenAskedWhileOthersWaitForIt) {
    const auto process = shell("trap 'printf last; exit 7' TERM; printf first; "
                               "while :; do :; done");
    EXPECT_EQ(process->availableOutput(), "first");
    EXPECT_TRUE(process->isRunning());
    int status = 0;
    std::thread waiting([&] { status = process->waitUntilExit(); });
    process->terminate();
    EXPECT_EQ(process->readToEnd().output, "last");
    waiting.join();
    EXPECT_EQ(status, 7);
}

TEST(ChildProcess, ReadingEndsWithAProgramThatWasAskedToEnd) {
    // What it leaves behind keeps the streams open; its number lets the test clean up.
    const auto process = shell("sleep 1000 & echo $!; wait");
    const std::string left = process->availableOutput();
    ChildProcess::Collected data;
    std::thread reading([&] { data = process->readToEnd(); });
    process->terminate();
    reading.join();
    EXPECT_EQ(data.output, "");
    EXPECT_EQ(process->waitUntilExit(), SIGTERM);
    kill(std::stoi(left), SIGKILL);
}

TEST(ChildProcess, ClosingTheStreamsFreesAReader) {
    const auto process = shell("trap '' PIPE; printf x; while printf x 2>/dev/null; do :; done");
    const auto silent = shell("exec sleep 1000");
    std::string data = "none read";
    std::thread reading([&] { data = silent->availableOutput(); });
    silent->closeStreams();
    process->closeStreams();
    reading.join();
    EXPECT_EQ(data, "");
    EXPECT_EQ(silent->readToEnd().output, "");
    EXPECT_EQ(process->waitUntilExit(), 0); // it found no reader
    silent->terminate();
    EXPECT_EQ(silent->waitUntilExit(), SIGTERM);
}

TEST(ChildProcess, LeavesNoZombieAndNoDescriptorWhenItIsLetGo) {
    const TemporaryFolder folder;
    const auto before = openDescriptors();
    const std::string gate = folder / "gate";
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);

    auto ended = shell("echo $$");
    const std::string endedNumber = ended->readToEnd().output;
    ended.reset();
    auto running = shell("echo $$; read -r line < '" + gate + "'");
    const std::string runningNumber = running->availableOutput();
    running.reset();
    EXPECT_EQ(kill(std::stoi(runningNumber), 0), 0); // it goes on
    writeContent(gate, "go\n");

    awaitGone(endedNumber);
    awaitGone(runningNumber);
    // The thread that waited closes its handle last.
    while (openDescriptors() > before)
        std::this_thread::yield();
    EXPECT_EQ(openDescriptors(), before);
}

TEST(ChildProcess, SurvivesSignalsThatInterrupt) {
    struct sigaction action {};
    struct sigaction old {};
    action.sa_handler = [](int) {}; // without SA_RESTART
    sigaction(SIGUSR1, &action, &old);
    const auto process = shell("i=0; while [ $i -lt 200 ]; do kill -USR1 " +
                               std::to_string(getpid()) + "; i=$((i+1)); done; echo done");
    EXPECT_EQ(process->readToEnd().output, "done\n");
    EXPECT_EQ(process->waitUntilExit(), 0);
    sigaction(SIGUSR1, &old, nullptr);
}

} // namespace
} // namespace cutstack
