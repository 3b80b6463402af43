#include "app/WindowModule.h"

#include <string>

#include "support/Format.h"

namespace cutstack {

namespace {

using RunApplication = int (*)(int argc, char** argv);

} // namespace

int runWindowModule(const Bundle* ownBundle, ModuleLoader& loader, SystemLog& console, int argc,
                    char** argv) {
    std::string error = "the program does not run from its bundle";
    void* function = ownBundle == nullptr
                         ? nullptr
                         : loader.functionInModule(ownBundle->plugInPath("libCutstackWindow.so"),
                                                   "cutstackRunApplication", error);
    if (function == nullptr) {
        console.log(formatString("Unable to open the window: %@", {error}));
        return 1;
    }
    return reinterpret_cast<RunApplication>(function)(argc, argv);
}

} // namespace cutstack
