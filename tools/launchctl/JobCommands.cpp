#include "tools/launchctl/JobCommands.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/SystemErrors.h"
#include "support/AtomicFile.h"
#include "support/FileLock.h"
#include "tools/launchctl/UnitText.h"

namespace cutstack::launchctl {

namespace {

namespace fs = std::filesystem;

bool equalButForCase(std::string_view one, std::string_view other) {
    const auto lower = [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    };
    return std::ranges::equal(one, other, {}, lower, lower);
}

/// Labels and paths on a terminal: they must not steer it, nor look like columns or lines.
std::string shown(std::string_view text) {
    std::string line;
    for (const char letter : text)
        line += (letter >= 0 && letter < ' ') || letter == '\x7f' ? '?' : letter;
    return line;
}

/// How the last run ended, as the table shows it.
std::string endOf(const UnitState& state) {
    constexpr std::string_view kExited = "1"; // CLD_EXITED
    if (!state.hasRun() || state.isAtWork())
        return "-";
    return state.exitCode == kExited ? state.exitStatus : "-" + state.exitStatus;
}

} // namespace

/// Held while units are changed.
class JobCommands::Lock {
public:
    explicit Lock(const std::string& folder)
        : fault_(makeFolders(folder)), lock_(folder + "/launchctl") {}

    [[nodiscard]] int fault() const { return fault_ != 0 ? fault_ : lock_.fault(); }

private:
    int fault_;
    FileLock lock_;
};

JobCommands::JobCommands(JobPlaces places, const Systemctl& systemctl, const Clock& clock,
                         std::ostream& errors)
    : places_(std::move(places)),
      folder_(places_.units),
      systemctl_(systemctl),
      clock_(clock),
      errors_(errors) {}

bool JobCommands::load(const std::string& file) {
    std::string error;
    std::vector<std::string> ignoredKeys;
    const auto job = readJob(file, ignoredKeys, error);
    if (!job)
        return trouble(file, error);
    for (const std::string& key : ignoredKeys)
        errors_ << "launchctl: " << shown(file) << ": " << shown(key) << " is ignored\n";
    const UnitNames names = UnitNames::ofJobFile(file);
    if (!names.areUsable())
        return trouble(file, "its name cannot be that of a unit");

    const Lock lock(places_.records);
    if (!lockIsHeld(lock) || !mayBeLoaded(names, file))
        return false;
    std::error_code fault;
    const std::string path = fs::absolute(file, fault).lexically_normal().string();
    if (!fault && start(*job, names, path, error))
        return true;
    std::string ignored;
    [[maybe_unused]] const bool isOut = takeOut(names, ignored);
    return trouble(file, fault ? fault.message() : error);
}

bool JobCommands::unload(const std::string& file) {
    const UnitNames names = UnitNames::ofJobFile(file);
    const Lock lock(places_.records);
    if (!lockIsHeld(lock))
        return false;
    if (folder_.filesOf(names).empty())
        return trouble(file, "not loaded");
    std::string error;
    return takeOut(names, error) || trouble(file, error);
}

bool JobCommands::remove(const std::string& name) {
    const Lock lock(places_.records);
    if (!lockIsHeld(lock))
        return false;
    const UnitNames names = namesFor(name);
    const bool isLoaded = !folder_.filesOf(names).empty();
    std::string error;
    if (isLoaded && !takeOut(names, error))
        return trouble(name, error);
    const bool wasKnown = recordOf(names).putAside();
    return isLoaded || wasKnown || trouble(name, "no job has that name");
}

bool JobCommands::list(std::ostream& output, const std::optional<std::string>& name) {
    std::vector<LoadedJob> jobs = folder_.jobs();
    if (name) {
        const std::string service = namesFor(*name).service();
        std::erase_if(jobs, [&](const LoadedJob& job) { return job.names.service() != service; });
        if (jobs.empty())
            return trouble(*name, "no job has that name");
    }
    std::vector<std::string> services;
    services.reserve(jobs.size());
    for (const LoadedJob& job : jobs)
        services.push_back(job.names.service());
    std::string error;
    const auto states = systemctl_.show(services, error);
    if (!states)
        return trouble("list", error);
    output << "PID\tStatus\tLabel\tFile\n";
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        const UnitState& state = (*states)[i];
        output << (state.mainPid == "0" ? "-" : state.mainPid) << '\t' << endOf(state) << '\t'
               << shown(jobs[i].origin.label) << '\t' << shown(jobs[i].origin.file) << '\n';
    }
    return output.flush() ? true : trouble("list", "the table could not be written");
}

