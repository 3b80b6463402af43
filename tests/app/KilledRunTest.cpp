// The run that backs up, killed at every call by which it could change a file, and on a disk that
// is full: with a real bus, the real project host and a store that has versions already. Whatever
// happens, nothing that was there is lost, nothing stands half written under its name, and the next
// run goes on.

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include "support/PropertyListReading.h"
#include "support/PropertyListWriting.h"
#include "support/ZTLocalPaths.h"
#include "tests/KillAtWrite.h"
#include "tests/PrivateBus.h"
#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

using Files = std::map<std::string, std::string>; ///< contents by path below a folder

bool isFinalName(const fs::path& path) { return path.filename().string().front() != '.'; }

Files filesIn(const std::string& folder) {
    Files files;
    std::error_code ignored;
    for (const auto& entry : fs::recursive_directory_iterator(folder, ignored)) {
        if (entry.is_regular_file() && isFinalName(entry.path()))
            files[fs::relative(entry.path(), folder)] = contentOf(entry.path());
    }
    return files;
}

class KilledRunTest : public testing::Test {
protected:
    void SetUp() override {
        if (getuid() == 0 && ZTLocalPaths::currentConsoleUser())
            GTEST_SKIP() << "run by root, the program would back up for the user at the console";
        for (const char* part : {"MacOS", "Helpers"})
            fs::create_directories(folder_ / ("Cutstack.app/Contents/" + std::string(part)));
        fs::copy_file(CUTSTACK_EXECUTABLE, executable_);
        fs::copy_file(CUTSTACK_INFO_PLIST, folder_ / "Cutstack.app/Contents/Info.plist");
        fs::copy_file("/bin/true", folder_ / "Cutstack.app/Contents/Helpers/launchctl");
        fs::create_directories(folder_ / "local/Library/Logs/Zantrel");
        setPreferences({});
        save(1);
    }

    void setPreferences(PropertyList::Dictionary more) {
        more.insert_or_assign("filelist",
                              PropertyList::Array{PropertyList::Dictionary{{"path", project_}}});
        writeContent(folder_ / "home/Library/Preferences/com.zantrel.Cutstack.plist",
                     *xmlPropertyList(more));
    }

    /// The editor writes the project with one clip that is so many frames long and has such a name.
    void save(int frames, const std::string& name = "Pier") {
        const std::string text = std::to_string(frames);
        writeContent(project_ + ".saving",
                     "<xmeml version=\"5\"><sequence id=\"s\"><uuid>U-S</uuid><name>Opening</name>"
                     "<rate><timebase>25</timebase></rate><media><video><track>"
                     "<clipitem id=\"c\"><name>" +
                         name + "</name><in>0</in><out>" + text + "</out><start>0</start><end>" +
                         text + "</end></clipitem></track></video></media></sequence></xmeml>\n");
        fs::rename(project_ + ".saving", project_);
    }

    std::vector<std::string> environment() const {
        const char* const bus = getenv("DBUS_SESSION_BUS_ADDRESS");
        return {"HOME=" + (folder_ / "home"), "CUTSTACK_LOCAL_ROOT=" + (folder_ / "local"),
                "PATH=/usr/bin:/bin",
                "DBUS_SESSION_BUS_ADDRESS=" + std::string(bus == nullptr ? "" : bus)};
    }
    std::vector<std::string> inEnvironment(std::vector<std::string> command) const {
        std::vector<std::string> words = {"/usr/bin/env", "-i"};
        for (const std::string& variable : environment())
            words.push_back(variable);
        words.insert(words.end(), command.begin(), command.end());
        return words;
    }
    void openInEditor() {
        const Finished opened = finished(inEnvironment({PROJECTHOST, "--open", project_}));
        ASSERT_EQ(opened.status, 0) << opened.errors;
    }
    std::optional<TracedRun> killedRun(std::size_t point) const {
        return runKilledAt(point, {executable_, "-process"}, environment());
    }
    Finished wholeRun() const { return finished(inEnvironment({executable_, "-process"})); }

    std::string support(const std::string& name) const {
        return folder_ / ("home/Library/Application Support/Zantrel/Cutstack/" + name);
    }
    /// Puts versions and caches back to what they were.
    void restore(const std::string& from) {
        fs::remove_all(support(""));
        fs::create_directories(support(""));
        fs::copy(from, support(""), fs::copy_options::recursive);
        for (const auto& entry : fs::recursive_directory_iterator(from))
            fs::last_write_time(support(fs::relative(entry.path(), from)),
                                fs::last_write_time(entry.path()));
    }

    TemporaryFolder folder_;
    const std::string executable_ = folder_ / "Cutstack.app/Contents/MacOS/Cutstack";
    const std::string project_ = folder_ / "home/Films/Promo.fcp";
};

