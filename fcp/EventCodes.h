#pragma once

// The codes of the editor's events: its signature, what it can be asked for, and the keywords of
// what goes with a question and with its answer. Constants.

#include <string_view>

#include "platform/Event.h"

namespace cutstack {

/// By this the system finds the editor's bundle and its process.
inline constexpr std::string_view kEditorIdentifier = "com.apple.FinalCutPro";

/// The editor's signature, which is also the class of all its events.
inline constexpr auto kEditorSignature = fourCharCode("KeyG");

namespace EditorEvent {
inline constexpr auto listOpenProjects = fourCharCode("fcLP");
inline constexpr auto exportTableOfContents = fourCharCode("eTCX");
inline constexpr auto exportProject = fourCharCode("eXML");
inline constexpr auto exportItem = fourCharCode("gXML");
inline constexpr auto openItem = fourCharCode("fcOI");
inline constexpr auto closeProject = fourCharCode("cfcP");
inline constexpr auto saveProject = fourCharCode("sfcP");
inline constexpr auto importXml = fourCharCode("iXML");
} // namespace EditorEvent

namespace EditorKey {
inline constexpr auto project = fourCharCode("fcpP");         ///< the project's file, 'fsrf'
inline constexpr auto projectUrl = fourCharCode("fcpU");      ///< its path, percent-escaped, 'furl'
inline constexpr auto item = fourCharCode("fcIU");            ///< an item's identifier, 'utf8'
inline constexpr auto closeFlag = fourCharCode("fcCF");       ///< 'long': 1 without saving, 0 saves
inline constexpr auto overwriteFlag = fourCharCode("fsOF");   ///< 'bool', always true
inline constexpr auto xml = fourCharCode("xmlD");             ///< to import or exported, 'utf8'
inline constexpr auto openProjects = fourCharCode("fcOP");    ///< in a reply: 'list' of 'reco'
inline constexpr auto openProjectFile = fourCharCode("fcPf"); ///< in each of those, 'fsrf'
} // namespace EditorKey

} // namespace cutstack
