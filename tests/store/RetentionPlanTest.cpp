#include "store/RetentionPlan.h"

#include <gtest/gtest.h>

namespace cutstack {
namespace {

using namespace std::chrono_literals;

const FileMoment kNow = std::chrono::sys_days(std::chrono::year(2026) / 3 / 31) + 12h;

RetentionTime timeInZone(std::chrono::seconds offset = 0s) {
    return {kNow, [offset](auto) { return offset; }};
}

/// Nothing is removed unless a test says so.
RetentionRules noRules() {
    RetentionRules rules;
    rules.isMinimumSet = rules.isOldLimitSet = rules.isAgeLimitSet = false;
    rules.oldBackupCount = 1'000;
    return rules;
}

/// A file named by its place, so many hours old.
std::vector<DatedFile> filesAged(const std::vector<std::chrono::hours>& ages) {
    std::vector<DatedFile> files;
    for (const auto age : ages)
        files.push_back({std::string(1, static_cast<char>('a' + files.size())), kNow - age});
    return files;
}

std::string removed(const std::vector<DatedFile>& files, const RetentionRules& rules,
                    const RetentionTime& time = timeInZone()) {
    std::string names;
    const RetentionPlan plan = planRetention(files, rules, time);
    for (const PlannedRemoval& removal : plan.removals)
        names += removal.name;
    return names + (plan.endsRun ? "!" : "");
}

TEST(RetentionPlan, LeavesFoldersWithFewFilesAlone) {
    RetentionRules rules;
    rules.oldLimit = 0;
    std::vector<std::chrono::hours> ages(25, 2400h);
    ages.back() = 0h;
    EXPECT_EQ(removed(filesAged(ages), rules), "");
    ages.insert(ages.begin(), 2400h);
    EXPECT_EQ(removed(filesAged(ages), rules), "abcdefghijklmnopqrstuvwxy");
    rules.isMinimumSet = false;
    EXPECT_EQ(removed({}, rules), "");
    EXPECT_EQ(removed(filesAged({9999h}), rules), "") << "the newest file is always current";
}

TEST(RetentionPlan, CurrentFilesAreThoseNearTheNewest) {
    RetentionRules rules = noRules();
    rules.isAgeLimitSet = true;
    rules.ageLimitInDays = 90;
    // All files of a folder equally old: none is removed for its age.
    EXPECT_EQ(removed(filesAged({9024h, 9001h, 9000h}), rules), "");
    EXPECT_EQ(removed(filesAged({9025h, 9001h, 9000h}), rules), "a");
    EXPECT_EQ(removed(filesAged({2161h, 2160h, 0h}), rules), "a") << "more than 90 days";

    rules = noRules();
    rules.isCurrentLimitSet = true;
    rules.currentLimit = 2;
    EXPECT_EQ(removed(filesAged({100h, 3h, 2h, 1h, 0h}), rules), "bc");
}

TEST(RetentionPlan, KeepsTheNewestOfEachPeriod) {
    RetentionRules rules = noRules();
    rules.oldBackupCount = 1;
    const auto byDay = filesAged({60h, 59h, 58h, 36h, 0h});
    EXPECT_EQ(removed(byDay, rules), "ab");
    EXPECT_EQ(removed(byDay, rules, timeInZone(-1h)), "bc") << "a day is a local one";
    rules.oldBackupType = 1;
    // Tuesday at noon is now; its week begins on Monday, 36 hours ago.
    EXPECT_EQ(removed(filesAged({30h, 37h, 25h, 0h}), rules), "a");
    rules.oldBackupType = 2;
    EXPECT_EQ(removed(filesAged({745h, 700h, 25h, 0h}), rules), "b");
}

TEST(RetentionPlan, AWeekDoesNotReachFromJanuaryToDecember) {
    RetentionRules rules = noRules();
    rules.oldBackupCount = 1;
    rules.oldBackupType = 1;
    const auto at = [](int year, unsigned month, unsigned day) {
        return FileMoment(std::chrono::sys_days(std::chrono::year(year) / static_cast<int>(month) /
                                                static_cast<int>(day)));
    };
    EXPECT_EQ(removed({{"a", at(2025, 1, 2)}, {"b", at(2025, 12, 30)}, {"c", kNow}}, rules), "");
}

TEST(RetentionPlan, TheLimitOfOldFilesTakesTheOldestPeriodsAndEndsTheRun) {
    RetentionRules rules = noRules();
    rules.isOldLimitSet = true;
    rules.oldLimit = 2;
    rules.oldBackupType = 2;
    // October comes after February, whatever their names sort like.
    const auto files = filesAged({3990h, 3989h, 1000h, 999h, 0h});
    EXPECT_EQ(removed(files, rules), "ab!");
    rules.oldLimit = 4;
    EXPECT_EQ(removed(files, rules), "");
    rules.oldLimit = 3;
    rules.oldBackupCount = 1;
    EXPECT_EQ(removed(files, rules), "ac") << "what a period has lost does not count";
}

TEST(RetentionPlan, SaysWhichRuleItWas) {
    RetentionRules rules;
    rules.isMinimumSet = false;
    rules.oldLimit = 0;
    rules.isCurrentLimitSet = true;
    rules.currentLimit = 1;
    const auto plan = planRetention(filesAged({2200h, 60h, 59h, 1h, 0h}), rules, timeInZone());
    const std::vector<PlannedRemoval> expected{{"a", RetentionRule::age},
                                               {"d", RetentionRule::currentLimit},
                                               {"b", RetentionRule::period},
                                               {"c", RetentionRule::oldLimit}};
    EXPECT_EQ(plan.removals, expected);
    EXPECT_EQ(descriptionOf(RetentionRule::period, rules), "more than 1 of one day");
}

} // namespace
} // namespace cutstack
