// The real services, as far as a test can drive them: what they answer about this very process.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "platform/ModuleLoader.h"
#include "platform/ProcessEnvironment.h"
#include "platform/ProcessPreparation.h"
#include "platform/ProgramStarter.h"
#include "platform/SystemInformation.h"
#include "platform/SystemLog.h"
#include "platform/linux/OsRelease.h"
#include "tests/TemporaryFolder.h"
#include "tests/platform/ExtendedRegex.h"

namespace cutstack {
namespace {

TEST(ProgramStarter, ReportsHowAProgramEnded) {
    struct Case {
        const char* script;
        int status;
    };
    for (const Case& c : {Case{"exit 0", 0}, {"exit 3", 3}, {"kill -9 $$", 137}})
        EXPECT_EQ(programStarter().run("/bin/sh", {"-c", c.script}).exitStatus, c.status)
            << c.script;

    const ProgramEnd missing = programStarter().run("/nowhere/program", {});
    EXPECT_EQ(missing.exitStatus, std::nullopt);
    EXPECT_EQ(missing.error, "No such file or directory");
}

TEST(ProgramStarter, HandsArgumentsOverAsTheyAre) {
    const TemporaryFolder folder;
    const std::string file = folder / "words";
    const std::vector<std::string> words = {"a b", "$HOME", "", "'\"*"};
    std::vector<std::string> arguments = {"-c", R"(out=$1; shift; printf '<%s>' "$@" > "$out")",
                                          "sh", file};
    arguments.insert(arguments.end(), words.begin(), words.end());
    EXPECT_EQ(programStarter().run("/bin/sh", arguments).exitStatus, 0);
    EXPECT_EQ(contentOf(file), "<a b><$HOME><><'\"*>");
}

TEST(ProgramStarter, LeaksNoDescriptor) {
    const int leaky = open("/dev/null", O_RDONLY); // without close-on-exec
    ASSERT_GE(leaky, 0);
    const std::string script = "[ ! -e /proc/self/fd/" + std::to_string(leaky) + " ]";
    EXPECT_EQ(programStarter().run("/bin/sh", {"-c", script}).exitStatus, 0);
    close(leaky);
}

TEST(ProcessPreparation, TheEndsOfProgramsAreLearned) {
    const pid_t process = fork();
    ASSERT_GE(process, 0);
    if (process == 0) {
        std::signal(SIGCHLD, SIG_IGN);
        prepareProcess();
        _exit(programStarter().run("/bin/false", {}).exitStatus.value_or(-1));
    }
    int status = 0;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 1);
}

TEST(SystemLog, LinesOfThreadsAndProcessesStayWhole) {
    const TemporaryFolder folder;
    const std::string path = folder / "console";
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    constexpr int kLines = 200;
    std::vector<pid_t> children;
    for (int child = 0; child < 2; ++child) {
        children.push_back(fork());
        if (children.back() == 0) {
            dup2(file, STDERR_FILENO);
            const auto logAll = [] {
                for (int i = 0; i < kLines; ++i)
                    systemLog().log("Attempting to remove duplicate file\r\n100%...");
            };
            std::thread other(logAll);
            logAll();
            other.join();
            _exit(0);
        }
    }
    for (const pid_t child : children)
        waitpid(child, nullptr, 0);
    close(file);

    const std::string whole =
        "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "
        "[^ ]+\\[[0-9]+\\] Attempting to remove duplicate file\\\\r\\\\n100%\\.\\.\\.";
    std::istringstream lines(contentOf(path));
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        ASSERT_TRUE(matches(line, whole)) << line;
    EXPECT_EQ(count, 2 * 2 * kLines);
}

/// Sets a variable of the environment, or takes it away, for as long as it lives.
class VariableForNow {
public:
    VariableForNow(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name); old != nullptr)
            old_ = old;
        set(value);
    }
    ~VariableForNow() { set(old_ ? old_->c_str() : nullptr); }
    VariableForNow(const VariableForNow&) = delete;
    VariableForNow& operator=(const VariableForNow&) = delete;

