#include "bench/Measuring.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace cutstack::bench {

namespace {

std::string allFrom(int descriptor) {
    std::string text;
    std::array<char, 4096> piece{};
    ssize_t count = 0;
    while ((count = ::read(descriptor, piece.data(), piece.size())) > 0)
        text.append(piece.data(), static_cast<std::size_t>(count));
    return text;
}

/// Starts a program whose standard output goes to `output`; nothing when it cannot be started.
std::optional<pid_t> start(const std::vector<std::string>& arguments, int output) {
    std::vector<char*> argv;
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t child = 0;
    const int fault = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return fault == 0 ? std::optional(child) : std::nullopt;
}

} // namespace

double Times::median() const {
    std::vector<double> sorted = seconds_;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::ranges::nth_element(sorted, middle);
    return *middle;
}

ScratchFolder::ScratchFolder() {
    std::string path = std::filesystem::temp_directory_path() / "cutstack-bench-XXXXXX";
    if (mkdtemp(path.data()) == nullptr)
        throw std::runtime_error("no temporary folder can be made");
    path_ = path;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string ScratchFolder::file(const std::string& name, const std::string& bytes) const {
    std::string path = path_ + "/" + name;
    if (!(std::ofstream(path, std::ios::binary) << bytes).flush())
        throw std::runtime_error(path + " cannot be written");
    return path;
}

std::optional<std::string> outputOf(const std::vector<std::string>& arguments) {
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0)
        return std::nullopt;
    const auto child = start(arguments, pipe[1]);
    ::close(pipe[1]);
    std::string output = allFrom(pipe[0]);
    ::close(pipe[0]);
    int status = 0;
    if (!child || ::waitpid(*child, &status, 0) != *child || status != 0)
        return std::nullopt;
    return output;
}

/// Asks between the program's end and its being waited for: the system's account of those that have
/// been waited for includes what they started.
std::optional<double> processorSecondsOf(const std::vector<std::string>& arguments) {
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    const auto child = start(arguments, nowhere);
    ::close(nowhere);
    siginfo_t end{};
    clockid_t clock{};
    timespec time{};
    if (!child || ::waitid(P_PID, static_cast<id_t>(*child), &end, WEXITED | WNOWAIT) != 0)
        return std::nullopt;
    const bool isKnown =
        ::clock_getcpuclockid(*child, &clock) == 0 && ::clock_gettime(clock, &time) == 0;
    int status = 0;
    if (::waitpid(*child, &status, 0) != *child || status != 0 || !isKnown)
        return std::nullopt;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// Not from getrusage(), whose figure a program inherits from the process that started it.
std::size_t peakMemoryInBytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:"))
            return std::stoul(line.substr(line.find_first_of("0123456789"))) * 1024;
    return 0;
}

} // namespace cutstack::bench
