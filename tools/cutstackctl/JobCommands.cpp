#include "tools/cutstackctl/JobCommands.h"

#include "app/Settings.h"
#include "tools/cutstackctl/JobStates.h"
#include "tools/cutstackctl/Messages.h"

#include <algorithm>
#include <iostream>

namespace cutstack::cutstackctl {

namespace {

bool isNothingWatched(Program& program) { return program.parts().watchList().fileArray().empty(); }

int notStored(const std::string& error) {
    return complain("the setting could not be stored: " + error);
}

int tellBackups(Program& program) {
    const bool isOn = areBackupsOn(program.parts().settings());
    std::cout << "Backups are " << (isOn ? "on" : "off")
              << (isOn && isNothingWatched(program) ? ", but no project is watched" : "") << '\n';
    return kDone;
}

int tellAutosave(Program& program) {
    const UserDefaults& settings = program.parts().settings();
    const bool isOn = isAutosaveOn(settings);
    std::cout << "Autosave is " << (isOn ? "on, " + autosaveIntervalOf(settings) : "off")
              << (isOn && isNothingWatched(program) ? ", but no project is watched" : "") << '\n';
    return kDone;
}

/// Looks whether a job that is wanted now is there; the end of a command that wrote it.
int told(Program& program, bool isWanted, std::string_view jobName, int (*tell)(Program&)) {
    tell(program);
    const bool isExpected = isWanted && !isNothingWatched(program);
    return !isExpected || isJobAtWork(jobName, program.locations()) ? kDone : kTrouble;
}

} // namespace

bool areBackupsOn(const UserDefaults& settings) {
    const auto value = settings.objectForKey(settings::autoBackup);
    return !value ||
           !(value->asInteger() == 0 || value->asReal() == 0.0 || value->asBoolean() == false);
}

bool isAutosaveOn(const UserDefaults& settings) {
    return settings.integerForKey(settings::autosaveEnabled) == 1;
}

std::string autosaveIntervalOf(const UserDefaults& settings) {
    const auto minutes =
        std::max(settings.integerForKey(settings::autosaveInterval), std::int64_t{1});
    return minutes == 1 ? "every minute" : "every " + std::to_string(minutes) + " minutes";
}

int backups(Program& program, const Options& options) {
    if (!options.isOn)
        return tellBackups(program);
    LaunchdJobs& jobs = program.parts().jobs();
    if (areBackupsOn(program.parts().settings()) != *options.isOn)
        jobs.toggleAutoBackup();
    else
        jobs.generateLaunchdPlist();
    if (const std::string error = program.storeSettings(); !error.empty())
        return notStored(error);
    return told(program, *options.isOn, kBackupJob, tellBackups);
}

int autosave(Program& program, const Options& options) {
    if (!options.isOn)
        return tellAutosave(program);
    UserDefaults& settings = program.parts().settings();
    settings.setObject(*options.isOn ? 1 : 0, settings::autosaveEnabled);
    if (options.minutes)
        settings.setObject(*options.minutes, settings::autosaveInterval);
    if (const std::string error = program.storeSettings(); !error.empty())
        return notStored(error);
    program.parts().jobs().generateAutosavePlist();
    if (*options.isOn && !isAutosaveOn(settings))
        return complain("Final Cut Pro 7 and above is required; autosave stays off", kNothingDone);
    return told(program, *options.isOn, kAutosaveJob, tellAutosave);
}

} // namespace cutstack::cutstackctl
