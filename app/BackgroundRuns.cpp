#include "app/BackgroundRuns.h"

#include "app/AppParts.h"

namespace cutstack {

std::map<RunMode, std::function<void(AppController&)>>
backgroundRuns(LogWriter& log, const Locations& locations, const Bundle* ownBundle) {
    const auto with = [&log, &locations, ownBundle](auto job) {
        return [&log, &locations, ownBundle, job](AppController& controller) {
            const bool isKnown = ownBundle != nullptr && controller.currentBundlePath();
            AppParts parts(
                {.log = log,
                 .locations = locations,
                 .applicationVersion =
                     isKnown ? ownBundle->infoString("CFBundleVersion").value_or("") : "",
                 .executablePath = controller.currentExePath(),
                 .progressCancelled = controller.progressCancelled,
                 .authorization = ZTAuthorization::sharedController(false)});
            job(parts);
        };
    };
    return {
        {RunMode::process, with([](AppParts& parts) { parts.backups().processProjects(); })},
        {RunMode::autosave, with([](AppParts& parts) { parts.backups().autosave(); })},
        {RunMode::repopulate, with([](AppParts& parts) { parts.repopulateWatchFiles(); })},
        {RunMode::reload, with([](AppParts& parts) { parts.jobs().reloadLaunchDPlist(); })},
    };
}

} // namespace cutstack
