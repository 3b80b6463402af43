// How long the history of a project takes to load, to search and to filter, and what working one
// out costs for few and for many versions: time for each version, and memory, which must not grow.

#include "bench/ExportGenerator.h"
#include "bench/Measuring.h"
#include "changes/ChangeFilter.h"
#include "changes/Changelists.h"
#include "changes/VersionSearch.h"
#include "store/VersionNames.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <unistd.h>

namespace cutstack::bench {

namespace {

constexpr std::uint64_t kSeed = 11;
constexpr int kVersions = 1000;
constexpr int kSentences = 200;
constexpr std::size_t kExportBytes = 10'000'000;
constexpr std::string_view kHistoryOption = "--history-of";

// Records, as many as the budgets speak of

std::vector<VersionRecord> manyRecords() {
    std::vector<VersionRecord> records;
    for (int version = 1; version <= kVersions; ++version) {
        VersionRecord record{};
        record.version = padNumber(version);
        record.file = "/Versions/Promo.fcp/" + xmlCopyName("Promo", version);
        record.type = kXmlType;
        record.size = "1.20 MB";
        for (int i = 0; i < kSentences; ++i)
            record.changelist.push_back("In Point of clip Interview " + std::to_string(i) +
                                        " changed from 01:00:04;02 to 01:00:03;22 (-10)");
        records.push_back(std::move(record));
    }
    return records;
}

std::string writtenCache(const ScratchFolder& folder) {
    const std::string path = folder.file("Promo.fcp.cache.plist", "");
    ChangelistCache cache(path, "1");
    cache.reset();
    for (const VersionRecord& record : manyRecords())
        cache.put(xmlCopyName("Promo", versionNumberOfFile(record.file)), record);
    std::string error;
    if (!cache.save(error))
        throw std::runtime_error(error);
    return path;
}

void LoadCache(benchmark::State& state) {
    const ScratchFolder folder;
    const std::string path = writtenCache(folder);
    for (auto _ : state) {
        ChangelistCache cache(path, "1");
        std::string damage;
        if (cache.load(damage) != ChangelistCache::Found::records)
            state.SkipWithError(damage.c_str());
    }
}
BENCHMARK(LoadCache)->Unit(benchmark::kMillisecond);

void Search(benchmark::State& state) {
    const auto records = manyRecords();
    for (auto _ : state)
        benchmark::DoNotOptimize(versionsContaining("INTERVIEW 19", records));
}
BENCHMARK(Search)->Unit(benchmark::kMillisecond);

/// All kinds are hidden but those that these sentences are of, so that every clue is looked for.
void Filter(benchmark::State& state) {
    const auto records = manyRecords();
    FilterSettings settings{};
    settings.fill(1);
    settings[static_cast<std::size_t>(ChangeKind::inPoints)] = 0;
    settings[static_cast<std::size_t>(ChangeKind::clips)] = 0;
    const ChangeFilter filter(settings);
    for (auto _ : state)
        for (const VersionRecord& record : records)
            benchmark::DoNotOptimize(filter.filterArray(record.changelist));
}
BENCHMARK(Filter)->Unit(benchmark::kMillisecond);

// Working out a history

class NoPane final : public VersionsPane {
public:
    void startVersionSpinner() override {}
    void stopVersionSpinner() override {}
    void enableGenerateXMLButton(bool) override {}
    void updateVersionArray(VersionArray versions) override { shown = versions->size(); }
    std::size_t shown = 0;
};

class NoConsole final : public SystemLog {
public:
    void log(std::string_view) override {}
};

/// A project folder of so many versions: two exports in turn, under a name each.
void makeVersions(const ScratchFolder& folder, const std::string& project, int count) {
    const ExportPair pair = generateExports(kSeed, kExportBytes, 200, Edits::all);
    const std::string files[] = {folder.file("base.xml", pair.base),
                                 folder.file("next.xml", pair.next)};
    std::filesystem::create_directories(project);
    for (int version = 1; version <= count; ++version)
        std::filesystem::create_hard_link(files[version % 2],
                                          project + "/" + xmlCopyName("Promo", version));
}

/// In a process of its own: works out a history and prints its seconds and its peak memory.
int workOutHistory(int count) {
    const ScratchFolder folder;
    const std::string root = std::filesystem::path(folder.file("root", "")).parent_path();
    const std::string project = root + "/Promo.fcp";
    makeVersions(folder, project, count);
    setenv("HOME", root.c_str(), 1);
    setenv("CUTSTACK_LOCAL_ROOT", root.c_str(), 1);
    NoConsole console;
    LogWriter log({Locations::ofProcess(), systemClock(), console, [] { return LogHeader(); }});
    std::atomic<bool> cancelled = false;
    Changelists changelists({.cacheFolder = root + "/Caches",
                             .applicationVersion = "1",
                             .log = log,
                             .clock = systemClock(),
                             .metadata = finderMetadata(),
                             .trash = trash(),
                             .progressCancelled = cancelled,
                             .userInterface = nullptr,
                             .progress = nullptr});
    NoPane pane;
    const double seconds = secondsOf([&] {
        changelists.populateChangeListForProject(project, pane);
        return 0;
    });
    std::printf("%f %zu\n", seconds, peakMemoryInBytes());
    return pane.shown == static_cast<std::size_t>(count) ? 0 : 1;
}

void WorkOutHistory(benchmark::State& state) {
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    for (auto _ : state) {
        const auto output =
            outputOf({self, std::string(kHistoryOption), std::to_string(state.range(0))});
        if (!output) {
            state.SkipWithError("the history could not be worked out");
            return;
        }
        double seconds = 0;
        std::size_t peak = 0;
        std::sscanf(output->c_str(), "%lf %zu", &seconds, &peak);
        state.SetIterationTime(seconds);
        state.counters["ms_per_version"] = 1000 * seconds / static_cast<double>(state.range(0));
        state.counters["peak_MB"] = static_cast<double>(peak) / 1e6;
    }
}
BENCHMARK(WorkOutHistory)
    ->Arg(20)
    ->Arg(200)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

} // namespace cutstack::bench

int main(int argc, char** argv) {
    if (argc == 3 && argv[1] == cutstack::bench::kHistoryOption)
        return cutstack::bench::workOutHistory(std::atoi(argv[2]));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
