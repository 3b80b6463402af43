#pragma once

// How cutstackctl prints versions and projects: for people, or as JSON for programs.

#include "changes/VersionRecord.h"
#include "platform/Clock.h"
#include "store/VersionStore.h"

#include <ostream>
#include <vector>

namespace cutstack::cutstackctl {

/// Prints each version with its sentences. Dates are in the zone of `clock`. With `coloured`, the
/// heads of versions stand out on a terminal.
void printVersions(std::ostream& out, const std::vector<VersionRecord>& versions,
                   const Clock& clock, bool coloured);

/// Prints each version as one JSON object on one line:
///
///     {"project": "Promo.fcp", "version": "00007", "number": 7, "date": "2026-11-20T13:03:12Z",
///      "type": "xml", "size": "1.20 MB", "file": "/.../Promo.00007.xml", "compared": true,
///      "changes": ["..."]}
///
/// "size" is null when it is not known; "compared" is false for an XML copy that is too large.
/// Bytes that are no UTF-8 become U+FFFD. Keys may be added, but none will change or go.
void printVersionsAsJson(std::ostream& out, const std::vector<VersionRecord>& versions,
                         const std::string& project);

void printProjects(std::ostream& out, const std::vector<StoredProject>& projects);

/// Prints {"project": "Promo.fcp", "folder": "/.../Promo.fcp"}, a line each.
void printProjectsAsJson(std::ostream& out, const std::vector<StoredProject>& projects);

} // namespace cutstack::cutstackctl
