#include "store/Retention.h"

#include <algorithm>
#include <cstdint>
#include <sys/stat.h>

#include "support/FolderListing.h"
#include "support/ZTException.h"

namespace cutstack {

namespace {

/// Whether the name is a folder itself; a link to one is not.
bool isRealFolder(const std::string& path) {
    struct stat facts {};
    return ::lstat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

/// File systems know times that a count of nanoseconds, or the difference of two, does not reach.
FileMoment momentOf(const timespec& time) {
    constexpr std::int64_t kFarthest = 4'500'000'000; // in 2112, and as far back
    const std::int64_t seconds = std::clamp<std::int64_t>(time.tv_sec, -kFarthest, kFarthest);
    const std::int64_t nanoseconds = seconds == time.tv_sec ? time.tv_nsec : 0;
    return FileMoment(std::chrono::seconds(seconds) + std::chrono::nanoseconds(nanoseconds));
}

/// The files that count, by name.
std::vector<DatedFile> filesOf(const std::string& folder) {
    std::vector<DatedFile> files;
    for (std::string& name : namesInFolder(folder).value_or(std::vector<std::string>())) {
        struct stat facts {};
        if (!name.starts_with('.') && ::lstat(pathInFolder(folder, name).c_str(), &facts) == 0 &&
            S_ISREG(facts.st_mode))
            files.push_back({std::move(name), momentOf(facts.st_mtim)});
    }
    std::sort(files.begin(), files.end(),
              [](const DatedFile& a, const DatedFile& b) { return a.name < b.name; });
    return files;
}

} // namespace

std::vector<FolderPlan> Retention::plan(const std::string& root,
                                        const RetentionRules& rules) const {
    std::vector<FolderPlan> plans;
    if (!rules.manageBackups)
        return plans;
    const RetentionTime time{clock_.now(),
                             [this](auto moment) { return clock_.zoneOffset(moment); }};
    for (const std::string& name : namesInFolder(root).value_or(std::vector<std::string>())) {
        const std::string folder = pathInFolder(root, name);
        if (!isRealFolder(folder))
            continue;
        plans.push_back({folder, planRetention(filesOf(folder), rules, time)});
        if (plans.back().plan.endsRun)
            break;
    }
    return plans;
}

void Retention::manageBackups(const std::string& root, const RetentionRules& rules,
                              const BackupRemoval& removal, RemovalType removeType) const {
    if (!rules.manageBackups)
        return;
    const auto removeAll = [&] {
        log_.appendLog("Starting backup management");
        for (const FolderPlan& folder : plan(root, rules)) {
            std::vector<std::string> names;
            for (const PlannedRemoval& file : folder.plan.removals)
                names.push_back(file.name);
            removal.removeBackups(folder.folder, names, removeType);
        }
    };
    guarded("-[AppController manageBackups]", removeAll, log_);
}

} // namespace cutstack
