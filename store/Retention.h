#pragma once

// Keeps the version store from growing without bound: goes through its project folders and removes
// what RetentionPlan says. Only files that lie in a real project folder are touched: one that is a
// link to elsewhere, folders within one, and folders of the store that hold no copies and are not
// named like a project are passed over. One thread.

#include <string>
#include <vector>

#include "platform/Clock.h"
#include "store/BackupRemoval.h"
#include "store/RetentionPlan.h"
#include "support/LogWriter.h"

namespace cutstack {

/// What would be removed from one project folder.
struct FolderPlan {
    std::string folder;
    RetentionPlan plan;
};

class Retention {
public:
    Retention(const Clock& clock, LogWriter& log) : clock_(clock), log_(log) {}

    /// Removes from the store in the folder `root` what the rules say. A removal that fails is
    /// logged and does not keep the others from being made.
    void manageBackups(const std::string& root, const RetentionRules& rules,
                       const BackupRemoval& removal, RemovalType removeType) const;

    /// What manageBackups() would remove, folder by folder, up to where it would end.
    [[nodiscard]] std::vector<FolderPlan> plan(const std::string& root,
                                               const RetentionRules& rules) const;

private:
    const Clock& clock_;
    LogWriter& log_;
};

} // namespace cutstack
