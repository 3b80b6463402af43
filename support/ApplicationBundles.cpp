#include "support/ApplicationBundles.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/SystemErrors.h"
#include "support/AtomicFile.h"
#include "support/FileLock.h"
#include "support/FolderListing.h"
#include "support/PropertyListReading.h"
#include "support/PropertyListWriting.h"

namespace cutstack {

namespace fs = std::filesystem;

namespace {

/// Extensions of folders that are one thing to a person, in lower case. A framework is not among
/// them: people look into it.
constexpr std::array<std::string_view, 13> kPackageExtensions = {
    "app",    "bundle",   "component", "kext",  "mdimporter", "mpkg", "pkg",
    "plugin", "prefpane", "rtfd",      "saver", "wdgt",       "xpc",
};

/// Where the register is, in the user's Application Support folder. It holds a dictionary, from
/// identifiers in lower case to the paths of their bundles.
constexpr std::string_view kRegister = "/Zantrel/Cutstack/Bundles.plist";
/// No register comes near this size.
constexpr std::size_t kLargestRegister = 1 << 20;

/// Identifiers are letters, digits, hyphens and dots of ASCII.
std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& letter : lower) {
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    }
    return lower;
}

bool isFolder(const std::string& path) {
    std::error_code fault;
    return fs::is_directory(path, fault);
}

bool hasIdentifier(const Bundle& bundle, std::string_view identifier) {
    const auto own = bundle.bundleIdentifier();
    return own && lowerCase(*own) == lowerCase(identifier);
}

bool isBundle(const std::string& path, std::string_view identifier) {
    const auto bundle = Bundle::atPath(path);
    return bundle && hasIdentifier(*bundle, identifier);
}

/// The paths of what lies in a folder, applications and others apart.
struct FolderContent {
    std::vector<std::string> applications;
    std::vector<std::string> others;
};

FolderContent contentOfFolder(const std::string& folder) {
    FolderContent content;
    for (const std::string& name : namesInFolder(folder).value_or(std::vector<std::string>()))
        (ApplicationBundles::isApplication(name) ? content.applications : content.others)
            .push_back(pathInFolder(folder, name));
    return content;
}

std::optional<std::string> bundleAmong(const std::vector<std::string>& paths,
                                       std::string_view identifier) {
    const auto found = std::ranges::find_if(
        paths, [&](const std::string& path) { return isBundle(path, identifier); });
    return found == paths.end() ? std::nullopt : std::optional(*found);
}

/// The bundle in an Applications folder: those that lie there go before those in the folders of
/// suites ("Final Cut Studio").
std::optional<std::string> bundleInFolder(const std::string& folder, std::string_view identifier) {
    const FolderContent content = contentOfFolder(folder);
    auto found = bundleAmong(content.applications, identifier);
    for (auto suite = content.others.begin(); !found && suite != content.others.end(); ++suite)
        found = bundleAmong(contentOfFolder(*suite).applications, identifier);
    return found;
}

std::optional<std::string> registerPath(const Locations& locations) {
    auto folder = ZTLocalPaths::appSupportDirectory(true, locations);
    return folder ? std::optional(folder->append(kRegister)) : std::nullopt;
}

/// What is registered, nothing at all where there is no register yet; nothing, with the reason in
/// `error`, for one that cannot be read.
std::optional<PropertyList::Dictionary> readRegister(const std::string& path, std::string& error) {
    std::error_code fault;
    const auto kind = fs::status(path, fault).type();
    if (kind == fs::file_type::not_found)
        return PropertyList::Dictionary();
    if (kind != fs::file_type::regular) {
        error = fault ? fault.message() : "not a regular file";
        return std::nullopt;
    }
    auto bytes = readFile(path, kLargestRegister, error);
    auto list = bytes ? readPropertyList(std::move(*bytes), error) : std::nullopt;
    if (!list)
        return std::nullopt;
    if (list->asDictionary() == nullptr) {
        error = "not a dictionary";
        return std::nullopt;
    }
    return std::move(*list->asDictionary());
}

