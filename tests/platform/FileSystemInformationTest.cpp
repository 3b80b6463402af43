// The table of mounts as text, and what is told about file systems of this machine.

#include "platform/FileSystemInformation.h"

#include <gtest/gtest.h>
#include <sys/statvfs.h>

#include "platform/SystemErrors.h"
#include "platform/linux/MountTable.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

TEST(MountTable, ReadsTheKernelsLines) {
    const auto mounts =
        mountsIn("22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
                 "40 22 8:17 /sub /media/anna/My\\040Disk\\134\\011\\012x ro - vfat /dev/sdb1 ro\n"
                 "41 22 0:50 / /mnt/a\\04 rw shared:2 master:1 - fuse.sshfs a\\040b:/c rw\n"
                 "42 22 0:51 / /mnt/- rw - tmpfs  rw\n"
                 "\n"
                 "x 22 0:52 / /a rw - ext4 /dev/sdc rw\n"
                 "43 22 0-53 / /b rw - ext4 /dev/sdc rw\n"
                 "44 22 0:54 / /c rw ext4 /dev/sdc rw\n"
                 "45 22 0:55 / /d rw - ext4\n"
                 "46 22");
    ASSERT_EQ(mounts.size(), 4U);
    EXPECT_EQ(mounts[0].mountPoint, "/");
    EXPECT_EQ(mounts[1].mountPoint, "/media/anna/My Disk\\\t\nx");
    EXPECT_EQ(mounts[1].id, 40U);
    EXPECT_EQ(mounts[1].deviceMajor, 8U);
    EXPECT_EQ(mounts[1].deviceMinor, 17U);
    EXPECT_EQ(mounts[2].mountPoint, "/mnt/a\\04");
    EXPECT_EQ(mounts[2].type, "fuse.sshfs");
    EXPECT_EQ(mounts[2].source, "a b:/c");
    EXPECT_EQ(mounts[3].mountPoint, "/mnt/-");
    EXPECT_EQ(mounts[3].source, "");
}

TEST(MountTable, FindsTheMountOfAFile) {
    const auto mounts = mountsIn("1 0 8:1 / / rw - ext4 root rw\n"
                                 "2 1 8:2 / /mnt rw - ext4 hidden rw\n"
                                 "3 1 8:3 / /mnt rw - ext4 visible rw\n"
                                 "4 1 8:4 / /mnt/a rw - ext4 inner rw\n");
    struct Case {
        std::uint64_t id;
        const char* path;
        const char* source;
    };
    for (const Case& c : {Case{2, "/", "hidden"},
                          {0, "/", "root"},
                          {0, "/mntx", "root"},
                          {9, "/mnt", "visible"},
                          {0, "/mnt/ab", "visible"},
                          {0, "/mnt/a/b", "inner"}}) {
        const Mount* mount = mountOf(mounts, c.id, c.path);
        ASSERT_NE(mount, nullptr) << c.path;
        EXPECT_EQ(mount->source, c.source) << c.path;
    }
    EXPECT_EQ(mountOf({}, 1, "/"), nullptr);
}

TEST(MountTable, KnowsWhatMayBeTakenOff) {
    struct Case {
        const char* mountPoint;
        const char* type;
        bool isRemovable;
        bool isUnmountable;
    };
    for (const Case& c : {
             Case{"/", "ext4", true, false},
             {"/usr", "ext4", true, false},
             {"/boot/efi", "vfat", true, false},
             {"/home", "nfs4", false, false},
             {"/home/anna", "nfs4", false, false},
             {"/home/anna/share", "fuse.sshfs", false, true},
             {"/var/lib/data", "ext4", true, false},
             {"/run/user/1000/doc", "fuse.portal", false, false},
             {"/run/media/anna/disk", "ext4", false, true},
             {"/media/disk", "ext4", false, true},
             {"/mnt", "tmpfs", false, true},
             {"/mnt/proc", "proc", false, false},
             {"/Volumes/Disk", "btrfs", false, true},
             {"/Volumesx", "btrfs", false, false},
             {"/footage", "ext4", false, false},
             {"/footage", "ext4", true, true},
             {"/footage", "cifs", false, true},
             {"/footage", "fuseblk", false, true},
             {"/sys/fs/fuse/connections", "fusectl", false, false},
         })
        EXPECT_EQ(isUnmountable({1, 8, 1, c.mountPoint, c.type, "x"}, c.isRemovable),
                  c.isUnmountable)
            << c.mountPoint << " " << c.type << " " << c.isRemovable;
}

TEST(MountTable, AsksTheDiskOfAPartition) {
    const TemporaryFolder folder;
    writeContent(folder / "usb/removable", "1\n");
    writeContent(folder / "disk/removable", "0\n");
    fs::create_directories(folder / "usb/part");
    fs::create_directories(folder / "disk/part");
    fs::create_directory(folder / "dev");
    const char* const links[][2] = {
        {"8:0", "../disk"}, {"8:1", "../disk/part"}, {"8:16", "../usb"}, {"8:17", "../usb/part"}};
    for (const auto& [name, target] : links)
        fs::create_directory_symlink(target, folder.path() / "dev" / name);
    EXPECT_TRUE(isRemovableMedium(folder / "dev", 8, 16));
    EXPECT_TRUE(isRemovableMedium(folder / "dev", 8, 17));
    for (const unsigned number : {0U, 1U, 99U})
        EXPECT_FALSE(isRemovableMedium(folder / "dev", 8, number)) << number;
}

TEST(FileSystemInformation, DescribesThisMachines) {
    std::string error;
    const auto proc = fileSystemInformation("/proc/self", error);
    ASSERT_TRUE(proc) << error;
    EXPECT_EQ(proc->type, "proc");
    EXPECT_EQ(proc->mountPoint, "/proc");
    EXPECT_FALSE(proc->isUnmountable);

    const TemporaryFolder folder;
    fs::create_directory_symlink("/proc", folder / "link");
    EXPECT_EQ(fileSystemInformation(folder / "link", error)->type, "proc");
    const auto own = fileSystemInformation(folder.path(), error);
    ASSERT_TRUE(own) << error;
    EXPECT_TRUE(own->isWritable);
    EXPECT_GT(own->freeBytes, 0U);
    EXPECT_TRUE(fs::canonical(folder.path()).string().starts_with(own->mountPoint));

    EXPECT_FALSE(fileSystemInformation(folder / "missing", error));
    EXPECT_EQ(error, wordingOf(ENOENT));
}

} // namespace
} // namespace cutstack
