#include "tests/SystemdUserManager.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/Subprocess.h"

namespace cutstack {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr const char* kManager = "/lib/systemd/systemd";
constexpr const char* kBooted = "/run/systemd/system";
constexpr const char* kUnits[] = {"basic.target",  "default.target",      "exit.target",
                                  "paths.target",  "shutdown.target",     "sockets.target",
                                  "timers.target", "systemd-exit.service"};
constexpr auto kLongestStart = 30s;

/// The folders of this process in the control group hierarchies that systemd uses.
std::vector<std::string> ownControlGroups() {
    std::vector<std::string> folders;
    std::ifstream groups("/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) {
        const std::string path = line.substr(line.rfind(':') + 1);
        if (line.find(":name=systemd:") != std::string::npos)
            folders.push_back("/sys/fs/cgroup/systemd" + path);
        else if (line.starts_with("0::"))
            folders.push_back((fs::exists("/sys/fs/cgroup/unified") ? "/sys/fs/cgroup/unified"
                                                                    : "/sys/fs/cgroup") +
                              path);
    }
    return folders;
}

/// Removes a control group and those in it; they are empty, or soon will be.
void removeControlGroup(const std::string& folder) {
    std::error_code ignored;
    std::vector<fs::path> groups = {folder};
    for (const auto& entry : fs::recursive_directory_iterator(folder, ignored)) {
        if (entry.is_directory(ignored))
            groups.push_back(entry.path());
    }
    for (auto group = groups.rbegin(); group != groups.rend(); ++group) {
        for (int i = 0; i < 100 && ::rmdir(group->c_str()) != 0 && errno == EBUSY; ++i)
            std::this_thread::sleep_for(10ms);
    }
}

} // namespace

bool mustRunEverywhere() {
    const char* integration = std::getenv("CI");
    return getuid() == 0 && integration != nullptr && std::strcmp(integration, "true") == 0;
}

SystemdUserManager::SystemdUserManager() {
    try {
        prepare();
        makeControlGroups();
    } catch (const fs::filesystem_error& error) {
        fault_ = error.what();
    }
    if (fault_.empty())
        start();
}

SystemdUserManager::~SystemdUserManager() {
    end();
    for (const std::string& group : controlGroups_)
        removeControlGroup(group);
}

void SystemdUserManager::prepare() {
    if (!fs::exists(kManager)) {
        fault_ = std::string(kManager) + " is not installed";
        return;
    }
    fs::create_directories(kBooted);
    fs::create_directories(units());
    fs::create_directories(folder_ / "units");
    for (const char* unit : kUnits)
        fs::copy_file(fs::path("/usr/lib/systemd/user") / unit, folder_.path() / "units" / unit);
    fs::create_directory(folder_ / "run");
    fs::permissions(folder_ / "run", fs::perms::owner_all);
    setenv("HOME", (folder_ / "home").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", (folder_ / "run").c_str(), 1);
    const std::string path = units() + ":" + runtime("systemd/user") + ":" + (folder_ / "units");
    setenv("SYSTEMD_UNIT_PATH", path.c_str(), 1);
    for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "XDG_CONFIG_HOME", "NOTIFY_SOCKET"})
        unsetenv(name);
}

/// Managers that shared one would take each other's units for their own.
void SystemdUserManager::makeControlGroups() {
    if (!fault_.empty())
        return;
    for (const std::string& own : ownControlGroups()) {
        const std::string group = own + "/" + folder_.path().filename().string();
        fs::create_directory(group);
        controlGroups_.push_back(group);
    }
}

void SystemdUserManager::start() {
    const std::string log = folder_ / "log";
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        for (const std::string& group : controlGroups_)
            std::ofstream(group + "/cgroup.procs") << getpid();
        const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
            dup2(file, stream);
        setenv("SYSTEMD_LOG_TARGET", "console", 1);
        execl(kManager, kManager, "--user", nullptr);
        _exit(127);
    }
    const auto end = std::chrono::steady_clock::now() + kLongestStart;
    while (!isReady()) {
        if (waitpid(process_, nullptr, WNOHANG) != 0) {
            process_ = -1;
            fault_ = "the manager ended: " + this->log();
            return;
        }
        if (std::chrono::steady_clock::now() > end) {
            fault_ = "the manager does not get ready: " + this->log();
            return;
        }
        std::this_thread::sleep_for(10ms);
    }
}

bool SystemdUserManager::isReady() const {
    return fs::exists(runtime("systemd/private")) &&
           systemctl({"is-system-running"}).starts_with("running");
}

void SystemdUserManager::end() {
    if (process_ <= 0)
        return;
    kill(process_, SIGTERM); // stops every unit first
    waitpid(process_, nullptr, 0);
    process_ = -1;
}

void SystemdUserManager::logOutAndIn() {
    end();
    for (const auto& entry : fs::directory_iterator(runtime("")))
        fs::remove_all(entry.path());
    start();
    EXPECT_EQ(fault_, "");
}

std::string SystemdUserManager::systemctl(const std::vector<std::string>& arguments) const {
    std::vector<std::string> words = {"/usr/bin/systemctl", "--user"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return finished(words).output;
}

std::string SystemdUserManager::log() const {
    std::ostringstream text;
    text << std::ifstream(folder_ / "log").rdbuf();
    return text.str();
}

} // namespace cutstack
