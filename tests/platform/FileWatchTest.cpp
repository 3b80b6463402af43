#include "platform/FileWatch.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <thread>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;
using Paths = std::vector<std::string>;

constexpr std::chrono::milliseconds kForEver{-1};
constexpr std::chrono::milliseconds kNow{0};

void write(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

class FileWatchTest : public testing::Test {
public:
    std::unique_ptr<FileWatch> watch(const Paths& paths) {
        std::string error;
        auto watch = watchFiles(paths, error);
        EXPECT_NE(watch, nullptr) << error;
        return watch;
    }
    std::string in(const std::string& name) const { return folder_ / name; }

    TemporaryFolder folder_;
};

TEST_F(FileWatchTest, TellsEveryKindOfChange) {
    struct Case {
        const char* name;
        std::function<void(const FileWatchTest&)> before; ///< the watch begins
        std::function<void(const FileWatchTest&)> change;
    };
    const auto makeFile = [](const auto& t) { write(t.in("a/f"), "1"); };
    const Case cases[] = {
        {"written in place", makeFile, [](const auto& t) { write(t.in("a/f"), "2"); }},
        {"replaced by rename", makeFile,
         [](const auto& t) {
             write(t.in("a/new"), "2");
             fs::rename(t.in("a/new"), t.in("a/f"));
         }},
        {"removed", makeFile, [](const auto& t) { fs::remove(t.in("a/f")); }},
        {"made", [](const auto&) {}, [](const auto& t) { write(t.in("a/f"), "1"); }},
        {"made with its folder", [](const auto& t) { fs::remove(t.in("a")); },
         [](const auto& t) {
             fs::create_directory(t.in("a"));
             write(t.in("a/f"), "1");
         }},
        {"folder renamed and another put in its place", makeFile,
         [](const auto& t) {
             fs::rename(t.in("a"), t.in("b"));
             fs::create_directory(t.in("a"));
             write(t.in("a/f"), "2");
         }},
        {"the target of a link",
         [](const auto& t) {
             fs::create_directory(t.in("far"));
             write(t.in("far/f"), "1");
             fs::create_symlink("../far/f", t.in("a/f"));
         },
         [](const auto& t) { write(t.in("far/f"), "2"); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        fs::remove_all(in(""));
        fs::create_directories(in("a"));
        c.before(*this);
        const auto watched = watch({in("a/f"), in("a/other")});
        EXPECT_EQ(watched->wait(kNow), Paths{});
        c.change(*this);
        EXPECT_EQ(watched->wait(kForEver), Paths{in("a/f")});
        while (!watched->wait(std::chrono::milliseconds(20)).empty())
            ;
        write(in("a/stranger"), "1");
        EXPECT_EQ(watched->wait(std::chrono::milliseconds(20)), Paths{}) << "nobody asked for it";
    }
}

TEST_F(FileWatchTest, WatchesFiveHundredFiles) {
    Paths paths;
    for (int i = 0; i < 500; ++i) {
        fs::create_directories(in(std::to_string(i)));
        paths.push_back(in(std::to_string(i) + "/Promo.fcp"));
    }
    const auto watched = watch(paths);
    write(paths[3], "1");
    write(paths[499], "1");
    EXPECT_EQ(watched->wait(kForEver), (Paths{paths[3], paths[499]}));
}

TEST_F(FileWatchTest, IsWokenByAnotherThread) {
    const auto watched = watch({in("f")});
    std::thread waker([&] { watched->wake(); });
    EXPECT_EQ(watched->wait(kForEver), Paths{});
    waker.join();
}

/// Runs `test` in a process of its own that may watch so many folders; what it returns, or nothing
/// where such a process cannot be made.
std::optional<int> withFewWatches(int limit, const std::function<int()>& test) {
    constexpr int kImpossible = 77;
    const pid_t child = fork();
    if (child == 0) {
        bool isLimited = unshare(CLONE_NEWUSER) == 0;
        if (isLimited) {
            std::ofstream file("/proc/sys/user/max_inotify_watches");
            isLimited = static_cast<bool>(file << limit << std::flush);
        }
        _exit(isLimited ? test() : kImpossible);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const int result = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result == kImpossible ? std::nullopt : std::optional(result);
}

TEST_F(FileWatchTest, LooksAtFilesThatCannotBeWatched) {
    const std::string path = in("a/f");
    const auto isSeen = [&](bool isThereBefore) {
        if (isThereBefore)
            fs::create_directories(in("a"));
        std::string error;
        const auto watched = watchFiles({path}, error);
        if (watched == nullptr || !watched->wait(kNow).empty())
            return 1;
        fs::create_directories(in("a"));
        while (!isThereBefore && !watched->wait(std::chrono::milliseconds(20)).empty())
            ;
        write(path, "1");
        return watched->wait(kForEver) == Paths{path} ? 0 : 1;
    };
    const auto levels = static_cast<int>(std::ranges::count(path, '/')) - 1;
    for (const bool isThereBefore : {true, false}) {
        SCOPED_TRACE(isThereBefore ? "from the beginning" : "later");
        fs::remove_all(in("a"));
        const auto result =
            withFewWatches(isThereBefore ? 0 : levels, [&] { return isSeen(isThereBefore); });
        if (!result)
            GTEST_SKIP() << "no user namespace can be made here";
        EXPECT_EQ(result, 0);
    }
}

TEST_F(FileWatchTest, RefusesPathsThatDependOnTheWorkingFolder) {
    std::string error;
    EXPECT_EQ(watchFiles({"f"}, error), nullptr);
    EXPECT_EQ(error, "not an absolute path: f");
}

} // namespace
} // namespace cutstack
