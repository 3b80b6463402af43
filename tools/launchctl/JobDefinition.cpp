#include "tools/launchctl/JobDefinition.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "support/AtomicFile.h"
#include "support/FolderListing.h"
#include "support/PropertyListReading.h"

namespace cutstack::launchctl {

namespace {

constexpr std::size_t kJobSizeLimit = 16U << 20U;
/// The longest interval that a timer can count.
constexpr std::uint64_t kLongestInterval = 100ULL * 365 * 24 * 60 * 60;
constexpr int kLowestNice = -20;
constexpr int kHighestNice = 19;

bool isAbsolute(const std::string& path) { return path.starts_with('/'); }

/// systemd loads no unit whose program is called as a folder is.
bool isProgram(const std::string& path) { return isAbsolute(path) && !path.ends_with('/'); }

/// A text that a program can be given: one with a NUL in it would end there.
const std::string* usableText(const PropertyList& value) {
    const std::string* text = value.asString();
    return text != nullptr && text->find('\0') == std::string::npos ? text : nullptr;
}

/// The texts of an array; nothing when it is another value or holds another one.
std::optional<std::vector<std::string>> usableTexts(const PropertyList& value) {
    const PropertyList::Array* array = value.asArray();
    if (array == nullptr)
        return std::nullopt;
    std::vector<std::string> texts;
    for (const PropertyList& element : *array) {
        const std::string* text = usableText(element);
        if (text == nullptr)
            return std::nullopt;
        texts.push_back(*text);
    }
    return texts;
}

// Each takes the value of one key into the job and returns what is wrong with it: nothing, or what
// the key has to be.

constexpr std::string_view kFlag = "has to be true or false";

std::string_view takeFlag(const PropertyList& value, bool& flag) {
    const auto given = value.asBoolean();
    flag = given.value_or(false);
    return given ? "" : kFlag;
}

std::string_view takeLabel(const PropertyList& value, JobDefinition& job) {
    const std::string* text = usableText(value);
    if (text == nullptr || text->empty())
        return "has to be a text";
    job.label = *text;
    return "";
}

std::string_view takeProgram(const PropertyList& value, JobDefinition& job) {
    const std::string* text = usableText(value);
    if (text == nullptr || !isProgram(*text))
        return "has to be the absolute path of a file";
    job.program = *text;
    return "";
}

std::string_view takeArguments(const PropertyList& value, JobDefinition& job) {
    auto texts = usableTexts(value);
    if (!texts || texts->empty())
        return "has to be an array of texts that begins with the name of the process";
    job.arguments = std::move(*texts);
    return "";
}

std::string_view takeWatchPaths(const PropertyList& value, JobDefinition& job) {
    const auto texts = usableTexts(value);
    if (!texts || !std::ranges::all_of(*texts, isAbsolute))
        return "has to be an array of absolute paths";
    for (const std::string& text : *texts) {
        std::string path = withoutSlashAtEnd(text);
        if (path == "/")
            return "cannot be the root of the file system";
        if (std::ranges::find(job.watchPaths, path) == job.watchPaths.end())
            job.watchPaths.push_back(std::move(path));
    }
    return "";
}

std::string_view takeInterval(const PropertyList& value, JobDefinition& job) {
    job.startIntervalInSeconds = value.asUnsigned();
    const std::uint64_t seconds = job.startIntervalInSeconds.value_or(0);
    return seconds > 0 && seconds <= kLongestInterval ? ""
                                                      : "has to be a number of seconds above 0";
}

std::string_view takeNice(const PropertyList& value, JobDefinition& job) {
    const auto nice = value.asInteger();
    if (!nice || *nice < kLowestNice || *nice > kHighestNice)
        return "has to be an integer from -20 to 19";
    job.nice = static_cast<int>(*nice);
    return "";
}

struct KeyRule {
    std::string_view key;
    std::string_view (*take)(const PropertyList& value, JobDefinition& job);
};

constexpr KeyRule kRules[] = {
    {"Label", takeLabel},
    {"Program", takeProgram},
    {"ProgramArguments", takeArguments},
    {"WatchPaths", takeWatchPaths},
    {"StartInterval", takeInterval},
    {"RunAtLoad", [](const PropertyList& v, JobDefinition& j) { return takeFlag(v, j.runAtLoad); }},
    {"StartOnMount",
     [](const PropertyList& v, JobDefinition& j) { return takeFlag(v, j.startOnMount); }},
    {"Nice", takeNice},
    {"LowPriorityIO",
     [](const PropertyList& v, JobDefinition& j) { return takeFlag(v, j.lowPriorityIO); }},
};

/// Lets program and arguments stand in for each other; returns what is missing.
std::string_view complete(JobDefinition& job) {
    if (job.label.empty())
        return "Label is missing";
    if (job.program.empty() && job.arguments.empty())
        return "Program is missing";
    if (job.arguments.empty())
        job.arguments = {job.program};
    if (job.program.empty())
        job.program = job.arguments.front();
    return isProgram(job.program) ? "" : "Program is missing, and ProgramArguments names no path";
}

} // namespace

std::optional<JobDefinition> jobOf(const PropertyList& list, std::vector<std::string>& ignoredKeys,
                                   std::string& error) {
    const PropertyList::Dictionary* values = list.asDictionary();
    if (values == nullptr) {
        error = "no dictionary";
        return std::nullopt;
    }
    JobDefinition job;
    for (const auto& [key, value] : *values) {
        const auto* const rule = std::ranges::find(kRules, key, &KeyRule::key);
        if (rule == std::end(kRules)) {
            ignoredKeys.push_back(key);
            continue;
        }
        const std::string_view fault = rule->take(value, job);
        if (!fault.empty()) {
            error = key + " " + std::string(fault);
            return std::nullopt;
        }
    }
    const std::string_view fault = complete(job);
    if (fault.empty())
        return job;
    error = fault;
    return std::nullopt;
}

std::optional<JobDefinition> readJob(const std::string& path, std::vector<std::string>& ignoredKeys,
                                     std::string& error) {
    auto bytes = readFile(path, kJobSizeLimit, error);
    if (!bytes)
        return std::nullopt;
    const auto list = readPropertyList(std::move(*bytes), error);
    return list ? jobOf(*list, ignoredKeys, error) : std::nullopt;
}

} // namespace cutstack::launchctl
