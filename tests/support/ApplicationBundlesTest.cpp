#include "support/ApplicationBundles.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

#include "tests/platform/Fakes.h"
#include "tests/support/Bundles.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

class ApplicationBundlesTest : public testing::Test {
protected:
    ApplicationBundlesTest() {
        environment_.home = folder_ / "home";
        environment_.local = folder_ / "local";
    }

    [[nodiscard]] std::string registerPath() const {
        return folder_ / "home/Library/Application Support/Zantrel/Cutstack/Bundles.plist";
    }

    void expectRefused(const std::string& path, const std::string& reason) const {
        std::string error;
        EXPECT_FALSE(bundles_.registerBundle(path, error)) << path;
        EXPECT_EQ(error, reason);
    }
    void registerWell(const std::string& path) const {
        std::string error;
        EXPECT_TRUE(bundles_.registerBundle(path, error)) << error;
    }
    [[nodiscard]] std::optional<std::string> found(std::string_view identifier = "com.a.b") const {
        return bundles_.absolutePathForAppBundleWithIdentifier(identifier);
    }

    TemporaryFolder folder_;
    FakeEnvironment environment_;
    FakeConsole console_;
    Locations locations_{environment_, console_};
    ApplicationBundles bundles_{locations_, nullptr};
};

TEST_F(ApplicationBundlesTest, AreFoundWhereTheyGoFirst) {
    EXPECT_EQ(found(), std::nullopt);
    // Each place goes before all that were filled before it.
    for (const char* place : {"local/Applications/Suite/B.app", "local/Applications/a suite/B.APP",
                              "local/Applications/Editor.app", "home/Applications/Suite/X.app",
                              "home/Applications/b.app", "home/Applications/A.app"}) {
        const std::string path = makeBundle(folder_ / place, "com.A.b");
        EXPECT_EQ(found(), path);
        EXPECT_EQ(found("COM.a.B"), path);
    }
    const std::string elsewhere = makeBundle(folder_ / "elsewhere/Editor.app", "com.A.b");
    registerWell(elsewhere + "/");
    EXPECT_EQ(found(), elsewhere);
    const std::string ownPath = makeBundle(folder_ / "own/Own.app", "com.a.b");
    const auto own = Bundle::atPath(ownPath);
    ASSERT_TRUE(own);
    EXPECT_EQ(
        ApplicationBundles(locations_, &*own).absolutePathForAppBundleWithIdentifier("com.a.b"),
        ownPath);
    EXPECT_EQ(found("com.a"), std::nullopt);
    EXPECT_EQ(found(""), std::nullopt);
}

TEST_F(ApplicationBundlesTest, ThatAreBrokenAreSkipped) {
    const std::string applications = folder_ / "home/Applications/";
    makeBundle(applications + "Deep/Deeper/A.app", "com.a.b");
    makeBundle(applications + "A.app/Contents/Inner.app", "com.a.b");
    makeBundle(applications + "A/NoExtension", "com.a.b");
    writeContent(applications + "A File.app", "");
    fs::create_directories(applications + "Empty.app/Contents");
    fs::create_symlink("nowhere", applications + "Link.app");
    fs::create_directory_symlink(".", applications + "Loop");
    int number = 0;
    for (const std::string& info :
         {std::string(), std::string("no list"), infoWith("<key>CFBundleIdentifier</key><true/>"),
          std::string("<plist><string>com.a.b</string></plist>"), std::string("bplist00\xFF\xFF"),
          infoWith("").substr(0, 40),
          infoWith("<key>CFBundleIdentifier</key><string>com.a.b</string>") +
              std::string(2 << 20, ' ')})
        writeContent(applications + std::to_string(++number) + ".app/Contents/Info.plist", info);
    fs::create_directories(applications + "Pipe.app/Contents");
    ASSERT_EQ(mkfifo((applications + "Pipe.app/Contents/Info.plist").c_str(), 0600), 0);
    EXPECT_EQ(found(), std::nullopt);

    const std::string real = makeBundle(folder_ / "opt/Real.app", "com.a.b");
    fs::create_directory_symlink(real, applications + "Z.app");
    EXPECT_EQ(found(), applications + "Z.app");
}

