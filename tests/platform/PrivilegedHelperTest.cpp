// The privileged helper: what it does, for whom, and what it refuses. Where root runs the tests,
// the real program works for an ordinary user.

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/Descriptor.h"
#include "platform/linux/PrivilegedProtocol.h"
#include "platform/linux/SessionProcess.h"
#include "platform/linux/privileged/Caller.h"
#include "platform/linux/privileged/Commands.h"
#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using Kind = PrivilegedAnswer::Kind;
using Words = std::vector<std::string>;

constexpr uid_t kOrdinaryUser = 65534;

TEST(PrivilegedProtocol, KeepsBytesAndRefusesPieces) {
    const PrivilegedRequest request{true, "/bin/cp", {"", "/a\xFF\n", std::string("/b\0c", 4)}};
    const std::string frame = encoded(request);
    EXPECT_EQ(decodedRequest(frame), request);
    for (std::size_t size = 0; size < frame.size(); ++size) {
        const auto piece = decodedRequest(frame.substr(0, size));
        // A piece that ends between two texts is a shorter request, which the table judges.
        EXPECT_TRUE(!piece || piece->arguments.size() < request.arguments.size()) << size;
    }
    for (const std::string& wrong : {std::string(), std::string("\2\0\0\0\0", 5),
                                     std::string("\0\xFF\xFF\xFF\xFFx", 6), frame + "x"})
        EXPECT_EQ(decodedRequest(wrong), std::nullopt);

    const PrivilegedAnswer answer{Kind::refused, -7, "no\xFF"};
    EXPECT_EQ(decodedAnswer(encoded(answer)), answer);
    EXPECT_EQ(decodedAnswer(encoded(answer).substr(0, 4)), std::nullopt);
    EXPECT_EQ(decodedAnswer("hello"), std::nullopt);
}

TEST(PrivilegedCommands, AreTheKnownOnesWithPlainPaths) {
    struct Case {
        const char* tool;
        Words arguments;
        const char* program; ///< empty: refused
    };
    const std::string nul("/a\0b", 4);
    for (const Case& c : {
             Case{"/bin/cp", {"-f", "-p", "-R", "/a", "/b"}, "/bin/cp"},
             {"/bin/mv", {"-f", "/a b", "/-f"}, "/bin/mv"},
             {"/bin/rm", {"-Rdf", "/a"}, "/bin/rm"},
             {"/bin/rm", {"-R", "-f", "/a", "/b", "/.c"}, "/bin/rm"},
             {"/bin/mkdir", {"-p", "/a/b/"}, "/bin/mkdir"},
             {"/usr/bin/touch", {"-c", "/a"}, "/usr/bin/touch"},
             {"/bin/chmod", {"644", "/a"}, "/bin/chmod"},
             {"/usr/sbin/chown", {"root:wheel", "/a"}, "/bin/chown"},
             {"/bin/sh", {"-c", "/a"}, ""},
             {"cp", {"-f", "-p", "-R", "/a", "/b"}, ""},
             {"/bin/../bin/rm", {"-Rdf", "/a"}, ""},
             {"/bin/cp", {"-f", "-p", "-R", "/a"}, ""},
             {"/bin/cp", {"-f", "-p", "-R", "/a", "/b", "/c"}, ""},
             {"/bin/cp", {"-f", "-R", "-p", "/a", "/b"}, ""},
             {"/bin/cp", {"-f", "-p", "-R", "--target-directory=/etc", "/b"}, ""},
             {"/bin/mv", {"-f", "/a", "-t"}, ""},
             {"/bin/rm", {"-R", "-f"}, ""},
             {"/bin/rm", {"-Rdf", "/a", "/b"}, ""},
             {"/bin/rm", {"-Rdf", "a"}, ""},
             {"/bin/rm", {"-Rdf", ""}, ""},
             {"/bin/rm", {"-Rdf", "/a/../b"}, ""},
             {"/bin/rm", {"-Rdf", "/a/."}, ""},
             {"/bin/rm", {"-Rdf", "/.."}, ""},
             {"/bin/rm", {"-Rdf", nul}, ""},
             {"/bin/rm", {"-Rdf", "/" + std::string(5000, 'a')}, ""},
             {"/bin/chmod", {"4755", "/a"}, ""},
             {"/bin/chmod", {"644"}, ""},
             {"/usr/sbin/chown", {"nobody", "/a"}, ""},
             {"/bin/launchctl", {"load", "/a"}, ""},
             {"", {}, ""},
         }) {
        std::string refusal;
        const auto command = commandFor({false, c.tool, c.arguments}, refusal);
        EXPECT_EQ(command ? command->program : "", c.program)
            << c.tool << " " << testing::PrintToString(c.arguments);
        EXPECT_EQ(refusal.empty(), command.has_value());
    }
}

