#pragma once

// The editor, as backups need it: which projects it has open, what is in them, saving them. Calls
// block until the editor has answered. Whoever makes backups off the main thread may call there.

#include <optional>
#include <string>
#include <vector>

#include "platform/SharedBytes.h"

namespace cutstack {

class EditorBridge {
public:
    virtual ~EditorBridge() = default;

    /// The paths of the projects that the editor has open; nothing when it does not run.
    [[nodiscard]] virtual std::optional<std::vector<std::string>> listOfOpenFCPProjects() = 0;

    /// The export of a whole project; nothing when there is none to be had. With `launchFCP` the
    /// editor is started, and the project opened, when they are not.
    [[nodiscard]] virtual std::optional<SharedBytes>
    getProjectXMLData(const std::string& projectPath, bool launchFCP) = 0;

    /// The same for one item of a project, a sequence, by its identifier.
    [[nodiscard]] virtual std::optional<SharedBytes>
    getItemXMLData(const std::string& item, const std::string& projectPath, bool launchFCP) = 0;

    /// Has the editor save a project that it has open; whether it could be asked.
    virtual bool saveProject(const std::string& projectPath) = 0;
};

} // namespace cutstack
