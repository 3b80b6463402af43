#pragma once

// Which versions get an XML copy beside the project copy: exports of large projects take long, so
// the user chooses a size from which there are none, and small machines leave some versions out.
// Pure; any thread.

#include <cstdint>
#include <optional>
#include <string_view>

namespace cutstack {

struct XmlCopyPolicy {
    bool isEnabled = true;
    std::optional<std::uint64_t> sizeLimitInBytes; ///< a project of this size or above gets none
    std::int32_t requiredGap = 0; ///< so many versions without one must lie before each
};

/// What the setting `xmlLimit` stands for.
[[nodiscard]] XmlCopyPolicy xmlCopyPolicy(std::int64_t xmlLimit);

/// What the policy is asked about.
struct XmlCopyCase {
    std::int32_t gap = 0; ///< versions without an XML copy directly before this one
    std::uint64_t projectSizeInBytes = 0;
    bool isSequenceChosen = false; ///< one sequence is exported, not the project
};

enum class XmlCopyDecision : unsigned char { make, skipDisabled, skipGap, skipSize };

/// Whether a version gets an XML copy that nobody has asked for.
[[nodiscard]] XmlCopyDecision decideXmlCopy(const XmlCopyPolicy& policy, const XmlCopyCase& about);

} // namespace cutstack
