#include "app/EntryPoint.h"

#include <string>

#include "support/ZTException.h"

namespace cutstack {

int EntryPoint::run(int argc, char** argv) const {
    // The window's framework counts on the program's name, which a caller may leave out.
    static char name[] = "Cutstack";
    static char* onlyName[] = {name, nullptr};
    const auto rule = argc > 1 ? runModeForArgument(argv[1]) : std::nullopt;
    if (rule)
        return runMode(*rule);
    const auto application = [&] {
        return argc < 1 ? runApplication(1, onlyName) : runApplication(argc, argv);
    };
    return guarded("main", application, log).value_or(1);
}

int EntryPoint::runMode(const RunModeRule& rule) const {
    const auto controller =
        guarded("-[AppController initWithoutGUI]", initWithoutGUI, log).value_or(nullptr);
    if (controller == nullptr) {
        log.console().log("Fatal error: Unable to initialize application");
        return 1;
    }
    perform(rule, *controller);
    if (rule.isFollowedByReload)
        guarded(
            "main", [&] { startReload(*controller); }, log);
    return 0;
}

void EntryPoint::perform(const RunModeRule& rule, AppController& controller) const {
    const auto operation = operations.find(rule.mode);
    if (operation == operations.end()) {
        log.appendLog("This build does not have %@", rule.operation);
        return;
    }
    guarded(
        rule.operation, [&] { operation->second(controller); }, log);
}

void EntryPoint::startReload(const AppController& controller) const {
    const auto executable = controller.currentExePath();
    if (!executable) {
        log.appendLog("Unable to run %@: the application's bundle is not known", kReloadArgument);
        return;
    }
    const ProgramEnd end = programs.run(*executable, {std::string(kReloadArgument)});
    if (!end.exitStatus)
        log.appendLog("Unable to run %@ %@: %@", *executable, kReloadArgument, end.error);
}

} // namespace cutstack
