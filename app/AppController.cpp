#include "app/AppController.h"

namespace cutstack {

std::unique_ptr<AppController>
AppController::initWithoutGUI(LogWriter& log, const Locations& locations, const Bundle* ownBundle) {
    if (!ZTLocalPaths::userDirectory(locations))
        return nullptr;
    std::unique_ptr<AppController> controller(new AppController(ownBundle));
    log.createNewLog("Cutstack.task");
    return controller;
}

std::optional<std::string> AppController::currentBundlePath() const {
    if (ownBundle_ == nullptr || ownBundle_->bundleIdentifier() != kOwnBundleIdentifier)
        return std::nullopt;
    return ownBundle_->bundlePath();
}

std::optional<std::string> AppController::currentExePath() const {
    const auto bundle = currentBundlePath();
    return bundle ? std::optional(*bundle + "/Contents/MacOS/Cutstack") : std::nullopt;
}

} // namespace cutstack
