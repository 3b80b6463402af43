// Connects the entry point to the real system.

#include "app/BackgroundRuns.h"
#include "app/EntryPoint.h"
#include "app/WindowModule.h"
#include "platform/ProcessPreparation.h"
#include "support/ZTLog.h"

int main(int argc, char** argv) {
    using namespace cutstack;
    prepareProcess();
    LogWriter& log = ZTLog::sharedController();
    const EntryPoint entryPoint{
        .initWithoutGUI =
            [&log] {
                return AppController::initWithoutGUI(log, Locations::ofProcess(),
                                                     Bundle::mainBundle());
            },
        .operations = backgroundRuns(log, Locations::ofProcess(), Bundle::mainBundle()),
        .runApplication =
            [](int count, char** arguments) {
                return runWindowModule(Bundle::mainBundle(), moduleLoader(), systemLog(), count,
                                       arguments);
            },
        .programs = programStarter(),
        .log = log,
    };
    const int status = entryPoint.run(argc, argv);
    ZTLog::finishWriting();
    return status;
}
