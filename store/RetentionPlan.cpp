#include "store/RetentionPlan.h"

#include <algorithm>
#include <map>
#include <utility>

namespace cutstack {

namespace {

constexpr std::int64_t kWeekly = 1;
constexpr std::int64_t kMonthly = 2;

/// Days that a number of the settings may stand for; more are as good as for ever.
std::chrono::nanoseconds daysLong(std::int64_t days) {
    constexpr std::int64_t kMostDays = 36'500;
    return std::chrono::days(std::clamp<std::int64_t>(days, -kMostDays, kMostDays));
}

/// A day, week or month: the year, and which one of it. Weeks are those of the calendar year, from
/// Monday on, so that a week never holds days of the year's two ends.
using Period = std::pair<int, int>;

Period periodOf(FileMoment moment, std::int64_t type, const RetentionTime& time) {
    const auto utc = std::chrono::floor<std::chrono::seconds>(moment);
    const auto day = std::chrono::floor<std::chrono::days>(utc + time.zoneOffset(utc));
    const std::chrono::year_month_day date(day);
    const int year = static_cast<int>(date.year());
    if (type == kMonthly)
        return {year, static_cast<int>(static_cast<unsigned>(date.month()))};
    const std::chrono::sys_days newYear = date.year() / std::chrono::January / 1;
    const auto dayOfYear = static_cast<int>((day - newYear).count());
    if (type != kWeekly)
        return {year, dayOfYear};
    const auto mondayBased = static_cast<int>(std::chrono::weekday(newYear).iso_encoding()) - 1;
    return {year, (dayOfYear + mondayBased) / 7};
}

class Planner {
public:
    Planner(const RetentionRules& rules, const RetentionTime& time) : rules_(rules), time_(time) {}

    RetentionPlan plan(const std::vector<DatedFile>& files) {
        if (files.empty() || isBelowMinimum(files))
            return {};
        for (const DatedFile& file : files)
            classify(file, files.back().modified);
        if (rules_.isCurrentLimitSet)
            removeFirst(current_, excessOver(rules_.currentLimit, current_.size()),
                        RetentionRule::currentLimit);
        std::size_t oldFiles = 0;
        for (auto& [period, names] : old_) {
            removeFirst(names, excessOver(rules_.oldBackupCount, names.size()),
                        RetentionRule::period);
            oldFiles += names.size();
        }
        if (rules_.isOldLimitSet)
            removeOldest(excessOver(rules_.oldLimit, oldFiles));
        return std::move(plan_);
    }

private:
    using Names = std::vector<std::string>;

    [[nodiscard]] bool isBelowMinimum(const std::vector<DatedFile>& files) const {
        return rules_.isMinimumSet && std::cmp_less_equal(files.size(), rules_.minimum);
    }

    void classify(const DatedFile& file, FileMoment newest) {
        if (newest - file.modified <= daysLong(rules_.currentDayCount))
            current_.push_back(file.name);
        else if (rules_.isAgeLimitSet &&
                 time_.now - file.modified > daysLong(rules_.ageLimitInDays))
            plan_.removals.push_back({file.name, RetentionRule::age});
        else
            old_[periodOf(file.modified, rules_.oldBackupType, time_)].push_back(file.name);
    }

    /// How many of `count` are beyond `limit`; a limit below 0 is beyond them all.
    static std::size_t excessOver(std::int64_t limit, std::size_t count) {
        const auto kept = static_cast<std::size_t>(std::max<std::int64_t>(limit, 0));
        return count > kept ? count - kept : 0;
    }

    void removeFirst(Names& names, std::size_t count, RetentionRule rule) {
        const auto end = names.begin() + static_cast<std::ptrdiff_t>(count);
        for (auto name = names.begin(); name != end; ++name)
            plan_.removals.push_back({std::move(*name), rule});
        names.erase(names.begin(), end);
    }

    /// Periods come oldest first. Reaching the number ends the whole run, also for other folders.
    void removeOldest(std::size_t excess) {
        plan_.endsRun = excess > 0;
        for (auto& [period, names] : old_) {
            const std::size_t count = std::min(names.size(), excess);
            removeFirst(names, count, RetentionRule::oldLimit);
            excess -= count;
        }
    }

    const RetentionRules& rules_;
    const RetentionTime& time_;
    RetentionPlan plan_;
    Names current_;
    std::map<Period, Names> old_;
};

std::string nameOfPeriod(std::int64_t type) {
    switch (type) {
    case kWeekly:
        return "week";
    case kMonthly:
        return "month";
    default:
        return "day";
    }
}

} // namespace

RetentionPlan planRetention(const std::vector<DatedFile>& files, const RetentionRules& rules,
                            const RetentionTime& time) {
    return Planner(rules, time).plan(files);
}

std::string descriptionOf(RetentionRule rule, const RetentionRules& rules) {
    switch (rule) {
    case RetentionRule::age:
        return "older than " + std::to_string(rules.ageLimitInDays) + " days";
    case RetentionRule::currentLimit:
        return "more than " + std::to_string(rules.currentLimit) + " current files";
    case RetentionRule::period:
        return "more than " + std::to_string(rules.oldBackupCount) + " of one " +
               nameOfPeriod(rules.oldBackupType);
    case RetentionRule::oldLimit:
        return "more than " + std::to_string(rules.oldLimit) + " old files";
    }
    return {};
}

} // namespace cutstack
