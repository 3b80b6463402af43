#include "changes/VersionSearch.h"

#include "support/Unicode.h"

#include <utility>

namespace cutstack {

namespace {

VersionRecord withChangelist(const VersionRecord& record, Changelist changelist) {
    return {.changelist = std::move(changelist),
            .version = record.version,
            .date = record.date,
            .size = record.size,
            .file = record.file,
            .type = record.type,
            .noProcess = record.noProcess};
}

} // namespace

std::vector<VersionRecord> versionsContaining(std::string_view text,
                                              const std::vector<VersionRecord>& versions) {
    const std::string wanted = caseFolded(text);
    std::string folded;
    std::vector<VersionRecord> found;
    for (const VersionRecord& version : versions) {
        Changelist matches;
        for (const std::string& sentence : version.changelist) {
            foldCase(sentence, folded);
            if (folded.find(wanted) != std::string::npos)
                matches.push_back(sentence);
        }
        if (!matches.empty())
            found.push_back(withChangelist(version, std::move(matches)));
    }
    return found;
}

} // namespace cutstack
