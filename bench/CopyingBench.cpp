// Copying a large file and a folder of many small ones, beside cp with what it wrote brought to the
// disk, as the copier does, too.

#include "bench/Measuring.h"
#include "platform/FileCopier.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace cutstack::bench {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLargeFileBytes = std::size_t{256} << 20U;
constexpr std::size_t kSmallFileBytes = 4096;
constexpr int kSmallFiles = 5000;
constexpr int kRuns = 3;

using Bring = int (*)(int descriptor);

bool copyWithCp(const std::string& source, const std::string& target, Bring bringToDisk) {
    if (!outputOf({"cp", "-a", "--reflink=auto", source, target}))
        return false;
    const int copy = ::open(target.c_str(), O_RDONLY | O_CLOEXEC);
    const bool isOnDisk = copy >= 0 && bringToDisk(copy) == 0;
    ::close(copy);
    return isOnDisk;
}

bool copyWithCopier(const std::string& source, const std::string& target) {
    std::string error;
    return fileCopier().copy(source, target, nullptr, error) == CopyEnd::copied;
}

/// Copies both ways in turn. Before each copy, what others have yet to write is written.
void copyBothWays(benchmark::State& state, const ScratchFolder& folder, const std::string& source,
                  Bring bringToDisk) {
    const std::string target = folder.path() + "/target";
    const auto seconds = [&](const auto& copy) {
        ::sync();
        bool isCopied = false;
        const double time = secondsOf([&] { return isCopied = copy(); });
        fs::remove_all(target);
        if (!isCopied)
            state.SkipWithError("the copy could not be made");
        return time;
    };
    for (auto _ : state) {
        Times own, others;
        for (int i = 0; i < kRuns; ++i) {
            own.add(seconds([&] { return copyWithCopier(source, target); }));
            others.add(seconds([&] { return copyWithCp(source, target, bringToDisk); }));
        }
        state.SetIterationTime(own.median());
        state.counters["cp_ms"] = 1000 * others.median();
        state.counters["to_cp"] = own.median() / others.median();
    }
}

void CopyLargeFile(benchmark::State& state) {
    const ScratchFolder folder;
    copyBothWays(state, folder, folder.file("source", std::string(kLargeFileBytes, 'x')), ::fsync);
}
BENCHMARK(CopyLargeFile)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

void CopyManyFiles(benchmark::State& state) {
    const ScratchFolder folder;
    fs::create_directory(folder.path() + "/source");
    for (int i = 0; i < kSmallFiles; ++i)
        static_cast<void>(
            folder.file("source/" + std::to_string(i), std::string(kSmallFileBytes, 'x')));
    copyBothWays(state, folder, folder.path() + "/source", ::syncfs);
}
BENCHMARK(CopyManyFiles)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

} // namespace cutstack::bench
