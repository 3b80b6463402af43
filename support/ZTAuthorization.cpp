#include "support/ZTAuthorization.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <iterator>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/SystemErrors.h"
#include "support/FolderListing.h"

namespace cutstack {

namespace {

/// The path and what else it may be written as: without detours, and without links on the way.
/// `isContent` when what it leads to as a link is meant, and not the link.
std::array<std::string, 3> spellingsOf(const std::string& path, bool isContent) {
    const std::filesystem::path item = withoutSlashAtEnd(path);
    const std::filesystem::path plain = withoutSlashAtEnd(item.lexically_normal().string());
    std::error_code fault;
    const bool isLink = std::filesystem::is_symlink(item, fault);
    const std::filesystem::path whole =
        isLink && !isContent && !path.ends_with('/')
            ? std::filesystem::weakly_canonical(item.parent_path(), fault) / item.filename()
            : std::filesystem::weakly_canonical(item, fault);
    return {path, plain.string(), fault ? plain.string() : whole.string()};
}

/// Also true for a link that leads nowhere, whose name is taken as well.
bool exists(const std::string& path) {
    struct stat entry {};
    return lstat(path.c_str(), &entry) == 0;
}

/// The local time as 14 digits.
std::string timeMark(const Clock& clock) {
    const auto now = clock.now();
    const std::time_t local =
        std::chrono::system_clock::to_time_t(now + clock.zoneOffset(now)); // read as if it were UTC
    std::tm parts{};
    if (gmtime_r(&local, &parts) == nullptr)
        return {};
    std::string text(14, '0');
    text.resize(std::strftime(text.data(), text.size() + 1, "%Y%m%d%H%M%S", &parts));
    return text;
}

/// Makes a Trash that is not there yet, as its user's: this may be root. 0, or the fault.
int makeTrash(const std::string& trash, const std::string& home) {
    struct stat owner {};
    if (exists(trash))
        return 0;
    if (stat(home.c_str(), &owner) != 0 || mkdir(trash.c_str(), 0700) != 0)
        return errno == EEXIST ? 0 : errno;
    if (owner.st_uid == geteuid())
        return 0;
    // By the open folder, for whoever owns the home could put something else in its place.
    const int folder = open(trash.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    const bool isTheirs = folder >= 0 && fchown(folder, owner.st_uid, owner.st_gid) == 0;
    const int fault = isTheirs ? 0 : errno;
    if (folder >= 0)
        close(folder);
    return fault;
}

} // namespace

const AuthorizationServices& AuthorizationServices::ofProcess() {
    static const AuthorizationServices services{cutstack::privileges(), Locations::ofProcess(),
                                                systemClock(), TaskServices::ofProcess()};
    return services;
}

ZTAuthorization& ZTAuthorization::sharedController(bool hasGUI) {
    static auto& instance = *new ZTAuthorization(hasGUI, AuthorizationServices::ofProcess());
    return instance;
}

ZTAuthorization::ZTAuthorization(bool hasGUI, const AuthorizationServices& services)
    : hasGUI_(hasGUI),
      services_(services),
      userDirectory_(services.locations.environment.isRoot() &&
                             ZTLocalPaths::currentConsoleUser(services.locations)
                         ? ZTLocalPaths::userDirectory(services.locations)
                         : std::nullopt) {}

ZTAuthorization::~ZTAuthorization() { services_.privileges.giveUp(); }

void ZTAuthorization::logToConsole(std::string_view format,
                                   std::initializer_list<FormatArgument> arguments) {
    services_.tasks.log.console().log(formatString(format, arguments));
}

bool ZTAuthorization::canAuthorize() { return hasGUI_ || isRoot(); }

bool ZTAuthorization::isAuthorized() { return isRoot() || services_.privileges.areObtained(); }

bool ZTAuthorization::authStart() {
    if (isAuthorized())
        return true;
    if (!hasGUI_) {
        logToConsole("Unable to authorize", {});
        return false;
    }
    std::string error;
    if (services_.privileges.obtain(error))
        return true;
    logToConsole("Unable to authorize: %@", {error});
    return false;
}

bool ZTAuthorization::authStartWithUser(const std::string& user, const std::string& password) {
    std::string error;
    if (const int fault = services_.privileges.faultOfMeans(error); fault != 0) {
        logToConsole("Unable to create authRef - error %d", {fault});
        logToConsole("Unable to authorize: %@", {error});
        return false;
    }
    if (services_.privileges.obtainAs(user, password, error))
        return true;
    logToConsole("Authorization failed. Invalid username or password", {});
    logToConsole("Unable to authorize: %@", {error});
    return false;
}

void ZTAuthorization::authEnd() { services_.privileges.giveUp(); }

std::int32_t ZTAuthorization::authExecTask(const std::string& tool,
                                           const ZTTask::Arguments& parameters, bool async) {
    if (!exists(services_.tasks.tools.pathOfTool(tool))) {
        logToConsole("Unable to execute task: path %@ doesn't exist", {tool});
        return kNotExecuted;
    }
    if (isRoot()) {
        if (async)
            ZTTask::runTaskAndReturn(tool, parameters, services_.tasks);
        else
            ZTTask::runTask(tool, parameters, nullptr, services_.tasks);
        return 0;
    }
    if (!isAuthorized() && !authStart())
        return kNotExecuted;
    std::string error;
    const auto status = services_.privileges.run(tool, parameters, !async, error);
    if (!status)
        logToConsole("Unable to execute task %@: %@", {tool, error});
    return status.value_or(kNotExecuted);
}

bool ZTAuthorization::refusesSystemDirectory(const std::string& path, std::string_view line,
                                             bool isContent) {
    if (std::ranges::none_of(spellingsOf(path, isContent), [this](const std::string& spelling) {
            return ZTLocalPaths::isPathSystemDirectory(spelling, true, services_.locations);
        }))
        return false;
    logToConsole(line, {path});
    return true;
}

bool ZTAuthorization::authCopyFile(const Path& oldPath, const Path& newPath) {
    if (!oldPath || !newPath) {
        logToConsole(oldPath ? "Error in authCopyFile: new path is null"
                             : "Error in authCopyFile: old path is null",
                     {});
        return false;
    }
    return authExecTask("/bin/cp", {"-f", "-p", "-R", asOperand(*oldPath), asOperand(*newPath)}) ==
           0;
}

bool ZTAuthorization::authMoveFile(const Path& oldPath, const Path& newPath) {
    if (!oldPath || !newPath) {
        logToConsole(oldPath ? "Error in authMoveFile: new path is null"
                             : "Error in authMoveFile: old path is null",
                     {});
        return false;
    }
    if (refusesSystemDirectory(*oldPath,
                               "Unable to move path %@ because it is a system directory."))
        return false;
    return authExecTask("/bin/mv", {"-f", asOperand(*oldPath), asOperand(*newPath)}) == 0;
}

bool ZTAuthorization::authRemoveFile(const std::string& path) {
    if (refusesSystemDirectory(path, "Unable to delete path %@ because it is a system directory."))
        return false;
    return authExecTask("/bin/rm", {"-Rdf", asOperand(path)}) == 0;
}

bool ZTAuthorization::authCreateDir(const std::string& path) {
    return authExecTask("/bin/mkdir", {"-p", asOperand(path)}) == 0;
}

std::optional<std::vector<std::string>> ZTAuthorization::pathsInFolder(const std::string& folder) {
    auto names = namesInFolder(folder);
    if (!names) {
        logToConsole("Unable to list the contents of path %@", {folder});
        return std::nullopt;
    }
    for (std::string& name : *names)
        name = pathInFolder(folder, name);
    return names;
}

bool ZTAuthorization::authMoveFolderContents(const std::string& folder, const std::string& toPath) {
    if (refusesSystemDirectory(
            folder, "Unable to move contents of path %@ because it is a system directory.", true))
        return false;
    const auto paths = pathsInFolder(folder);
    bool areAllStarted = paths.has_value();
    for (const std::string& path : paths.value_or(std::vector<std::string>()))
        areAllStarted &= authMoveFile(path, pathInFolder(toPath, fileNameOf(path)));
    return areAllStarted;
}

bool ZTAuthorization::authTrashFolderContents(const std::string& folder, bool deleteOnRootAccount) {
    if (refusesSystemDirectory(
            folder, "Unable to trash folder contents of path %@ because it is a system directory.",
            true))
        return false;
    const auto paths = pathsInFolder(folder);
    if (!paths)
        return false;
    if (isRoot() && deleteOnRootAccount)
        return removeAll(*paths);
    bool areAllStarted = true;
    for (const std::string& path : *paths)
        areAllStarted &= authTrashFile(path, deleteOnRootAccount);
    return areAllStarted;
}

bool ZTAuthorization::removeAll(const std::vector<std::string>& paths) {
    // So many that a command line takes them, however long they are.
    constexpr std::ptrdiff_t kAtOnce = 200;
    bool areAllStarted = true;
    for (auto first = paths.begin(); first != paths.end();) {
        const auto last = first + std::min(kAtOnce, paths.end() - first);
        ZTTask::Arguments arguments = {"-R", "-f"};
        std::transform(first, last, std::back_inserter(arguments), asOperand);
        areAllStarted &= authExecTask("/bin/rm", arguments) == 0;
        first = last;
    }
    return areAllStarted;
}

std::string ZTAuthorization::freePathInTrash(const std::string& trash, const std::string& path) {
    const std::string wanted = pathInFolder(trash, fileNameOf(withoutSlashAtEnd(path)));
    const std::string marked =
        std::string(withoutPathExtension(wanted)) + "_" + timeMark(services_.clock);
    const std::string_view extension = pathExtension(wanted);
    // A tool that has been started may not have come to its move yet, which would replace.
    const std::lock_guard lock(namesGuard_);
    const auto isTaken = [this](const std::string& name) {
        return exists(name) || namesInTrash_.contains(name);
    };
    std::string name = wanted;
    for (int number = 1; isTaken(name); ++number)
        name = number == 1 ? formatString("%@.%@", {marked, extension})
                           : formatString("%@ %i.%@", {marked, number, extension});
    namesInTrash_.insert(name);
    return name;
}

bool ZTAuthorization::authTrashFile(const std::string& path, bool deleteOnRootAccount) {
    if (refusesSystemDirectory(path, "Unable to trash path %@ because it is a system directory."))
        return false;
    if (isRoot() && !userDirectory_ && deleteOnRootAccount)
        return authRemoveFile(path);
    const Path home =
        userDirectory_ ? userDirectory_ : ZTLocalPaths::userDirectory(services_.locations);
    if (!home) {
        logToConsole("Unable to trash path %@: the user has no home folder", {path});
        return false;
    }
    const std::string trash = pathInFolder(*home, ".Trash");
    if (const int fault = makeTrash(trash, *home); fault != 0) {
        logToConsole("Unable to trash path %@: %@: %@", {path, trash, wordingOf(fault)});
        return false;
    }
    return authMoveFile(path, freePathInTrash(trash, path));
}

} // namespace cutstack
