#include "app/ZTProject.h"

#include <algorithm>
#include <utility>

namespace cutstack {

ZTProject ZTProject::projectWithPath(std::string path, std::vector<ProjectSequence> sequences) {
    ZTProject project;
    project.projectPath_ = std::move(path);
    project.populateSequences(std::move(sequences));
    return project;
}

void ZTProject::populateSequences(std::vector<ProjectSequence> sequences) {
    std::erase_if(sequences, [](const ProjectSequence& sequence) { return sequence.uuid.empty(); });
    sequences_ = std::move(sequences);
    selectedUUID_.reset();
}

void ZTProject::selectSequenceWithUUID(const std::optional<std::string>& uuid) {
    const bool isOffered =
        uuid && std::ranges::find(sequences_, *uuid, &ProjectSequence::uuid) != sequences_.end();
    selectedUUID_ = isOffered ? uuid : std::nullopt;
}

} // namespace cutstack
