#include "support/Workspace.h"

#include <gtest/gtest.h>

#include "tests/platform/FakeDesktop.h"
#include "tests/platform/Fakes.h"
#include "tests/support/Bundles.h"

namespace cutstack {
namespace {

using Asked = std::vector<std::vector<std::string>>;
using Lines = std::vector<std::string>;
using enum LaunchOptions;

class WorkspaceTest : public testing::Test {
protected:
    WorkspaceTest() { environment_.home = environment_.local = folder_.path().string(); }

    TemporaryFolder folder_;
    FakeEnvironment environment_;
    FakeConsole console_;
    Locations locations_{environment_, console_};
    ApplicationBundles bundles_{locations_, nullptr};
    FakeDesktop desktop_;
    FakeSystemLog log_;
    Workspace workspace_{desktop_, bundles_, log_};
};

TEST_F(WorkspaceTest, OpensFilesWithTheExecutableOfTheApplication) {
    const std::string editor = makeBundle(folder_ / "Applications/Editor.app", "com.editor",
                                          "<key>CFBundleExecutable</key><string>Main</string>");
    const std::string plain = makeBundle(folder_ / "Applications/Plain One.app", "com.plain");
    const std::string odd = makeBundle(folder_ / "Applications/Odd.app", "com.odd",
                                       "<key>CFBundleExecutable</key><string>../../x</string>");
    EXPECT_TRUE(workspace_.openFile("/p/Promo.fcp", "com.editor", withoutActivation));
    EXPECT_TRUE(workspace_.openFile("/p/Promo.fcp", "COM.PLAIN", launchDefault));
    EXPECT_TRUE(workspace_.openFile("/p/Promo.fcp", "com.odd", launchDefault));
    EXPECT_TRUE(workspace_.openFile("/p/Promo.fcp", "com.unknown", launchDefault));
    const Asked expected = {
        {"open", "/p/Promo.fcp", "com.editor", editor + "/Contents/MacOS/Main", "background"},
        {"open", "/p/Promo.fcp", "COM.PLAIN", plain + "/Contents/MacOS/Plain One", "front"},
        {"open", "/p/Promo.fcp", "com.odd", odd + "/Contents/MacOS/Odd", "front"},
        {"open", "/p/Promo.fcp", "com.unknown", "", "front"},
    };
    EXPECT_EQ(desktop_.asked, expected);
    EXPECT_EQ(log_.messages(), Lines());
}

TEST_F(WorkspaceTest, StartsApplicationsAndLeavesTheRestToTheDesktop) {
    const std::string editor = makeBundle(folder_ / "Editor.app", "com.editor");
    writeContent(folder_ / "Nameless.app/Contents/Info.plist", infoWith(""));
    writeContent(folder_ / "Broken.app/x", "");
    for (const char* name : {"Editor.app/", "Nameless.app", "Broken.app", "manual.pdf"})
        EXPECT_TRUE(workspace_.openFile(folder_ / name));
    const Asked expected = {
        {"open", "", "com.editor", editor + "/Contents/MacOS/Editor", "front"},
        {"open", "", "", folder_ / "Nameless.app/Contents/MacOS/Nameless", "front"},
        {"preferred", folder_ / "Broken.app"},
        {"preferred", folder_ / "manual.pdf"},
    };
    EXPECT_EQ(desktop_.asked, expected);
}

TEST_F(WorkspaceTest, TellsTheConsoleWhatFailed) {
    desktop_.failure = "no session";
    const std::string editor = makeBundle(folder_ / "Editor.app", "com.editor");
    EXPECT_FALSE(workspace_.openFile("/p/100%@.fcp", "com.editor", launchDefault));
    EXPECT_FALSE(workspace_.openFile("/p/manual.pdf"));
    EXPECT_FALSE(workspace_.openFile(editor));
    EXPECT_FALSE(workspace_.selectFile("/p/x"));
    EXPECT_FALSE(workspace_.registerApplication("/none.app"));
    const Lines expected = {
        "Unable to open /p/100%@.fcp: no session",
        "Unable to open /p/manual.pdf: no session",
        "Unable to open " + editor + ": no session",
        "Unable to show /p/x: no session",
        "Unable to register /none.app: no bundle with an identifier",
    };
    EXPECT_EQ(log_.messages(), expected);
}

} // namespace
} // namespace cutstack
