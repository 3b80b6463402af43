// The processor time of a `-process` run that finds nothing new, as the real executable on the
// session's bus takes it, with the project host as the editor, beside that of an empty program.

#include "bench/Measuring.h"
#include "store/VersionNames.h"
#include "support/PropertyListWriting.h"
#include "support/Workspace.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace cutstack::bench {

namespace {

namespace fs = std::filesystem;

constexpr int kRuns = 25;
constexpr int kVersions = 5;
constexpr std::string_view kEmptyProgram = "/bin/true";
constexpr auto kAgeOfProjects = std::chrono::hours(1);
constexpr std::string_view kProject =
    "<xmeml version=\"5\"><sequence id=\"s\"><uuid>U-S</uuid><name>Opening</name>"
    "<rate><timebase>25</timebase></rate><media/></sequence></xmeml>\n";

/// A user with a bundle of the program and an editor that has the watched projects open. Each has a
/// project folder in the store, whose newest version is what the project is now.
class WatchedProjects {
public:
    explicit WatchedProjects(int count) {
        makeBundle();
        setenv("HOME", home_.c_str(), 1);
        setenv("CUTSTACK_LOCAL_ROOT", (top_ + "/local").c_str(), 1);
        fs::create_directories(top_ + "/local/Library/Logs/Zantrel");
        fs::create_directories(home_ + "/Films");
        for (int i = 1; i <= count; ++i)
            addProject("Harbour " + std::to_string(i));
        writePreferences();
        if (!projects_.empty())
            openInEditor();
    }
    ~WatchedProjects() {
        if (projects_.empty())
            return;
        const auto answer = outputOf({"busctl", "--user", "call", "org.freedesktop.DBus", "/",
                                      "org.freedesktop.DBus", "GetConnectionUnixProcessID", "s",
                                      "com.apple.FinalCutPro"});
        const int process = answer && answer->size() > 2 ? std::atoi(answer->c_str() + 2) : 0;
        if (process > 0)
            kill(process, SIGTERM);
    }
    WatchedProjects(const WatchedProjects&) = delete;
    WatchedProjects& operator=(const WatchedProjects&) = delete;

    [[nodiscard]] const std::string& executable() const { return executable_; }

private:
    void makeBundle() {
        const std::string contents = top_ + "/Cutstack.app/Contents";
        fs::create_directories(contents + "/MacOS");
        fs::create_directories(contents + "/Helpers");
        fs::copy_file(CUTSTACK_EXECUTABLE, executable_);
        fs::copy_file(CUTSTACK_INFO_PLIST, contents + "/Info.plist");
        fs::copy_file(kEmptyProgram, contents + "/Helpers/launchctl");
    }

    void addProject(const std::string& stem) {
        const std::string project = home_ + "/Films/" + stem + ".fcp";
        const std::string folder =
            home_ + "/Library/Application Support/Zantrel/Cutstack/Versions/" + stem + ".fcp";
        const auto saved = fs::file_time_type::clock::now() - kAgeOfProjects;
        write(project, std::string(kProject), saved);
        fs::create_directories(folder);
        for (int version = 1; version <= kVersions; ++version) {
            const auto time = saved - (kVersions - version) * kAgeOfProjects;
            write(folder + "/" + projectCopyName(stem, version), std::string(kProject), time);
            write(folder + "/" + xmlCopyName(stem, version), std::string(kProject), time);
        }
        projects_.push_back(project);
    }

    void write(const std::string& path, const std::string& bytes, fs::file_time_type time) const {
        fs::rename(folder_.file("new", bytes), path);
        fs::last_write_time(path, time);
    }

    void writePreferences() const {
        PropertyList::Array list;
        for (const std::string& project : projects_)
            list.push_back(PropertyList::Dictionary{{"path", project}});
        const auto text = xmlPropertyList(PropertyList::Dictionary{{"filelist", list}});
        fs::create_directories(home_ + "/Library/Preferences");
        fs::rename(folder_.file("new", text.value_or("")),
                   home_ + "/Library/Preferences/com.zantrel.Cutstack.plist");
    }

    void openInEditor() const {
        std::vector<std::string> command{PROJECTHOST, "--open"};
        command.insert(command.end(), projects_.begin(), projects_.end());
        if (!Workspace::sharedWorkspace().registerApplication(PROJECTHOST_BUNDLE) ||
            !outputOf(command))
            throw std::runtime_error("the project host cannot open the projects");
    }

    const ScratchFolder folder_;
    const std::string& top_ = folder_.path();
    const std::string home_ = top_ + "/home";
    const std::string executable_ = top_ + "/Cutstack.app/Contents/MacOS/Cutstack";
    std::vector<std::string> projects_;
};

/// Runs a program and adds its processor time; whether it could be run.
bool addProcessorTime(const std::vector<std::string>& arguments, Times& times) {
    const auto seconds = processorSecondsOf(arguments);
    if (seconds)
        times.add(*seconds);
    return seconds.has_value();
}

void BackgroundRun(benchmark::State& state) {
    const WatchedProjects watched(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        Times run, reload, empty;
        for (int i = 0; i < kRuns; ++i) {
            if (!addProcessorTime({watched.executable(), "-process"}, run) ||
                !addProcessorTime({watched.executable(), "-reload"}, reload) ||
                !addProcessorTime({std::string(kEmptyProgram)}, empty)) {
                state.SkipWithError("a program could not be run");
                return;
            }
        }
        state.SetIterationTime(run.median() - empty.median());
        state.counters["empty_ms"] = 1000 * empty.median();
        state.counters["reload_ms"] = 1000 * (reload.median() - empty.median());
    }
}
BENCHMARK(BackgroundRun)
    ->Arg(0)
    ->Arg(200)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

} // namespace cutstack::bench
