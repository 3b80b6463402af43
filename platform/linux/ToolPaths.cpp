#include "platform/ToolPaths.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/linux/ToolPlaces.h"

namespace cutstack {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kChown = "/usr/sbin/chown";

/// What stands in for a tool: a helper of the program's own bundle, or the first of two places
/// that the machine has.
struct StandIn {
    std::string_view tool;
    std::string_view helper;
    std::string_view place;
    std::string_view otherPlace;
};

constexpr StandIn kStandIns[] = {
    {"/bin/launchctl", "launchctl", {}, {}},
    {"/usr/bin/ditto", "ditto", {}, {}},
    {kChown, {}, "/bin/chown", "/usr/bin/chown"},
    {"/usr/bin/killall", {}, "/usr/bin/killall", "/bin/killall"},
};

/// Where the bundle is, seen from the folder beside that of an executable which is not in one: in
/// the build tree, and where the program is installed.
constexpr std::string_view kBundlesBeside[] = {"Cutstack.app", "lib/cutstack/Cutstack.app"};

/// The bundle in one of whose folders ("X.app/Contents/MacOS") the executable lies; else the one
/// beside it.
fs::path ownBundle(const fs::path& executable, bool (*exists)(const std::string&)) {
    const fs::path folder = executable.parent_path();
    const fs::path contents = folder.parent_path();
    if (contents.filename() == "Contents" && contents.parent_path().extension() == ".app")
        return contents.parent_path();
    for (const std::string_view bundle : kBundlesBeside) {
        if (fs::path path = contents / bundle; exists(path))
            return path;
    }
    return contents / kBundlesBeside[0];
}

bool existsHere(const std::string& path) {
    std::error_code fault;
    return fs::exists(path, fault);
}

class LinuxToolPaths final : public ToolPaths {
public:
    std::string pathOfTool(std::string_view tool) const override {
        return placeOfTool(tool, processEnvironment(), &existsHere);
    }

    std::vector<std::string> argumentsOfTool(std::string_view tool,
                                             std::vector<std::string> arguments) const override {
        // On a Mac the first group is called wheel. Here it has root's name; where there is a
        // wheel, it is another one.
        if (tool == kChown && !arguments.empty() && arguments.front() == "root:wheel")
            arguments.front() = "root:root";
        return arguments;
    }
};

} // namespace

std::string placeOfTool(std::string_view tool, const ProcessEnvironment& environment,
                        bool (*exists)(const std::string& path)) {
    const auto* const found = std::find_if(std::begin(kStandIns), std::end(kStandIns),
                                           [&](const StandIn& s) { return s.tool == tool; });
    if (found == std::end(kStandIns))
        return std::string(tool);
    if (found->helper.empty()) {
        const std::string place(found->place);
        const std::string otherPlace(found->otherPlace);
        return exists(place) || !exists(otherPlace) ? place : otherPlace;
    }
    const std::string executable = environment.executablePath();
    if (executable.empty())
        return std::string(tool);
    return ownBundle(executable, exists) / "Contents/Helpers" / found->helper;
}

const ToolPaths& toolPaths() {
    static const auto& instance = *new LinuxToolPaths;
    return instance;
}

} // namespace cutstack
