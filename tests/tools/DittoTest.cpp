// The helper that makes zip archives, whose archives another program reads.

#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr const char* kPython = "/usr/bin/python3";

/// Prints what is in an archive: mode, name, time, and the content, a link's being its target.
constexpr const char* kListing = R"(
import sys, zipfile
with zipfile.ZipFile(sys.argv[1]) as archive:
    assert archive.testzip() is None
    for item in archive.infolist():
        content = archive.read(item)
        print("%o %a %d %a" % (item.external_attr >> 16, item.filename, item.date_time[0],
                               content if len(content) < 99 else len(content)))
)";

class Ditto : public testing::Test {
protected:
    Ditto() {
        umask(022);
        fs::create_directory(top);
    }
    ~Ditto() override { umask(umaskBefore_); }

    static Finished run(Words arguments) {
        arguments.insert(arguments.begin(), DITTO);
        return finished(arguments);
    }
    [[nodiscard]] std::string listing() const {
        const Finished python = finished({kPython, "-c", kListing, archive});
        EXPECT_EQ(python.status, 0) << python.errors;
        return python.output;
    }
    /// Whether the folder holds nothing but the source, and the archive if there should be one.
    [[nodiscard]] bool nothingIsLeft(bool withArchive) const {
        const auto count = std::distance(fs::directory_iterator(folder_.path()), {});
        return count == (withArchive ? 2 : 1) && fs::exists(archive) == withArchive;
    }

    TemporaryFolder folder_;
    const std::string top = folder_ / "top";
    const std::string archive = folder_ / "made.zip";

private:
    const mode_t umaskBefore_ = umask(022);
};

TEST_F(Ditto, KeepsNamesPermissionsTimesAndLinks) {
    writeContent(top + "/empty", "");
    writeContent(top + "/caf\xC3\xA9/-a b", "text\n");
    writeContent(top + "/script", "#!");
    writeContent(top + "/zeros", std::string(3000000, '\0'));
    fs::permissions(top + "/script", fs::perms(0750));
    fs::permissions(top + "/zeros", fs::perms(0644));
    fs::permissions(top + "/empty", fs::perms(0400));
    fs::create_symlink("../caf\xC3\xA9", top + "/link");
    ASSERT_EQ(finished({"/usr/bin/touch", "-d", "1999-06-01", top + "/script"}).status, 0);
    const std::string year = finished({"/bin/date", "+%Y"}).output.substr(0, 4);

    for (const Words& options : {Words{"-ck", "--keepParent"}, Words{"-c", "-k"}}) {
        const std::string prefix = options.size() == 2 && options[0] == "-ck" ? "top/" : "";
        Words arguments = options;
        arguments.insert(arguments.end(), {top + "/", archive});
        const Finished ditto = run(arguments);
        EXPECT_EQ(ditto.status, 0) << ditto.errors;
        const std::string lines = listing();
        EXPECT_EQ(lines, (prefix.empty() ? "" : "40755 'top/' " + year + " b''\n") + //
                             "40755 '" + prefix + "caf\\xe9/' " + year + " b''\n" + "100644 '" +
                             prefix + "caf\\xe9/-a b' " + year + " b'text\\n'\n" + "100400 '" +
                             prefix + "empty' " + year + " b''\n" + "120777 '" + prefix + "link' " +
                             year + " b'../caf\\xc3\\xa9'\n" + "100750 '" + prefix +
                             "script' 1999 b'#!'\n" + "100644 '" + prefix + "zeros' " + year +
                             " 3000000\n");
        EXPECT_LT(fs::file_size(archive), 100000U) << "is compressed";
        EXPECT_EQ(fs::status(archive).permissions(), fs::perms(0644));
        EXPECT_TRUE(nothingIsLeft(true));
    }
}

TEST_F(Ditto, ArchivesOneFileOrLink) {
    writeContent(top + "/one", "1");
    fs::create_symlink("nowhere", top + "/link");
    EXPECT_EQ(run({"-ck", "--keepParent", top + "/one", archive}).status, 0);
    EXPECT_NE(listing().find("'one'"), std::string::npos);
    EXPECT_EQ(run({"-ck", top + "/link", archive}).status, 0);
    EXPECT_NE(listing().find("'link'"), std::string::npos);
}

TEST_F(Ditto, AnArchiveInItsOwnSourceLeavesItselfOut) {
    writeContent(top + "/one", "1");
    const std::string inside = top + "/inside.zip";
    EXPECT_EQ(run({"-ck", top, inside}).status, 0);
    const Finished python = finished({kPython, "-c", kListing, inside});
    EXPECT_EQ(std::count(python.output.begin(), python.output.end(), '\n'), 1) << python.output;
}

TEST_F(Ditto, FailuresAreToldAndLeaveNothing) {
    writeContent(folder_.path() / "top/caf\xE9/x", "");
    ASSERT_EQ(mkfifo((top + "/pipe").c_str(), 0600), 0);
    const struct {
        Words arguments;
        std::string error;
    } cases[] = {
        {{"-ck", top + "/missing", archive}, top + "/missing: No such file or directory"},
        {{"-ck", top, top + "/no/a.zip"}, top + "/no/a.zip: No such file or directory"},
        {{"-ck", top + "/pipe", archive}, top + "/pipe: neither a file, a folder nor a link"},
        {{"-ck", top, archive}, top + "/caf\xE9: the name is not UTF-8"},
        {{"-ck", top + "/caf\xE9/x", top}, top + ": Is a directory"},
        {{"-c", top, archive}, "only zip archives can be made, with -c -k"},
        {{"-ck", top}, "a source and an archive are needed, and nothing else"},
        {{"-ck", "--sequesterRsrc", top, archive}, "unknown option '--sequesterRsrc'"},
    };
    for (const auto& each : cases) {
        const Finished ditto = run(each.arguments);
        EXPECT_EQ(ditto.status, 1) << each.error;
        EXPECT_EQ(ditto.errors.substr(0, ditto.errors.find('\n')), "ditto: " + each.error);
        EXPECT_TRUE(nothingIsLeft(false)) << each.error;
    }
    writeContent(archive, "old");
    EXPECT_EQ(run({"-ck", top, archive}).status, 1);
    EXPECT_EQ(contentOf(archive), "old");
}

TEST_F(Ditto, AFullDiskLeavesNothing) {
    std::mt19937 random; // what cannot be compressed
    std::string noise(1000000, ' ');
    std::ranges::generate(noise, [&] { return static_cast<char>(random()); });
    writeContent(top + "/noise", noise);
    const Finished ditto =
        finished({"/usr/bin/prlimit", "--fsize=500000", DITTO, "-ck", top, archive});
    EXPECT_EQ(ditto.status, 1);
    EXPECT_NE(ditto.errors.find("could not be put into the archive"), std::string::npos)
        << ditto.errors;
    EXPECT_TRUE(nothingIsLeft(false));
}

TEST_F(Ditto, WhoAsksItToEndFindsNothingLeft) {
    writeContent(top + "/endless", "");
    fs::resize_file(top + "/endless", std::uintmax_t{1} << 38);
    const pid_t process = fork();
    if (process == 0) {
        execl(DITTO, DITTO, "-ck", top.c_str(), archive.c_str(), nullptr);
        _exit(127);
    }
    while (nothingIsLeft(false) && waitpid(process, nullptr, WNOHANG) == 0)
        std::this_thread::yield();
    kill(process, SIGTERM);
    int status = 0;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    EXPECT_TRUE(nothingIsLeft(false));
}

} // namespace
} // namespace cutstack
