#include "tools/launchctl/JobDefinition.h"

#include <limits>

#include <gtest/gtest.h>

#include "support/PropertyListWriting.h"
#include "tests/TemporaryFolder.h"

namespace cutstack::launchctl {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;

/// A job to which `key` was added, or taken away when there is no value.
Dictionary jobWith(const std::string& key, const std::optional<PropertyList>& value) {
    Dictionary job = {{"Label", "job"},
                      {"Program", "/opt/Cutstack"},
                      {"ProgramArguments", Array{"Cutstack", "-process"}}};
    if (value)
        job[key] = *value;
    else
        job.erase(key);
    return job;
}

std::string faultOf(const PropertyList& list) {
    std::vector<std::string> ignored;
    std::string error;
    return jobOf(list, ignored, error) ? "" : error;
}

TEST(JobDefinitionTest, RefusesWhatCannotBeMeant) {
    const struct {
        const char* key;
        std::optional<PropertyList> value;
        const char* fault;
    } cases[] = {
        {"Label", std::nullopt, "Label is missing"},
        {"Label", 1, "Label has to be a text"},
        {"Label", "", "Label has to be a text"},
        {"Program", "Cutstack", "Program has to be the absolute path of a file"},
        {"Program", std::string("/opt/a\0b", 8), "Program has to be the absolute path of a file"},
        {"Program", "/opt/a/", "Program has to be the absolute path of a file"},
        {"Program", Array{"/opt/a"}, "Program has to be the absolute path of a file"},
        {"Program", std::nullopt, "Program is missing, and ProgramArguments names no path"},
        {"ProgramArguments", "Cutstack",
         "ProgramArguments has to be an array of texts that begins with the name of the process"},
        {"ProgramArguments", Array{},
         "ProgramArguments has to be an array of texts that begins with the name of the process"},
        {"ProgramArguments", Array{"Cutstack", 1},
         "ProgramArguments has to be an array of texts that begins with the name of the process"},
        {"WatchPaths", "/a", "WatchPaths has to be an array of absolute paths"},
        {"WatchPaths", Array{"/a", "b"}, "WatchPaths has to be an array of absolute paths"},
        {"WatchPaths", Array{""}, "WatchPaths has to be an array of absolute paths"},
        {"WatchPaths", Array{"//"}, "WatchPaths cannot be the root of the file system"},
        {"StartInterval", 0, "StartInterval has to be a number of seconds above 0"},
        {"StartInterval", -5, "StartInterval has to be a number of seconds above 0"},
        {"StartInterval", 1.5, "StartInterval has to be a number of seconds above 0"},
        {"StartInterval", "60", "StartInterval has to be a number of seconds above 0"},
        {"StartInterval", std::numeric_limits<std::uint64_t>::max(),
         "StartInterval has to be a number of seconds above 0"},
        {"RunAtLoad", 1, "RunAtLoad has to be true or false"},
        {"StartOnMount", "YES", "StartOnMount has to be true or false"},
        {"Nice", 20, "Nice has to be an integer from -20 to 19"},
        {"Nice", -21, "Nice has to be an integer from -20 to 19"},
        {"Nice", true, "Nice has to be an integer from -20 to 19"},
        {"LowPriorityIO", 0, "LowPriorityIO has to be true or false"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(faultOf(jobWith(c.key, c.value)), c.fault) << c.key;
    EXPECT_EQ(faultOf(Array{}), "no dictionary");
}

TEST(JobDefinitionTest, TakesEveryKeyAndTellsOfStrangeOnes) {
    Dictionary list = jobWith("WatchPaths", Array{"/a/b", "/c/", "/a/b"});
    list["StartInterval"] = 900;
    list["RunAtLoad"] = true;
    list["StartOnMount"] = true;
    list["Nice"] = -20;
    list["LowPriorityIO"] = true;
    list["KeepAlive"] = true;
    std::vector<std::string> ignored;
    std::string error;
    const auto job = jobOf(list, ignored, error);
    ASSERT_TRUE(job) << error;
    EXPECT_EQ(job->label, "job");
    EXPECT_EQ(job->program, "/opt/Cutstack");
    EXPECT_EQ(job->arguments, (std::vector<std::string>{"Cutstack", "-process"}));
    EXPECT_EQ(job->watchPaths, (std::vector<std::string>{"/a/b", "/c"}));
    EXPECT_EQ(job->startIntervalInSeconds, 900U);
    EXPECT_TRUE(job->runAtLoad && job->startOnMount && job->lowPriorityIO);
    EXPECT_EQ(job->nice, -20);
    EXPECT_EQ(ignored, std::vector<std::string>{"KeepAlive"});
}

TEST(JobDefinitionTest, LetsProgramAndArgumentsStandInForEachOther) {
    std::vector<std::string> ignored;
    std::string error;
    const auto named = jobOf(jobWith("ProgramArguments", std::nullopt), ignored, error);
    ASSERT_TRUE(named) << error;
    EXPECT_EQ(named->arguments, std::vector<std::string>{"/opt/Cutstack"});
    const auto bare = jobOf(Dictionary{{"Label", "a"}, {"ProgramArguments", Array{"/bin/a", "b"}}},
                            ignored, error);
    ASSERT_TRUE(bare) << error;
    EXPECT_EQ(bare->program, "/bin/a");
}

TEST(JobDefinitionTest, RefusesAFileThatIsCutOffAnywhere) {
    const TemporaryFolder folder;
    std::vector<std::string> ignored;
    std::string error;
    EXPECT_FALSE(readJob(folder / "none.plist", ignored, error));
    EXPECT_EQ(error, "No such file or directory");
    const std::string whole = xmlPropertyList(jobWith("Nice", 10)).value();
    const std::size_t end = whole.rfind('>');
    for (std::size_t size = 0; size <= end; ++size) {
        writeContent(folder / "job.plist", std::string_view(whole).substr(0, size));
        EXPECT_FALSE(readJob(folder / "job.plist", ignored, error)) << size;
    }
}

} // namespace
} // namespace cutstack::launchctl
