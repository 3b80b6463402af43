#include "changes/ChangelistCache.h"

#include "support/AtomicFile.h"
#include "support/FileLock.h"
#include "support/FolderListing.h"
#include "support/PropertyListReading.h"
#include "support/PropertyListWriting.h"

#include <cstddef>
#include <filesystem>
#include <system_error>
#include <utility>

namespace cutstack {

namespace {

constexpr std::string_view kVersionKey = "version";
constexpr std::size_t kLargestCache = std::size_t{1} << 30U;

} // namespace

ChangelistCache::Content ChangelistCache::readContent() const {
    std::error_code missing;
    if (!std::filesystem::exists(path_, missing))
        return {};
    Content content{Found::damage, {}, {}};
    auto bytes = readFile(path_, kLargestCache, content.damage);
    auto list = bytes ? readPropertyList(*std::move(bytes), content.damage) : std::nullopt;
    PropertyList::Dictionary* entries = list ? list->asDictionary() : nullptr;
    if (list && entries == nullptr)
        content.damage = "it is no dictionary";
    if (entries == nullptr)
        return content;
    bool sameVersion = false;
    for (auto& [name, entry] : *entries) {
        if (name == kVersionKey && entry.asDictionary() == nullptr) {
            sameVersion = entry == PropertyList(applicationVersion_);
            continue;
        }
        auto record = versionRecordFrom(std::move(entry));
        if (!record)
            return {Found::damage, "the record of " + name + " is incomplete", {}};
        content.records.emplace(name, *std::move(record));
    }
    content.found = sameVersion ? Found::records : Found::otherVersion;
    return content;
}

ChangelistCache::Found ChangelistCache::load(std::string& damage) {
    Content content = readContent();
    damage = std::move(content.damage);
    records_ = std::move(content.records);
    return content.found;
}

void ChangelistCache::reset() {
    records_.clear();
    own_.clear();
    isReset_ = true;
}

bool ChangelistCache::hasRecordOf(std::string_view path) const {
    const auto record = records_.find(fileNameOf(path));
    return record != records_.end() && record->second.file == path;
}

void ChangelistCache::put(const std::string& fileName, VersionRecord record) {
    records_.insert_or_assign(fileName, std::move(record));
    own_.insert(fileName);
}

void ChangelistCache::remove(const std::string& fileName) {
    records_.erase(fileName);
    own_.insert(fileName);
}

bool ChangelistCache::save(std::string& error) {
    const FileLock lock(path_);
    if (!isReset_) {
        Content content = readContent();
        if (content.found != Found::records)
            content.records.clear();
        // What is no longer in the file was removed by somebody: it must not come back.
        std::erase_if(records_, [this](const auto& entry) { return !own_.contains(entry.first); });
        for (auto& [name, record] : content.records)
            if (!own_.contains(name))
                records_.insert_or_assign(name, std::move(record));
    }
    PropertyList::Dictionary entries;
    for (const auto& [name, record] : records_)
        entries.emplace_hint(entries.end(), name, propertyListOf(record));
    entries.insert_or_assign(std::string(kVersionKey), applicationVersion_);
    auto text = xmlPropertyList(entries);
    if (!text) {
        // A name or a sentence that XML has no form for: its record is computed anew each time.
        std::erase_if(entries, [](const auto& entry) {
            return !xmlPropertyList(PropertyList::Dictionary{{entry.first, entry.second}});
        });
        text = xmlPropertyList(entries);
    }
    if (!text) {
        error = "the records cannot be written as XML";
        return false;
    }
    return writeFileAtomically(path_, *text, error);
}

} // namespace cutstack
