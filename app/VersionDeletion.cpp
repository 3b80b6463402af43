#include "app/VersionDeletion.h"

#include <cerrno>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/SystemErrors.h"
#include "support/FolderListing.h"
#include "support/Format.h"
#include "support/ZTException.h"

namespace cutstack {

namespace {

constexpr int kDefaultButton = 1;

std::string_view folderOf(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return path.substr(0, slash == std::string_view::npos ? 0 : slash);
}

/// A name that leads nowhere else.
bool isPlainName(std::string_view name) { return !name.empty() && name != "." && name != ".."; }

/// The file type of what is at the path itself, links not followed; 0 when nothing is there.
mode_t kindOf(const std::string& path) {
    struct stat facts {};
    return ::lstat(path.c_str(), &facts) == 0 ? facts.st_mode & S_IFMT : 0;
}

} // namespace

/// Whether the path is spelt as something so many levels below the store's folder.
bool VersionDeletion::liesInStore(const std::string& path, int levelsDown) const {
    std::string_view above = path;
    for (int level = 0; level < levelsDown; ++level) {
        if (!isPlainName(fileNameOf(above)))
            return false;
        above = folderOf(above);
    }
    const std::string store = services_.storagePath();
    return store.starts_with('/') && withoutSlashAtEnd(above) == withoutSlashAtEnd(store);
}

bool VersionDeletion::isAgreed(const std::string& question, const std::string& consequence,
                               const std::string& button) const {
    return services_.userInterface.alertSheet({.messageText = question,
                                               .informativeText = consequence,
                                               .defaultButton = button,
                                               .alternateButton = "Cancel",
                                               .otherButton = ""}) == kDefaultButton;
}

void VersionDeletion::showAnew() const {
    services_.populateVersionFiles();
    services_.switchProject();
}

void VersionDeletion::processDeletedBackup(const std::string& file) {
    const auto process = [&] {
        const std::string folder(folderOf(file));
        if (!liesInStore(file, 2) || kindOf(folder) != S_IFDIR || kindOf(file) == S_IFDIR) {
            services_.log.appendLog("Unable to remove %@: it is no file of the version store",
                                    file);
            return;
        }
        if (!isAgreed("Are you sure you wish to remove this version?",
                      "The file will be moved to the Trash.", "Remove"))
            return;
        services_.removal.removeBackup(file, RemovalType::toTrash);
        showAnew();
    };
    guarded("-[AppController processDeletedBackup:]", process, services_.log);
}

void VersionDeletion::deleteAllBackups(const std::string& projectFolder) {
    const auto remove = [&] {
        const std::string folder = withoutSlashAtEnd(projectFolder);
        if (!liesInStore(folder, 1)) {
            services_.log.appendLog("Unable to delete %@: it is no folder of the version store",
                                    folder);
            return;
        }
        if (isAgreed("Are you sure you wish to remove this project and ALL of its backups?",
                     "The files will be moved to the Trash.", "Remove All"))
            removeProject(folder);
    };
    guarded("-[AppController deleteAllBackups:]", remove, services_.log);
}

void VersionDeletion::removeProject(const std::string& folder) {
    std::string error;
    if (!services_.trash.moveToTrash(folder, error)) {
        services_.log.appendLog("Unable to move %@ to the Trash: %@", folder, error);
        Alert alert;
        alert.messageText = "Unable to delete project";
        alert.informativeText =
            formatString("Please check permissions for the folder %@.", {folder});
        services_.userInterface.alertSheet(alert);
        return;
    }
    const std::string name(fileNameOf(folder));
    removeCache(name);
    services_.removeWatchFileForProjectName(name);
    services_.generateLaunchdPlist();
    services_.generateProjectWatcherPlist();
    showAnew();
}

/// Versions of a new project of that name would be taken for those of this one.
void VersionDeletion::removeCache(const std::string& projectName) const {
    const std::string cache =
        pathInFolder(services_.cacheFolder, formatString("%@.cache.plist", {projectName}));
    if (::unlink(cache.c_str()) != 0 && errno != ENOENT)
        services_.log.appendLog("Unable to remove file: %@", wordingOf(errno));
}

} // namespace cutstack
