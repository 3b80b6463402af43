// Running a tool for its output, beside doing the same with nothing but a pipe.

#include "bench/Measuring.h"
#include "support/ZTTask.h"

#include <benchmark/benchmark.h>
#include <cstdlib>

namespace cutstack::bench {

namespace {

constexpr std::size_t kLargeOutputBytes = 100'000'000;

void runBothWays(benchmark::State& state, const std::string& tool,
                 const ZTTask::Arguments& arguments, std::size_t outputBytes, int runs) {
    const ScratchFolder home;
    setenv("HOME", home.path().c_str(), 1);
    std::vector<std::string> command{tool};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const auto seconds = [&](const auto& run) {
        std::optional<std::string> output;
        const double time = secondsOf([&] {
            output = run();
            return 0;
        });
        if (!output || output->size() != outputBytes)
            state.SkipWithError("the tool did not answer");
        return time;
    };
    for (auto _ : state) {
        Times own, plain;
        for (int i = 0; i < runs; ++i) {
            own.add(seconds([&] { return ZTTask::dataFromTask(tool, arguments); }));
            plain.add(seconds([&] { return outputOf(command); }));
        }
        state.SetIterationTime(own.median());
        state.counters["plain_ms"] = 1000 * plain.median();
    }
}

void RunTool(benchmark::State& state) { runBothWays(state, "/bin/true", {}, 0, 200); }
BENCHMARK(RunTool)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

void RunToolWithLargeOutput(benchmark::State& state) {
    const std::string count = std::to_string(kLargeOutputBytes);
    runBothWays(state, "/usr/bin/head", {"-c", count, "/dev/zero"}, kLargeOutputBytes, 7);
}
BENCHMARK(RunToolWithLargeOutput)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

} // namespace cutstack::bench
