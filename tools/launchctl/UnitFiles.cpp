#include "tools/launchctl/UnitFiles.h"

#include <algorithm>

#include "support/FolderListing.h"
#include "support/Format.h"
#include "tools/launchctl/UnitText.h"

namespace cutstack::launchctl {

namespace {

constexpr std::string_view kJobExtension = ".plist";
/// systemd allows 255 letters, of which the ending and, for a mount, its name take a part.
constexpr std::size_t kLongestStem = 180;

constexpr std::string_view kMark = "# Made by Cutstack's launchctl. \"launchctl load\" replaces "
                                   "this file, \"launchctl unload\" removes it.\n";
constexpr std::string_view kFileComment = "# File: ";
constexpr std::string_view kLabelComment = "# Label: ";

// A run may take as long as it takes, and be started as often as files are saved. Leftovers of a
// failed run stay only as long as something refers to them.
constexpr std::string_view kService = "[Unit]\n"
                                      "Description=Job %@\n"
                                      "StartLimitIntervalSec=0\n"
                                      "CollectMode=inactive-or-failed\n"
                                      "\n"
                                      "[Service]\n"
                                      "Type=oneshot\n"
                                      "TimeoutStartSec=infinity\n"
                                      "ExecStart=%@\n";

constexpr std::string_view kTimer = "[Unit]\n"
                                    "Description=Times of job %@\n"
                                    "\n"
                                    "[Timer]\n"
                                    "AccuracySec=100ms\n";

// Refers to the service, which keeps what is known about its last run.
constexpr std::string_view kWatch = "[Unit]\n"
                                    "Description=Watched files of job %@\n"
                                    "StartLimitIntervalSec=0\n"
                                    "CollectMode=inactive-or-failed\n"
                                    "Before=%@\n"
                                    "\n"
                                    "[Service]\n"
                                    "Type=exec\n"
                                    "ExecStart=%@\n"
                                    "Restart=on-failure\n"
                                    "RestartSec=5s\n"
                                    "RestartPreventExitStatus=%d\n";

constexpr std::string_view kIdle = "[Unit]\n"
                                   "Description=End of the run of job %@\n"
                                   "StartLimitIntervalSec=0\n"
                                   "CollectMode=inactive-or-failed\n"
                                   "After=%@\n"
                                   "\n"
                                   "[Service]\n"
                                   "Type=oneshot\n"
                                   "TimeoutStartSec=infinity\n"
                                   "ExecStart=/bin/true\n";

// Waits for the run at work, which may have looked before the mount.
constexpr std::string_view kOnMount = "[Unit]\n"
                                      "Description=Job %@ at a mount\n"
                                      "StartLimitIntervalSec=0\n"
                                      "CollectMode=inactive-or-failed\n"
                                      "After=%@\n"
                                      "\n"
                                      "[Service]\n"
                                      "Type=oneshot\n"
                                      "TimeoutStartSec=infinity\n"
                                      "ExecStart=%@\n";

constexpr std::string_view kMountDropIn = "[Unit]\n"
                                          "Wants=%@-onmount@%%N.service\n";

constexpr std::string_view kInstall = "\n[Install]\nWantedBy=default.target\n";

std::string serviceText(const JobDefinition& job, const UnitNames& names) {
    std::string text =
        formatString(kService, {names.stem(), commandLine(job.program, job.arguments)});
    if (job.nice)
        text += formatString("Nice=%d\n", {*job.nice});
    if (job.lowPriorityIO)
        text += "IOSchedulingClass=idle\n";
    return text;
}

/// The timer also starts the run at load and at login: nothing waits for that one, as it would for
/// a service. An interval counts from the end of a run to the start of the next one.
std::string timerText(const JobDefinition& job, const UnitNames& names) {
    std::string text = formatString(kTimer, {names.stem()});
    if (job.runAtLoad)
        text += "OnActiveSec=0\n";
    if (job.startIntervalInSeconds) {
        const std::uint64_t seconds = *job.startIntervalInSeconds;
        if (!job.runAtLoad)
            text += formatString("OnActiveSec=%u\n", {seconds});
        text += formatString("OnUnitInactiveSec=%u\n", {seconds});
    }
    return text.append(kInstall);
}

std::string watchText(const UnitNames& names, const std::string& jobFile,
                      const std::string& helper) {
    return formatString(kWatch,
                        {names.stem(), names.service(),
                         commandLine(helper, {"launchctl", "watch", jobFile}), kRefusedJobStatus})
        .append(kInstall);
}

std::string onMountText(const UnitNames& names) {
    const std::vector<std::string> start = {"systemctl", "--user", "--no-block", "start",
                                            names.service()};
    return formatString(kOnMount,
                        {names.stem(), names.service(), commandLine("/usr/bin/systemctl", start)});
}

bool hasTimer(const JobDefinition& job) { return job.runAtLoad || job.startIntervalInSeconds; }

/// What the line says that begins with `name`; nothing when there is none. What another comment
/// says may look like one, but on its own line.
std::optional<std::string> commentIn(std::string_view content, std::string_view name) {
    while (!content.empty()) {
        const std::string_view line = content.substr(0, content.find('\n'));
        if (line.starts_with(name))
            return plainText(line.substr(name.size()));
        content.remove_prefix(std::min(line.size() + 1, content.size()));
    }
    return std::nullopt;
}

} // namespace

UnitNames::UnitNames(std::string_view name) : stem_(escapedForUnitName(name)) {}

UnitNames UnitNames::ofJobFile(std::string_view path) {
    std::string_view name = fileNameOf(path);
    if (name.ends_with(kJobExtension))
        name.remove_suffix(kJobExtension.size());
    return UnitNames(name);
}

bool UnitNames::areUsable() const { return !stem_.empty() && stem_.size() <= kLongestStem; }

std::vector<std::string> UnitNames::files() const {
    return {service(), timer(), watch(), idle(), onMount(), mountDropIn()};
}

std::map<std::string, std::string> unitFiles(const JobDefinition& job, const std::string& jobFile,
                                             const std::string& helper) {
    const UnitNames names = UnitNames::ofJobFile(jobFile);
    std::map<std::string, std::string> files = {{names.service(), serviceText(job, names)}};
    if (hasTimer(job))
        files[names.timer()] = timerText(job, names);
    if (!job.watchPaths.empty()) {
        files[names.watch()] = watchText(names, jobFile, helper);
        files[names.idle()] = formatString(kIdle, {names.stem(), names.service()});
    }
    if (job.startOnMount) {
        files[names.onMount()] = onMountText(names);
        files[names.mountDropIn()] = formatString(kMountDropIn, {names.stem()});
    }
    const std::string comments = std::string(kMark)
                                     .append(kFileComment)
                                     .append(quotedText(jobFile))
                                     .append("\n")
                                     .append(kLabelComment)
                                     .append(quotedText(job.label))
                                     .append("\n\n");
    for (auto& [name, text] : files)
        text.insert(0, comments);
    return files;
}

std::vector<std::string> unitsAtLogin(const JobDefinition& job, const UnitNames& names) {
    std::vector<std::string> units;
    if (!job.watchPaths.empty())
        units.push_back(names.watch());
    if (hasTimer(job))
        units.push_back(names.timer());
    return units;
}

bool isOwnUnit(std::string_view content) { return content.starts_with(kMark); }

std::optional<JobOrigin> originOf(std::string_view content) {
    if (!isOwnUnit(content))
        return std::nullopt;
    const auto label = commentIn(content, kLabelComment);
    const auto file = commentIn(content, kFileComment);
    return label && file ? std::optional(JobOrigin{*label, *file}) : std::nullopt;
}

} // namespace cutstack::launchctl
