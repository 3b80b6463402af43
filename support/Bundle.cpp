#include "support/Bundle.h"

#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/ProcessEnvironment.h"
#include "support/AtomicFile.h"
#include "support/PropertyListReading.h"

namespace cutstack {

namespace {

/// No information file comes near this size.
constexpr std::size_t kLargestInfo = 1 << 20;

/// What Info.plist says; nothing unless it is a file with a dictionary.
std::optional<PropertyList> infoOf(const std::string& bundlePath) {
    const std::string file = bundlePath + "/Contents/Info.plist";
    // Reading what is no file could wait for ever.
    std::error_code fault;
    if (!std::filesystem::is_regular_file(file, fault))
        return std::nullopt;
    std::string error;
    auto bytes = readFile(file, kLargestInfo, error);
    auto info = bytes ? readPropertyList(std::move(*bytes), error) : std::nullopt;
    return info && info->asDictionary() != nullptr ? std::move(info) : std::nullopt;
}

bool isPlainName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

} // namespace

std::optional<Bundle> Bundle::ofExecutable(const std::string& executablePath) {
    const std::filesystem::path programs = std::filesystem::path(executablePath).parent_path();
    const std::filesystem::path contents = programs.parent_path();
    const std::filesystem::path bundle = contents.parent_path();
    if (programs.filename() != "MacOS" || contents.filename() != "Contents" ||
        bundle.extension() != ".app")
        return std::nullopt;
    std::string bundlePath = bundle.string();
    auto info = infoOf(bundlePath);
    return Bundle(std::move(bundlePath), executablePath, std::move(info).value_or(PropertyList()));
}

std::optional<Bundle> Bundle::atPath(const std::string& bundlePath) {
    auto info = infoOf(bundlePath);
    if (!info)
        return std::nullopt;
    const std::string name = std::filesystem::path(bundlePath).stem().string();
    return Bundle(bundlePath, bundlePath + "/Contents/MacOS/" + name, std::move(*info));
}

const Bundle* Bundle::mainBundle() {
    // Never destroyed: threads may still ask while the process ends.
    static const auto& bundle =
        *new const std::optional<Bundle>(ofExecutable(processEnvironment().executablePath()));
    return bundle ? &*bundle : nullptr;
}

std::string Bundle::executablePath() const {
    const auto name = infoString("CFBundleExecutable");
    return name && isPlainName(*name) ? bundlePath_ + "/Contents/MacOS/" + *name : foundBy_;
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
