#pragma once

// What the runs without a window do, each in the system's own surroundings. Main thread.

#include <functional>
#include <map>

#include "app/AppController.h"
#include "app/RunMode.h"
#include "support/Bundle.h"
#include "support/LogWriter.h"
#include "support/ZTLocalPaths.h"

namespace cutstack {

/// The job of each mode. `ownBundle` may be nullptr; all of it outlives the result.
[[nodiscard]] std::map<RunMode, std::function<void(AppController&)>>
backgroundRuns(LogWriter& log, const Locations& locations, const Bundle* ownBundle);

} // namespace cutstack
