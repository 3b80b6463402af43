#pragma once

// What is known of one version of a project: the file in the version store, and the sentences that
// tell what changed since the version before. In a cache file a record is a dictionary. Values; any
// thread.

#include "changes/DocumentComparison.h"
#include "support/PropertyList.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack {

inline constexpr std::string_view kXmlType = "xml"; ///< an XML copy
inline constexpr std::string_view kFcpType = "fcp"; ///< a project copy

struct VersionRecord {
    Changelist changelist;
    std::string version; ///< the number as the file name has it: "00012"
    PropertyListDate date;
    std::string size; ///< for people: "1.20 MB"; empty when it is not known
    std::string file; ///< the full path
    std::string type; ///< kXmlType or kFcpType
    /// The XML copy was too large to be compared.
    bool noProcess = false;

    bool operator==(const VersionRecord&) const = default;
};

/// The versions of a project as they are shown, the newest first. Shared, never changed.
using VersionArray = std::shared_ptr<const std::vector<VersionRecord>>;

/// The record as a dictionary, and back. A dictionary in which a value is missing or of a wrong
/// kind is no record; keys that are not known don't matter.
[[nodiscard]] PropertyList propertyListOf(const VersionRecord& record);
[[nodiscard]] std::optional<VersionRecord> versionRecordFrom(PropertyList&& dictionary);

} // namespace cutstack
