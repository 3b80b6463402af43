#pragma once

// The windowed program is a module of the bundle, loaded only by runs that show a window, so that
// the others start without any library that a screen needs. Main thread only.

#include "platform/ModuleLoader.h"
#include "platform/SystemLog.h"
#include "support/Bundle.h"

namespace cutstack {

/// Loads "libCutstackWindow.so" from the plug-ins of `ownBundle` (nullptr outside of one) and calls
/// its `cutstackRunApplication(int, char**)`, whose result is the exit status. When it cannot be
/// loaded, `console` is told why, and the status is 1.
[[nodiscard]] int runWindowModule(const Bundle* ownBundle, ModuleLoader& loader, SystemLog& console,
                                  int argc, char** argv);

} // namespace cutstack
