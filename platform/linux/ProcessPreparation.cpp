#include "platform/ProcessPreparation.h"

#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace cutstack {

void prepareProcess() {
    // The lowest free descriptor is taken, so opening until it is past them fills the gaps.
    int descriptor = 0;
    do
        descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO)
        close(descriptor);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL);
}

} // namespace cutstack
