// How the program gets and uses an administrator's rights: with programs of the test's own in the
// place of pkexec and sudo, and with the real sudo where script/test-as-user has made a rule for
// it.

#include "platform/Privileges.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/ProcessEnvironment.h"
#include "platform/linux/HelperPrivileges.h"
#include "tests/TemporaryFolder.h"
#include "tests/platform/SudoRule.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

/// Root's alone on every machine, which is all that is asked of it here.
const std::string kTrustedProgram = "/usr/bin/env";

/// Programs that stand in for pkexec and sudo. Each notes its arguments in "asked".
class FakePrograms {
public:
    std::string pkexec(const std::string& script) { return program("pkexec", script); }
    std::string sudo(const std::string& script) { return program("sudo", script); }
    [[nodiscard]] std::string asked() const {
        return fs::exists(folder_ / "asked") ? contentOf(folder_ / "asked") : "";
    }
    [[nodiscard]] std::string operator/(const char* name) const { return folder_ / name; }

    /// Shell commands that speak for the helper: ready, and one status for each request.
    static constexpr const char* kReady = R"(printf '\0\0\0\5R\0\0\0\1' >&0;)";
    static constexpr const char* kWaitForEnd = "cat >/dev/null;";

private:
    std::string program(const char* name, const std::string& script) {
        const std::string path = folder_ / name;
        writeContent(path, "#!/bin/sh\necho " + std::string(name) + R"( "$@" >>")" +
                               (folder_ / "asked") + "\"\n" + script + "\n");
        chmod(path.c_str(), 0755);
        return path;
    }

    TemporaryFolder folder_;
};

const std::string kHelperIsReady = std::string(FakePrograms::kReady) + FakePrograms::kWaitForEnd;

TEST(Privileges, TrustOnlyAHelperThatIsRootsAlone) {
    const TemporaryFolder folder;
    const std::string helper = folder / "helper";
    writeContent(helper, "");
    struct Case {
        std::string helper;
        int fault;
    };
    for (const Case& c : {
             Case{"/usr/no such folder/helper", ENOENT},
             {helper, EPERM}, // anybody may write to the temporary folder
             {"usr/bin/env", EINVAL},
             {"/usr/bin", EINVAL},
             {"/proc/self/exe", EINVAL}, // by a link
             {kTrustedProgram, 0},
         }) {
        HelperPrivileges rights({.helper = c.helper, .pkexec = "/bin/false", .sudo = "/bin/false"});
        std::string error;
        EXPECT_EQ(rights.faultOfMeans(error), c.fault) << c.helper << ": " << error;
        EXPECT_EQ(error.empty(), c.fault == 0);
        EXPECT_FALSE(rights.obtain(error));
        EXPECT_FALSE(error.empty());
    }
    HelperPrivileges nobodyToAsk({.helper = kTrustedProgram, .pkexec = "/no", .sudo = "/no"});
    std::string error;
    EXPECT_EQ(nobodyToAsk.faultOfMeans(error), ENOENT);
}

TEST(Privileges, AreAskedForInTurnUntilSomebodyDecides) {
    struct Case {
        const char* name;
        std::string pkexec;
        std::string sudo;
        bool isObtained;
        std::string asked;
    };
    const std::string byPkexec = "pkexec --disable-internal-agent /usr/bin/env\n";
    const std::string bySudo = "sudo -n -- /usr/bin/env\n";
    const std::string byQuestion = "sudo -A -- /usr/bin/env\n";
    const std::string otherVersion = R"(printf '\0\0\0\5R\0\0\0\2' >&0;)";
    for (const Case& c : {
             Case{"the desktop's agent agrees", kHelperIsReady, "exit 1", true, byPkexec},
             {"the person closes the question", "exit 126", kHelperIsReady, false, byPkexec},
             {"there is no agent", "exit 127", kHelperIsReady, true, byPkexec + bySudo},
             {"only a question helps", "exit 127", "[ $1 = -A ] || exit 1; " + kHelperIsReady, true,
              byPkexec + bySudo + byQuestion},
             {"nobody agrees", "echo no agent >&2; exit 127", "echo no rule >&2; exit 1", false,
              byPkexec + bySudo + byQuestion},
             {"talk that is no helper's", "printf hello >&0; exit", kHelperIsReady, true,
              byPkexec + bySudo},
             {"a helper of another version", otherVersion + FakePrograms::kWaitForEnd,
              kHelperIsReady, true, byPkexec + bySudo},
         }) {
        FakePrograms programs;
        setenv("SUDO_ASKPASS", "/bin/false", 1);
        HelperPrivileges rights(
            {kTrustedProgram, programs.pkexec(c.pkexec), programs.sudo(c.sudo)});
        std::string error;
        EXPECT_EQ(rights.obtain(error), c.isObtained) << c.name << ": " << error;
        EXPECT_EQ(rights.areObtained(), c.isObtained) << c.name;
        EXPECT_EQ(programs.asked(), c.asked) << c.name;
        if (c.isObtained) {
            EXPECT_TRUE(rights.obtain(error)) << "nobody is asked again";
            EXPECT_EQ(programs.asked(), c.asked) << c.name;
            rights.giveUp();
            EXPECT_FALSE(rights.areObtained());
        }
        if (std::string(c.name) == "nobody agrees") {
            EXPECT_EQ(error, "no agent; no rule; no rule");
        }
        unsetenv("SUDO_ASKPASS");
    }
}

/// Answers one request with status 7 and refuses the next.
const std::string kTwoAnswers = std::string(FakePrograms::kReady) + R"(
head -c 24 >/dev/null; printf '\0\0\0\5S\0\0\0\7' >&0
head -c 24 >/dev/null; printf '\0\0\0\7N\0\0\0\0no' >&0
)";

