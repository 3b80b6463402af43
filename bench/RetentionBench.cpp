// Retention in a store of 5,000 files in 50 projects with their changelist caches: when its rules
// remove nothing, and when they remove every other file, outright or to the Trash.

#include "bench/Measuring.h"
#include "changes/ChangelistCache.h"
#include "platform/linux/FreedesktopTrash.h"
#include "store/Retention.h"
#include "store/VersionNames.h"
#include "support/ZTLog.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

namespace cutstack::bench {

namespace {

namespace fs = std::filesystem;

constexpr int kProjects = 50;
constexpr int kVersions = 50; ///< of each, a project copy and an XML copy
constexpr int kSentences = 20;
constexpr int kRuns = 3;
constexpr auto kVersion = "1";

RetentionRules rulesThatKeepAll() {
    RetentionRules rules;
    rules.isMinimumSet = rules.isAgeLimitSet = rules.isOldLimitSet = false;
    rules.oldBackupCount = 2 * kVersions;
    return rules;
}

RetentionRules rulesThatRemoveHalf() {
    RetentionRules rules = rulesThatKeepAll();
    rules.isAgeLimitSet = true;
    rules.ageLimitInDays = kVersions / 2;
    return rules;
}

/// A store with its caches, a version a day, in the home folder of a user of its own.
class Store {
public:
    Store() {
        setenv("HOME", folder_.path().c_str(), 1);
        setenv("CUTSTACK_LOCAL_ROOT", folder_.path().c_str(), 1);
        fs::create_directories(folder_.path() + "/Library/Logs/Zantrel");
        fs::create_directories(caches());
        for (int project = 1; project <= kProjects; ++project)
            addProject("Harbour " + std::to_string(project));
        ZTLog::createNewLog();
    }

    [[nodiscard]] const std::string& home() const { return folder_.path(); }
    [[nodiscard]] std::string root() const {
        return folder_.path() + "/Library/Application Support/Zantrel/Cutstack/Versions";
    }
    [[nodiscard]] std::string caches() const { return folder_.path() + "/Caches"; }
    [[nodiscard]] std::size_t countOfFiles() const {
        std::size_t count = 0;
        for (const auto& entry : fs::recursive_directory_iterator(root()))
            count += entry.is_regular_file() ? 1U : 0U;
        return count;
    }

private:
    void addProject(const std::string& stem) const {
        const std::string name = stem + ".fcp";
        const std::string folder = root() + "/" + name;
        fs::create_directories(folder);
        ChangelistCache cache(caches() + "/" + name + ".cache.plist", kVersion);
        cache.reset();
        for (int version = 1; version <= kVersions; ++version) {
            for (const auto& file : {projectCopyName(stem, version), xmlCopyName(stem, version)})
                addFile(folder + "/" + file, kVersions - version);
            cache.put(xmlCopyName(stem, version), recordOf(folder, stem, version));
        }
        std::string error;
        if (!cache.save(error))
            throw std::runtime_error(error);
    }

    void addFile(const std::string& path, int daysAgo) const {
        fs::rename(folder_.file("new", "<xmeml/>"), path);
        const auto day = std::chrono::hours(24);
        fs::last_write_time(path, fs::file_time_type::clock::now() - day * daysAgo);
    }

    static VersionRecord recordOf(const std::string& folder, const std::string& stem, int version) {
        VersionRecord record{};
        record.version = padNumber(version);
        record.file = folder + "/" + xmlCopyName(stem, version);
        record.type = kXmlType;
        record.size = "8 B";
        for (int i = 0; i < kSentences; ++i)
            record.changelist.push_back("In Point of clip Interview " + std::to_string(i) +
                                        " changed from 01:00:04;02 to 01:00:03;22 (-10)");
        return record;
    }

    const ScratchFolder folder_;
};

void manage(benchmark::State& state, const RetentionRules& rules, RemovalType type) {
    for (auto _ : state) {
        Times times;
        for (int i = 0; i < kRuns; ++i) {
            const Store store;
            FreedesktopTrash trash({getuid(), store.home(), std::nullopt}, systemClock());
            const BackupRemoval removal(store.caches(), kVersion, trash, ZTLog::sharedController());
            const Retention retention(systemClock(), ZTLog::sharedController());
            times.add(secondsOf([&] {
                retention.manageBackups(store.root(), rules, removal, type);
                ZTLog::finishWriting();
                return 0;
            }));
            state.counters["left"] = static_cast<double>(store.countOfFiles());
        }
        state.SetIterationTime(times.median());
    }
}

void RetentionKeepsAll(benchmark::State& state) {
    manage(state, rulesThatKeepAll(), RemovalType::outright);
}
void RetentionRemovesHalf(benchmark::State& state) {
    manage(state, rulesThatRemoveHalf(), RemovalType::outright);
}
void RetentionMovesHalfToTrash(benchmark::State& state) {
    manage(state, rulesThatRemoveHalf(), RemovalType::toTrash);
}
BENCHMARK(RetentionKeepsAll)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(RetentionRemovesHalf)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(RetentionMovesHalfToTrash)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

} // namespace cutstack::bench
