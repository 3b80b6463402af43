#include "tools/launchctl/WatchRecord.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

#include "platform/FileStamp.h"
#include "platform/SystemErrors.h"
#include "support/AtomicFile.h"
#include "support/Format.h"
#include "support/PropertyListReading.h"
#include "support/PropertyListWriting.h"
#include "tools/launchctl/UnitText.h"

namespace cutstack::launchctl {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kRecordSizeLimit = 64U << 20U;
/// A file system's clock may stand still for that long: two changes within leave the same stamp.
constexpr auto kClockTick = 30ms;
constexpr int kMostTicksToWait = 10;
constexpr char kUnsettledMark = '?';
constexpr auto kLongestAside = 60s;

/// How long ago `time` was.
std::chrono::nanoseconds ageOf(const FileTime& time, const Clock& clock) {
    const auto moment =
        std::chrono::seconds(time.seconds) + std::chrono::nanoseconds(time.nanoseconds);
    return clock.now().time_since_epoch() - moment;
}

std::string stampOf(const std::string& path, const Clock& clock) {
    std::string error;
    const auto stamp = fileStamp(path, error);
    if (!stamp)
        return {};
    std::string text =
        formatString("%u %u %u %d.%d %d.%d", {stamp->device, stamp->inode, stamp->sizeInBytes,
                                              stamp->modified.seconds, stamp->modified.nanoseconds,
                                              stamp->changed.seconds, stamp->changed.nanoseconds});
    const auto age = ageOf(stamp->changed, clock);
    if (age >= 0ns && age < kClockTick)
        text += kUnsettledMark;
    return text;
}

bool isUnsettled(const Stamps::value_type& stamp) { return stamp.second.ends_with(kUnsettledMark); }

bool areSettled(const Stamps& stamps) {
    return std::none_of(stamps.begin(), stamps.end(), isUnsettled);
}

} // namespace

Stamps stampsOf(const std::vector<std::string>& paths, const Clock& clock) {
    Stamps stamps;
    for (const std::string& path : paths)
        stamps[path] = stampOf(path, clock);
    return stamps;
}

Stamps settledStampsOf(const std::vector<std::string>& paths, const Clock& clock) {
    Stamps stamps = stampsOf(paths, clock);
    for (int i = 0; i < kMostTicksToWait && !areSettled(stamps); ++i) {
        std::this_thread::sleep_for(kClockTick);
        stamps = stampsOf(paths, clock);
    }
    return stamps;
}

bool differ(const Stamps& seen, const Stamps& now) { return seen != now || !areSettled(seen); }

WatchRecord::WatchRecord(const std::string& folder, const std::string& stem)
    : folder_(folder),
      file_(folder + "/" + stem + ".seen"),
      aside_(folder + "/" + stem + ".removed") {}

Stamps WatchRecord::read() const {
    std::string error;
    auto bytes = readFile(file_, kRecordSizeLimit, error);
    const auto list = bytes ? readPropertyList(std::move(*bytes), error) : std::nullopt;
    const PropertyList::Dictionary* values = list ? list->asDictionary() : nullptr;
    Stamps stamps;
    if (values == nullptr)
        return stamps;
    for (const auto& [key, value] : *values) {
        const auto path = plainText(key);
        const std::string* stamp = value.asString();
        if (path && stamp != nullptr)
            stamps[*path] = *stamp;
    }
    return stamps;
}

bool WatchRecord::takeUp(const std::vector<std::string>& paths, const Clock& clock, Stamps& seen,
                         std::string& error) const {
    const Stamps kept = read();
    seen = settledStampsOf(paths, clock);
    for (auto& [path, stamp] : seen) {
        if (const auto known = kept.find(path); known != kept.end())
            stamp = known->second;
    }
    return write(seen, error);
}

bool WatchRecord::write(const Stamps& seen, std::string& error) const {
    PropertyList::Dictionary values;
    for (const auto& [path, stamp] : seen)
        values[quotedText(path)] = stamp; // a path may hold what a property list cannot
    if (const int fault = makeFolders(folder_); fault != 0) {
        error = folder_ + ": " + wordingOf(fault);
        return false;
    }
    const auto text = xmlPropertyList(values);
    if (text && writeFileAtomically(file_, *text, error))
        return true;
    error = file_ + ": " + error;
    return false;
}

bool WatchRecord::putAside() const {
    std::error_code fault;
    std::filesystem::rename(file_, aside_, fault);
    return !fault;
}

void WatchRecord::bringBack(const Clock& clock) const {
    std::string error;
    std::error_code ignored;
    const auto aside = fileStamp(aside_, error);
    if (!aside)
        return;
    // Renaming it has noted the moment.
    if (ageOf(aside->changed, clock) < kLongestAside && !std::filesystem::exists(file_, ignored))
        std::filesystem::rename(aside_, file_, ignored);
    else
        std::filesystem::remove(aside_, ignored);
}

} // namespace cutstack::launchctl
