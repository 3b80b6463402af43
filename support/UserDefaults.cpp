#include "support/UserDefaults.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/SystemErrors.h"
#include "support/AtomicFile.h"
#include "support/FileLock.h"
#include "support/PropertyListReading.h"
#include "support/PropertyListWriting.h"

namespace cutstack {

namespace {

constexpr std::size_t kLargestPreferencesFile = std::size_t{256} << 20;

bool isNameTaken(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

/// What a look into a preferences file gave.
struct Reading {
    enum class Outcome {
        values,
        missing,    ///< a link that leads nowhere is no file
        unreadable, ///< nothing is known of what it holds
        damaged,    ///< it was read, and holds no dictionary
    };

    Outcome outcome = Outcome::missing;
    PropertyList::Dictionary values; ///< empty unless there are values
    std::string reason;              ///< for an unreadable or damaged file

    [[nodiscard]] bool isUnderstood() const {
        return outcome == Outcome::values || outcome == Outcome::missing;
    }
};

Reading readDictionary(const std::string& path) {
    int fault = 0;
    auto bytes = readFile(path, kLargestPreferencesFile, fault);
    if (!bytes && fault == ENOENT)
        return {};
    if (!bytes)
        return {Reading::Outcome::unreadable, {}, wordingOf(fault)};
    std::string reason = "the property list is no dictionary";
    auto list = readPropertyList(*std::move(bytes), reason);
    if (!list || list->asDictionary() == nullptr)
        return {Reading::Outcome::damaged, {}, std::move(reason)};
    return {Reading::Outcome::values, std::move(*list->asDictionary()), {}};
}

/// Whether the change can be written: XML has no form for some texts.
bool isWritable(const std::string& key, const std::optional<PropertyList>& value) {
    return !value || xmlPropertyList(PropertyList::Dictionary{{key, *value}});
}

/// Gives a file a second name that nothing has; false with errno set, EEXIST when something has it.
bool keepAs(const std::string& file, const std::string& name) {
    if (::link(file.c_str(), name.c_str()) == 0)
        return true;
    // Where a file cannot have two names it gets the new one for its own; there the lock has to be
    // enough for nobody to take the name.
    if (errno == EEXIST || isNameTaken(name)) {
        errno = EEXIST;
        return false;
    }
    return ::rename(file.c_str(), name.c_str()) == 0;
}

/// Undoes keepAs(). Renaming one name of a file to the other does nothing.
bool takeBack(const std::string& name, const std::string& file) {
    return ::rename(name.c_str(), file.c_str()) == 0 &&
           (::unlink(name.c_str()) == 0 || errno == ENOENT);
}

/// Puts a file aside under the first free "-N"; its name there, or nothing with errno set. Until
/// the file is replaced it mostly stays where it is, too.
std::optional<std::string> putAside(const std::string& file) {
    for (int number = 1;; ++number) {
        const std::string aside = file + ".damaged-" + std::to_string(number);
        if (keepAs(file, aside))
            return aside;
        if (errno != EEXIST)
            return std::nullopt;
    }
}

} // namespace

std::optional<PropertyList> readPreferencesFile(const std::string& path) {
    Reading reading = readDictionary(path);
    if (reading.outcome != Reading::Outcome::values)
        return std::nullopt;
    return std::move(reading.values);
}

UserDefaults::UserDefaults(std::string path) : path_(std::move(path)) {
    stored_ = readDictionary(path_).values;
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
        writing_.swap(pending_);
    }
    Synchronization result;
    try {
        bringTogether(result);
    } catch (const std::exception& exception) {
        result.error = exception.what(); // alone, as memory may be what is missing
    }
    const std::scoped_lock lock(guard_);
    pending_.merge(writing_); // what was changed again meanwhile stays as it is
    writing_.clear();
    return result;
}

void UserDefaults::bringTogether(Synchronization& result) {
    // Others only read writing_ and stored_, so that reading them here needs no guard.
    auto values = writing_.empty() ? readAgain(result) : writeChanges(result);
    if (!values)
        return;
    const std::scoped_lock lock(guard_);
    stored_ = *std::move(values);
    std::erase_if(writing_,
                  [](const auto& entry) { return isWritable(entry.first, entry.second); });
}

std::optional<PropertyList::Dictionary> UserDefaults::readAgain(Synchronization& result) const {
    Reading reading = readDictionary(path_);
    if (reading.isUnderstood())
        return std::move(reading.values);
    result.error = path_ + ": " + reading.reason;
    return std::nullopt;
}

std::optional<PropertyList::Dictionary> UserDefaults::writeChanges(Synchronization& result) const {
    const auto file = endOfLinks(path_);
    if (!file) {
        result.error = path_ + ": " + wordingOf(errno);
        return std::nullopt;
    }
    if (const int fault = makeFolders(std::filesystem::path(*file).parent_path()); fault != 0) {
        result.error = path_ + ": " + wordingOf(fault);
        return std::nullopt;
    }
    const FileLock lock(*file);
    if (lock.fault() != 0) {
        result.error = path_ + ": cannot be locked: " + wordingOf(lock.fault());
        return std::nullopt;
    }
    auto values = mergedWithFile(*file, result);
    return values && replaceFile(*file, *values, result) ? std::move(values) : std::nullopt;
}

std::optional<PropertyList::Dictionary>
UserDefaults::mergedWithFile(const std::string& file, Synchronization& result) const {
    Reading reading = readDictionary(file);
    if (reading.outcome == Reading::Outcome::unreadable) {
        result.error = path_ + ": " + reading.reason;
        return std::nullopt;
    }
    if (reading.outcome == Reading::Outcome::damaged) {
        result.damage = path_ + ": " + reading.reason;
        reading.values = stored_;
    }
    for (const auto& [key, value] : writing_) {
        if (!isWritable(key, value))
            result.error = path_ + ": the value of " + key + " cannot be written";
        else if (value)
            reading.values.insert_or_assign(key, *value);
        else
            reading.values.erase(key);
    }
    return std::move(reading.values);
}

/// The values as XML; those that XML cannot carry, which other programs have put into the file,
/// are dropped and named as its damage.
std::optional<std::string> UserDefaults::xmlOf(PropertyList::Dictionary& values,
                                               Synchronization& result) const {
    if (auto xml = xmlPropertyList(values))
        return xml;
    std::erase_if(values, [&](const auto& entry) {
        const bool isDropped = !isWritable(entry.first, entry.second);
        if (isDropped && result.damage.empty())
            result.damage = path_ + ": the value of " + entry.first + " cannot be written as XML";
        return isDropped;
    });
    return xmlPropertyList(values);
}

bool UserDefaults::replaceFile(const std::string& file, PropertyList::Dictionary& values,
                               Synchronization& result) const {
    const auto xml = xmlOf(values, result);
    if (!xml) {
        result.error = path_ + ": has values that cannot be written as XML";
        return false;
    }
    if (!result.damage.empty()) {
        const auto aside = putAside(file);
        if (!aside) {
            result.error = path_ + ": cannot be put aside: " + wordingOf(errno);
            return false;
        }
        result.damagedFile = *aside;
    }
    std::string reason;
    if (writeFileAtomically(file, *xml, reason))
        return true;
    result.error = path_ + ": " + reason;
    if (!result.damagedFile.empty() && takeBack(result.damagedFile, file))
        result.damagedFile.clear();
    return false;
}

} // namespace cutstack
