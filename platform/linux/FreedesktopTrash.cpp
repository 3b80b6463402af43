#include "platform/linux/FreedesktopTrash.h"

#include "platform/SystemErrors.h"

#include "platform/linux/Descriptor.h"
#include "platform/linux/PathEntries.h"
#include "platform/linux/TrashFolder.h"
#include "platform/linux/TrashInfo.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace cutstack {

namespace {

namespace fs = std::filesystem;

std::string childOf(const std::string& folder, const std::string& name) {
    return folder == "/" ? folder + name : folder + "/" + name;
}

/// A slash after the name of a link would mean what the link leads to.
std::string withoutSlashesAtEnd(std::string path) {
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    return path;
}

bool isOn(const std::vector<FileIdentity>& way, const FileIdentity& entry) {
    return std::find(way.begin(), way.end(), entry) != way.end();
}

/// What the path names in the end; nothing when that is missing.
std::optional<FileIdentity> identityAt(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return identityOf(status);
}

/// Makes the folder and those above it that are missing.
bool madeFolders(const fs::path& path) {
    const auto make = [&] { return ::mkdir(path.c_str(), S_IRWXU) == 0 || errno == EEXIST; };
    return make() || (errno == ENOENT && path.has_relative_path() &&
                      madeFolders(path.parent_path()) && make());
}

/// The device of the folder, or of the nearest one above it while it is missing.
std::optional<dev_t> deviceOf(fs::path folder) {
    auto found = identityAt(folder);
    while (!found && folder.has_relative_path()) {
        folder = folder.parent_path();
        found = identityAt(folder);
    }
    return found ? std::optional(found->device) : std::nullopt;
}

/// The highest folder above `folder`, or itself, that is on the same device.
std::string topOfFileSystem(fs::path folder, dev_t device) {
    while (folder.has_relative_path()) {
        const auto above = identityAt(folder.parent_path());
        if (!above || above->device != device)
            break;
        folder = folder.parent_path();
    }
    return folder;
}

/// Whether an administrator has made it for everybody's trash: anything but a real folder with the
/// sticky bit could be somebody's trap.
bool isSharedTrash(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           (status.st_mode & S_ISVTX) != 0;
}

} // namespace

/// What shall go: an entry of a folder whose path has no links.
struct FreedesktopTrash::Item {
    std::string folder;
    std::string name;
    Descriptor parent; ///< the folder, open
    dev_t device = 0;  ///< of the folder; a file's own may differ where file systems are layered
    FileIdentity identity;
    bool isFolder = false;

    [[nodiscard]] static std::optional<Item> at(const std::string& path, std::string& error);
    [[nodiscard]] std::string path() const { return childOf(folder, name); }

private:
    /// Opens the folder and looks at the entry; false with errno set when one of them is missing.
    [[nodiscard]] bool found();
};

/// A trash folder: `name` in the folder `parent`.
struct FreedesktopTrash::Place {
    std::string parent;
    std::string name;
    std::string top; ///< where its file system begins; empty for the home trash

    [[nodiscard]] bool isHomeTrash() const { return top.empty(); }
    [[nodiscard]] std::string path() const { return childOf(parent, name); }
    /// Links count on the way to the home trash only; elsewhere they could lead anywhere.
    [[nodiscard]] std::vector<FileIdentity> wayThere() const {
        return entriesOnTheWay(isHomeTrash() ? path() : parent);
    }
    /// The folder when it is there already.
    [[nodiscard]] std::optional<FileIdentity> existing() const;
    /// Opens it, and makes what is missing; nothing, with errno, when that fails.
    [[nodiscard]] std::optional<TrashFolder> opened(uid_t userId) const;
};

