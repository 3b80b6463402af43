#include "support/UserDefaults.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "support/AtomicFile.h"
#include "support/FileLock.h"
#include "support/PropertyListReading.h"
#include "support/PropertyListWriting.h"

namespace cutstack {

namespace {

constexpr std::size_t kLargestPreferencesFile = std::size_t{256} << 20;

std::string wordingOf(int fault) { return std::generic_category().message(fault); }

/// Whether there is no such file; a link that leads nowhere is none.
bool isMissing(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) != 0 && errno == ENOENT;
}

bool isNameFree(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

/// The dictionary in the file; nothing, with the reason in `error`, when there is none.
std::optional<PropertyList> readDictionary(const std::string& path, std::string& error) {
    auto bytes = readFile(path, kLargestPreferencesFile, error);
    if (!bytes)
        return std::nullopt;
    auto list = readPropertyList(*std::move(bytes), error);
    if (list && list->asDictionary() == nullptr) {
        error = "the property list is no dictionary";
        return std::nullopt;
    }
    return list;
}

/// Makes the folder of `file` when it is missing; errno's number, 0 for success.
int makeFolderOf(const std::filesystem::path& file) {
    std::error_code fault;
    if (file.has_parent_path())
        std::filesystem::create_directories(file.parent_path(), fault);
    return fault.value();
}

/// Whether the change can be written: XML has no form for some texts.
bool isWritable(const std::string& key, const std::optional<PropertyList>& value) {
    return !value || xmlPropertyList(PropertyList::Dictionary{{key, *value}});
}

/// Renames a file to a name that nothing has; false with errno set, EEXIST when something has it.
bool renameToFreeName(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL)
        return false;
    // Not every file system has that call; there the lock has to be enough.
    if (!isNameFree(to)) {
        errno = EEXIST;
        return false;
    }
    return ::rename(from.c_str(), to.c_str()) == 0;
}

/// Puts a file aside under the first free "-N"; its new path, or nothing with errno set.
std::optional<std::string> putAside(const std::string& path) {
    for (int number = 1;; ++number) {
        const std::string aside = path + ".damaged-" + std::to_string(number);
        if (renameToFreeName(path, aside))
            return aside;
        if (errno != EEXIST)
            return std::nullopt;
    }
}

} // namespace

std::optional<PropertyList> readPreferencesFile(const std::string& path) {
    std::string unsaid;
    return readDictionary(path, unsaid);
}

UserDefaults::UserDefaults(std::string path) : path_(std::move(path)) {
    if (auto list = readPreferencesFile(path_))
        stored_ = std::move(*list->asDictionary());
}

void UserDefaults::registerDefaults(const PropertyList::Dictionary& defaults) {
    const std::scoped_lock lock(guard_);
    for (const auto& [key, value] : defaults)
        registered_.insert_or_assign(key, value);
}

std::optional<PropertyList> UserDefaults::objectForKey(std::string_view key) const {
    const std::scoped_lock lock(guard_);
    const auto registered = registered_.find(key);
    const auto fallback =
        registered == registered_.end() ? std::nullopt : std::optional(registered->second);
    for (const Changes* changes : {&pending_, &writing_})
        if (const auto change = changes->find(key); change != changes->end())
            return change->second ? change->second : fallback;
    const auto stored = stored_.find(key);
    return stored == stored_.end() ? fallback : stored->second;
}

std::int64_t UserDefaults::integerForKey(std::string_view key) const {
    const auto value = objectForKey(key);
    return value ? value->integerValue() : 0;
}

bool UserDefaults::boolForKey(std::string_view key) const {
    const auto value = objectForKey(key);
    return value && value->booleanValue();
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
    const auto value = objectForKey(key);
    const std::string* text = value ? value->asString() : nullptr;
    return text == nullptr ? std::nullopt : std::optional(*text);
}

void UserDefaults::change(std::string_view key, std::optional<PropertyList> value) {
    const std::scoped_lock lock(guard_);
    pending_.insert_or_assign(std::string(key), std::move(value));
}

void UserDefaults::setObject(PropertyList value, std::string_view key) {
    change(key, std::move(value));
}

void UserDefaults::removeObject(std::string_view key) { change(key, std::nullopt); }

Synchronization UserDefaults::synchronize() {
    const std::scoped_lock oneAtATime(synchronizing_);
    {
        const std::scoped_lock lock(guard_);
        writing_ = std::exchange(pending_, {});
    }
    // Others only read writing_ and stored_, so that reading them here needs no guard.
    Synchronization result;
    auto values = writing_.empty() ? readAgain(result) : writeChanges(result);
    const std::scoped_lock lock(guard_);
    if (values) {
        stored_ = *std::move(values);
        std::erase_if(writing_,
                      [](const auto& entry) { return isWritable(entry.first, entry.second); });
    }
    pending_.merge(writing_); // what was changed again meanwhile stays as it is
    writing_.clear();
    return result;
}

std::optional<PropertyList::Dictionary> UserDefaults::readAgain(Synchronization& result) const {
    if (isMissing(path_))
        return PropertyList::Dictionary();
    std::string reason;
    auto list = readDictionary(path_, reason);
    if (!list) {
        result.error = path_ + ": " + reason;
        return std::nullopt;
    }
    return std::move(*list->asDictionary());
}

std::optional<PropertyList::Dictionary> UserDefaults::writeChanges(Synchronization& result) const {
    if (const int fault = makeFolderOf(path_); fault != 0) {
        result.error = path_ + ": " + wordingOf(fault);
        return std::nullopt;
    }
    const FileLock lock(path_);
    if (lock.fault() != 0) {
        result.error = path_ + ": cannot be locked: " + wordingOf(lock.fault());
        return std::nullopt;
    }
    auto values = mergedWithFile(result);
    return replaceFile(values, result) ? std::optional(std::move(values)) : std::nullopt;
}

PropertyList::Dictionary UserDefaults::mergedWithFile(Synchronization& result) const {
    Synchronization reading;
    auto read = readAgain(reading);
    result.damage = reading.error;
    PropertyList::Dictionary values = read ? *std::move(read) : stored_;
    for (const auto& [key, value] : writing_) {
        if (!isWritable(key, value))
            result.error = path_ + ": the value of " + key + " cannot be written";
        else if (value)
            values.insert_or_assign(key, *value);
        else
            values.erase(key);
    }
    return values;
}

bool UserDefaults::replaceFile(const PropertyList::Dictionary& values,
                               Synchronization& result) const {
    const auto xml = xmlPropertyList(values);
    if (!xml) {
        result.error = path_ + ": has values that cannot be written as XML";
        return false;
    }
    if (!result.damage.empty()) {
        const auto aside = putAside(path_);
        if (!aside) {
            result.error = path_ + ": cannot be put aside: " + wordingOf(errno);
            return false;
        }
        result.damagedFile = *aside;
    }
    std::string reason;
    if (writeFileAtomically(path_, *xml, reason))
        return true;
    result.error = path_ + ": " + reason;
    if (!result.damagedFile.empty() && renameToFreeName(result.damagedFile, path_))
        result.damagedFile.clear();
    return false;
}

} // namespace cutstack
