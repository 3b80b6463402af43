#include "support/AtomicFile.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/SystemErrors.h"
#include "support/FileLock.h"
#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {

namespace {

namespace fs = std::filesystem;

std::size_t filesIn(const fs::path& folder) {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

/// Why writing fails; empty when it succeeds.
std::string faultOfWriting(const std::string& path, std::string_view bytes) {
    std::string error;
    return writeFileAtomically(path, bytes, error) ? "" : error;
}

std::string faultOfReading(const std::string& path, std::size_t sizeLimit) {
    std::string error;
    EXPECT_FALSE(readFile(path, sizeLimit, error).has_value());
    return error;
}

/// The size that files may have in this process, for the length of a scope.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &old_);
        const rlimit low{bytes, old_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &low);
        handler_ = std::signal(SIGXFSZ, SIG_IGN);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &old_);
        static_cast<void>(std::signal(SIGXFSZ, handler_));
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit old_{};
    void (*handler_)(int) = SIG_DFL;
};

class AtomicFileTest : public testing::Test {
protected:
    const TemporaryFolder folder_;
    const std::string path_ = folder_ / "file";
};

TEST_F(AtomicFileTest, readsBackWhatWasWritten) {
    for (const std::size_t size : {0U, 1U, 262144U, 3000001U}) {
        std::string bytes(size, 'x');
        if (size > 1)
            bytes[size / 2] = '\0';
        EXPECT_EQ(faultOfWriting(path_, bytes), "");
        std::string error;
        EXPECT_EQ(readFile(path_, size, error), bytes);
        if (size > 0) {
            EXPECT_EQ(faultOfReading(path_, size - 1), wordingOf(EFBIG));
        }
    }
    EXPECT_EQ(filesIn(folder_.path()), 1U);
    constexpr std::size_t kMoreThanMemory = std::size_t{1} << 42;
    fs::resize_file(path_, kMoreThanMemory);
    EXPECT_EQ(faultOfReading(path_, kMoreThanMemory - 1), wordingOf(EFBIG));
}

TEST_F(AtomicFileTest, readsPipes) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "piped", 5), 5);
    close(ends[1]);
    std::string error;
    EXPECT_EQ(readFile("/dev/fd/" + std::to_string(ends[0]), 5, error), "piped") << error;
    close(ends[0]);
    EXPECT_EQ(faultOfReading("/dev/zero", 1000000), wordingOf(EFBIG));
}

TEST_F(AtomicFileTest, failsInTheSystemsWords) {
    EXPECT_EQ(faultOfReading(path_, 1), wordingOf(ENOENT));
    EXPECT_EQ(faultOfReading(folder_.path(), 1), wordingOf(EISDIR));
    EXPECT_EQ(faultOfReading("", 1), wordingOf(ENOENT));
    EXPECT_EQ(faultOfWriting(folder_ / "missing/file", "x"), wordingOf(ENOENT));
    EXPECT_EQ(faultOfWriting(folder_.path(), "x"), wordingOf(EISDIR));
    EXPECT_EQ(faultOfWriting("/dev/null", "x"), wordingOf(EINVAL));
    EXPECT_EQ(faultOfWriting(folder_ / std::string(300, 'n'), "x"), wordingOf(ENAMETOOLONG));
    EXPECT_EQ(faultOfWriting("", "x"), wordingOf(ENOENT));
    EXPECT_EQ(faultOfWriting(folder_ / std::string(255, 'n'), "x"), "");
    EXPECT_EQ(filesIn(folder_.path()), 1U);
}

TEST_F(AtomicFileTest, keepsTheModeOfWhatItReplaces) {
    const mode_t umaskBefore = umask(0027);
    EXPECT_EQ(faultOfWriting(path_, "new"), "");
    EXPECT_EQ(modeOf(path_), 0640U);
    for (const mode_t mode : {0600U, 0444U, 0666U}) {
        ASSERT_EQ(chmod(path_.c_str(), mode), 0);
        EXPECT_EQ(faultOfWriting(path_, "replaced"), "");
        EXPECT_EQ(modeOf(path_), mode);
    }
    ASSERT_EQ(chmod(path_.c_str(), 07755), 0);
    EXPECT_EQ(faultOfWriting(path_, "what runs in nobody else's name"), "");
    EXPECT_EQ(modeOf(path_), 0755U);
    umask(umaskBefore);
}

