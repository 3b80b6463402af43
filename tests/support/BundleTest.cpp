#include "support/Bundle.h"

#include <gtest/gtest.h>

#include "tests/support/Bundles.h"

namespace cutstack {
namespace {

TEST(Bundle, IsFoundByItsExecutable) {
    const TemporaryFolder folder;
    const std::string bundlePath = folder / "My App.app";
    writeContent(bundlePath + "/Contents/Info.plist",
                 infoWith("<key>CFBundleIdentifier</key><string>com.example.app</string>"
                          "<key>CFBundleExecutable</key><string>Main</string>"
                          "<key>CFBundleVersion</key><integer>7</integer>"));
    const auto bundle = Bundle::ofExecutable(bundlePath + "/Contents/MacOS/helper");
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->bundlePath(), bundlePath);
    EXPECT_EQ(bundle->bundleIdentifier(), "com.example.app");
    EXPECT_EQ(bundle->executablePath(), bundlePath + "/Contents/MacOS/Main");
    EXPECT_EQ(bundle->infoString("CFBundleVersion"), std::nullopt);
    EXPECT_EQ(bundle->infoString("CFBundleName"), std::nullopt);
    EXPECT_EQ(bundle->plugInPath("x.so"), bundlePath + "/Contents/PlugIns/x.so");
}

TEST(Bundle, WithoutReadableInformationHasNoValues) {
    const TemporaryFolder folder;
    for (const char* info : {"", "not a list", "<plist><array/></plist>"}) {
        writeContent(folder / "X.app/Contents/Info.plist", info);
        const auto bundle = Bundle::ofExecutable(folder / "X.app/Contents/MacOS/X");
        ASSERT_TRUE(bundle);
        EXPECT_EQ(bundle->bundleIdentifier(), std::nullopt) << info;
        EXPECT_EQ(bundle->executablePath(), folder / "X.app/Contents/MacOS/X") << info;
        EXPECT_FALSE(Bundle::atPath(folder / "X.app")) << info;
    }
}

TEST(Bundle, OtherPathsAreNoBundles) {
    for (const char* path : {"", "/", "X", "/usr/bin/X", "/X.app/MacOS/X", "/X.app/Contents/X",
                             "/X/Contents/MacOS/X", "/X.app/Contents/Helpers/X"})
        EXPECT_FALSE(Bundle::ofExecutable(path)) << path;
    EXPECT_EQ(Bundle::mainBundle(), nullptr); // the test's own executable
}

} // namespace
} // namespace cutstack
