// What it costs to give an export lasting identities, beside only reading it: time for the first
// save of a project, for one with edits and for one that is the same, and memory. Prints the table
// of docs/performance.md.
//
//     IdentityBench [MEGABYTES]

#include "bench/ExportGenerator.h"
#include "bench/Measuring.h"
#include "changes/XmemlDocument.h"
#include "tools/projecthost/identity/ItemMatching.h"
#include "tools/projecthost/identity/StableIdentity.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace cutstack::bench {

namespace {

using namespace cutstack::projecthost;

constexpr std::uint64_t kSeed = 5;
constexpr std::size_t kEdits = 200;
constexpr int kRepetitions = 5;
constexpr std::string_view kPeakOption = "--peak-of";

IdentityServices services() {
    return {[random = std::make_shared<Random>(kSeed)] { return random->uuid(); },
            [](std::string_view line) {
                std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
            }};
}

std::string serve(const std::string& document, IdentityStore& store) {
    std::string error;
    auto served = withStableIdentity(document, "/Promo.fcp", store, error);
    if (!served)
        throw std::runtime_error(error);
    return *std::move(served);
}

double secondsOfReading(const std::string& document) {
    return secondsOf([&] {
        XmlError error;
        return XmemlDocument::parse(document, error);
    });
}

/// The whole life of a document in a process of its own: read it, or serve it.
int peakOf(const char* what, const char* path, const char* database) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    if (std::string_view(what) == "reading") {
        XmlError error;
        const auto document = XmemlDocument::parse(std::move(content).str(), error);
        std::printf("%zu", peakMemoryInBytes());
        return document == nullptr ? 1 : 0;
    }
    const std::string document = std::move(content).str();
    IdentityStore store(database, services());
    const std::string served = serve(document, store);
    std::printf("%zu", peakMemoryInBytes());
    return served.empty() ? 1 : 0;
}

double peakInMegabytes(const char* program, const char* what, const std::string& path,
                       const std::string& database) {
    const auto output = outputOf({program, std::string(kPeakOption), what, path, database});
    return output ? std::strtod(output->c_str(), nullptr) / 1e6 : 0;
}

void printTable(const char* program, std::size_t megabytes) {
    const ExportPair pair = generateExports(kSeed, megabytes * 1'000'000, kEdits, Edits::all);
    const ScratchFolder folder;
    Times reading;
    Times first;
    Times edited;
    Times same;
    std::string database;
    for (int i = 0; i < kRepetitions; ++i) {
        database = folder.file("identities" + std::to_string(i), "");
        IdentityStore store(database, services());
        reading.add(secondsOfReading(pair.base));
        first.add(secondsOf([&] { return serve(pair.base, store); }));
        edited.add(secondsOf([&] { return serve(pair.next, store); }));
        same.add(secondsOf([&] { return serve(pair.next, store); }));
    }
    const std::string path = folder.file("next.xml", pair.next);
    const double bytes = static_cast<double>(pair.next.size()) / 1e6;
    const double read = peakInMegabytes(program, "reading", path, database);
    const double served = peakInMegabytes(program, "serving", path, database);
    std::printf("| %.0f MB | Time | to reading |\n|---|--:|--:|\n", bytes);
    const std::array<std::pair<const char*, const Times*>, 4> rows = {
        {{"Only reading", &reading},
         {"Serving the first save", &first},
         {"Serving one with 200 edits", &edited},
         {"Serving the same again", &same}}};
    for (const auto& [label, times] : rows)
        std::printf("| %s | %.2f s | %.2f |\n", label, times->median(),
                    times->median() / reading.median());
    std::printf("\n| %.0f MB | Peak memory | to its bytes |\n|---|--:|--:|\n", bytes);
    std::printf(
        "| Only reading | %.0f MB | %.1f |\n| Serving one with 200 edits | %.0f MB | %.1f |\n",
        read, read / bytes, served, served / bytes);
}

/// Copies of one clip, all of them shifted and none at a place that one had before.
double secondsOfMatching(int copies) {
    Item sequence;
    sequence.kind = ItemKind::sequence;
    std::vector<Item> items = {sequence};
    for (int i = 0; i < copies; ++i) {
        Item item;
        item.medium = {"/a", "a", "a"};
        item.range = {0, 10};
        item.start = i * 10;
        item.track = {TrackKind::video, 1};
        item.container = 0;
        items.push_back(item);
    }
    std::vector<KnownItem> known;
    for (const Item& item : items)
        known.push_back({item, static_cast<std::int64_t>(known.size()) + 1, "", 0});
    for (Item& item : items)
        item.start = item.start.value_or(0) + 4005;
    return secondsOf([&] { return matchItems(known, items); });
}

void printGrowth() {
    constexpr int kCopies = 20'000;
    const double half = secondsOfMatching(kCopies / 2);
    const double whole = secondsOfMatching(kCopies);
    std::printf("\nMatching %d copies of one clip, all shifted: %.2f s, %.2f times that of half as "
                "many.\n",
                kCopies, whole, whole / half);
}

} // namespace

} // namespace cutstack::bench

int main(int argc, char** argv) {
    using namespace cutstack::bench;
    if (argc == 5 && argv[1] == kPeakOption)
        return peakOf(argv[2], argv[3], argv[4]);
    printTable(argv[0], argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 79);
    printGrowth();
}
