#pragma once

// What the benchmarks measure with: times of single calls, the peak memory of a process of its
// own, and the results of earlier benchmarks, so that a later one can be laid beside them.
// One thread.

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace cutstack::bench {

/// The seconds that a call takes. What it returns is destroyed after the clock has stopped.
template <typename Work>
[[nodiscard]] double secondsOf(Work&& work) {
    const auto begin = std::chrono::steady_clock::now();
    [[maybe_unused]] const auto result = work();
    const auto end = std::chrono::steady_clock::now();
    return std::chrono::duration<double>(end - begin).count();
}

/// Repeated times of one thing. Their median stands for them: a single disturbance leaves it alone.
class Times {
public:
    void add(double seconds) { seconds_.push_back(seconds); }
    /// REQUIRES: a time was added.
    [[nodiscard]] double median() const;

private:
    std::vector<double> seconds_;
};

/// A folder for temporary files, removed with all that is in it.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }
    /// Writes a file; its path. Throws when that fails.
    [[nodiscard]] std::string file(const std::string& name, const std::string& bytes) const;

private:
    std::string path_;
};

/// Runs a program to its end and returns what it prints, or nothing if it cannot be started or
/// fails. `arguments` begins with the program, which is looked up in the path.
[[nodiscard]] std::optional<std::string> outputOf(const std::vector<std::string>& arguments);

/// The processor time, in seconds, that a program takes itself, without that of the programs it
/// starts; nothing if it cannot be started or fails. What it prints goes nowhere.
[[nodiscard]] std::optional<double> processorSecondsOf(const std::vector<std::string>& arguments);

/// The most memory that this process has held at a time.
[[nodiscard]] std::size_t peakMemoryInBytes();

} // namespace cutstack::bench
