#include "support/ZTLog.h"

#include "support/Bundle.h"

namespace cutstack {

namespace {

LogHeader headerOfThisRun() {
    LogHeader header;
    if (const Bundle* bundle = Bundle::mainBundle()) {
        header.bundleVersion = bundle->infoString("CFBundleVersion");
        header.executablePath = bundle->executablePath();
    }
    header.system = systemInformation();
    return header;
}

} // namespace

LogWriter& ZTLog::sharedController() {
    // Never destroyed: threads may still log while the process ends.
    static auto& instance =
        *new LogWriter({Locations::ofProcess(), systemClock(), systemLog(), &headerOfThisRun});
    return instance;
}

} // namespace cutstack