TEST_F(ApplicationBundlesTest, AreRegisteredUntilTheyVanishOrAreOthers) {
    const std::string one = makeBundle(folder_ / "1.app", "com.a.b");
    const std::string two = makeBundle(folder_ / "2.app", "COM.A.B");
    const std::string other = makeBundle(folder_ / "Other.app", "com.other");
    for (const std::string& path : {one, other, two})
        registerWell(path);
    EXPECT_EQ(found(), two);
    EXPECT_EQ(found("com.other"), other);

    makeBundle(two, "com.another");
    EXPECT_EQ(found(), std::nullopt);
    EXPECT_EQ(found("com.another"), std::nullopt);
    makeBundle(two, "com.a.b");
    EXPECT_EQ(found(), two);
    fs::remove_all(two);
    EXPECT_EQ(found(), std::nullopt);
    EXPECT_EQ(found("com.other"), other);
}

TEST_F(ApplicationBundlesTest, AreRegisteredOnlyWhenTheyAreSome) {
    const std::string path = makeBundle(folder_ / "A.app", "com.a.b");
    registerWell(path);
    const std::string before = contentOf(registerPath());
    for (const std::string& wrong : {folder_ / "none.app", std::string("A.app"), std::string(),
                                     path + "/Contents", makeBundle(folder_ / "Empty.app", "")})
        expectRefused(wrong, "no bundle with an identifier");
    expectRefused(makeBundle(folder_ / "Bad\xFF.app", "com.bad"),
                  registerPath() + ": the path is not text");
    EXPECT_EQ(contentOf(registerPath()), before);

    // One that somebody has damaged is left for people to look at.
    writeContent(registerPath(), infoWith("<key>com.a.b</key><integer>7</integer>"));
    EXPECT_EQ(found(), std::nullopt);
    for (const char* damaged : {"", "<plist><array/></plist>", "<plist><dict>"}) {
        writeContent(registerPath(), damaged);
        std::string error;
        EXPECT_FALSE(bundles_.registerBundle(path, error));
        EXPECT_TRUE(error.starts_with(registerPath() + ": ")) << error;
        EXPECT_EQ(contentOf(registerPath()), damaged);
        EXPECT_EQ(found(), std::nullopt);
    }
    environment_.home = std::nullopt;
    expectRefused(path, "the user has no home folder");
}

TEST_F(ApplicationBundlesTest, AreRegisteredByManyAtOnce) {
    const auto name = [](int number) { return "com." + std::to_string(number); };
    const auto registerSome = [&](int from) {
        for (int i = from; i < from + 10; ++i)
            registerWell(makeBundle(folder_ / (name(i) + ".app"), name(i)));
    };
    std::thread another(registerSome, 10);
    registerSome(0);
    another.join();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(found(name(i)), folder_ / (name(i) + ".app"));
}

TEST_F(ApplicationBundlesTest, TellPackagesFromFolders) {
    const struct {
        const char* path;
        const char* file; ///< in that folder
        const char* content;
        bool isPackage;
    } kCases[] = {
        {"A.app", "x", "", true},
        {"A.APP", "x", "", true},
        {"Notes.rtfd", "x", "", true},
        {"Plain", "x", "", false},
        {"Promo.fcp", "x", "", false},
        {"F.framework", "x", "", false},
        {"app", "x", "", false},
        {"Info", "Contents/PkgInfo", "APPL????", true},
        {"Typed", "Contents/Info.plist",
         "<plist><dict><key>CFBundlePackageType</key><string>BNDL</string></dict></plist>", true},
        {"Untyped", "Contents/Info.plist", "<plist><dict/></plist>", false},
        {"Broken", "Contents/Info.plist", "<plist>", false},
    };
    for (const auto& c : kCases) {
        const std::string path = folder_ / c.path;
        writeContent(path + "/" + c.file, c.content);
        EXPECT_EQ(ApplicationBundles::isFilePackage(path), c.isPackage) << c.path;
        EXPECT_EQ(ApplicationBundles::isFilePackage(path + "/"), c.isPackage) << c.path;
    }
    fs::create_directory_symlink("A.app", folder_ / "Link.app");
    writeContent(folder_ / "File.app", "");
    EXPECT_TRUE(ApplicationBundles::isFilePackage(folder_ / "Link.app"));
    EXPECT_FALSE(ApplicationBundles::isFilePackage(folder_ / "File.app"));
    EXPECT_FALSE(ApplicationBundles::isFilePackage(folder_ / "None.app"));
    EXPECT_FALSE(ApplicationBundles::isFilePackage(""));
}

} // namespace
} // namespace cutstack