TEST_F(KilledRunTest, LosesNothing) {
    const PrivateBus bus;
    ASSERT_NO_FATAL_FAILURE(openInEditor());
    ASSERT_EQ(wholeRun().status, 0);
    save(2);
    ASSERT_EQ(wholeRun().status, 0);
    const Files before = filesIn(support("Versions"));
    ASSERT_EQ(before.size(), 4U) << "two versions, each with an XML copy";
    fs::copy(support(""), folder_ / "kept", fs::copy_options::recursive);
    for (const auto& entry : fs::recursive_directory_iterator(support("")))
        fs::last_write_time(folder_ / ("kept/" + fs::relative(entry.path(), support("")).string()),
                            fs::last_write_time(entry.path()));

    save(3);
    const auto whole = killedRun(0);
    if (!whole)
        GTEST_SKIP() << "this machine does not let programs be traced";
    const Files after = filesIn(support("Versions"));
    ASSERT_EQ(after.size(), 6U);
    ASSERT_EQ(after.at("Promo.fcp/Promo.00003.fcp"), contentOf(project_));

    std::map<std::string, int> calls;
    for (std::size_t point = 1; point <= whole->points; ++point) {
        restore(folder_ / "kept");
        fs::last_write_time(project_, fs::file_time_type::clock::now());
        const auto run = killedRun(point);
        ASSERT_TRUE(run);
        SCOPED_TRACE("killed at point " + std::to_string(point) + ", " + run->call);
        ++calls[run->call];

        const Files left = filesIn(support("Versions"));
        for (const auto& [name, content] : before)
            ASSERT_TRUE(left.contains(name) && left.at(name) == content) << name;
        for (const auto& [name, content] : left)
            ASSERT_TRUE(after.contains(name) && after.at(name) == content) << name << content;
        for (const auto& [name, content] : filesIn(support("Caches"))) {
            std::string error;
            ASSERT_TRUE(!name.ends_with(".plist") || readPropertyList(content, error))
                << name << ": " << error;
        }

        fs::last_write_time(project_, fs::file_time_type::clock::now());
        ASSERT_EQ(wholeRun().status, 0);
        const Files next = filesIn(support("Versions"));
        ASSERT_TRUE(std::any_of(next.begin(), next.end(), [&](const auto& file) {
            return file.first.ends_with(".fcp") && file.second == contentOf(project_);
        })) << "the last save is not in the store";
        ASSERT_TRUE(std::any_of(next.begin(), next.end(), [&](const auto& file) {
            return file.second == after.at("Promo.fcp/Promo.00003.xml");
        })) << "the last save has no XML copy";
    }
    std::cout << "killed at " << whole->points << " points, nothing was lost:";
    for (const auto& [call, count] : calls)
        std::cout << ' ' << call << ' ' << count;
    std::cout << '\n';
    RecordProperty("points", static_cast<int>(whole->points));
}

TEST_F(KilledRunTest, AFullDiskLosesNothing) {
    const std::string disk = folder_ / "disk";
    fs::create_directories(disk);
    if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=64k") != 0)
        GTEST_SKIP() << "only root can mount a small file system";
    const struct Unmounted {
        const std::string& disk;
        ~Unmounted() { umount2(disk.c_str(), MNT_DETACH); }
    } unmounted{disk};
    const PrivateBus bus;
    setPreferences({{"storagePath", disk}});
    ASSERT_NO_FATAL_FAILURE(openInEditor());
    ASSERT_EQ(wholeRun().status, 0);
    const Files before = filesIn(disk);
    ASSERT_EQ(before.size(), 2U);

    // A project copy that does not fit, and one that fits without its XML copy.
    for (const std::size_t length : {std::size_t{100'000}, std::size_t{30'000}}) {
        save(2, std::string(length, 'x'));
        ASSERT_EQ(wholeRun().status, 0);
        Files left = filesIn(disk);
        for (const auto& [name, content] : before)
            EXPECT_EQ(left.at(name), content);
        left.erase("Promo.fcp/Promo.00002.fcp");
        EXPECT_EQ(left.size(), before.size()) << "nothing but whole copies";
        EXPECT_EQ(fs::exists(disk + "/Promo.fcp/Promo.00002.fcp"), length < 50'000);
        for (const auto& entry : fs::directory_iterator(disk + "/Promo.fcp"))
            EXPECT_TRUE(isFinalName(entry.path())) << entry.path();
    }
    save(3);
    ASSERT_EQ(wholeRun().status, 0);
    EXPECT_EQ(contentOf(disk + "/Promo.fcp/Promo.00003.fcp"), contentOf(project_));
    EXPECT_TRUE(fs::exists(disk + "/Promo.fcp/Promo.00003.xml"));
}

} // namespace
} // namespace cutstack
