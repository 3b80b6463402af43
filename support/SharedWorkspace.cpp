// A file of its own, so that who brings a Desktop of their own needs no session.

#include "support/Workspace.h"

namespace cutstack {

Workspace& Workspace::sharedWorkspace() {
    // Never destroyed: threads may still ask while the process ends.
    static auto& workspace =
        *new Workspace(desktop(), ApplicationBundles::ofProcess(), systemLog());
    return workspace;
}

} // namespace cutstack