TEST(PrivilegedCommands, ArePlacedAndSpelledAsThisSystemHasThem) {
    std::string refusal;
    const auto command = commandFor({false, "/usr/sbin/chown", {"root:wheel", "/a"}}, refusal);
    ASSERT_TRUE(command);
    EXPECT_EQ(command->options, Words{"root:root"});
    EXPECT_EQ(command->operands, Words{"/a"});
    EXPECT_EQ(command->changedOperands, 1U);
}

/// A folder that everybody may see, with one that nobody else may look into.
struct Places {
    TemporaryFolder folder;
    std::string hidden = folder / "hidden";

    Places() {
        fs::permissions(folder.path(), fs::perms(0755));
        writeContent(hidden + "/file", "secret");
        fs::permissions(hidden, fs::perms(0700));
        writeContent(folder / "file", "content");
        fs::create_symlink("/usr/lib", folder / "link to the system");
        fs::create_symlink(folder.path(), folder / "link");
    }
};

TEST(PrivilegedCaller, SeesWhatItMayHaveChanged) {
    if (getuid() != 0)
        GTEST_SKIP() << "only root can take the part of another user";
    const Places places;
    const fs::path& folder = places.folder.path();
    const Caller caller{getpid(), kOrdinaryUser, kOrdinaryUser, {}, folder / "home/anna"};
    fs::create_directories(caller.home);
    struct Case {
        const char* tool;
        Words arguments;
        bool isRefused;
    };
    for (const Case& c : {
             Case{"/bin/rm", {"-Rdf", folder / "file"}, false},
             {"/bin/rm", {"-Rdf", folder / "none"}, false},
             {"/bin/rm", {"-Rdf", folder / "file/below a file"}, false},
             {"/bin/rm", {"-Rdf", places.hidden}, false}, // what it is called can be seen
             {"/bin/rm", {"-Rdf", places.hidden + "/file"}, true},
             {"/bin/rm", {"-R", "-f", folder / "file", places.hidden + "/file"}, true},
             {"/bin/cp", {"-f", "-p", "-R", places.hidden + "/file", folder / "x"}, true},
             {"/bin/cp", {"-f", "-p", "-R", folder / "file", places.hidden + "/x"}, true},
             {"/bin/mkdir", {"-p", places.hidden + "/x"}, true},
             {"/bin/rm", {"-Rdf", "/"}, true},
             {"/bin/rm", {"-Rdf", "//"}, true},
             {"/bin/rm", {"-Rdf", "/usr//lib/"}, true},
             {"/bin/rm", {"-Rdf", folder / "link to the system"}, true},
             {"/bin/mv", {"-f", "/etc", folder / "x"}, true},
             {"/bin/mv", {"-f", "/bin", folder / "x"}, true}, // a link itself on most systems
             {"/bin/mv", {"-f", folder / "file", "/usr/lib"}, false},
             {"/bin/cp", {"-f", "-p", "-R", "/etc", folder / "x"}, false},
             {"/bin/chmod", {"644", "/var/tmp"}, true},
             {"/bin/rm", {"-Rdf", folder / "link/home/anna"}, true},
             {"/bin/rm", {"-Rdf", folder / "home"}, true},
             {"/bin/rm", {"-Rdf", folder / "home/anna/x"}, false},
         }) {
        std::string refusal;
        const auto command = commandFor({false, c.tool, c.arguments}, refusal);
        ASSERT_TRUE(command) << refusal;
        EXPECT_EQ(refusalFor(*command, caller).has_value(), c.isRefused)
            << c.tool << " " << testing::PrintToString(c.arguments);
        EXPECT_EQ(geteuid(), 0U);
    }
}

