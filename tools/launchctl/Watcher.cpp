#include "tools/launchctl/Watcher.h"

#include <thread>
#include <utility>

#include "support/Format.h"

namespace cutstack::launchctl {

namespace {

using namespace std::chrono_literals;
using Milliseconds = std::chrono::milliseconds;

constexpr Milliseconds kQuiet = 1s;
constexpr Milliseconds kLongestUnrest = 10s;
/// How often files are looked at that the system cannot watch.
constexpr Milliseconds kLookingInterval = 2s;
constexpr Milliseconds kForEver{-1};
constexpr Milliseconds kPause = 1s;

} // namespace

Watcher::Watcher(UnitNames names, std::vector<std::string> paths, WatchRecord record,
                 WatcherServices services)
    : names_(std::move(names)),
      paths_(std::move(paths)),
      record_(std::move(record)),
      services_(services) {}

void Watcher::run() {
    std::string error;
    watch_ = watchFiles(paths_, error); // before the first look at them
    if (watch_ == nullptr)
        services_.console.log(
            formatString("The files of %@ are looked at every %d seconds instead of watched: %@",
                         {names_.stem(), kLookingInterval / 1s, error}));
    if (!takeUpRecord())
        return;
    do {
        waitForDifference();
        waitForQuiet();
    } while (startRun());
}

bool Watcher::takeUpRecord() {
    std::string error;
    return succeeded(record_.takeUp(paths_, services_.clock, seen_, error), error);
}

void Watcher::waitForDifference() {
    while (!differ(seen_, stampsOf(paths_, services_.clock)))
        isChangedWithin(kForEver);
}

void Watcher::waitForQuiet() {
    const auto end = std::chrono::steady_clock::now() + kLongestUnrest;
    while (isChangedWithin(kQuiet) && std::chrono::steady_clock::now() < end) {
    }
}

bool Watcher::startRun() {
    Stamps now;
    if (!waitForEndOfRun(now))
        return false;
    if (!differ(seen_, now))
        return true; // the files are again as they were
    std::string error;
    if (!succeeded(services_.systemctl.run({"--no-block", "start", names_.service()}, error),
                   error))
        return false;
    seen_ = std::move(now);
    return succeeded(record_.write(seen_, error), error);
}

/// Waits until no run is at work; `now` is then how the files were at a moment after which no run
/// went on. False, with the reason logged, when the manager does not answer.
bool Watcher::waitForEndOfRun(Stamps& now) {
    for (std::string error;; std::this_thread::sleep_for(kPause)) {
        if (!succeeded(services_.systemctl.run({"start", names_.idle()}, error), error))
            return false;
        now = stampsOf(paths_, services_.clock);
        const auto state = services_.systemctl.show(names_.service(), error);
        if (!succeeded(state.has_value(), error))
            return false;
        if (!state->isAtWork())
            return true;
    }
}

/// Waits until a file changes; false when none did for so long. Files that cannot be watched count
/// as changed after a while, or as quiet.
bool Watcher::isChangedWithin(Milliseconds longest) {
    if (watch_ != nullptr)
        return !watch_->wait(longest).empty();
    std::this_thread::sleep_for(kLookingInterval);
    return longest < 0ms;
}

bool Watcher::succeeded(bool result, const std::string& error) {
    if (!result)
        services_.console.log(
            formatString("The files of %@ are no longer watched: %@", {names_.stem(), error}));
    return result;
}

} // namespace cutstack::launchctl
