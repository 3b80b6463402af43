#include "changes/ExportReader.h"

#include "support/AtomicFile.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

namespace cutstack {

namespace {
constexpr std::size_t kLargestExport = std::numeric_limits<std::int32_t>::max();
} // namespace

/// The stamp is taken before the bytes: a file that changes meanwhile is read again the next time.
ExportReader::Kept ExportReader::readNow(const std::string& path) {
    std::string reason;
    Kept kept{path, fileStamp(path, reason).value_or(FileStamp()), {}};
    auto bytes = readFile(path, kLargestExport, reason);
    if (!bytes) {
        kept.reading.unreadable = reason;
        return kept;
    }
    XmlError fault;
    kept.reading.document = XmemlDocument::parse(*std::move(bytes), fault);
    if (kept.reading.document == nullptr)
        kept.reading.malformed = fault.description();
    return kept;
}

/// What was read ahead, or what is read now.
ExportReader::Kept ExportReader::arrived(const std::string& path) {
    const auto coming = std::ranges::find(coming_, path, &Coming::path);
    if (coming == coming_.end())
        return readNow(path);
    Kept kept = coming->kept.get();
    coming_.erase(coming);
    return kept;
}

ExportReading ExportReader::read(const std::string& path) {
    std::string reason;
    const auto isUnchanged = [&](const Kept& kept) {
        return kept.path == path && kept.reading.document != nullptr &&
               fileStamp(path, reason) == kept.stamp;
    };
    auto kept = std::ranges::find_if(kept_, isUnchanged);
    if (kept == kept_.end()) {
        Kept fresh = arrived(path);
        if (fileStamp(path, reason) != fresh.stamp)
            fresh = readNow(path);
        kept_.push_front(std::move(fresh));
        kept = kept_.begin();
    }
    ExportReading reading = kept->reading;
    while (kept_.size() > kKept)
        kept_.pop_back();
    return reading;
}

bool ExportReader::isKnown(const std::string& path) const {
    return std::ranges::find(kept_, path, &Kept::path) != kept_.end() ||
           std::ranges::find(coming_, path, &Coming::path) != coming_.end();
}

void ExportReader::readAhead(std::span<const std::string> paths) {
    for (const std::string& path : paths) {
        if (coming_.size() >= kReadAhead)
            return;
        if (!isKnown(path))
            coming_.push_back({path, std::async(std::launch::async, &ExportReader::readNow, path)});
    }
}

void ExportReader::forget() {
    coming_.clear();
    kept_.clear();
}

} // namespace cutstack
