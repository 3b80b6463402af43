#pragma once

// Which files of a project folder are to be removed, and by which rule. Pure: dates and rules in, a
// list out; any thread.
//
//        all files, by name (oldest first)
//          |-- no more than the minimum ------------------------> nothing is removed
//          |-- within currentDayCount of the newest: current ---> all beyond currentBackupLimit
//          +-- the others: old -- beyond deleteBackupCount -----> all
//                              +- by day, week or month --------> all but the newest of each
//                                   +- more than oldBackupLimit > the oldest, and the run ends
//
// Files are counted, not versions: a version with a project copy and an XML copy counts twice.

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack {

/// The rules, with what holds where the user has set nothing. (The settings that the program
/// registers say 3 for currentDayCount; a run without a window has never heard of them.)
struct RetentionRules {
    bool manageBackups = true;
    bool isMinimumSet = true;
    std::int64_t minimum = 25; ///< a folder with so many files or fewer is left alone
    std::int64_t currentDayCount = 1;
    bool isCurrentLimitSet = false;
    std::int64_t currentLimit = 30;
    bool isOldLimitSet = true;
    std::int64_t oldLimit = 30;
    std::int64_t oldBackupType = 0;  ///< 1 by week, 2 by month, anything else by day
    std::int64_t oldBackupCount = 1; ///< kept of each day, week or month
    bool isAgeLimitSet = true;
    std::int64_t ageLimitInDays = 90;
};

using FileMoment = std::chrono::sys_time<std::chrono::nanoseconds>;

struct DatedFile {
    std::string name;
    FileMoment modified;
};

enum class RetentionRule : unsigned char { age, currentLimit, period, oldLimit };

/// The rule for people: "older than 90 days".
[[nodiscard]] std::string descriptionOf(RetentionRule rule, const RetentionRules& rules);

struct PlannedRemoval {
    std::string name;
    RetentionRule rule{};

    bool operator==(const PlannedRemoval&) const = default;
};

struct RetentionPlan {
    std::vector<PlannedRemoval> removals; ///< in the order in which they are made
    /// The limit of old files was met, after which no further folder is looked at in this run.
    bool endsRun = false;
};

/// What is told about time: the moment of the run, and how far local time is ahead of UTC.
struct RetentionTime {
    FileMoment now;
    std::function<std::chrono::seconds(std::chrono::system_clock::time_point)> zoneOffset;
};

/// The plan for a folder. `files` are those whose names do not begin with a dot, sorted by name.
[[nodiscard]] RetentionPlan planRetention(const std::vector<DatedFile>& files,
                                          const RetentionRules& rules, const RetentionTime& time);

} // namespace cutstack
