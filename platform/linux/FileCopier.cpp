#include "platform/linux/LinuxFileCopier.h"

#include "platform/SystemErrors.h"

#include "platform/linux/FreeName.h"
#include "platform/linux/PathEntries.h"
#include "platform/linux/TreeCopy.h"
#include "platform/linux/TreeRemoval.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <iomanip>
#include <random>
#include <sstream>
#include <system_error>

namespace cutstack {

namespace {

namespace fs = std::filesystem;

/// A name in an open folder, and its path for people.
struct Place {
    std::string path;
    std::string folderPath;
    std::string name;
    Descriptor folder;
    int fault = 0; ///< why the folder is not open

    [[nodiscard]] static Place at(const std::string& path);
    /// What is there; false with errno when nothing is.
    [[nodiscard]] bool find(struct stat& status) const {
        return ::fstatat(folder.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
    }
};

Place Place::at(const std::string& path) {
    Place place{path, ".", {}, Descriptor(), 0};
    // A slash after the name of a link would mean what the link leads to.
    while (place.path.size() > 1 && place.path.ends_with('/'))
        place.path.pop_back();
    const std::size_t nameStart = place.path.rfind('/') + 1;
    place.name = place.path == "/" ? "." : place.path.substr(nameStart);
    if (nameStart > 0)
        place.folderPath = place.path.substr(0, nameStart);
    if (path.empty() || path.find('\0') != std::string::npos) {
        place.fault = path.empty() ? ENOENT : EINVAL;
        return place;
    }
    place.folder = Descriptor(::open(place.folderPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    place.fault = place.folder.isOpen() ? 0 : errno;
    return place;
}

/// A name that nothing has: hidden, and short enough for every file system.
std::string hiddenName() {
    std::random_device random;
    std::ostringstream name;
    name << ".cutstack-copy-" << std::hex << std::setfill('0');
    for (int i = 0; i < 2; ++i)
        name << std::setw(8) << random();
    return name.str();
}

/// The copy under its hidden name. Unless it has got its own, it is removed in the end.
class HiddenCopy {
public:
    explicit HiddenCopy(const Descriptor& folder) : folder_(folder), name_(hiddenName()) {}
    ~HiddenCopy() { static_cast<void>(remove()); }
    HiddenCopy(const HiddenCopy&) = delete;
    HiddenCopy& operator=(const HiddenCopy&) = delete;

    [[nodiscard]] const std::string& name() const { return name_; }

    /// False with errno, EEXIST when something has the name meanwhile.
    [[nodiscard]] bool publish(const std::string& name) {
        isGone_ = renameToFreeName(folder_, name_, folder_, name);
        return isGone_;
    }

    /// Removes it now; false when something of it is still there.
    [[nodiscard]] bool remove() {
        const bool isRemoved = isGone_ || removeTree(folder_, name_);
        isGone_ = true;
        return isRemoved;
    }

private:
    const Descriptor& folder_;
    const std::string name_;
    bool isGone_ = false;
};

/// Finds out what there is to copy, and that it can be.
class Counting final : public TreeVisitor {
public:
    Counting(CopyReport& report, PathFault& fault) : report_(report), fault_(fault) {}

    bool visit(const TreeItem& item) override {
        const bool isFile = S_ISREG(item.status.st_mode);
        return canBeCopied(item, fault_) &&
               count(item, isFile ? static_cast<std::uint64_t>(item.status.st_size) : 0);
    }
    bool enter(const TreeItem& folder) override { return count(folder, 0); }
    bool leave(const TreeItem&, const Descriptor&) override { return true; }

private:
    bool count(const TreeItem& item, std::uint64_t bytes) {
        report_.addToTotals(bytes);
        return report_.goesOnWith(item.path);
    }

    CopyReport& report_;
    PathFault& fault_;
};

/// One copy from its beginning to its end.
class Copying {
public:
    Copying(const std::string& source, const std::string& destination, CopyReport& report,
            std::uint64_t bytesAtOnce)
        : source_(Place::at(source)),
          destination_(Place::at(destination)),
          report_(report),
          bytesAtOnce_(bytesAtOnce) {}

    /// False when it has failed, which is then in `fault`, or has been cancelled.
    bool run(PathFault& fault) {
        Counting counting(report_, fault);
        return isPossible(fault) &&
               walkTree(source_.folder, source_.name, source_.path, counting, fault) &&
               report_.tells(source_.path) && copy(fault);
    }

private:
    bool isPossible(PathFault& fault) const {
        struct stat status {};
        if (!source_.folder.isOpen())
            return fail(fault, source_, source_.fault);
        if (!source_.find(status))
            return fail(fault, source_, errno);
        if (!destination_.folder.isOpen())
            return fail(fault, destination_, destination_.fault);
        struct stat occupant {};
        if (destination_.find(occupant))
            return fail(fault, destination_, EEXIST);
        if (errno != ENOENT)
            return fail(fault, destination_, errno);
        return !S_ISDIR(status.st_mode) || isOutside(identityOf(status), fault);
    }

    /// Whether the destination is not in the folder that is to be copied.
    bool isOutside(const FileIdentity& folder, PathFault& fault) const {
        std::error_code error;
        const fs::path above = fs::canonical(destination_.folderPath, error);
        if (error)
            return fail(fault, destination_, error.value());
        const auto way = entriesOnTheWay(above);
        if (std::find(way.begin(), way.end(), folder) == way.end())
            return true;
        fault = {source_.path, "A folder cannot be copied into itself", true};
        return false;
    }

    bool copy(PathFault& fault) {
        HiddenCopy hidden(destination_.folder);
        TreeCopy copy(destination_.folder, {hidden.name(), source_.path, destination_.path},
                      bytesAtOnce_, report_, fault);
        if (!walkTree(source_.folder, source_.name, source_.path, copy, fault) ||
            !report_.tells(source_.path) || !publish(hidden, fault)) {
            if (!hidden.remove())
                fault.reason += (fault.reason.empty() ? "" : "; ") +
                                ("not all was removed of " + destination_.folderPath + "/") +
                                hidden.name();
            return false;
        }
        return true;
    }

    bool publish(HiddenCopy& hidden, PathFault& fault) const {
        if (!hidden.publish(destination_.name))
            return fail(fault, destination_, errno);
        // The copy stands. Where a folder cannot be brought to the disk by itself, a power cut may
        // at worst leave the copy under its hidden name.
        const Descriptor folder(
            ::openat(destination_.folder.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (folder.isOpen())
            ::fsync(folder.number());
        return true;
    }

    static bool fail(PathFault& fault, const Place& place, int reason) {
        fault = PathFault::ofNumber(place.path, reason);
        return false;
    }

    const Place source_;
    const Place destination_;
    CopyReport& report_;
    const std::uint64_t bytesAtOnce_;
};

} // namespace

CopyEnd LinuxFileCopier::copy(const std::string& source, const std::string& destination,
                              const Observer& observer, std::string& error) const {
    CopyReport report(observer, pace_.betweenReports);
    PathFault fault;
    if (Copying(source, destination, report, pace_.bytesAtOnce).run(fault))
        return CopyEnd::copied;
    if (fault.reason.empty())
        return CopyEnd::cancelled;
    const bool isSource = fault.path.empty() || Place::at(source).path == fault.path;
    error = (isSource ? "" : fault.path + ": ") + fault.reason;
    if (report.isCancelled())
        return CopyEnd::cancelled;
    return fault.isAnybodys ? CopyEnd::failedForAnybody : CopyEnd::failed;
}

const FileCopier& fileCopier() {
    static auto& instance = *new LinuxFileCopier;
    return instance;
}

} // namespace cutstack
