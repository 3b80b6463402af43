#include "app/EntryPoint.h"

#include <array>
#include <string>

#include "support/ZTException.h"

namespace cutstack {

namespace {

template <typename... Arguments>
void appendLog(LogWriter& log, std::string_view format, const Arguments&... arguments) {
    log.appendLog(format, std::array{FormatArgument(arguments)...});
}

} // namespace

int EntryPoint::run(int argc, char** argv) const {
    const auto rule = argc > 1 ? runModeForArgument(argv[1]) : std::nullopt;
    return rule ? runMode(*rule) : runApplication(argc, argv);
}

int EntryPoint::runMode(const RunModeRule& rule) const {
    const auto controller = initWithoutGUI();
    if (controller == nullptr) {
        log.console().log("Fatal error: Unable to initialize application");
        return 1;
    }
    perform(rule, *controller);
    if (rule.isFollowedByReload)
        startReload(*controller);
    return 0;
}

void EntryPoint::perform(const RunModeRule& rule, AppController& controller) const {
    const auto operation = operations.find(rule.mode);
    if (operation == operations.end()) {
        appendLog(log, "This build does not have %@", rule.operation);
        return;
    }
    guarded(
        rule.operation, [&] { operation->second(controller); }, log);
}

void EntryPoint::startReload(const AppController& controller) const {
    const auto executable = controller.currentExePath();
    if (!executable) {
        appendLog(log, "Unable to run %@: the application's bundle is not known", kReloadArgument);
        return;
    }
    const ProgramEnd end = programs.run(*executable, {std::string(kReloadArgument)});
    if (!end.exitStatus)
        appendLog(log, "Unable to run %@ %@: %@", *executable, kReloadArgument, end.error);
}

} // namespace cutstack