bool JobCommands::lockIsHeld(const Lock& lock) {
    return lock.fault() == 0 || trouble(places_.records, wordingOf(lock.fault()));
}

/// Whether the manager can be reached, and no unit of somebody else has one of the job's names.
bool JobCommands::mayBeLoaded(const UnitNames& names, const std::string& file) {
    std::string error;
    const auto state = systemctl_.show(names.service(), error);
    if (!state)
        return trouble(file, error);
    std::string foreign = folder_.foreignFile(names);
    if (foreign.empty() && !state->fragmentPath.empty() &&
        !isOwnUnit(unitContent(state->fragmentPath)) && fs::exists(state->fragmentPath))
        foreign = state->fragmentPath;
    return foreign.empty() || trouble(file, foreign + " is somebody else's unit");
}

/// Puts the job's units in the place of those that are there, and starts what starts the job.
bool JobCommands::start(const JobDefinition& job, const UnitNames& names, const std::string& file,
                        std::string& error) {
    if (!stopStarters(names, error))
        return false;
    Stamps seen;
    const WatchRecord record = recordOf(names);
    record.bringBack(clock_);
    if (!job.watchPaths.empty() && !record.takeUp(job.watchPaths, clock_, seen, error))
        return false;
    const auto atLogin = unitsAtLogin(job, names);
    if (!folder_.put(names, unitFiles(job, file, places_.helper), atLogin, error))
        return false;
    std::error_code ignored;
    fs::remove(places_.runtimeUnits + "/" + names.service(), ignored);
    if (!systemctl_.run({"daemon-reload"}, error))
        return false;
    std::vector<std::string> command = {"start"};
    command.insert(command.end(), atLogin.begin(), atLogin.end());
    return atLogin.empty() || systemctl_.run(command, error);
}

/// Stops what could start a run, or waits to.
bool JobCommands::stopStarters(const UnitNames& names, std::string& error) {
    std::vector<std::string> command = {"stop"};
    for (const std::string& file : folder_.filesOf(names)) {
        if (file == names.watch() || file == names.timer() || file == names.idle())
            command.push_back(file);
    }
    return command.size() == 1 || systemctl_.run(command, error);
}

/// Stops what starts the job, and removes its units. A run that is at work would lose with its unit
/// what it goes by, and be ended for having taken too long: its unit moves to those that end with
/// the session.
bool JobCommands::takeOut(const UnitNames& names, std::string& error) {
    if (!stopStarters(names, error))
        return false;
    const std::string content = unitContent(folder_.pathOf(names.service()));
    const auto before = systemctl_.show(names.service(), error);
    if (!before || (before->isAtWork() && !keepForRunAtWork(names, content, error)))
        return false;
    if (!folder_.remove(names, error) || !systemctl_.run({"daemon-reload"}, error))
        return false;
    // A mount or a person may have started one in the meantime.
    const auto after = systemctl_.show(names.service(), error);
    if (!after || before->isAtWork() || !after->isAtWork())
        return after.has_value();
    return keepForRunAtWork(names, content, error) && systemctl_.run({"daemon-reload"}, error);
}

bool JobCommands::keepForRunAtWork(const UnitNames& names, const std::string& content,
                                   std::string& error) {
    if (const int fault = makeFolders(places_.runtimeUnits); fault != 0) {
        error = places_.runtimeUnits + ": " + wordingOf(fault);
        return false;
    }
    return writeFileAtomically(places_.runtimeUnits + "/" + names.service(), content, error);
}

UnitNames JobCommands::namesFor(const std::string& name) const {
    UnitNames exact(name);
    if (!folder_.filesOf(exact).empty())
        return exact;
    for (const LoadedJob& job : folder_.jobs()) {
        if (job.origin.label == name && equalButForCase(job.names.stem(), UnitNames(name).stem()))
            return job.names;
    }
    return exact;
}

WatchRecord JobCommands::recordOf(const UnitNames& names) const {
    return {places_.records, names.stem()};
}

bool JobCommands::trouble(const std::string& about, const std::string& error) {
    errors_ << "launchctl: " << shown(about) << ": " << shown(error) << '\n';
    return false;
}

} // namespace cutstack::launchctl