bool FreedesktopTrash::Item::found() {
    parent = Descriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    if (!parent.isOpen() || ::fstat(parent.number(), &status) != 0)
        return false;
    device = status.st_dev;
    if (::fstatat(parent.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    identity = identityOf(status);
    isFolder = S_ISDIR(status.st_mode);
    return true;
}

std::optional<FreedesktopTrash::Item> FreedesktopTrash::Item::at(const std::string& path,
                                                                 std::string& error) {
    const std::string entry = withoutSlashesAtEnd(path);
    const std::size_t nameStart = entry.rfind('/') + 1;
    Item item;
    item.name = entry == "/" ? "." : entry.substr(nameStart);
    const bool isOnlyDots = item.name == ".." || (item.name == "." && entry != "/");
    if (isOnlyDots || path.find('\0') != std::string::npos) {
        error = wordingOf(EINVAL);
        return std::nullopt;
    }
    std::error_code fault;
    item.folder = fs::canonical(nameStart == 0 ? "." : entry.substr(0, nameStart), fault).string();
    if (fault || !item.found()) {
        error = wordingOf(fault ? fault.value() : errno);
        return std::nullopt;
    }
    return item;
}

std::optional<FileIdentity> FreedesktopTrash::Place::existing() const {
    struct stat status {};
    const int flags = isHomeTrash() ? 0 : AT_SYMLINK_NOFOLLOW;
    if (::fstatat(AT_FDCWD, path().c_str(), &status, flags) != 0 || !S_ISDIR(status.st_mode))
        return std::nullopt;
    return identityOf(status);
}

std::optional<TrashFolder> FreedesktopTrash::Place::opened(uid_t userId) const {
    if (isHomeTrash() && !madeFolders(parent))
        return std::nullopt;
    // In their own home users may link things as they like.
    const int flags = O_PATH | (isHomeTrash() ? 0 : O_NOFOLLOW);
    const Descriptor above(::open(parent.c_str(), O_DIRECTORY | O_CLOEXEC | flags));
    if (!above.isOpen())
        return std::nullopt;
    const Descriptor folder = openedOrMade(above, name, flags);
    return folder.isOpen() ? TrashFolder::opened(folder, userId) : std::nullopt;
}

FreedesktopTrash::FreedesktopTrash(TrashOwner owner, const Clock& clock)
    : owner_(std::move(owner)), clock_(clock) {}

std::optional<FreedesktopTrash::Place> FreedesktopTrash::homePlace() const {
    if (owner_.dataFolder)
        return Place{*owner_.dataFolder, "Trash", {}};
    if (owner_.homeFolder && identityAt(*owner_.homeFolder))
        return Place{childOf(*owner_.homeFolder, ".local/share"), "Trash", {}};
    return std::nullopt;
}

std::vector<FreedesktopTrash::Place> FreedesktopTrash::placesAtTopOf(const Item& item) const {
    const std::string top = topOfFileSystem(item.folder, item.device);
    const std::string shared = childOf(top, ".Trash");
    const std::string user = std::to_string(owner_.userId);
    std::vector<Place> places;
    if (isSharedTrash(shared))
        places.push_back({shared, user, top});
    places.push_back({top, ".Trash-" + user, top});
    return places;
}

/// Why the item must stay, whatever the file system permits; empty when it may go.
std::string FreedesktopTrash::refusalOf(const Item& item, const std::vector<Place>& places) const {
    if (item.isFolder && item.identity.device != item.device)
        return "A file system begins there";
    if (owner_.homeFolder && isOn(entriesOnTheWay(*owner_.homeFolder), item.identity))
        return "It is the home folder or leads to it";
    const std::vector<FileIdentity> wayToFolder = entriesOnTheWay(item.folder);
    for (const Place& place : places) {
        const auto trashFolder = place.existing();
        if (isOn(place.wayThere(), item.identity) || trashFolder == item.identity)
            return "It is the Trash or leads to it";
        if (trashFolder && isOn(wayToFolder, *trashFolder))
            return "It is in the Trash already";
    }
    return {};
}

std::string FreedesktopTrash::noteOn(const Item& item, const Place& place) const {
    const std::size_t topLength = place.top == "/" ? 1 : place.top.size() + 1;
    const auto now = clock_.now();
    return trashInfo(place.isHomeTrash() ? item.path() : item.path().substr(topLength),
                     std::chrono::floor<std::chrono::seconds>(now + clock_.zoneOffset(now)));
}

/// Takes the first of the places that can be used.
bool FreedesktopTrash::moveInto(const std::vector<Place>& places, const Item& item,
                                std::string& error) const {
    for (const Place& place : places) {
        const auto folder = place.opened(owner_.userId);
        if (folder && folder->take(item.parent, item.name, noteOn(item, place)))
            return true;
        const int fault = errno;
        error = folder ? "" : "The Trash at " + place.path() + " cannot be used: ";
        error += wordingOf(fault);
        if (folder)
            return false;
    }
    return false;
}

bool FreedesktopTrash::moveToTrash(const std::string& path, std::string& error) {
    const auto item = Item::at(path, error);
    if (!item)
        return false;
    const auto home = homePlace();
    std::vector<Place> places = placesAtTopOf(*item);
    if (home)
        places.push_back(*home);
    if (std::string refusal = refusalOf(*item, places); !refusal.empty()) {
        error = std::move(refusal);
        return false;
    }
    if (home && deviceOf(home->path()) == item->device)
        places = {*home};
    else if (home)
        places.pop_back();
    return moveInto(places, *item, error);
}

} // namespace cutstack
