#pragma once

// Importing items into a project: reading what somebody sent, making it fit, and putting it into
// the project's document. Everything that was there stays byte by byte. Pure but for the UUIDs
// that it is given; any thread.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack::projecthost {

/// Two numeric references that are the halves of one character become one reference: senders
/// escape texts by UTF-16 units ("&#55357;&#56832;"), which XML knows nothing of.
[[nodiscard]] std::string joinSurrogateReferences(std::string_view xml);

/// The items of an XMEML document: its sequences, clips and bins, those of its projects included,
/// as they stand in it. On failure nothing, with the reason in `error`: it is no well-formed XMEML,
/// or holds no item.
[[nodiscard]] std::optional<std::string> readImport(std::string xml, std::string& error);

/// `items`, as readImport() gives them, made fit for the document `project`: ids that the project
/// uses for something of its own are replaced, with the references to them, and an item whose UUID
/// the project has gets a new one, as every item that is imported onto itself does.
/// REQUIRES: `project` is well-formed.
[[nodiscard]] std::string fitImport(const std::string& items, std::string_view project,
                                    const std::function<std::string()>& newUuid);

/// `project` with `imports` at its end: in its first project element, or else in its root. Nothing
/// when its root is no `xmeml`.
/// REQUIRES: `project` is well-formed.
[[nodiscard]] std::optional<std::string> withImports(std::string_view project,
                                                     const std::vector<std::string>& imports);

/// `project`, whose bytes are UTF-8 by now, with a declaration that says so, if it says anything.
[[nodiscard]] std::string withStatedUtf8(std::string project);

} // namespace cutstack::projecthost
