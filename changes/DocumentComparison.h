#pragma once

// The comparison of two exports: two walks in document order, one through the new document and one
// through the base document, kept in step where something was added or removed.
//
//      new    xmeml  sequence  name  ...  clipitem A  clipitem X  clipitem B  ...
//                                             |           |   \_ B is found again here
//      base   xmeml  sequence  name  ...  clipitem A  clipitem B  ...
//
// A leaf element that both walks meet under the same name with another value becomes a sentence of
// ChangeDescriptions, an element that only the new document has one of AdditionSentences; after the
// walk come the elements whose UUID is gone. Elements are recognised by their `uuid` and `id`, not
// by their place.
//
// A comparison reads both documents and nothing else. It may run on any thread, and several at once
// on the same documents.

#include "changes/ComparisonHost.h"
#include "changes/IdentityList.h"
#include "changes/XmemlDocument.h"

#include <optional>
#include <string>
#include <vector>

namespace cutstack {

using Changelist = std::vector<std::string>;

/// The sentences that tell what changed from `baseDoc` to `newDoc`, in the order of the new
/// document and removals last; never empty for two documents ("No change", "No notable changes").
///
/// The lists are every `uuid` and every `id` of the two documents; those called old may come from
/// the comparison before instead. A missing document gives an empty changelist. Returns nothing
/// when the user cancelled, which is not the same as nothing changed. When the sentences together
/// grow beyond 16 MB, names and values of more than 200 bytes are cut in those that follow.
[[nodiscard]] std::optional<Changelist>
changeListForXMLDoc(const XmemlDocument* newDoc, const XmemlDocument* baseDoc,
                    IdentityValues oldUUIDList, IdentityValues oldIDList,
                    IdentityValues newUUIDList, IdentityValues newIDList, ComparisonHost& host);

/// The same with the documents' own lists.
[[nodiscard]] std::optional<Changelist> changeListForXMLDoc(const XmemlDocument& newDoc,
                                                            const XmemlDocument& baseDoc,
                                                            ComparisonHost& host);

} // namespace cutstack
