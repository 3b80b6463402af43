#pragma once

// The program's only channel to the editor: which version is installed, which projects it has open,
// exports of a project, its contents or one of its sequences, and the few things that it can be
// told to do. Everything here is an exchange of events (EventExchange.h).
//
// All functions are class functions without state, for any thread. They block until the editor has
// answered, which may include its start, or until the default time-out of an exchange has passed.
// None throws. A failure is a line on the console, an exception one in the log; the caller sees
// nothing, false or an empty list.
//
// Paths are those of project files; an item is named by the `uuid` that stands in an export or a
// table of contents.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fcp/EditorSequences.h"
#include "fcp/EditorServices.h"
#include "platform/SharedBytes.h"

namespace cutstack {

class ZTAppleEvents {
public:
    using Services = EditorServices;
    using Data = std::optional<SharedBytes>;
    using Text = std::optional<std::string>;

    /// installedEditorVersion().
    [[nodiscard]] static Text finalCutProVersionString(const Services& at = Services::ofProcess());
    /// majorVersionOf() the installed editor's version.
    [[nodiscard]] static int finalCutProMajorVersion(const Services& at = Services::ofProcess());
    /// maximumXMEMLVersionOf() the installed editor's version.
    [[nodiscard]] static int maximumXMEMLVersion(const Services& at = Services::ofProcess());

    /// The paths of the open projects in the editor's order; nothing when it does not run or does
    /// not answer. An entry that leads to no file ends the list.
    [[nodiscard]] static std::optional<std::vector<std::string>>
    listOfOpenFCPProjects(const Services& at = Services::ofProcess());

    /// A new UUID, such as "0A3D5C7E-1B2C-4D5E-8F90-A1B2C3D4E5F6".
    [[nodiscard]] static std::string generateUUID(const Services& at = Services::ofProcess());

    // Exports, in the version of XMEML that the editor writes by itself. Each first makes sure that
    // the editor has the project open. With `launchFCP` the editor is started and told to open the
    // project as need be; without it an editor that does not run, or a project that is not open, is
    // a failure. A project that was opened for the export is closed again, with its changes saved,
    // when `closesProject` is set; one that was open stays so. Nothing on failure, also for an
    // export without content. The texts are nothing also for bytes that are not UTF-8.

    /// The project's table of contents. The editor is not brought to the front.
    [[nodiscard]] static Data getTOCData(const std::string& path, bool launchFCP,
                                         const Services& at = Services::ofProcess());
    [[nodiscard]] static Text getTOC(const std::string& path, bool launchFCP,
                                     const Services& at = Services::ofProcess());
    [[nodiscard]] static Text getTOC(const std::string& path,
                                     const Services& at = Services::ofProcess());

    /// The whole project.
    [[nodiscard]] static Data getProjectXMLData(const std::string& path, bool launchFCP,
                                                bool closesProject,
                                                const Services& at = Services::ofProcess());
    [[nodiscard]] static Data getProjectXMLData(const std::string& path, bool launchFCP,
                                                const Services& at = Services::ofProcess());
    [[nodiscard]] static Text getProjectXML(const std::string& path, bool launchFCP,
                                            bool closesProject,
                                            const Services& at = Services::ofProcess());
    [[nodiscard]] static Text getProjectXML(const std::string& path, bool launchFCP,
                                            const Services& at = Services::ofProcess());
    [[nodiscard]] static Text getProjectXML(const std::string& path,
                                            const Services& at = Services::ofProcess());

    /// One item of the project.
    [[nodiscard]] static Data getItemXMLData(const std::string& item, const std::string& path,
                                             bool launchFCP, bool closesProject,
                                             const Services& at = Services::ofProcess());
    [[nodiscard]] static Data getItemXMLData(const std::string& item, const std::string& path,
                                             bool launchFCP,
                                             const Services& at = Services::ofProcess());
    [[nodiscard]] static Text getItemXML(const std::string& item, const std::string& path,
                                         bool launchFCP, bool closesProject,
                                         const Services& at = Services::ofProcess());
    [[nodiscard]] static Text getItemXML(const std::string& item, const std::string& path,
                                         bool launchFCP,
                                         const Services& at = Services::ofProcess());
    [[nodiscard]] static Text getItemXML(const std::string& item, const std::string& path,
                                         const Services& at = Services::ofProcess());

    /// readEditorSequences() of the project's table of contents, or of the whole project where the
    /// editor is of version 6 or less; starts the editor if need be. Nothing without an export and
    /// for one that cannot be parsed.
    [[nodiscard]] static std::optional<std::vector<EditorSequence>>
    sequencesInProject(const std::string& path, const Services& at = Services::ofProcess());

    /// Shows the item in the editor, which is made to have the project open as for an export.
    static void openItem(const std::string& item, const std::string& path, bool launchFCP,
                         const Services& at = Services::ofProcess());

    /// Closes the project, with its changes saved or dropped.
    static void closeProject(const std::string& path, bool saveChanges,
                             const Services& at = Services::ofProcess());

    /// Saves the project. Returns whether the editor took the event.
    [[nodiscard]] static bool saveProject(const std::string& path,
                                          const Services& at = Services::ofProcess());

    /// Imports `xml`, escaped with escapeCharactersInXMLString(), into the project. Returns whether
    /// the editor took the event; without a file at `projectPath` it goes to no project.
    [[nodiscard]] static bool sendXMLToFCP(std::string_view xml, const std::string& projectPath,
                                           const Services& at = Services::ofProcess());
};

} // namespace cutstack
