#include "platform/Trash.h"

#include "platform/ProcessEnvironment.h"
#include "platform/linux/FreedesktopTrash.h"
#include "platform/linux/UserDatabase.h"

#include <cstdlib>
#include <unistd.h>

namespace cutstack {

Trash& trash() {
    static auto& instance = *[] {
        const char* data = std::getenv("XDG_DATA_HOME");
        return new FreedesktopTrash({getuid(), processEnvironment().homeFolder(),
                                     absoluteFolder(data == nullptr ? "" : data)},
                                    systemClock());
    }();
    return instance;
}

} // namespace cutstack
