// Time and memory of exports through the project host, over the session's bus, as the program asks
// for them. To be run on a bus of its own:
//
//     dbus-run-session -- build/release/bin/ProjectHostBench [MEGABYTES]

#include "bench/ExportGenerator.h"
#include "bench/Measuring.h"
#include "fcp/EventCodes.h"
#include "fcp/ZTAppleEvents.h"
#include "support/AtomicFile.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using namespace cutstack;
using namespace cutstack::bench;

/// The process that is the editor; 0 when there is none.
int hostProcess() {
    const auto answer =
        outputOf({"busctl", "--user", "call", "org.freedesktop.DBus", "/", "org.freedesktop.DBus",
                  "GetConnectionUnixProcessID", "s", std::string(kEditorIdentifier)});
    return answer && answer->size() > 2 ? std::atoi(answer->c_str() + 2) : 0;
}

/// A line of what the system says of a process.
std::string statusLine(int process, const std::string& key) {
    std::string error;
    const std::string status =
        readFile("/proc/" + std::to_string(process) + "/status", std::size_t{1} << 20U, error)
            .value_or("");
    const std::size_t begin = status.find(key + ":");
    return begin == std::string::npos ? "" : status.substr(begin, status.find('\n', begin) - begin);
}

template <typename Work>
void report(const char* what, Work work) {
    std::size_t bytes = 0;
    const double seconds = secondsOf([&] {
        auto data = work();
        bytes = data ? data->view().size() : 0;
        return data;
    });
    const int process = hostProcess();
    std::printf("%-28s %6.2f s %12zu bytes  %s %s\n", what, seconds, bytes,
                statusLine(process, "VmHWM").c_str(), statusLine(process, "VmRSS").c_str());
}

} // namespace

int main(int argc, char** argv) {
    const std::size_t megabytes = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 100;
    auto exports = generateExports(1, megabytes * 1'000'000, 200, Edits::all);
    const ScratchFolder folder;
    const std::string path = folder.file("Large.fcp", exports.base);
    setenv("HOME", path.substr(0, path.rfind('/')).c_str(), 1);
    if (!Workspace::sharedWorkspace().registerApplication(PROJECTHOST_BUNDLE))
        return 1;
    const auto whole = [&] { return ZTAppleEvents::getProjectXMLData(path, true); };
    report("Start, open, export", whole);
    report("Export again", whole);
    report("Table of contents", [&] { return ZTAppleEvents::getTOCData(path, false); });
    const auto sequences = ZTAppleEvents::sequencesInProject(path);
    if (sequences && !sequences->empty())
        report("One sequence",
               [&] { return ZTAppleEvents::getItemXMLData(sequences->front().uuid, path, false); });
    std::string error;
    if (!writeFileAtomically(path, exports.next, error))
        return 1;
    report("Export after a save", whole);
    if (const int process = hostProcess(); process > 0)
        kill(process, SIGTERM);
    std::printf("%-28s %zu kB at most\n", "The asking process", peakMemoryInBytes() / 1024);
    return 0;
}
