#include "store/BackupPipeline.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/FileStamp.h"
#include "platform/SystemErrors.h"
#include "store/BackupPolicy.h"
#include "store/FileComparison.h"
#include "store/VersionNames.h"
#include "support/AtomicFile.h"
#include "support/FolderListing.h"
#include "support/Unicode.h"
#include "support/XmlFormatting.h"
#include "support/ZTException.h"

namespace cutstack {

namespace {

/// A save that is older was not what started the run, so the editor may be in the middle of things.
constexpr std::int64_t kFreshnessInSeconds = 60;
/// After a look at the projects that took longer, a save made during it may be as old before the
/// next run looks.
constexpr auto kLongLook = std::chrono::seconds(kFreshnessInSeconds / 2);

/// A file system's clock may stand still for that long: two saves within leave the same date.
constexpr auto kClockTick = std::chrono::milliseconds(30);
constexpr int kMostTicksToWait = 10;

constexpr std::string_view kProjectType = "FCPF";
constexpr std::string_view kXmlType = "XML ";
constexpr std::string_view kXmlCreator = "KeyG";

/// In two numbers: a file may be of a time that is beyond a count of nanoseconds.
using TimeOrder = std::pair<std::int64_t, std::int64_t>;

TimeOrder orderOf(const FileTime& time) { return {time.seconds, time.nanoseconds}; }

TimeOrder orderOf(std::chrono::system_clock::time_point time) {
    const auto second = std::chrono::floor<std::chrono::seconds>(time);
    return {second.time_since_epoch().count(),
            std::chrono::duration_cast<std::chrono::nanoseconds>(time - second).count()};
}

std::optional<FileStamp> stampOf(const std::string& path) {
    std::string error;
    return fileStamp(path, error);
}

bool isBackupFile(const std::string& name) {
    const std::string folded = caseFolded(name);
    return folded.ends_with(".xml") || folded.ends_with(".fcp");
}

/// The last project or XML copy of a project folder in listing order.
std::optional<std::string> lastBackupFile(const std::string& folder) {
    auto names = namesInFolder(folder).value_or(std::vector<std::string>());
    std::erase_if(names, [](const std::string& name) { return !isBackupFile(name); });
    return names.empty() ? std::nullopt : std::optional(names.back());
}

/// The number of the version after the one that the file belongs to; nothing after the last number
/// that there is.
std::optional<std::int32_t> numberAfter(const std::string& lastFile) {
    const std::int32_t number = versionNumberOfFile(lastFile);
    return number == std::numeric_limits<std::int32_t>::max() ? std::nullopt
                                                              : std::optional(number + 1);
}

/// Whether the path is a folder itself; a link to one is not.
bool isRealFolder(const std::string& path) {
    struct stat facts {};
    return ::lstat(withoutSlashAtEnd(path).c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

std::string textForKey(const PropertyList& entry, std::string_view key) {
    const PropertyList* const value = entry.valueForKey(key);
    const std::string* const text = value == nullptr ? nullptr : value->asString();
    return text == nullptr ? std::string() : *text;
}

/// The path by which the editor has the project open; nothing when it has not. The editor tells
/// where a file really is, so a project that is watched through a linked folder is looked for
/// there.
std::optional<std::string> openPathOf(const std::string& project,
                                      const std::vector<std::string>& openProjects) {
    std::error_code fault;
    const std::string folder =
        std::filesystem::weakly_canonical(std::filesystem::path(project).parent_path(), fault);
    for (const std::string& path : {project, pathInFolder(folder, fileNameOf(project))}) {
        if (std::find(openProjects.begin(), openProjects.end(), path) != openProjects.end())
            return path;
    }
    return std::nullopt;
}

} // namespace

void BackupPipeline::processProjects() {
    const auto process = [this] {
        services_.log.appendLog("Processing projects...");
        // The next run may come too late for what was saved during a long one.
        const auto begin = services_.clock.now();
        while (lookAtProjects(begin) == Look::tookLong) {
        }
    };
    guarded("-[AppController processProjects]", process, services_.log);
}

BackupPipeline::Look BackupPipeline::lookAtProjects(TimePoint beginOfRun) {
    const auto begin = services_.clock.now();
    const auto settings = services_.readSettings();
    const auto list = settings ? watchList(*settings) : std::nullopt;
    if (!list)
        return Look::isDone;
    const auto openProjects = services_.editor.listOfOpenFCPProjects();
    if (!openProjects || openProjects->empty())
        return Look::isDone;
    std::vector<std::string> processed;
    bool isAnyBackedUp = false;
    for (const PropertyList& entry : *list) {
        const EntryEnd end = processEntry(entry, *settings, *openProjects, beginOfRun);
        isAnyBackedUp = isAnyBackedUp || end != EntryEnd::skipped;
        if (end == EntryEnd::furtherVersion)
            processed.push_back(
                pathInFolder(settings->storagePath, fileNameOf(textForKey(entry, "path"))));
    }
    services_.manageBackups();
    services_.refreshCaches(processed);
    return isAnyBackedUp && services_.clock.now() - begin > kLongLook ? Look::tookLong
                                                                      : Look::isDone;
}

std::optional<PropertyList::Array> BackupPipeline::watchList(const BackupSettings& settings) {
    if (settings.filelist.empty())
        return std::nullopt;
    if (settings.filelist.front().asString() == nullptr)
        return settings.filelist;
    auto converted = services_.convertOldListFormat(settings.filelist);
    return converted && !converted->empty() ? converted : std::nullopt;
}

BackupPipeline::EntryEnd BackupPipeline::processEntry(const PropertyList& entry,
                                                      const BackupSettings& settings,
                                                      const std::vector<std::string>& openProjects,
                                                      TimePoint beginOfRun) {
    const std::string listed = textForKey(entry, "path");
    const std::string expanded = services_.expandTilde(listed);
    const auto openPath = expanded.empty() ? std::nullopt : openPathOf(expanded, openProjects);
    if (!openPath)
        return EntryEnd::skipped;
    const std::string& project = *openPath;
    const std::string folder = pathInFolder(settings.storagePath, fileNameOf(project));
    BackupRequest request{.project = project == expanded ? listed : project,
                          .folder = folder,
                          .number = 1,
                          .sequence = {}};
    request.sequence = textForKey(entry, "selectedUUID");
    const auto last = lastBackupFile(folder);
    if (last) {
        const std::string path = pathInFolder(folder, *last);
        if (!isFreshlySaved(project, path, beginOfRun) || !takeNumberAfter(path, request))
            return EntryEnd::skipped;
    }
    backupProject(request);
    return last ? EntryEnd::furtherVersion : EntryEnd::firstVersion;
}

bool BackupPipeline::takeNumberAfter(const std::string& lastFile, BackupRequest& request) {
    const auto number = numberAfter(lastFile);
    if (number)
        request.number = *number;
    else
        services_.log.appendLog("Skipping project %@ - there is no number after that of %@",
                                request.project, lastFile);
    return number.has_value();
}

bool BackupPipeline::isFreshlySaved(const std::string& project, const std::string& newest,
                                    TimePoint beginOfRun) {
    const auto stamp = stampOf(project);
    const auto newestStamp = stampOf(newest);
    if (!stamp || !newestStamp) {
        services_.log.appendLog("Skipping project %@ - unable to read %@", project,
                                stamp ? "its last backup" : "its file");
        return false;
    }
    const auto modified = orderOf(stamp->modified);
    if (modified <= orderOf(newestStamp->modified)) {
        if (!isTheCopied(project, *stamp, newest))
            services_.log.appendLog("Skipping project %@ - not newer than its last backup",
                                    project);
        return false;
    }
    if (modified > orderOf(beginOfRun - std::chrono::seconds(kFreshnessInSeconds)))
        return true;
    services_.log.appendLog("Skipping project %@ - saved more than %i seconds ago", project,
                            static_cast<int>(kFreshnessInSeconds));
    return false;
}

/// Whether the project is as it was at the version that `newest` belongs to, going by the project
/// copy's date and size, so that there is nothing to tell. A version without a project copy is one
/// that had nothing new in it.
bool BackupPipeline::isTheCopied(const std::string& project, const FileStamp& stamp,
                                 const std::string& newest) {
    const std::string name = projectCopyName(stemOfProject(project), versionNumberOfFile(newest));
    const auto copy =
        stampOf(pathInFolder(std::string_view(newest).substr(0, newest.rfind('/')), name));
    if (!copy)
        return true;
    return copy->modified == stamp.modified && copy->sizeInBytes == stamp.sizeInBytes;
}

void BackupPipeline::autosave() {
    guarded(
        "-[AppController autosave]", [this] { autosaveOpenProjects(); }, services_.log);
}

void BackupPipeline::autosaveOpenProjects() {
    const auto settings = services_.readSettings();
    if (!settings || settings->filelist.empty())
        return;
    const auto openProjects = services_.editor.listOfOpenFCPProjects();
    if (!openProjects || openProjects->empty())
        return;
    for (const PropertyList& element : settings->filelist) {
        // Only the old list format has plain paths; the run has never learnt the current one.
        const std::string* const listed = element.asString();
        if (listed == nullptr)
            throw Exception("NSInvalidArgumentException", "the watch list entry is not a path");
        const auto project = openPathOf(services_.expandTilde(*listed), *openProjects);
        if (!project)
            continue;
        services_.log.appendLog("Autosaving %@...", *project);
        services_.editor.saveProject(*project);
    }
}

void BackupPipeline::takeSnapshot(const std::string& project, const std::string& sequence) {
    services_.log.appendLog("Taking snapshot for project %@ uuid %@", project, sequence);
    const auto onMainThread = [this](auto&& show) {
        if (services_.userInterface != nullptr && services_.snapshotSpinner != nullptr)
            services_.userInterface->performOnMainThreadAndWait(show);
    };
    onMainThread([this] { services_.snapshotSpinner->startProgress(); });
    const auto snapshot = [&] {
        const auto settings = services_.readSettings();
        if (!settings)
            return;
        BackupRequest request{.project = project, .folder = {}, .number = 1, .sequence = sequence};
        request.folder =
            pathInFolder(settings->storagePath, fileNameOf(services_.expandTilde(project)));
        request.launchProj = request.force = true;
        const auto last = lastBackupFile(request.folder);
        if (!last || takeNumberAfter(pathInFolder(request.folder, *last), request))
            backupProject(request);
    };
    guarded("-[AppController takeSnapshot:uuid:]", snapshot, services_.log);
    if (services_.userInterface != nullptr && services_.snapshotSpinner != nullptr)
        services_.userInterface->performOnMainThread(
            [spinner = services_.snapshotSpinner] { spinner->endProgress(); });
}

void BackupPipeline::backupProject(const BackupRequest& request) {
    const auto backup = [&] {
        services_.log.appendLog("Backing up project %@ to path %@", request.project,
                                request.folder);
        makeFolder(request.folder);
        const std::string project = services_.expandTilde(request.project);
        if (isProjectFile(project))
            makeVersion(request, project);
    };
    guarded("-[AppController backupProject:toPath:withNumber:uuid:launchProj:force:]", backup,
            services_.log);
}

bool BackupPipeline::isProjectFile(const std::string& project) const {
    return caseFolded(pathExtension(project)) == "fcp" ||
           services_.metadata.hfsTypeCode(project) == kProjectType;
}

void BackupPipeline::makeFolder(const std::string& folder) {
    if (const int fault = makeFolders(folder); fault != 0)
        services_.log.appendLog("Error creating directory structure: %@", wordingOf(fault));
}

/// Waits until the project's last save is so long ago that the next one will have a later date: a
/// save that comes after the copy and has its date would count as backed up.
void BackupPipeline::awaitClockTick(const std::string& project) {
    for (int i = 0; i < kMostTicksToWait; ++i) {
        const auto stamp = stampOf(project);
        const auto now = services_.clock.now();
        if (!stamp || orderOf(stamp->modified) <= orderOf(now - kClockTick) ||
            orderOf(stamp->modified) > orderOf(now))
            return;
        services_.pauseFor(kClockTick);
    }
}

void BackupPipeline::makeVersion(const BackupRequest& request, const std::string& project) {
    const BackupSettings settings = services_.readSettings().value_or(BackupSettings());
    const bool isThere = isWholeVersionThere(request, project);
    const auto before = stampOf(project);
    const auto fault = backupFCPProject(project, request.folder, request.number);
    if (fault) {
        const std::string xmlCopy =
            pathInFolder(request.folder, xmlCopyName(stemOfProject(project), request.number));
        services_.log.appendLog("Unable to copy project file %@ to %@: %@", project, xmlCopy,
                                *fault);
    } else if (settings.removeDuplicates) {
        removeLastDuplicateForProject(request.folder);
    }
    if (!wantsXmlCopy(request, project, settings))
        return;
    if (isThere)
        services_.log.appendLog("Skipping XML backup - file exists");
    else
        makeXmlCopy(request, project, settings, before);
}

/// Whether both copies of the version are there already, as when a name that sorts behind them
/// misled about its number. An export of what the project is now must not take the place of theirs.
bool BackupPipeline::isWholeVersionThere(const BackupRequest& request, const std::string& project) {
    const std::string stem = stemOfProject(project);
    const auto isThere = [&](const std::string& name) {
        return ::access(pathInFolder(request.folder, name).c_str(), F_OK) == 0;
    };
    return isThere(projectCopyName(stem, request.number)) &&
           isThere(xmlCopyName(stem, request.number));
}

std::optional<std::string> BackupPipeline::backupFCPProject(const std::string& project,
                                                            const std::string& folder,
                                                            std::int32_t number) {
    const auto copy = [&]() -> std::optional<std::string> {
        services_.log.appendLog("Backing up Final Cut Pro project file %@ to %@...", project,
                                folder);
        makeFolder(folder);
        const std::string target =
            pathInFolder(folder, projectCopyName(stemOfProject(project), number));
        if (::access(target.c_str(), F_OK) == 0) {
            services_.log.appendLog("Skipping FCP project backup - file exists");
            return std::nullopt;
        }
        // The project may be a link: what it leads to is what was saved.
        const std::string source = services_.expandTilde(project);
        awaitClockTick(source);
        std::string error;
        if (services_.copier.copy(endOfLinks(source).value_or(source), target, nullptr, error) ==
            CopyEnd::copied)
            return std::nullopt;
        return error;
    };
    return guarded("-[AppController backupFCPProject:toPath:withNumber:]", copy, services_.log)
        .value_or(std::nullopt);
}

bool BackupPipeline::wantsXmlCopy(const BackupRequest& request, const std::string& project,
                                  const BackupSettings& settings) {
    const XmlCopyPolicy policy = xmlCopyPolicy(settings.xmlLimit);
    if (!policy.isEnabled)
        services_.log.appendLog("XML backups disabled - skipping...");
    if (request.force)
        return true;
    XmlCopyCase about{.isSequenceChosen = !request.sequence.empty()};
    if (policy.sizeLimitInBytes && policy.requiredGap > 0)
        about.gap = backupGapForProject(project, request.folder, request.number);
    if (const auto stamp = stampOf(project))
        about.projectSizeInBytes = stamp->sizeInBytes;
    const XmlCopyDecision decision = decideXmlCopy(policy, about);
    if (decision == XmlCopyDecision::skipGap)
        services_.log.appendLog("Skipping XML backup - backup gap set to %i.", policy.requiredGap);
    if (decision == XmlCopyDecision::skipSize)
        services_.log.appendLog("Skipping XML backup - file size limit met.");
    return decision == XmlCopyDecision::make;
}

std::optional<SharedBytes> BackupPipeline::exported(const BackupRequest& request,
                                                    const std::string& project) {
    if (request.sequence.empty())
        return services_.editor.getProjectXMLData(project, request.launchProj);
    return services_.editor.getItemXMLData(request.sequence, project, request.launchProj);
}

void BackupPipeline::makeXmlCopy(const BackupRequest& request, const std::string& project,
                                 const BackupSettings& settings,
                                 const std::optional<FileStamp>& projectBefore) {
    const auto document = exported(request, project);
    if (!document || document->isEmpty()) {
        services_.log.appendLog("Invalid XML data");
        return;
    }
    std::string error;
    const auto formatted = prettyPrintedXml(std::string(document->view()), error);
    if (!formatted) {
        services_.log.appendLog("Error initializing XML document: %@", error);
        return;
    }
    const std::string path =
        pathInFolder(request.folder, xmlCopyName(stemOfProject(project), request.number));
    if (!writeFileAtomically(path, *formatted, error)) {
        services_.log.appendLog("Error writing XML file: %@", error);
        return;
    }
    const auto copy = stampOf(
        pathInFolder(request.folder, projectCopyName(stemOfProject(project), request.number)));
    if (const auto& stamp = copy ? copy : projectBefore)
        dateAsItsProject(path, *stamp);
    services_.metadata.setHfsCodes(path, kXmlType, kXmlCreator);
    if (settings.removeDuplicates)
        removeLastDuplicateForProject(request.folder);
}

/// Whether a save came since the last backup is told by the date of the newest file. An export
/// takes its time, and a save that falls into it must count as later: so the XML copy has the date
/// of the project copy that it belongs to, or that the project had before it was copied where the
/// copy went as a duplicate, not of the moment in which it was finished.
void BackupPipeline::dateAsItsProject(const std::string& xmlCopy, const FileStamp& project) {
    const timespec time{.tv_sec = project.modified.seconds,
                        .tv_nsec = static_cast<long>(project.modified.nanoseconds)};
    const timespec times[] = {time, time};
    if (::utimensat(AT_FDCWD, xmlCopy.c_str(), times, 0) != 0)
        services_.log.appendLog("Unable to date %@: %@", xmlCopy, wordingOf(errno));
}

bool BackupPipeline::removeLastDuplicateForProject(const std::string& folder) {
    // What a link leads to is no part of the store, whoever made it.
    if (!isRealFolder(folder))
        return false;
    const auto names = namesInFolder(folder).value_or(std::vector<std::string>());
    if (names.size() < 2)
        return false;
    const std::string last = pathInFolder(folder, names.back());
    if (!haveEqualContents(last, pathInFolder(folder, names[names.size() - 2])))
        return false;
    services_.log.console().log("Attempting to remove duplicate file " + last + "...");
    services_.removal.forgetRecords(folder, {names.back()});
    return ::unlink(last.c_str()) == 0;
}

} // namespace cutstack
