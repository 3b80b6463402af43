#include "tools/cutstackctl/JobStates.h"

#include "app/ZTLaunchd.h"
#include "support/FolderListing.h"
#include "support/ZTTask.h"
#include "tools/cutstackctl/Messages.h"

#include <algorithm>
#include <filesystem>

namespace cutstack::cutstackctl {

namespace {

constexpr std::string_view kHead = "PID\t";

std::string_view cutOff(std::string_view& text, char separator) {
    const std::size_t end = text.find(separator);
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return part;
}

std::optional<std::string> unlessDash(std::string_view column) {
    return column == "-" ? std::nullopt : std::optional(std::string(column));
}

/// Notes a line "process, status, label, file". Jobs may share a label, so the file tells which.
void noteLine(std::string_view line, std::vector<JobState>& jobs) {
    const std::string_view process = cutOff(line, '\t');
    const std::string_view lastExit = cutOff(line, '\t');
    cutOff(line, '\t');
    const std::string name(withoutPathExtension(fileNameOf(line)));
    const auto job = std::ranges::find(jobs, name, &JobState::name);
    if (job == jobs.end())
        return;
    job->isLoaded = true;
    job->process = unlessDash(process);
    job->lastExit = unlessDash(lastExit);
}

} // namespace

JobStates jobStates(const Locations& at) {
    JobStates states;
    for (const std::string_view name : kJobs) {
        const auto file = ZTLaunchd::pathOfJob(std::string(name), true, true, at);
        std::error_code fault;
        states.jobs.push_back({.name = std::string(name),
                               .isWritten = file && std::filesystem::exists(*file, fault),
                               .process = {},
                               .lastExit = {}});
    }
    const auto table = ZTTask::dataFromTask("/bin/launchctl", {"list"});
    std::string_view rest = table ? std::string_view(*table) : std::string_view();
    if (!rest.starts_with(kHead)) {
        const std::string_view said = cutOff(rest, '\n');
        states.error = said.empty() ? "launchctl cannot be asked" : std::string(said);
        return states;
    }
    for (cutOff(rest, '\n'); !rest.empty();)
        noteLine(cutOff(rest, '\n'), states.jobs);
    return states;
}

bool isJobAtWork(std::string_view jobName, const Locations& at) {
    const JobStates states = jobStates(at);
    const auto job = std::ranges::find(states.jobs, jobName, &JobState::name);
    if (job->isWritten && job->isLoaded)
        return true;
    const std::string reason = states.error.empty() ? "" : ": " + states.error;
    complain("the job " + std::string(jobName) +
             (job->isWritten ? " is not loaded" + reason : " could not be written"));
    return false;
}

} // namespace cutstack::cutstackctl
