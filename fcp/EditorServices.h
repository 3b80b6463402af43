#pragma once

// What the bridge to the editor works with. All of it outlives what it is handed to, and may be
// used by any thread.

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/EventTransport.h"
#include "platform/SharedBytes.h"
#include "support/LogWriter.h"
#include "support/Workspace.h"
#include "support/ZTLocalPaths.h"

namespace cutstack {

struct EditorServices {
    EventTransport& transport;
    Workspace& workspace;
    const Locations& locations;
    LogWriter& log; ///< takes exceptions; its console takes everything else
    /// The bytes of a reference to the file at a path; the reference holds as long as any copy of
    /// them. Nothing when there is no file.
    std::function<std::optional<SharedBytes>(const std::string& path)> referenceToFile;
    /// Where the file that such bytes refer to is now; nothing when it is nowhere.
    std::function<std::optional<std::string>(std::string_view reference)> pathOfReference;

    /// Those of this process. Lives as long as the process.
    [[nodiscard]] static const EditorServices& ofProcess();
};

} // namespace cutstack
