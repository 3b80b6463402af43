#include "platform/FileReference.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

FileReference referenceTo(const std::string& path) {
    std::string error;
    auto reference = FileReference::toPath(path, error);
    EXPECT_TRUE(reference) << path << ": " << error;
    return reference.value();
}

long openDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

/// Whether `work` returns true in a process of its own of the same user.
bool inAnotherProcess(const std::function<bool()>& work) {
    const pid_t child = fork();
    if (child == 0)
        _exit(work() ? 0 : 1);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status == 0;
}

/// What happens to the file "x" after a reference to it was made, and where it is found then.
struct Move {
    const char* what;
    std::function<void(const fs::path& folder)> happens;
    std::optional<std::string> foundAt;
    const char* name = "x";
};

void replace(const fs::path& file) {
    writeContent(file.string() + ".new", "another");
    fs::rename(file.string() + ".new", file);
}

const std::array kMoves = {
    Move{"nothing", [](const fs::path&) {}, "x"},
    Move{"renamed", [](const fs::path& at) { fs::rename(at / "x", at / "y"); }, "y"},
    Move{"moved, and another one in its place",
         [](const fs::path& at) {
             fs::create_directory(at / "sub");
             fs::rename(at / "x", at / "sub/y");
             writeContent(at / "x", "another");
         },
         "sub/y"},
    Move{"its folder renamed", [](const fs::path& at) { fs::rename(at / "d", at / "e"); }, "e/x",
         "d/x"},
    Move{"replaced by a save", [](const fs::path& at) { replace(at / "x"); }, "x"},
    Move{"renamed and then replaced",
         [](const fs::path& at) {
             fs::rename(at / "x", at / "y");
             replace(at / "y");
         },
         "y"},
    Move{"removed", [](const fs::path& at) { fs::remove(at / "x"); }, std::nullopt},
    Move{"removed, and one that is really called so",
         [](const fs::path& at) {
             fs::remove(at / "x");
             writeContent(at / "x (deleted)", "another");
         },
         std::nullopt},
    Move{"really called deleted", [](const fs::path& at) { writeContent(at / "x", "another"); },
         "x (deleted)", "x (deleted)"},
    Move{"really called deleted, and replaced",
         [](const fs::path& at) {
             writeContent(at / "x", "another");
             replace(at / "x (deleted)");
         },
         "x (deleted)", "x (deleted)"},
    Move{"really called deleted, and removed",
         [](const fs::path& at) {
             writeContent(at / "x", "another");
             fs::remove(at / "x (deleted)");
         },
         std::nullopt, "x (deleted)"},
};

TEST(FileReference, FollowsItsFileHereAndInOtherProcesses) {
    for (const Move& move : kMoves) {
        SCOPED_TRACE(move.what);
        const TemporaryFolder folder;
        writeContent(folder / move.name, "content");
        const FileReference reference = referenceTo(folder / move.name);
        move.happens(folder.path());
        const auto expected = move.foundAt ? std::optional(folder / *move.foundAt) : std::nullopt;
        EXPECT_EQ(reference.path(), expected);
        EXPECT_TRUE(
            inAnotherProcess([&] { return FileReference::pathOf(reference.bytes()) == expected; }));
    }
}

TEST(FileReference, LeadsThroughLinksOrSaysWhyThereIsNone) {
    const TemporaryFolder folder;
    writeContent(folder / "file", "content");
    fs::create_symlink(".", folder / "link");
    EXPECT_EQ(referenceTo(folder / "link/file").path(), folder / "file");
    EXPECT_EQ(referenceTo(folder / "link").path(), folder.path().string());
    std::string error;
    for (const std::string& path :
         {folder / "none", std::string(), folder / std::string("file\0x", 6)}) {
        EXPECT_FALSE(FileReference::toPath(path, error)) << path;
        EXPECT_EQ(error, "No such file or directory");
    }
    EXPECT_FALSE(FileReference::toPath(folder / "file/x", error));
    EXPECT_EQ(error, "Not a directory");
}

