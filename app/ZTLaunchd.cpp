#include "app/ZTLaunchd.h"

#include <filesystem>
#include <string_view>
#include <sys/stat.h>
#include <system_error>

#include "support/AtomicFile.h"
#include "support/Format.h"
#include "support/PropertyListWriting.h"

namespace cutstack {

namespace fs = std::filesystem;

namespace {

using std::chrono::microseconds;

constexpr const char* kLaunchctl = "/bin/launchctl";
constexpr const char* kChmod = "/bin/chmod";
constexpr const char* kChown = "/usr/sbin/chown";
constexpr const char* kKillall = "/usr/bin/killall";

constexpr std::chrono::seconds kLongestLoading(10);
constexpr microseconds kShortPause(500);
constexpr microseconds kLongPause = std::chrono::seconds(1);

// What failed, for the console and as the message of an alert.
constexpr std::string_view kUnableToWrite = "Error: Unable to write LaunchAgent data";
constexpr std::string_view kUnableToCreate = "Error: Unable to create LaunchAgent";
constexpr std::string_view kUnableToRemove = "Error: Unable to remove LaunchAgent";
constexpr std::string_view kLineFormat =
    "%@. Please check you have correct permissions for the directory %@";
constexpr std::string_view kAdviceFormat =
    "Please check you have correct permissions for the directory %@.";
constexpr std::string_view kTryingToAuthorize = "Unable to write plist - trying to authorize...";
constexpr std::string_view kNoHome = "No folder for the job %@: the user has no home folder";

/// The job's property list and the folder that it lies in.
struct Place {
    std::string folder;
    std::string file;
};

std::optional<Place> placeOf(const std::string& jobName, bool user, bool launchAgent,
                             const LaunchdServices& at) {
    auto folder = ZTLaunchd::folderOfJobs(user, launchAgent, at.locations);
    if (!folder) {
        at.console.log(formatString(kNoHome, {jobName}));
        return std::nullopt;
    }
    std::string file = *folder + formatString("/%@.plist", {jobName});
    return Place{std::move(*folder), std::move(file)};
}

bool exists(const std::string& path) {
    std::error_code fault;
    return fs::symlink_status(path, fault).type() != fs::file_type::not_found;
}

/// Tells the console and, where there is a window, the user; false.
bool failed(std::string_view what, const std::string& folder, const LaunchdServices& at) {
    at.console.log(formatString(kLineFormat, {what, folder}));
    if (at.userInterface != nullptr) {
        Alert alert;
        alert.messageText = what;
        alert.informativeText = formatString(kAdviceFormat, {folder});
        at.userInterface->performOnMainThreadAndWait([&] { at.userInterface->alertSheet(alert); });
    }
    return false;
}

bool writeList(const std::string& file, const PropertyList::Dictionary& job) {
    const auto xml = xmlPropertyList(job);
    std::string error;
    return xml && writeFileAtomically(file, *xml, error);
}

/// A list in the temporary folder, gone at the end of its scope. It lies in a folder of its own
/// that nobody else may enter: under a name that others can guess, a link of theirs could wait.
class TemporaryList {
public:
    TemporaryList(const std::string& fileName, const Locations& at)
        : folder_(ZTLocalPaths::tempFile(at)),
          isOurs_(::mkdir(folder_.c_str(), S_IRWXU) == 0),
          file_(folder_ + "/" + fileName) {}
    ~TemporaryList() {
        std::error_code fault;
        if (isOurs_)
            fs::remove_all(folder_, fault);
    }
    TemporaryList(const TemporaryList&) = delete;
    TemporaryList& operator=(const TemporaryList&) = delete;

