#include "support/TildePaths.h"

#include "tests/platform/Fakes.h"

#include <gtest/gtest.h>

namespace cutstack {
namespace {

struct TildePathsTest : testing::Test {
    FakeEnvironment environment;
    FakeConsole console;
    Locations at{environment, console};

    std::string expanded(const char* path) { return expandingTildeInPath(path, at); }
    std::string abbreviated(const char* path) { return abbreviatingWithTildeInPath(path, at); }
};

TEST_F(TildePathsTest, ReplacesTheHomeFolderBothWays) {
    const struct {
        const char *path, *abbreviated;
    } pairs[] = {{"/home/anna", "~"},
                 {"/home/anna/", "~/"},
                 {"/home/anna/x/~", "~/x/~"},
                 {"/home/annabel/x", "/home/annabel/x"},
                 {"/home", "/home"},
                 {"", ""},
                 {"/", "/"},
                 {"home/anna/x", "home/anna/x"}};
    for (const char* home : {"/home/anna", "/home/anna//"}) {
        environment.home = home;
        for (const auto& row : pairs) {
            EXPECT_EQ(abbreviated(row.path), row.abbreviated);
            EXPECT_EQ(expanded(row.abbreviated), row.path);
        }
    }
}

TEST_F(TildePathsTest, KnowsOtherUsersAndHomesThatAreNone) {
    console.homes = {{"bert", "/srv/bert/"}};
    EXPECT_EQ(expanded("~bert/x"), "/srv/bert/x");
    EXPECT_EQ(expanded("~bert"), "/srv/bert");
    EXPECT_EQ(expanded("~nobody/x"), "~nobody/x");
    environment.home = "/";
    EXPECT_EQ(expanded("~"), "/");
    EXPECT_EQ(expanded("~/x"), "/x");
    EXPECT_EQ(abbreviated("/x"), "/x");
    environment.home = std::nullopt;
    EXPECT_EQ(expanded("~/x"), "~/x");
    EXPECT_EQ(abbreviated("/x"), "/x");
}

TEST_F(TildePathsTest, AsRootTheHomeIsThatOfTheUserAtTheConsole) {
    environment.root = true;
    console.user = "bert";
    console.homes = {{"bert", "/srv/bert"}};
    EXPECT_EQ(expanded("~/x"), "/srv/bert/x");
    EXPECT_EQ(abbreviated("/srv/bert/x"), "~/x");
}

} // namespace
} // namespace cutstack