/// The helper, run by root for an ordinary user.
class Helper {
public:
    explicit Helper(const char* userWhoAsked = "SUDO_UID=65534", uid_t pairMadeBy = kOrdinaryUser) {
        std::array<int, 2> pair{};
        EXPECT_EQ(seteuid(pairMadeBy), 0);
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()), 0);
        EXPECT_EQ(seteuid(0), 0);
        socket_ = Descriptor(pair[0]);
        const Descriptor theirs(pair[1]);
        EXPECT_EQ(startInOwnSession({CUTSTACK_HELPER}, {userWhoAsked}, {theirs.number(), -1, -1},
                                    process_),
                  0);
    }
    ~Helper() { close(); }
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;

    [[nodiscard]] int socket() const { return socket_.number(); }
    [[nodiscard]] pid_t process() const { return process_; }

    std::optional<PrivilegedAnswer> answer() {
        std::string error;
        const auto frame = receiveFrame(socket(), error);
        return frame ? decodedAnswer(*frame) : std::nullopt;
    }
    std::optional<PrivilegedAnswer> answerTo(const PrivilegedRequest& request) {
        std::string error;
        EXPECT_TRUE(sendFrame(socket(), encoded(request), error)) << error;
        return answer();
    }
    void isReady() {
        EXPECT_EQ(answer(), (PrivilegedAnswer{Kind::ready, kPrivilegedProtocolVersion, {}}));
    }
    /// Closes the connection; how the helper ended.
    int close() {
        socket_ = Descriptor();
        return process_ < 0 ? -1 : exitStatusOf(std::exchange(process_, -1));
    }

private:
    Descriptor socket_;
    pid_t process_ = -1;
};

PrivilegedRequest copying(const std::string& from, const std::string& to, bool waits = true) {
    return {waits, "/bin/cp", {"-f", "-p", "-R", from, to}};
}

class PrivilegedHelper : public testing::Test {
protected:
    void SetUp() override {
        if (getuid() != 0)
            GTEST_SKIP() << "only root can run the helper without a sudo rule";
    }
    Places places;
    const std::string file = places.folder / "file";
};

TEST_F(PrivilegedHelper, WorksForItsCaller) {
    Helper helper;
    helper.isReady();
    const std::string copy = places.folder / "copy \xFF";
    EXPECT_EQ(helper.answerTo(copying(file, copy)), (PrivilegedAnswer{Kind::status, 0, {}}));
    EXPECT_EQ(contentOf(copy), "content");
    EXPECT_EQ(helper.answerTo(copying(places.folder / "none", copy))->number, 1);
    for (const PrivilegedRequest& refused :
         {copying(places.hidden + "/file", copy), copying("relative", copy),
          PrivilegedRequest{true, "/bin/rm", {"-Rdf", "/usr"}},
          PrivilegedRequest{true, "/usr/bin/env", {}}}) {
        const auto answer = helper.answerTo(refused);
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->kind, Kind::refused);
        EXPECT_FALSE(answer->text.empty());
    }
    EXPECT_EQ(contentOf(copy), "content");
    EXPECT_EQ(helper.close(), 0);
}

TEST_F(PrivilegedHelper, ServesOnlyTheUserWhoWasGivenTheRights) {
    struct Case {
        const char* userWhoAsked;
        uid_t pairMadeBy;
    };
    for (const Case& c : {Case{"SUDO_UID=1", kOrdinaryUser},
                          {"SUDO_UID=65534x", kOrdinaryUser},
                          {"SUDO_UID=", kOrdinaryUser},
                          {"SUDO_UID=-1", kOrdinaryUser},
                          {"HOME=/", kOrdinaryUser},
                          {"SUDO_UID=0", 0}}) {
        Helper helper(c.userWhoAsked, c.pairMadeBy);
        EXPECT_EQ(helper.answer(), std::nullopt) << c.userWhoAsked;
        EXPECT_EQ(helper.close(), 1) << c.userWhoAsked;
    }
    const Finished byHand = finished({CUTSTACK_HELPER});
    EXPECT_EQ(byHand.status, 1);
    EXPECT_NE(byHand.errors.find("cutstack-privileged: "), std::string::npos);
}