private:
    void set(const char* value) { value == nullptr ? unsetenv(name_) : setenv(name_, value, 1); }

    const char* name_;
    std::optional<std::string> old_;
};

TEST(ProcessEnvironment, TakesFoldersFromTheEnvironmentWhenTheyAreAbsolute) {
    const ProcessEnvironment& environment = processEnvironment();
    const auto fromDatabase = [&] {
        const VariableForNow none("HOME", nullptr);
        return environment.homeFolder();
    }();
    struct Case {
        const char* value;
        std::optional<std::string> folder;
    };
    for (const Case& c : {Case{"/home/anna", "/home/anna"},
                          {"/home/anna//", "/home/anna"},
                          {"/", "/"},
                          {"relative", {}},
                          {"", {}},
                          {nullptr, {}}}) {
        SCOPED_TRACE(c.value == nullptr ? "unset" : c.value);
        const VariableForNow home("HOME", c.value);
        const VariableForNow root("CUTSTACK_LOCAL_ROOT", c.value);
        const VariableForNow temporary("TMPDIR", c.value);
        EXPECT_EQ(environment.homeFolder(), c.folder ? c.folder : fromDatabase);
        EXPECT_EQ(environment.localRoot(), c.folder);
        EXPECT_EQ(environment.temporaryFolder(), c.folder.value_or("/tmp"));
    }
}

TEST(ProcessEnvironment, KnowsItsExecutableAndUniqueStrings) {
    const ProcessEnvironment& environment = processEnvironment();
    EXPECT_TRUE(std::filesystem::exists(environment.executablePath()));
    EXPECT_EQ(environment.isRoot(), getuid() == 0);
    const std::string first = environment.globallyUniqueString();
    EXPECT_TRUE(matches(first, "[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
    EXPECT_NE(first, environment.globallyUniqueString());
}

TEST(ModuleLoader, FindsAFunctionOrSaysWhyNot) {
    std::string error;
    EXPECT_NE(moduleLoader().functionInModule("libm.so.6", "cos", error), nullptr);
    EXPECT_EQ(error, "");
    EXPECT_EQ(moduleLoader().functionInModule("libm.so.6", "noSuchFunction", error), nullptr);
    EXPECT_NE(error.find("noSuchFunction"), std::string::npos) << error;
    EXPECT_EQ(moduleLoader().functionInModule("/nowhere/lib.so", "cos", error), nullptr);
    EXPECT_NE(error.find("/nowhere/lib.so"), std::string::npos) << error;
}

TEST(SystemInformation, DescribesThisMachine) {
    const SystemInformation system = systemInformation();
    EXPECT_NE(system.version, "");
    EXPECT_GE(system.processorCount, 1);
    EXPECT_GT(system.memoryInBytes, std::uint64_t{1} << 20);
}

TEST(OsRelease, ReadsValuesAsAShellWould) {
    struct Case {
        const char* content;
        std::optional<std::string> name;
    };
    for (const Case& c : {
             Case{"ID=x\nPRETTY_NAME=\"Some System 12 (bookworm)\"\n", "Some System 12 (bookworm)"},
             {"PRETTY_NAME='Some System'", "Some System"},
             {"PRETTY_NAME=System\n", "System"},
             {"PRETTY_NAME=\"a \\\"b\\\" \\$c\"\n", "a \"b\" $c"},
             {"PRETTY_NAME='a\\'\n", "a\\"},
             {"PRETTY_NAME=one\nPRETTY_NAME=two\n", "two"},
             {"XPRETTY_NAME=x\nPRETTY_NAMES=y\n#PRETTY_NAME=z\n", {}},
             {"PRETTY_NAME=\"\"\n", {}},
             {"PRETTY_NAME=\"cut off", "cut off"},
             {"", {}},
         })
        EXPECT_EQ(osReleaseValue(c.content, "PRETTY_NAME"), c.name) << c.content;
}

} // namespace
} // namespace cutstack
