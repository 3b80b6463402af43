#pragma once

// A program's user settings, kept in one property list in the preferences folder. UserDefaults
// looks a key up in this process's own changes, then in the file as it was last read, then in the
// registered defaults, which are never written.
//
// Other programs and other processes of this one write the same file. synchronize() therefore
// never writes what it once read: under a lock it reads the file anew and applies only the keys
// that this process has changed, so that everyone else's keys survive. Runs without a window
// change nothing and read the file with readPreferencesFile().
//
// One UserDefaults may be used by any number of threads at once; readers do not wait for a
// synchronize() that is at work on the disk.

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "support/PropertyList.h"

namespace cutstack {

/// The dictionary in the preferences file at `path`; nothing when the file is missing, cannot be
/// read, or holds no dictionary.
[[nodiscard]] std::optional<PropertyList> readPreferencesFile(const std::string& path);

/// What came of a synchronize().
struct Synchronization {
    /// Why something could not be read or written; empty when all went well. Changes that did not
    /// reach the file are still pending.
    std::string error;
    /// What in the file that was to be written over could not be understood or kept, and where the
    /// file was put aside. Empty mostly.
    std::string damage;
    std::string damagedFile;
};

class UserDefaults {
public:
    /// Settings kept in the file at `path`, which need not exist, read now.
    explicit UserDefaults(std::string path);

    /// Adds values for keys that are stored nowhere; replaces earlier ones of the same keys.
    void registerDefaults(const PropertyList::Dictionary& defaults);

    [[nodiscard]] std::optional<PropertyList> objectForKey(std::string_view key) const;
    /// PropertyList::integerValue(), 0 for an absent key.
    [[nodiscard]] std::int64_t integerForKey(std::string_view key) const;
    /// PropertyList::booleanValue(), false for an absent key.
    [[nodiscard]] bool boolForKey(std::string_view key) const;
    /// Nothing when the key is absent or its value no string.
    [[nodiscard]] std::optional<std::string> stringForKey(std::string_view key) const;

    /// Changes a value; in memory until the next synchronize().
    void setObject(PropertyList value, std::string_view key);
    /// Takes a stored value away, which uncovers the registered one.
    void removeObject(std::string_view key);

    /// Brings file and memory together: reads what others wrote, and writes the pending changes if
    /// there are any, making the folder when it is missing.
    ///
    /// A file that cannot be read is left alone, and all changes stay pending. One that can be
    /// read but not understood is never overwritten: it is put aside as "NAME.damaged-1" (or -2,
    /// ...), and a new one is written from what was last read of it. With nothing to write it
    /// stays where it is. Through a symbolic link all of this happens to the file that it leads to.
    ///
    /// A changed value that XML cannot carry stays pending and is named in the result; the other
    /// changes are written. Where another program's value is such a one the file is put aside like
    /// a damaged one, and the new one has all the other values.
    [[nodiscard]] Synchronization synchronize();

private:
    /// A change that the file does not have yet: a new value, or none for a removal.
    using Changes = std::map<std::string, std::optional<PropertyList>, std::less<>>;

    void change(std::string_view key, std::optional<PropertyList> value);

    // The steps of a synchronize(), with synchronizing_ held. readAgain() and writeChanges() return
    // what the file holds then; who fails leaves the reason in `result`. `file` is what path_ leads
    // to.
    void bringTogether(Synchronization& result);
    std::optional<PropertyList::Dictionary> readAgain(Synchronization& result) const;
    std::optional<PropertyList::Dictionary> writeChanges(Synchronization& result) const;
    std::optional<PropertyList::Dictionary> mergedWithFile(const std::string& file,
                                                           Synchronization& result) const;
    std::optional<std::string> xmlOf(PropertyList::Dictionary& values,
                                     Synchronization& result) const;
    bool replaceFile(const std::string& file, PropertyList::Dictionary& values,
                     Synchronization& result) const;

    const std::string path_;
    std::mutex synchronizing_; ///< taken before guard_
    mutable std::mutex guard_; ///< of everything below
    Changes pending_;
    Changes writing_; ///< what a synchronize() at work is writing; older than pending_
    PropertyList::Dictionary stored_; ///< the file as it was last read; changed as writing_ is
    PropertyList::Dictionary registered_;
};

} // namespace cutstack
