#include "support/Bundle.h"

#include <filesystem>

#include "platform/ProcessEnvironment.h"
#include "support/AtomicFile.h"
#include "support/PropertyListReading.h"

namespace cutstack {

namespace {

/// No information file comes near this size.
constexpr std::size_t kLargestInfo = 1 << 20;

PropertyList infoOf(const std::string& bundlePath) {
    std::string error;
    auto bytes = readFile(bundlePath + "/Contents/Info.plist", kLargestInfo, error);
    auto info = bytes ? readPropertyList(std::move(*bytes), error) : std::nullopt;
    return info.value_or(PropertyList());
}

} // namespace

Bundle::Bundle(std::string bundlePath, std::string executablePath)
    : bundlePath_(std::move(bundlePath)),
      foundBy_(std::move(executablePath)),
      info_(infoOf(bundlePath_)) {}

std::optional<Bundle> Bundle::ofExecutable(const std::string& executablePath) {
    const std::filesystem::path programs = std::filesystem::path(executablePath).parent_path();
    const std::filesystem::path contents = programs.parent_path();
    const std::filesystem::path bundle = contents.parent_path();
    if (programs.filename() != "MacOS" || contents.filename() != "Contents" ||
        bundle.extension() != ".app")
        return std::nullopt;
    return Bundle(bundle.string(), executablePath);
}

const Bundle* Bundle::mainBundle() {
    // Never destroyed: threads may still ask while the process ends.
    static const auto& bundle =
        *new const std::optional<Bundle>(ofExecutable(processEnvironment().executablePath()));
    return bundle ? &*bundle : nullptr;
}

std::string Bundle::executablePath() const {
    const auto name = infoString("CFBundleExecutable");
    return name ? bundlePath_ + "/Contents/MacOS/" + *name : foundBy_;
}

std::optional<std::string> Bundle::bundleIdentifier() const {
    return infoString("CFBundleIdentifier");
}

std::optional<std::string> Bundle::infoString(std::string_view key) const {
    const PropertyList* value = info_.valueForKey(key);
    const std::string* text = value == nullptr ? nullptr : value->asString();
    return text == nullptr ? std::nullopt : std::optional(*text);
}

std::string Bundle::plugInPath(std::string_view fileName) const {
    return (bundlePath_ + "/Contents/PlugIns/").append(fileName);
}

} // namespace cutstack