TEST_F(AtomicFileTest, rootLeavesFilesToTheirOwner) {
    if (getuid() != 0)
        GTEST_SKIP() << "only root can give files away";
    writeContent(path_, "old");
    ASSERT_EQ(chown(path_.c_str(), 1234, 2345), 0);
    EXPECT_EQ(faultOfWriting(path_, "new"), "");
    struct stat status {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 1234U);
    EXPECT_EQ(status.st_gid, 2345U);

    // Another group does not get what was meant for the one that could not be kept.
    ASSERT_EQ(chmod(path_.c_str(), 0664), 0);
    ASSERT_EQ(chmod(folder_.path().c_str(), 0777), 0);
    EXPECT_TRUE(asOrdinaryUser([this] { return faultOfWriting(path_, "newer").empty(); }));
    EXPECT_EQ(modeOf(path_), 0604U);
}

TEST_F(AtomicFileTest, replacesWhatALinkPointsTo) {
    fs::create_directory(folder_ / "sub");
    fs::create_symlink("sub/target", folder_ / "relative");
    fs::create_symlink(folder_ / "relative", folder_ / "absolute");
    fs::create_symlink("loop", folder_ / "loop");
    EXPECT_EQ(faultOfWriting(folder_ / "relative", "made"), "");
    EXPECT_EQ(contentOf(folder_ / "sub/target"), "made");
    EXPECT_EQ(faultOfWriting(folder_ / "absolute", "replaced"), "");
    EXPECT_EQ(contentOf(folder_ / "sub/target"), "replaced");
    EXPECT_TRUE(fs::is_symlink(folder_ / "relative"));
    EXPECT_TRUE(fs::is_symlink(folder_ / "absolute"));
    EXPECT_EQ(faultOfWriting(folder_ / "loop", "x"), wordingOf(ELOOP));
    EXPECT_EQ(filesIn(folder_ / "sub"), 1U);
}

TEST_F(AtomicFileTest, writesBesideAFileWithoutAFolderInItsName) {
    const fs::path before = fs::current_path();
    fs::current_path(folder_.path());
    EXPECT_EQ(faultOfWriting("bare", "x"), "");
    fs::current_path(before);
    EXPECT_EQ(contentOf(folder_ / "bare"), "x");
}

TEST_F(AtomicFileTest, aFullDiskChangesNothing) {
    writeContent(path_, "old");
    {
        const FileSizeLimit limit(100000);
        EXPECT_EQ(faultOfWriting(path_, std::string(100001, 'x')), wordingOf(EFBIG));
        EXPECT_EQ(faultOfWriting(folder_ / "new", std::string(100001, 'x')), wordingOf(EFBIG));
    }
    EXPECT_EQ(contentOf(path_), "old");
    EXPECT_EQ(filesIn(folder_.path()), 1U);
}

TEST_F(AtomicFileTest, aFolderThatMayNotBeWrittenChangesNothing) {
    writeContent(path_, "old");
    ASSERT_EQ(chmod(folder_.path().c_str(), 0555), 0);
    EXPECT_TRUE(asOrdinaryUser([this] { return faultOfWriting(path_, "x") == wordingOf(EACCES); }));
    EXPECT_TRUE(asOrdinaryUser([this] { return FileLock(path_).fault() == EACCES; }));
    ASSERT_EQ(chmod(path_.c_str(), 0), 0);
    EXPECT_TRUE(asOrdinaryUser([this] { return faultOfReading(path_, 100) == wordingOf(EACCES); }));
    ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
    EXPECT_EQ(filesIn(folder_.path()), 1U);
    ASSERT_EQ(chmod(path_.c_str(), 0644), 0);
    EXPECT_EQ(contentOf(path_), "old");
}

TEST_F(AtomicFileTest, readersAndKillsSeeOneContentOrTheOther) {
    const std::string contents[] = {std::string(200000, 'a'), std::string(300000, 'b')};
    ASSERT_EQ(faultOfWriting(path_, contents[0]), "");
    for (int round = 0; round < 5; ++round) {
        const pid_t writer = fork();
        if (writer == 0) {
            for (std::size_t i = 0;; ++i)
                if (!faultOfWriting(path_, contents[i % 2]).empty())
                    _exit(1);
        }
        for (int reading = 0; reading < 40; ++reading) {
            const std::string seen = contentOf(path_);
            ASSERT_TRUE(seen == contents[0] || seen == contents[1]) << seen.size();
        }
        kill(writer, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(writer, &status, 0), writer);
        EXPECT_TRUE(WIFSIGNALED(status));
        const std::string seen = contentOf(path_);
        EXPECT_TRUE(seen == contents[0] || seen == contents[1]) << seen.size();
    }
}

} // namespace

} // namespace cutstack