TEST(Privileges, RunToolsUntilTheHelperIsGone) {
    FakePrograms programs;
    HelperPrivileges rights({kTrustedProgram, "/no", programs.sudo(kTwoAnswers)});
    std::string error;
    EXPECT_EQ(rights.run("/bin/rm", {"-R"}, true, error), std::nullopt);
    EXPECT_EQ(error, "there are no administrator rights");
    ASSERT_TRUE(rights.obtain(error)) << error;
    const std::string tooLarge(kLargestFrame, 'x');
    EXPECT_EQ(rights.run("/bin/rm", {tooLarge}, true, error), std::nullopt);
    const std::string path = "/folder"; // makes frames of 24 bytes
    EXPECT_EQ(rights.run("/bin", {path}, true, error), 7);
    EXPECT_EQ(rights.run("/bin", {path}, true, error), std::nullopt);
    EXPECT_EQ(error, "no");
    EXPECT_EQ(rights.run("/bin", {path}, true, error), std::nullopt);
    EXPECT_FALSE(rights.areObtained());
    EXPECT_EQ(rights.run("/bin", {path}, true, error), std::nullopt);
}

std::string ownName() { return processEnvironment().userName().value_or(""); }

TEST(Privileges, TakeThePasswordOfTheOwnUserOnly) {
    // As sudo does: asks, reads one line, asks once more when it was wrong.
    const std::string asks = R"(
prompt=$4
for turn in 1 2; do
    printf '%s' "$prompt" >&2
    IFS= read -r line || { echo "no password" >&2; exit 1; }
    [ "$line" != 'o p"e$n' ] || { )" +
                             kHelperIsReady + R"( exit; }
done
exit 1)";
    FakePrograms programs;
    HelperPrivileges rights({kTrustedProgram, "/no", programs.sudo(asks)});
    std::string error;
    EXPECT_FALSE(rights.obtainAs(ownName(), "wrong", error));
    EXPECT_EQ(error, "the password is wrong");
    EXPECT_FALSE(rights.obtainAs("somebody else", "o p\"e$n", error));
    EXPECT_EQ(error, "only the password of the user who runs this program can be used");
    EXPECT_FALSE(rights.obtainAs(ownName(), "o p\"e$n\nrest", error));
    EXPECT_FALSE(rights.areObtained());
    EXPECT_TRUE(rights.obtainAs(ownName(), "o p\"e$n", error)) << error;
    EXPECT_FALSE(rights.obtainAs(ownName(), "wrong", error));
    EXPECT_TRUE(rights.areObtained()) << "what was there stays";
    EXPECT_EQ(programs.asked().find("o p"), std::string::npos) << "a password on a command line";
}

TEST(PrivilegesOfSudo, WorkWhereTheUserMayNot) {
    const auto rule = SudoRule::ofThisRun();
    if (!rule)
        GTEST_SKIP() << SudoRule::kWhyNot;
    HelperPrivileges rights({.helper = rule->helper, .pkexec = "/no"});
    std::string error;
    ASSERT_TRUE(rights.obtain(error)) << error;
    const std::string room = rule->rootsFolder + "/of Privileges\xFF";
    const TemporaryFolder own;
    writeContent(own / "file", "content");
    const auto run = [&](const char* tool, const std::vector<std::string>& arguments) {
        return rights.run(tool, arguments, true, error);
    };
    EXPECT_EQ(run("/bin/mkdir", {"-p", room + "/deep"}), 0) << error;
    EXPECT_EQ(run("/bin/cp", {"-f", "-p", "-R", own / "file", room + "/copy"}), 0) << error;
    EXPECT_EQ(contentOf(room + "/copy"), "content");
    EXPECT_EQ(run("/usr/sbin/chown", {"root:wheel", room + "/copy"}), 0) << error;
    EXPECT_EQ(run("/bin/chmod", {"644", room + "/copy"}), 0) << error;
    struct stat entry {};
    ASSERT_EQ(stat((room + "/copy").c_str(), &entry), 0);
    EXPECT_EQ(entry.st_uid, 0U);
    EXPECT_EQ(entry.st_mode & 07777U, 0644U);
    EXPECT_NE(access((room + "/copy").c_str(), W_OK), 0);
    EXPECT_EQ(run("/bin/rm", {"-R", "-f", rule->rootsFolder + "/closed/x"}), std::nullopt);
    EXPECT_EQ(run("/bin/sh", {"-c", "true"}), std::nullopt);
    EXPECT_EQ(run("/bin/mv", {"-f", room + "/none", room + "/x"}), 1);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", room}), 0) << error;
    EXPECT_FALSE(fs::exists(room));
    EXPECT_TRUE(rights.areObtained());
}

TEST(PrivilegesOfSudo, NeedTheRightPassword) {
    const auto rule = SudoRule::ofThisRun();
    if (!rule)
        GTEST_SKIP() << SudoRule::kWhyNot;
    HelperPrivileges rights({.helper = rule->helperForPassword, .pkexec = "/no"});
    std::string error;
    EXPECT_FALSE(rights.obtain(error)) << "not without a password";
    EXPECT_FALSE(rights.obtainAs(ownName(), "wrong", error));
    EXPECT_EQ(error, "the password is wrong");
    EXPECT_FALSE(rights.obtainAs("root", rule->password, error));
    ASSERT_TRUE(rights.obtainAs(ownName(), rule->password, error)) << error;
    EXPECT_EQ(rights.run("/usr/bin/touch", {"-c", rule->rootsFolder + "/none"}, true, error), 0);
}

} // namespace
} // namespace cutstack
