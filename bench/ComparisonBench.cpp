// How long reading and comparing exports takes, and how much memory: on exports of three sizes, on
// shapes that have much of one thing, and beside what other readers of XML need for the same bytes.
//
// Ratios are taken between the medians of calls that alternate, so that what else the machine does
// meets all of them alike.

#include "bench/ExportGenerator.h"
#include "bench/Measuring.h"
#include "bench/SpecialShapes.h"
#include "changes/DocumentComparison.h"
#include "support/AtomicFile.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <future>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>

#include <benchmark/benchmark.h>
#include <pugixml.hpp>

namespace cutstack::bench {

namespace {

constexpr std::uint64_t kSeed = 7;
constexpr int kCallsOfSmallest = 101;
constexpr int kParsesOfShape = 5;
constexpr std::string_view kPeakMemoryOption = "--peak-memory-of";

struct Size {
    const char* name;
    std::size_t bytes;
    std::size_t edits;
    int rounds;
};

constexpr std::array kSizes = {Size{"100kB", 100'000, 2, 101}, Size{"10MB", 10'000'000, 200, 15},
                               Size{"79MB", 79'000'000, 200, 7}};

/// Lets a comparison run to its end and drops its lines.
class SilentHost final : public ComparisonHost {
public:
    [[nodiscard]] bool progressCancelled() const override { return false; }
    void endProgress() override {}
    void appendLog(std::string_view) override {}
    void console(std::string_view) override {}
};

struct Documents {
    std::unique_ptr<const XmemlDocument> base;
    std::unique_ptr<const XmemlDocument> next;
};

std::unique_ptr<const XmemlDocument> parsed(std::string bytes) {
    XmlError error;
    auto document = XmemlDocument::parse(std::move(bytes), error);
    if (document == nullptr)
        throw std::runtime_error("a generated export cannot be read: " + error.description());
    return document;
}

/// Reads both at once, as the tools do.
Documents parsedOnTwoThreads(ExportPair exports) {
    auto base = std::async(std::launch::async, parsed, std::move(exports.base));
    auto next = std::async(std::launch::async, parsed, std::move(exports.next));
    return {base.get(), next.get()};
}

Changelist changesBetween(const Documents& documents) {
    SilentHost host;
    return changeListForXMLDoc(*documents.next, *documents.base, host).value_or(Changelist());
}

std::unique_ptr<pugi::xml_document> parsedByPugixml(std::string& bytes) {
    auto document = std::make_unique<pugi::xml_document>();
    if (!document->load_buffer_inplace(bytes.data(), bytes.size()))
        throw std::runtime_error("pugixml cannot read a generated export");
    return document;
}

/// The same exports for all benchmarks of a size.
const ExportPair& exportsOf(const Size& size, Edits edits) {
    static std::map<std::pair<std::size_t, Edits>, ExportPair> made;
    ExportPair& exports = made[{size.bytes, edits}];
    if (exports.base.empty())
        exports = generateExports(kSeed, size.bytes, size.edits, edits);
    return exports;
}

/// Seconds by the names of benchmarks that have run.
std::map<std::string, double>& earlierTimes() {
    static std::map<std::string, double> times;
    return times;
}

/// How many times the time of another benchmark this is; 0 when that one was left out.
double timesAsLongAs(const std::string& earlier, double seconds) {
    const auto found = earlierTimes().find(earlier);
    return found == earlierTimes().end() ? 0 : seconds / found->second;
}

void setByteCounters(benchmark::State& state, const std::string& family, const Size& size,
                     double seconds, std::size_t bytes) {
    const double secondsPerByte = seconds / static_cast<double>(bytes);
    earlierTimes()[family + size.name] = secondsPerByte;
    state.counters["ns_per_byte"] = secondsPerByte * 1e9;
    state.counters["MB_per_s"] = 1e-6 / secondsPerByte;
    state.counters["to_smallest"] = timesAsLongAs(family + kSizes.front().name, secondsPerByte);
}

/// Runs `work` on a fresh copy of the exports in every iteration, and counts per byte of `bytes`.
template <typename Work>
void measurePerByte(benchmark::State& state, const std::string& family, const Size& size,
                    std::size_t bytes, Work work) {
    const ExportPair& exports = exportsOf(size, Edits::all);
    Times times;
    for ([[maybe_unused]] auto iteration : state) {
        ExportPair copy = exports;
        const double seconds = secondsOf([&] { return work(copy); });
        state.SetIterationTime(seconds);
        times.add(seconds);
    }
    setByteCounters(state, family, size, times.median(), bytes);
}

void parseOne(benchmark::State& state, const Size& size) {
    measurePerByte(state, "ParseOne", size, exportsOf(size, Edits::all).base.size(),
                   [](ExportPair& exports) { return parsed(std::move(exports.base)); });
}

void parseBoth(benchmark::State& state, const Size& size) {
    measurePerByte(state, "ParseBoth", size, exportsOf(size, Edits::all).bytes(),
                   [](ExportPair& exports) { return parsedOnTwoThreads(std::move(exports)); });
}

/// The documents are returned too: they are destroyed after the clock has stopped.
auto parsedAndCompared(ExportPair& exports) {
    Documents documents = parsedOnTwoThreads(std::move(exports));
    Changelist changes = changesBetween(documents);
    return std::pair(std::move(documents), std::move(changes));
}

void parseBothAndCompare(benchmark::State& state, const Size& size) {
    measurePerByte(state, "ParseBothAndCompare", size, exportsOf(size, Edits::all).bytes(),
                   [](ExportPair& exports) { return parsedAndCompared(exports); });
}

void compareOnly(benchmark::State& state, const Size& size, Edits edits) {
    const ExportPair& exports = exportsOf(size, edits);
    const Documents documents = parsedOnTwoThreads(exports);
    Times times;
    for ([[maybe_unused]] auto iteration : state) {
        const double seconds = secondsOf([&] { return changesBetween(documents); });
        state.SetIterationTime(seconds);
        times.add(seconds);
    }
    setByteCounters(state, edits == Edits::all ? "CompareOnly" : "CompareOnlyInPlace", size,
                    times.median(), exports.bytes());
    state.counters["sentences"] = static_cast<double>(changesBetween(documents).size());
}

void pugixmlOne(benchmark::State& state, const Size& size) {
    measurePerByte(state, "PugixmlOne", size, exportsOf(size, Edits::all).base.size(),
                   [](ExportPair& exports) { return parsedByPugixml(exports.base); });
}

auto bothParsedByPugixml(ExportPair& exports) {
    auto base =
        std::async(std::launch::async, [&exports] { return parsedByPugixml(exports.base); });
    auto next = parsedByPugixml(exports.next);
    return std::pair(base.get(), std::move(next));
}

void pugixmlBoth(benchmark::State& state, const Size& size) {
    measurePerByte(state, "PugixmlBoth", size, exportsOf(size, Edits::all).bytes(),
                   [](ExportPair& exports) { return bothParsedByPugixml(exports); });
}

void xmllintOne(benchmark::State& state, const Size& size) {
    const ScratchFolder folder;
    const std::string& bytes = exportsOf(size, Edits::all).base;
    const std::string file = folder.file("export.xml", bytes);
    Times times;
    for ([[maybe_unused]] auto iteration : state) {
        std::optional<std::string> output;
        const double seconds = secondsOf([&] {
            output = outputOf({"xmllint", "--noout", "--huge", file});
            return 0;
        });
        if (!output) {
            state.SkipWithError("xmllint is not installed");
            return;
        }
        state.SetIterationTime(seconds);
        times.add(seconds);
    }
    setByteCounters(state, "XmllintOne", size, times.median(), bytes.size());
}

/// The median time of some calls for the smallest exports: a single one is too short to tell.
double smallestSeconds(Edits edits) {
    Times times;
    for (int call = 0; call < kCallsOfSmallest; ++call) {
        ExportPair exports = exportsOf(kSizes.front(), edits);
        times.add(secondsOf([&] { return parsedAndCompared(exports); }));
    }
    return times.median();
}

/// The ratios that have a budget, from calls that alternate.
void ratios(benchmark::State& state, const Size& size, Edits edits) {
    const ExportPair& exports = exportsOf(size, edits);
    Times parse;
    Times whole;
    Times pugixml;
    Times smallest;
    for ([[maybe_unused]] auto iteration : state) {
        for (int round = 0; round < size.rounds; ++round) {
            ExportPair forParse = exports;
            parse.add(secondsOf([&] { return parsedOnTwoThreads(std::move(forParse)); }));
            ExportPair forWhole = exports;
            whole.add(secondsOf([&] { return parsedAndCompared(forWhole); }));
            ExportPair forPugixml = exports;
            pugixml.add(secondsOf([&] { return bothParsedByPugixml(forPugixml); }));
            smallest.add(smallestSeconds(edits));
        }
        state.SetIterationTime(whole.median());
    }
    const auto bytes = static_cast<double>(exports.bytes());
    const auto smallestBytes = static_cast<double>(exportsOf(kSizes.front(), edits).bytes());
    state.counters["to_parse"] = whole.median() / parse.median();
    state.counters["to_pugixml"] = whole.median() / pugixml.median();
    state.counters["to_smallest"] = whole.median() / bytes / (smallest.median() / smallestBytes);
    state.counters["parse_ms"] = parse.median() * 1e3;
    state.counters["pugixml_ms"] = pugixml.median() * 1e3;
}

/// Compares two files in a process of its own, which says how much memory it took.
void peakMemory(benchmark::State& state, const Size& size) {
    const ScratchFolder folder;
    const ExportPair& exports = exportsOf(size, Edits::all);
    const std::string base = folder.file("base.xml", exports.base);
    const std::string next = folder.file("next.xml", exports.next);
    std::optional<std::string> output;
    for ([[maybe_unused]] auto iteration : state)
        output = outputOf({"/proc/self/exe", std::string(kPeakMemoryOption), base, next});
    if (!output) {
        state.SkipWithError("the process that measures failed");
        return;
    }
    const double bytes = std::stod(*output);
    state.counters["peak_MB"] = bytes * 1e-6;
    state.counters["to_bytes"] = bytes / static_cast<double>(exports.bytes());
}

std::string contentOf(const char* file) {
    std::string error;
    auto content = readFile(file, std::numeric_limits<std::int32_t>::max(), error);
    if (!content)
        throw std::runtime_error(std::string(file) + ": " + error);
    return *std::move(content);
}

int printPeakMemory(const char* base, const char* next) {
    ExportPair exports{contentOf(base), contentOf(next)};
    benchmark::DoNotOptimize(parsedAndCompared(exports));
    std::printf("%zu\n", peakMemoryInBytes());
    return 0;
}

/// What twice as much takes, as a multiple: 2 is proportionate, 4 the square. 0 for the smaller
/// size.
double growth(const std::string& what, std::size_t factor, double seconds) {
    earlierTimes()[what + std::to_string(factor)] = seconds;
    return factor == 1 ? 0 : timesAsLongAs(what + std::to_string(factor / 2), seconds);
}

/// Compares one of the special shapes.
void shape(benchmark::State& state, const SpecialShape& shape, std::size_t factor) {
    const ExportPair exports = shape.make(shape.count * factor);
    Times parse;
    for (int call = 0; call < kParsesOfShape; ++call)
        parse.add(secondsOf([&] { return std::pair(parsed(exports.base), parsed(exports.next)); }));
    const Documents documents = parsedOnTwoThreads(exports);
    Times compare;
    for ([[maybe_unused]] auto iteration : state) {
        const double seconds = secondsOf([&] { return changesBetween(documents); });
        state.SetIterationTime(seconds);
        compare.add(seconds);
    }
    const std::string name(shape.name);
    state.counters["growth"] = growth("compare " + name, factor, compare.median());
    state.counters["parse_ms"] = parse.median() * 1e3;
    state.counters["parse_growth"] = growth("parse " + name, factor, parse.median());
    state.counters["sentences"] = static_cast<double>(changesBetween(documents).size());
}

benchmark::internal::Benchmark* registered(const std::string& name, auto function) {
    return benchmark::RegisterBenchmark(name.c_str(), function)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

void registerSized() {
    using SizedBenchmark = void (*)(benchmark::State&, const Size&);
    constexpr std::array<std::pair<const char*, SizedBenchmark>, 6> kBenchmarks = {
        {{"ParseOne", parseOne},
         {"ParseBoth", parseBoth},
         {"ParseBothAndCompare", parseBothAndCompare},
         {"PugixmlOne", pugixmlOne},
         {"PugixmlBoth", pugixmlBoth},
         {"XmllintOne", xmllintOne}}};
    for (const auto& [name, function] : kBenchmarks)
        for (const Size& size : kSizes)
            registered(
                std::string(name) + "/" + size.name,
                [function = function, &size](benchmark::State& state) { function(state, size); });
}

void registerWithEdits(const std::string& name, auto function, int iterations) {
    for (const auto& [suffix, edits] : {std::pair("", Edits::all), {"InPlace", Edits::inPlace}})
        for (const Size& size : kSizes) {
            auto* made = registered(name + suffix + "/" + size.name,
                                    [=, edits = edits, &size](benchmark::State& state) {
                                        function(state, size, edits);
                                    });
            if (iterations > 0)
                made->Iterations(iterations);
        }
}

void registerAll() {
    registerSized();
    registerWithEdits("CompareOnly", compareOnly, 0);
    registerWithEdits("Ratios", ratios, 1);
    for (const Size& size : kSizes)
        registered(std::string("PeakMemory/") + size.name, [&size](benchmark::State& state) {
            peakMemory(state, size);
        })->Iterations(1);
    for (const SpecialShape& each : specialShapes())
        for (const std::size_t factor : {1U, 2U})
            registered(std::string(each.name) + "/" + std::to_string(each.count * factor),
                       [&each, factor](benchmark::State& state) { shape(state, each, factor); });
}

int run(int argc, char** argv) {
    if (argc == 4 && argv[1] == kPeakMemoryOption)
        return printPeakMemory(argv[2], argv[3]);
    registerAll();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace

} // namespace cutstack::bench

int main(int argc, char** argv) {
    try {
        return cutstack::bench::run(argc, argv);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "ComparisonBench: %s\n", exception.what());
        return 2;
    }
}
