#include "store/BackupPolicy.h"

#include <array>

namespace cutstack {

namespace {

constexpr std::uint64_t kMegabyte = std::uint64_t{1024} * 1024;

struct PolicyRow {
    std::int64_t xmlLimit;
    std::uint64_t megabytes;
    std::int32_t requiredGap;
};

constexpr std::array kPolicies{
    PolicyRow{1, 1, 2},  PolicyRow{2, 3, 2},  PolicyRow{3, 5, 1},  PolicyRow{4, 10, 1},
    PolicyRow{5, 15, 0}, PolicyRow{6, 20, 0}, PolicyRow{7, 30, 0},
};

} // namespace

XmlCopyPolicy xmlCopyPolicy(std::int64_t xmlLimit) {
    if (xmlLimit == 0)
        return {.isEnabled = false, .sizeLimitInBytes = std::nullopt, .requiredGap = 0};
    for (const PolicyRow& row : kPolicies) {
        if (row.xmlLimit == xmlLimit)
            return {true, row.megabytes * kMegabyte, row.requiredGap};
    }
    return {};
}

XmlCopyDecision decideXmlCopy(const XmlCopyPolicy& policy, const XmlCopyCase& about) {
    if (!policy.isEnabled)
        return XmlCopyDecision::skipDisabled;
    if (!policy.sizeLimitInBytes)
        return XmlCopyDecision::make;
    if (policy.requiredGap > about.gap)
        return XmlCopyDecision::skipGap;
    // A single sequence is far smaller than its project; its size is known only after the export.
    if (!about.isSequenceChosen && about.projectSizeInBytes >= *policy.sizeLimitInBytes)
        return XmlCopyDecision::skipSize;
    return XmlCopyDecision::make;
}

} // namespace cutstack
