#include "platform/ToolPaths.h"

#include <gtest/gtest.h>

#include <set>

#include "platform/linux/ToolPlaces.h"
#include "tests/platform/Fakes.h"

namespace cutstack {
namespace {

std::set<std::string> machine; // NOLINT(*-non-const-global-variables): a plain function asks it

TEST(ToolPaths, ToolsHaveTheirPlaces) {
    const std::string inBundle = "/opt/My.app/Contents/MacOS/Cutstack";
    struct Case {
        std::string tool;
        std::string executable;
        std::set<std::string> exists;
        std::string place;
    };
    const std::string installed = "/usr/lib/cutstack/Cutstack.app";
    const Case cases[] = {
        {"/bin/launchctl", inBundle, {}, "/opt/My.app/Contents/Helpers/launchctl"},
        {"/usr/bin/ditto", inBundle, {}, "/opt/My.app/Contents/Helpers/ditto"},
        {"/usr/bin/ditto",
         "/opt/My.app/Contents/Helpers/launchctl",
         {},
         "/opt/My.app/Contents/Helpers/ditto"},
        {"/bin/launchctl",
         "/build/bin/tool",
         {"/build/Cutstack.app", "/build/lib/cutstack/Cutstack.app"},
         "/build/Cutstack.app/Contents/Helpers/launchctl"},
        {"/bin/launchctl", "/usr/bin/tool", {installed}, installed + "/Contents/Helpers/launchctl"},
        {"/bin/launchctl", "/usr/bin/tool", {}, "/usr/Cutstack.app/Contents/Helpers/launchctl"},
        {"/bin/launchctl",
         "/Contents/MacOS/x",
         {},
         "/Contents/Cutstack.app/Contents/Helpers/launchctl"},
        {"/bin/launchctl", "/x", {}, "/Cutstack.app/Contents/Helpers/launchctl"},
        {"/bin/launchctl", "", {}, "/bin/launchctl"},
        {"/usr/sbin/chown", inBundle, {"/bin/chown"}, "/bin/chown"},
        {"/usr/sbin/chown", inBundle, {}, "/bin/chown"},
        {"/usr/bin/killall", inBundle, {"/bin/killall"}, "/bin/killall"},
        {"/usr/bin/killall", inBundle, {"/usr/bin/killall", "/bin/killall"}, "/usr/bin/killall"},
        {"/usr/bin/killall", inBundle, {}, "/usr/bin/killall"},
        {"/bin/chmod", inBundle, {}, "/bin/chmod"},
        {"launchctl", inBundle, {}, "launchctl"},
    };
    for (const Case& c : cases) {
        machine = c.exists;
        FakeEnvironment environment;
        environment.executable = c.executable;
        EXPECT_EQ(placeOfTool(c.tool, environment,
                              [](const std::string& path) { return machine.contains(path); }),
                  c.place)
            << c.tool << " for " << c.executable;
    }
}

TEST(ToolPaths, TheseOfTheBuildAreInItsBundle) {
    const std::string helper = toolPaths().pathOfTool("/bin/launchctl");
    EXPECT_TRUE(helper.ends_with("/Cutstack.app/Contents/Helpers/launchctl")) << helper;
    EXPECT_EQ(toolPaths().pathOfTool("/bin/chmod"), "/bin/chmod");
}

TEST(ToolPaths, TheFirstGroupHasItsNameOfThisSystem) {
    using Arguments = std::vector<std::string>;
    const auto arguments = [](const char* tool, const Arguments& given) {
        return toolPaths().argumentsOfTool(tool, given);
    };
    EXPECT_EQ(arguments("/usr/sbin/chown", {"root:wheel", "root:wheel"}),
              (Arguments{"root:root", "root:wheel"}));
    EXPECT_EQ(arguments("/usr/sbin/chown", {"anna:wheel", "/a"}), (Arguments{"anna:wheel", "/a"}));
    EXPECT_EQ(arguments("/usr/sbin/chown", {}), Arguments());
    EXPECT_EQ(arguments("/bin/chmod", {"root:wheel"}), Arguments{"root:wheel"});
}

} // namespace
} // namespace cutstack
