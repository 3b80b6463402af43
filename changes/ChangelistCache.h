#pragma once

// The cache file of one project: the records of its versions, by file name, so that each pair of
// versions is compared once. The file also holds the version of the program that wrote it; records
// of another version are not trusted, and neither is a file in which anything is not as it should
// be.
//
// Several processes may use a cache file. Each writes only what it computed itself: under a lock
// the file is read again and the own records are put over what others wrote meanwhile.

#include "changes/VersionRecord.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace cutstack {

/// The records of a project by file name, in no order of their own.
using VersionRecords = std::map<std::string, VersionRecord, std::less<>>;

class ChangelistCache {
public:
    /// The cache in the file at `path`, which need not exist. `applicationVersion` is the version
    /// that the program's bundle states.
    ChangelistCache(std::string path, std::string applicationVersion)
        : path_(std::move(path)), applicationVersion_(std::move(applicationVersion)) {}

    /// What a load() found.
    enum class Found : unsigned char {
        nothing,      ///< there is no cache file
        records,      ///< records of this version of the program
        otherVersion, ///< records of another version; they are loaded as well
        damage        ///< a file that is no cache; nothing is loaded
    };

    /// Loads the records. What a damaged file suffers from is put into `damage`.
    [[nodiscard]] Found load(std::string& damage);

    /// Forgets all records; save() will not keep those in the file either.
    void reset();

    [[nodiscard]] const VersionRecords& records() const { return records_; }
    /// Whether there is a record of the file at `path`. Project folders of different stores that
    /// have the same name share a cache file; a record of another store's file is none of this one.
    [[nodiscard]] bool hasRecordOf(std::string_view path) const;
    void put(const std::string& fileName, VersionRecord record);
    /// Takes the record of a file away; save() takes it out of the file too.
    void remove(const std::string& fileName);

    /// Writes the file: the records that were put, over those in the file, without those that were
    /// removed. False with the reason in
    /// `error` when that fails; the file is as it was then.
    [[nodiscard]] bool save(std::string& error);

private:
    struct Content {
        Found found = Found::nothing;
        std::string damage;
        VersionRecords records;
    };
    [[nodiscard]] Content readContent() const;

    std::string path_;
    std::string applicationVersion_;
    VersionRecords records_;
    std::set<std::string, std::less<>> own_; ///< the file names of what was put or removed
    bool isReset_ = false;
};

} // namespace cutstack