TEST(FileReference, EndsWithItsLastCopyAndLeaksNothing) {
    const TemporaryFolder folder;
    writeContent(folder / "file", "content");
    const long before = openDescriptors();
    std::string bytes;
    {
        auto first = std::optional(referenceTo(folder / "file"));
        const FileReference copy = *first;
        bytes = copy.bytes();
        EXPECT_EQ(bytes.size(), kFileReferenceBytes);
        EXPECT_EQ(openDescriptors(), before + 1);
        first.reset();
        EXPECT_EQ(copy.path(), folder / "file");
    }
    EXPECT_EQ(FileReference::pathOf(bytes), std::nullopt);
    std::string error;
    EXPECT_FALSE(FileReference::toPath(folder / "none", error));
    EXPECT_EQ(openDescriptors(), before);
}

TEST(FileReference, IsNotForAnotherUser) {
    if (getuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    const TemporaryFolder folder;
    fs::permissions(folder.path(), fs::perms::all);
    writeContent(folder / "file", "content");
    const FileReference reference = referenceTo(folder / "file");
    EXPECT_TRUE(asOrdinaryUser([&] { return !FileReference::pathOf(reference.bytes()); }));
    // One who has become another user still finds what it refers to itself.
    EXPECT_TRUE(
        asOrdinaryUser([&] { return referenceTo(folder / "file").path() == folder / "file"; }));
}

TEST(FileReference, OfAProcessThatHasGoneIsNothing) {
    const TemporaryFolder folder;
    EXPECT_TRUE(inAnotherProcess([&] {
        writeContent(folder / "bytes", referenceTo(folder.path().string()).bytes());
        return true;
    }));
    EXPECT_EQ(FileReference::pathOf(contentOf(folder / "bytes")), std::nullopt);
}

class HostileBytes : public testing::Test {
protected:
    [[nodiscard]] std::string writtenFile() const {
        writeContent(folder_ / "file", "content");
        return folder_ / "file";
    }

    static void expectNothing(std::string_view bytes, const std::string& what) {
        const long before = openDescriptors();
        EXPECT_EQ(FileReference::pathOf(bytes), std::nullopt) << what;
        EXPECT_EQ(openDescriptors(), before) << what;
    }

    TemporaryFolder folder_;
    FileReference reference_ = referenceTo(writtenFile());
    std::string bytes_{reference_.bytes()};
};

TEST_F(HostileBytes, OfAnySizeAndContentAreNothing) {
    for (std::size_t size = 0; size < bytes_.size(); ++size)
        expectNothing(std::string_view(bytes_).substr(0, size), std::to_string(size));
    expectNothing(bytes_ + '\0', "one more");
    expectNothing(std::string(kFileReferenceBytes, '\0'), "zeros");
    expectNothing(std::string(kFileReferenceBytes, '\xFF'), "ones");
    std::mt19937 random(1);
    for (int i = 0; i < 1000; ++i) {
        std::string any = bytes_.substr(0, i % 2 == 0 ? 0 : 8);
        while (any.size() < kFileReferenceBytes)
            any += static_cast<char>(random());
        expectNothing(any, "random " + std::to_string(i));
    }
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        std::string changed = bytes_;
        changed[i] = static_cast<char>(changed[i] ^ (1 << i % 8));
        expectNothing(changed, "byte " + std::to_string(i));
    }
    EXPECT_EQ(FileReference::pathOf(bytes_), folder_ / "file");
}

/// Bytes like those of reference_ that name another descriptor of this process, and truly what it
/// is open for.
std::string bytesFor(const std::string& bytes, int descriptor) {
    struct stat status {};
    EXPECT_EQ(fstat(descriptor, &status), 0);
    const std::uint64_t numbers[] = {status.st_dev, status.st_ino};
    std::string forged = bytes;
    std::memcpy(forged.data() + 12, &descriptor, sizeof descriptor);
    std::memcpy(forged.data() + 24, numbers, sizeof numbers);
    return forged;
}

TEST_F(HostileBytes, ThatNameWhatIsNoFileInAFolderAreNothing) {
    const int socketEnd = socket(AF_UNIX, SOCK_STREAM, 0);
    const int memory = memfd_create("file", 0);
    const int file = open((folder_ / "file").c_str(), O_RDONLY);
    for (const int descriptor : {socketEnd, memory})
        expectNothing(bytesFor(bytes_, descriptor), std::to_string(descriptor));
    EXPECT_EQ(FileReference::pathOf(bytesFor(bytes_, file)), folder_ / "file");
    for (const int descriptor : {socketEnd, memory, file})
        close(descriptor);
}

} // namespace
} // namespace cutstack
