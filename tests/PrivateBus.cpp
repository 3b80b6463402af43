#include "tests/PrivateBus.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace cutstack {

namespace {

constexpr auto kAddress = "DBUS_SESSION_BUS_ADDRESS";

/// Everybody may connect: that other users are refused is for the program to show.
std::string configuration(const std::string& folder) {
    return R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>session</type><auth>EXTERNAL</auth><listen>unix:path=)" +
           folder + "/bus</listen><servicedir>" + folder + R"(/services</servicedir>
<policy context="default"><allow user="*"/><allow own="*"/>
<allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/></policy>
<limit name="max_incoming_bytes">1000000000</limit>
<limit name="max_outgoing_bytes">1000000000</limit>
<limit name="max_message_size">1000000000</limit>
<limit name="max_message_unix_fds">16</limit>
</busconfig>)";
}

/// Runs the bus in place of this process, no longer than the one that started it.
[[noreturn]] void becomeBus(const std::string& configurationFile, int addressPipe) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDERR_FILENO); // it says which limits it could not raise
    const std::string file = "--config-file=" + configurationFile;
    const std::string address = "--print-address=" + std::to_string(addressPipe);
    execlp("dbus-daemon", "dbus-daemon", file.c_str(), address.c_str(), "--nofork", "--nopidfile",
           nullptr);
    _exit(127);
}

std::string firstLine(int pipe) {
    std::string line;
    char letter = 0;
    while (read(pipe, &letter, 1) == 1 && letter != '\n')
        line += letter;
    return line;
}

} // namespace

PrivateBus::PrivateBus(const std::map<std::string, std::string>& activatable) {
    const std::string folder = folder_.path().string();
    for (const auto& [name, program] : activatable) {
        std::ostringstream service;
        service << "[D-BUS Service]\nName=" << name << "\nExec=" << program << '\n';
        writeContent(folder_ / ("services/" + name + ".service"), service.str());
    }
    std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
    writeContent(folder + "/bus.conf", configuration(folder));
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    process_ = fork();
    if (process_ == 0)
        becomeBus(folder + "/bus.conf", ends[1]);
    close(ends[1]);
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    const std::string address = firstLine(ends[0]);
    close(ends[0]);
    EXPECT_FALSE(address.empty()) << "dbus-daemon did not start";
    setenv(kAddress, address.c_str(), 1);
}

PrivateBus::~PrivateBus() {
    end();
    unsetenv(kAddress);
}

void PrivateBus::end() {
    if (process_ <= 0)
        return;
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
    process_ = -1;
}

NoBus::NoBus() {
    unsetenv(kAddress);
    setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
}

NoBus::~NoBus() { unsetenv("XDG_RUNTIME_DIR"); }

} // namespace cutstack
