// projecthost: an editor without a window, for projects whose files are XMEML.

#include <csignal>
#include <exception>
#include <iostream>
#include <new>
#include <pthread.h>
#include <thread>

#include "platform/ProcessPreparation.h"
#include "platform/SystemLog.h"
#include "support/ApplicationBundles.h"
#include "support/Bundle.h"
#include "support/ZTLocalPaths.h"
#include "tools/projecthost/Commands.h"
#include "tools/projecthost/Host.h"
#include "tools/projecthost/Options.h"

namespace cutstack::projecthost {

namespace {

enum ExitStatus : int { kDone = 0, kNotDone = 1, kWrongUsage = 2 };

int complain(std::string_view message, ExitStatus status) {
    std::cerr << "projecthost: " << message << '\n';
    return status;
}

/// The signals that tell the host to end.
sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, number);
    return signals;
}

/// Ends the host at a signal. To be made before other threads are, all of which then leave the
/// signals to this one.
class EndingAtSignals {
public:
    explicit EndingAtSignals(Host& host) {
        const sigset_t signals = endingSignals();
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        thread_ = std::thread([&host, signals] {
            int number = 0;
            sigwait(&signals, &number);
            host.stop();
        });
    }
    ~EndingAtSignals() {
        pthread_kill(thread_.native_handle(), SIGTERM);
        thread_.join();
    }
    EndingAtSignals(const EndingAtSignals&) = delete;
    EndingAtSignals& operator=(const EndingAtSignals&) = delete;

private:
    std::thread thread_;
};

/// So that the host is found by its identifier wherever it was started from.
void registerOwnBundle() {
    std::string error;
    const Bundle* bundle = Bundle::mainBundle();
    if (bundle != nullptr &&
        !ApplicationBundles::ofProcess().registerBundle(bundle->bundlePath(), error))
        systemLog().log("The project host cannot be registered: " + error);
}

/// How often it is tried to become the host, or to reach the one that is.
constexpr int kAttempts = 3;

int serveUntilToldToEnd(Host& host) {
    std::string error;
    registerOwnBundle();
    if (host.serve(error))
        return kDone;
    systemLog().log(error);
    return kNotDone;
}

int serve(const std::vector<std::string>& files) {
    const auto support = ZTLocalPaths::appSupportDirectory(true);
    if (!support)
        return complain("the user has no home folder", kNotDone);
    Host host(*support + "/Zantrel/ProjectHost",
              [](std::string_view line) { systemLog().log(line); });
    const EndingAtSignals ending(host);
    for (int i = 0; i < kAttempts; ++i) {
        std::string error;
        const Start start = host.start(files, error);
        if (start == Start::failed)
            return complain(error, kNotDone);
        if (start == Start::serving)
            return serveUntilToldToEnd(host);
        if (handOver(files))
            return kDone;
        // The other one may just be ending; then its name can be had.
    }
    return complain("the project host that runs does not answer", kNotDone);
}

int print(std::string_view text) {
    std::cout << text;
    return std::cout.flush() ? kDone : complain("the text could not be written", kNotDone);
}

int run(std::span<const char* const> arguments) {
    std::string error;
    const auto options = parseOptions(arguments, error);
    if (!options)
        return complain(error + "\nTry 'projecthost --help'.", kWrongUsage);
    switch (options->command) {
    case Command::help:
        return print(helpText());
    case Command::version:
        return print("projecthost (Cutstack) " CUTSTACK_VERSION "\n");
    case Command::open:
        return openInHost(options->files) ? kDone : kNotDone;
    case Command::list:
        return listProjects() ? kDone : kNotDone;
    case Command::close:
        return closeProjects(options->files, !options->discardsChanges) ? kDone : kNotDone;
    case Command::serve:
        break;
    }
    return serve(options->files);
}

} // namespace

} // namespace cutstack::projecthost

int main(int argc, char** argv) {
    using namespace cutstack::projecthost;
    cutstack::prepareProcess();
    try {
        return run({argv + (argc > 0 ? 1 : 0), argv + argc});
    } catch (const std::bad_alloc&) {
        return complain("out of memory", kNotDone);
    } catch (const std::exception& exception) {
        return complain(exception.what(), kNotDone);
    }
}