    [[nodiscard]] bool write(const PropertyList::Dictionary& job) const {
        return isOurs_ && writeList(file_, job);
    }
    [[nodiscard]] const std::string& file() const { return file_; }

private:
    std::string folder_;
    bool isOurs_;
    std::string file_;
};

/// Puts the list in its place by an administrator's rights.
bool writeWithRights(const Place& place, const PropertyList::Dictionary& job,
                     const LaunchdServices& at) {
    const TemporaryList copy(fs::path(place.file).filename().string(), at.locations);
    if (!copy.write(job))
        return failed(kUnableToWrite, place.folder, at);
    if (exists(place.file)) {
        at.authorization.authRemoveFile(place.file);
        at.pause(kShortPause);
    }
    at.console.log(kTryingToAuthorize);
    if (!at.authorization.authMoveFile(copy.file(), place.file))
        return failed(kUnableToCreate, place.folder, at);
    at.pause(kLongPause);
    return true;
}

void setOwnerAndMode(const std::string& file, bool user, const LaunchdServices& at) {
    if (!user)
        ZTTask::runTask(kChown, {"root:wheel", file}, nullptr, at.tasks);
    ZTTask::runTask(kChmod, {"644", file}, nullptr, at.tasks);
}

/// The same for a list that was put in place by an administrator's rights.
void setOwnerAndModeWithRights(const std::string& file, bool user, const LaunchdServices& at) {
    if (!user)
        at.authorization.authExecTask(kChown, {"root:wheel", file});
    at.pause(kShortPause);
    at.authorization.authExecTask(kChmod, {"644", file});
    at.pause(kLongPause);
}

void launchctl(const char* command, const std::string& argument, const LaunchdServices& at) {
    ZTTask::runTaskTimeout(kLaunchctl, {command, argument}, kLongestLoading, at.tasks);
}

} // namespace

std::optional<std::string> ZTLaunchd::folderOfJobs(bool user, bool launchAgent,
                                                   const Locations& at) {
    auto library = ZTLocalPaths::libraryDirectory(user, at);
    return library ? std::optional(*library + (launchAgent ? "/LaunchAgents" : "/LaunchDaemons"))
                   : std::nullopt;
}

std::optional<std::string> ZTLaunchd::pathOfJob(const std::string& jobName, bool user,
                                                bool launchAgent, const Locations& at) {
    auto folder = folderOfJobs(user, launchAgent, at);
    return folder ? std::optional(*folder + formatString("/%@.plist", {jobName})) : std::nullopt;
}

bool ZTLaunchd::startLaunchAgent(const std::string& jobName, const PropertyList::Dictionary& job,
                                 bool user, const LaunchdServices& at) {
    return startJob(jobName, job, user, true, false, std::nullopt, at);
}

bool ZTLaunchd::removeLaunchAgent(const std::string& jobName, bool /*user*/,
                                  const LaunchdServices& at) {
    return removeJob(jobName, true, true, true, at);
}

bool ZTLaunchd::startJob(const std::string& jobName, const PropertyList::Dictionary& job, bool user,
                         bool launchAgent, bool shouldAuth,
                         const std::optional<std::string>& killProcessName,
                         const LaunchdServices& at) {
    const auto place = placeOf(jobName, user, launchAgent, at);
    if (!place)
        return false;
    // What could not be made shows when the list is written.
    static_cast<void>(makeFolders(place->folder));
    if (exists(place->file))
        removeJob(jobName, user, launchAgent, shouldAuth, at);
    const bool isWritten = writeList(place->file, job);
    if (!isWritten && !writeWithRights(*place, job, at))
        return false;
    if (killProcessName)
        ZTTask::runTask(kKillall, {*killProcessName}, nullptr, at.tasks);
    (isWritten ? setOwnerAndMode : setOwnerAndModeWithRights)(place->file, user, at);
    launchctl("unload", place->file, at);
    launchctl("load", place->file, at);
    return true;
}

bool ZTLaunchd::stopJob(const std::string& jobName, bool user, bool launchAgent,
                        bool /*shouldAuth*/, const LaunchdServices& at) {
    const auto place = placeOf(jobName, user, launchAgent, at);
    if (!place)
        return false;
    launchctl("unload", place->file, at);
    launchctl("remove", jobName, at);
    return true;
}

bool ZTLaunchd::removeJob(const std::string& jobName, bool user, bool launchAgent, bool shouldAuth,
                          const LaunchdServices& at) {
    const auto place = placeOf(jobName, user, launchAgent, at);
    if (!place)
        return false;
    launchctl("unload", place->file, at);
    std::error_code fault;
    fs::remove(place->file, fault);
    if (fault && shouldAuth && at.authorization.authRemoveFile(place->file))
        at.pause(kLongPause);
    return !exists(place->file) || failed(kUnableToRemove, place->folder, at);
}

} // namespace cutstack
