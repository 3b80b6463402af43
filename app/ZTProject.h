#pragma once

// One watched project: the project's file, the sequences of it that are offered for choosing, and
// what of it is backed up, one of them or the entire project. The window shows a row with a popup
// for each. Values; whoever holds one guards it.

#include <optional>
#include <string>
#include <vector>

namespace cutstack {

struct ProjectSequence {
    std::string name;
    std::string uuid; ///< by which the editor knows the sequence

    bool operator==(const ProjectSequence&) const = default;
};

class ZTProject {
public:
    /// A project of which everything is backed up. `path` may begin with "~".
    [[nodiscard]] static ZTProject projectWithPath(std::string path,
                                                   std::vector<ProjectSequence> sequences);

    [[nodiscard]] const std::string& projectPath() const { return projectPath_; }

    /// What can be chosen beside the entire project.
    [[nodiscard]] const std::vector<ProjectSequence>& sequences() const { return sequences_; }

    /// The chosen sequence, always one of sequences(); nothing for the entire project.
    [[nodiscard]] const std::optional<std::string>& selectedUUID() const { return selectedUUID_; }

    /// Offers other sequences, and chooses the entire project. A sequence without an identifier
    /// cannot be chosen, and is left out.
    void populateSequences(std::vector<ProjectSequence> sequences);

    /// Chooses the sequence with that identifier; the entire project when none has it or for
    /// nothing.
    void selectSequenceWithUUID(const std::optional<std::string>& uuid);

private:
    std::string projectPath_;
    std::vector<ProjectSequence> sequences_;
    std::optional<std::string> selectedUUID_;
};

} // namespace cutstack
