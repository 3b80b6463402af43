#include "tools/cutstackctl/HistoryOutput.h"

#include "store/VersionNames.h"
#include "support/DateDescription.h"
#include "support/Format.h"
#include "tools/SentenceOutput.h"
#include "tools/cutstackctl/Messages.h"

#include <nlohmann/json.hpp>

namespace cutstack::cutstackctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kYellow = "\x1b[33m";
constexpr std::string_view kPlain = "\x1b[0m";

std::string headOf(const VersionRecord& version, const Clock& clock) {
    const std::string date = dateDescription(version.date, clock.zoneOffset(version.date));
    const std::string_view kind = version.type == kXmlType ? "XML copy" : "project copy";
    return formatString("Version %@, %@, %@%@%@", {version.version, date, kind,
                                                   version.size.empty() ? "" : ", ", version.size});
}

std::string isoDate(PropertyListDate date) {
    return dateDescription(date, std::chrono::seconds(0)).replace(10, 1, "T").replace(19, 6, "Z");
}

} // namespace

void printVersions(std::ostream& out, const std::vector<VersionRecord>& versions,
                   const Clock& clock, bool coloured) {
    for (const VersionRecord& version : versions) {
        if (&version != &versions.front())
            out << '\n';
        out << (coloured ? kYellow : "") << onOneLine(headOf(version, clock))
            << (coloured ? kPlain : "") << '\n';
        for (const std::string& sentence : version.changelist)
            out << "    " << onOneLine(sentence) << '\n';
    }
}

void printVersionsAsJson(std::ostream& out, const std::vector<VersionRecord>& versions,
                         const std::string& project) {
    for (const VersionRecord& version : versions)
        printJsonLine(out, {{"project", project},
                            {"version", version.version},
                            {"number", versionNumberOfFile(version.file)},
                            {"date", isoDate(version.date)},
                            {"type", version.type},
                            {"size", version.size.empty() ? Json(nullptr) : Json(version.size)},
                            {"file", version.file},
                            {"compared", !version.noProcess},
                            {"changes", version.changelist}});
}

void printProjects(std::ostream& out, const std::vector<StoredProject>& projects) {
    for (const StoredProject& project : projects)
        out << onOneLine(project.name) << '\n';
}

void printProjectsAsJson(std::ostream& out, const std::vector<StoredProject>& projects) {
    for (const StoredProject& project : projects)
        printJsonLine(out, {{"project", project.name}, {"folder", project.folder}});
}

} // namespace cutstack::cutstackctl
