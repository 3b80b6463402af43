#pragma once

// Copying with the means of Linux. Any thread.

#include "platform/FileCopier.h"

#include <chrono>

namespace cutstack {

/// How often a copy looks up from its work.
struct CopyPace {
    std::chrono::steady_clock::duration betweenReports = std::chrono::milliseconds(100);
    std::uint64_t bytesAtOnce = std::uint64_t{32} << 20; ///< between which it cannot be cancelled
};

class LinuxFileCopier final : public FileCopier {
public:
    explicit LinuxFileCopier(CopyPace pace = {}) : pace_(pace) {}

    [[nodiscard]] CopyEnd copy(const std::string& source, const std::string& destination,
                               const Observer& observer, std::string& error) const override;

private:
    const CopyPace pace_;
};

} // namespace cutstack