bool writeRegister(const std::string& path, PropertyList::Dictionary bundles, std::string& error) {
    const auto xml = xmlPropertyList(std::move(bundles));
    if (!xml) {
        error = "the path is not text";
        return false;
    }
    if (xml->size() > kLargestRegister) {
        error = wordingOf(EFBIG);
        return false;
    }
    return writeFileAtomically(path, *xml, error);
}

bool addToRegister(const std::string& path, const std::string& identifier,
                   const std::string& bundlePath, std::string& error) {
    if (const int fault = makeFolders(fs::path(path).parent_path().string()); fault != 0) {
        error = wordingOf(fault);
        return false;
    }
    const FileLock lock(path);
    if (lock.fault() != 0) {
        error = wordingOf(lock.fault());
        return false;
    }
    auto bundles = readRegister(path, error);
    if (!bundles)
        return false;
    bundles->insert_or_assign(identifier, bundlePath);
    return writeRegister(path, std::move(*bundles), error);
}

} // namespace

const ApplicationBundles& ApplicationBundles::ofProcess() {
    // Never destroyed: threads may still ask while the process ends.
    static const auto& bundles =
        *new const ApplicationBundles(Locations::ofProcess(), Bundle::mainBundle());
    return bundles;
}

std::optional<std::string> ApplicationBundles::registeredBundle(std::string_view identifier) const {
    const auto path = registerPath(locations_);
    std::string error;
    const auto bundles = path ? readRegister(*path, error) : std::nullopt;
    if (!bundles)
        return std::nullopt;
    const auto entry = bundles->find(lowerCase(identifier));
    const std::string* bundle = entry == bundles->end() ? nullptr : entry->second.asString();
    const bool isThere = bundle != nullptr && isBundle(*bundle, identifier);
    return isThere ? std::optional(*bundle) : std::nullopt;
}

std::optional<std::string>
ApplicationBundles::absolutePathForAppBundleWithIdentifier(std::string_view identifier) const {
    if (ownBundle_ != nullptr && hasIdentifier(*ownBundle_, identifier))
        return ownBundle_->bundlePath();
    if (auto path = registeredBundle(identifier))
        return path;
    for (const bool userDomain : {true, false}) {
        const auto folder = ZTLocalPaths::applicationDirectory(userDomain, locations_);
        if (auto path = folder ? bundleInFolder(*folder, identifier) : std::nullopt)
            return path;
    }
    return std::nullopt;
}

bool ApplicationBundles::registerBundle(const std::string& bundlePath, std::string& error) const {
    const std::string folder = withoutSlashAtEnd(bundlePath);
    const auto bundle = folder.starts_with('/') ? Bundle::atPath(folder) : std::optional<Bundle>();
    const auto identifier = bundle ? bundle->bundleIdentifier() : std::nullopt;
    if (!identifier || identifier->empty()) {
        error = "no bundle with an identifier";
        return false;
    }
    const auto path = registerPath(locations_);
    if (!path) {
        error = "the user has no home folder";
        return false;
    }
    if (addToRegister(*path, lowerCase(*identifier), folder, error))
        return true;
    error = *path + ": " + error;
    return false;
}

bool ApplicationBundles::isApplication(std::string_view path) {
    return lowerCase(pathExtension(path)) == "app";
}

bool ApplicationBundles::isFilePackage(const std::string& path) {
    const std::string folder = withoutSlashAtEnd(path);
    if (!isFolder(folder))
        return false;
    if (std::ranges::find(kPackageExtensions, lowerCase(pathExtension(folder))) !=
        kPackageExtensions.end())
        return true;
    std::error_code fault;
    if (fs::is_regular_file(folder + "/Contents/PkgInfo", fault))
        return true;
    const auto bundle = Bundle::atPath(folder);
    return bundle && bundle->infoString("CFBundlePackageType");
}

} // namespace cutstack