TEST_F(PrivilegedHelper, OutlivesNoHostileFrame) {
    Helper talkative;
    talkative.isReady();
    std::string error;
    ASSERT_TRUE(sendFrame(talkative.socket(), "\7 no request", error));
    EXPECT_EQ(talkative.answer()->kind, Kind::refused);
    ASSERT_TRUE(sendFrame(talkative.socket(), "", error));
    EXPECT_EQ(talkative.answer()->kind, Kind::refused);
    EXPECT_EQ(send(talkative.socket(), "\xFF\xFF\xFF\xFF", 4, MSG_NOSIGNAL), 4);
    EXPECT_EQ(talkative.answer(), std::nullopt) << "a frame without measure";
    EXPECT_EQ(talkative.close(), 0);

    Helper cutOff;
    cutOff.isReady();
    EXPECT_EQ(send(cutOff.socket(), "\0\0\0\x10half", 8, MSG_NOSIGNAL), 8);
    EXPECT_EQ(cutOff.close(), 0);
}

TEST_F(PrivilegedHelper, EndsBeforeAToolThatItStarted) {
    Helper helper;
    helper.isReady();
    // The copy cannot go on until somebody reads.
    const std::string pipe = places.folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(helper.answerTo(copying(file, pipe, false)), (PrivilegedAnswer{Kind::status, 0, {}}));
    EXPECT_EQ(helper.close(), 0);
    EXPECT_EQ(contentOf(pipe), "content");
}

/// In a process that ends at once: makes a pair as the ordinary user, starts a helper on it, waits
/// until it is ready and leaves the pair to a process that holds it while `held` is open elsewhere.
/// Writes the numbers of both to `told`.
void beACallerThatEnds(const std::array<int, 2>& held, int told) {
    std::array<int, 2> pair{};
    std::array<pid_t, 2> processes{};
    std::string error;
    if (seteuid(kOrdinaryUser) != 0 ||
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()) != 0 || seteuid(0) != 0 ||
        startInOwnSession({CUTSTACK_HELPER}, {"SUDO_UID=65534"}, {pair[1], -1, -1}, processes[0]) !=
            0 ||
        !receiveFrame(pair[0], error))
        _exit(1);
    processes[1] = fork();
    if (processes[1] == 0) {
        char byte = 0;
        close(held[1]);
        _exit(read(held[0], &byte, 1) == 0 ? 0 : 1);
    }
    _exit(write(told, processes.data(), sizeof processes) == sizeof processes ? 0 : 1);
}

TEST_F(PrivilegedHelper, EndsWithItsCallerThoughTheConnectionStaysOpen) {
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0); // so that the helper can be waited for
    std::array<int, 2> held{};
    std::array<int, 2> told{};
    ASSERT_EQ(pipe2(held.data(), O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(told.data(), O_CLOEXEC), 0);
    const pid_t caller = fork();
    if (caller == 0)
        beACallerThatEnds(held, told[1]);
    ASSERT_EQ(exitStatusOf(caller), 0);
    std::array<pid_t, 2> processes{};
    ASSERT_EQ(read(told[0], processes.data(), sizeof processes), ssize_t{sizeof processes});
    EXPECT_EQ(exitStatusOf(processes[0]), 0);
    EXPECT_EQ(waitpid(processes[1], nullptr, WNOHANG), 0) << "nobody held the connection";
    close(held[1]);
    EXPECT_EQ(exitStatusOf(processes[1]), 0);
    for (const int end : {held[0], told[0], told[1]})
        close(end);
    prctl(PR_SET_CHILD_SUBREAPER, 0);
}

} // namespace
} // namespace cutstack
